#include "concurrency/NorqCriticalSection.h"
#include "concurrency/NorqAutoCriticalSection.h"

#include "internal/RecursiveMutex.h"

#include <atomic>

namespace norq_std_internal {

struct CriticalSection {
    RecursiveMutex mutex;
    std::atomic<unsigned> owners = 1;
};

} // namespace norq_std_internal

namespace NorqStd {

NorqCriticalSection::NorqCriticalSection()
    : section(nullptr) {}

NorqCriticalSection::~NorqCriticalSection() = default;

void NorqCriticalSection::Create() {
    if (section == nullptr)
        section = new norq_std_internal::CriticalSection;
}

void NorqCriticalSection::Destroy() {
    if (section != nullptr && section->owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete section;
    section = nullptr;
}

void NorqCriticalSection::Enter() {
    if (section != nullptr)
        section->mutex.lock();
}

void NorqCriticalSection::Leave() {
    if (section != nullptr)
        section->mutex.unlock();
}

NorqAutoCriticalSection::NorqAutoCriticalSection() { Create(); }

NorqAutoCriticalSection::NorqAutoCriticalSection(const NorqAutoCriticalSection& other)
    : NorqCriticalSection(other) {
    if (section != nullptr)
        section->owners.fetch_add(1, std::memory_order_relaxed);
}

NorqAutoCriticalSection& NorqAutoCriticalSection::operator=(const NorqAutoCriticalSection& other) {
    if (section == other.section)
        return *this;
    Destroy();
    section = other.section;
    if (section != nullptr)
        section->owners.fetch_add(1, std::memory_order_relaxed);
    return *this;
}

NorqAutoCriticalSection::~NorqAutoCriticalSection() { Destroy(); }

} // namespace NorqStd
