#include "concurrency/NorqMutex.h"

#include "internal/RecursiveMutex.h"

#include <new>

namespace NorqStd {

NorqMutex::NorqMutex()
    : handle(nullptr) {}

NorqMutex::~NorqMutex() = default;

void NorqMutex::Create() { handle = new (std::nothrow) norq_std_internal::RecursiveMutex; }

void NorqMutex::Destroy() {
    delete handle;
    handle = nullptr;
}

void NorqMutex::Lock() {
    if (handle != nullptr)
        handle->lock();
}

void NorqMutex::UnLock() {
    if (handle != nullptr)
        handle->unlock();
}

} // namespace NorqStd
