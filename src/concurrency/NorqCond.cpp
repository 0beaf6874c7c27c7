#include "concurrency/NorqCond.h"

#include "concurrency/Concurrency.h"
#include "concurrency/NorqMutex.h"
#include "concurrency/Waitable.h"
#include "exception/NorqException.h"

#include <new>

namespace norq_std_internal {

/// Never signaled: a pulse releases who waits, and is gone.
class PulseEvent final : public norq_std::Waitable {
public:
    PulseEvent()
        : Waitable(false, false) {}

    using Waitable::pulse;
};

} // namespace norq_std_internal

namespace NorqStd {

NorqCond::NorqCond()
    : handle(nullptr) {}

NorqCond::~NorqCond() = default;

void NorqCond::Create() { handle = new (std::nothrow) norq_std_internal::PulseEvent; }

void NorqCond::Destroy() {
    delete handle;
    handle = nullptr;
}

void NorqCond::Wait(NorqMutex& mutex) {
    norq_std_internal::PulseEvent* const event = handle;
    if (event == nullptr)
        return;
    mutex.UnLock();
    try {
        norq_std::Concurrency::waitForSingleObject(*event, -1);
    } catch (const norq_std::NorqWaitObjectDestroyedException&) {
        // A wait that fails ends like one that succeeds.
    }
    mutex.Lock();
}

void NorqCond::Signal() {
    if (handle != nullptr)
        handle->pulse();
}

} // namespace NorqStd
