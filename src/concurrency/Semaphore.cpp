#include "concurrency/Semaphore.h"

#include "exception/NorqException.h"
#include "internal/NumberText.h"
#include "internal/SemaphorePimpl.h"
#include "internal/WaitablePimpl.h"

#include <cerrno>
#include <cxxabi.h>

namespace norq_std {

namespace {

/// Throws for a failed call whose `errno` has a meaning of its own.
void checkResult(int result) {
    if (result != -1)
        return;
    switch (const int error = errno; error) {
    case EINVAL:
        throw NorqIllegalStateException(u"The semaphore was in an invalid state, check that it has been initialized.",
                                        error);
    case EDEADLK:
        throw NorqDeadlockException(u"A deadlock condition was detected.", error);
    case ENOSYS:
        throw NorqUnsupportedOperationException(u"The functions are not supported by this implementation.", error);
    default:
        return;
    }
}

void checkResultStrictly(int result) {
    checkResult(result);
    if (result == -1)
        throw NorqUnknownException(u"Operation failed for unknown reason (errno was not set)");
}

/// A signal handler that ran meanwhile is no failure.
template <class F>
int uninterrupted(F call) {
    int result;
    do
        result = call();
    while (result == -1 && errno == EINTR);
    return result;
}

} // namespace

Semaphore::Semaphore(std::int32_t value)
    : Waitable(true, value > 0)
    , semaphorePimpl(
          std::make_unique<norq_std_internal::SemaphorePimpl>(value > 0 ? static_cast<unsigned>(value) : 0U)) {}

Semaphore::~Semaphore() = default;

WString Semaphore::toString() const { return u"Semaphore{value=" + norq_std_internal::numberText(getValue()) + u"}"; }

void Semaphore::increment() {
    // Who is let through by the counter may destroy this object before the signal is given.
    norq_std_internal::WaitablePimpl& waitable = *pimpl;
    waitable.retain();
    if (const int result = sem_post(&semaphorePimpl->semaphore); result != 0) [[unlikely]] {
        const int error = errno;
        waitable.release();
        errno = error;
        checkResultStrictly(result);
    }
    waitable.signalAndRelease();
}

void Semaphore::decrement() {
    checkResultStrictly(uninterrupted([this] { return sem_wait(&semaphorePimpl->semaphore); }));
}

bool Semaphore::tryDecrement() {
    const int result = uninterrupted([this] { return sem_trywait(&semaphorePimpl->semaphore); });
    checkResult(result);
    return result == 0;
}

int Semaphore::getValue() const {
    int value = 0;
    checkResultStrictly(sem_getvalue(&semaphorePimpl->semaphore, &value));
    return value;
}

void Semaphore::operator++(int) {
    try {
        increment();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
    }
}

void Semaphore::operator--(int) {
    try {
        decrement();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
    }
}

} // namespace norq_std
