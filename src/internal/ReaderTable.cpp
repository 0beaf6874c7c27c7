#include "internal/ReaderTable.h"

#include <algorithm>
#include <memory>
#include <new>

#include <pthread.h>

namespace norq_std_internal {

ReaderTable::Entry* ReaderTable::findFar(std::uint64_t lock) noexcept {
    Entry* const end = far + (size - InlineCapacity);
    Entry* const found = std::find_if(far, end, [lock](const Entry& entry) { return entry.lock == lock; });
    return found != end ? found : nullptr;
}

void ReaderTable::grow() {
    // A key and not a thread-local object: keys are cleared after the last thread-local destructor, and again if one of
    // the other keys' destructors made a table anew.
    static const pthread_key_t key = [] {
        pthread_key_t created{};
        if (pthread_key_create(&created, [](void* table) { release(table); }) != 0)
            throw std::bad_alloc();
        return created;
    }();

    const std::uint32_t capacity = farCapacity == 0 ? 2 * InlineCapacity : 2 * farCapacity;
    std::unique_ptr<Entry[]> wider(new Entry[capacity]);
    if (pthread_setspecific(key, this) != 0)
        throw std::bad_alloc();
    std::copy_n(far, farCapacity, wider.get());
    delete[] far;
    far = wider.release();
    farCapacity = capacity;
}

void ReaderTable::release(void* table) noexcept {
    ReaderTable& self = *static_cast<ReaderTable*>(table);
    delete[] self.far;
    self.far = nullptr;
    self.farCapacity = 0;
    self.size = std::min(self.size, InlineCapacity);
}

} // namespace norq_std_internal
