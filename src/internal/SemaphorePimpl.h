#pragma once

#include <semaphore.h>

namespace norq_std_internal {

struct SemaphorePimpl {
    explicit SemaphorePimpl(unsigned value) { sem_init(&semaphore, 0, value); }
    ~SemaphorePimpl() { sem_destroy(&semaphore); }
    SemaphorePimpl(const SemaphorePimpl&) = delete;
    SemaphorePimpl& operator=(const SemaphorePimpl&) = delete;

    sem_t semaphore{};
};

} // namespace norq_std_internal
