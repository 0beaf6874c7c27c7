#include "concurrency/Concurrency.h"

#include "concurrency/TimeSpec.h"
#include "concurrency/Waitable.h"
#include "exception/NorqException.h"
#include "internal/Wait.h"
#include "internal/WaitablePimpl.h"

#include <algorithm>
#include <chrono>

namespace norq_std {

namespace {

void requireObjects(std::span<Waitable* const> objects) {
    if (std::find(objects.begin(), objects.end(), nullptr) != objects.end()) [[unlikely]]
        throw NorqIllegalArgumentException(u"A wait was given a null object.");
}

} // namespace

std::int32_t Concurrency::waitForSingleObject(Waitable& object, std::int32_t timeoutMs) {
    Waitable* const objects[] = {&object};
    return waitForAny(objects, timeoutMs);
}

std::int32_t Concurrency::waitForMultipleObjects(const std::vector<Waitable*>& objects, WaitType type,
                                                 std::int32_t timeoutMs) {
    requireObjects(objects);
    return type != WAIT_ANY ? waitForAll(objects, timeoutMs) : waitForAny(objects, timeoutMs);
}

std::int32_t Concurrency::waitForAny(Objects objects, std::int32_t timeoutMs) {
    std::int32_t result = -1;
    for (std::size_t i = 0; i < objects.size(); ++i)
        if (objects[i]->pimpl->tryConsume() && result < 0)
            result = static_cast<std::int32_t>(i);
    if (result >= 0 || timeoutMs == 0)
        return result;

    norq_std_internal::Wait wait(objects.size());
    for (Waitable* object : objects)
        wait.subscribe(*object);
    return wait.any(getWaitTime(timeoutMs));
}

std::int32_t Concurrency::waitForAll(Objects objects, std::int32_t timeoutMs) {
    std::size_t consumed = 0;
    while (consumed < objects.size() && objects[consumed]->pimpl->tryConsume())
        ++consumed;
    if (consumed == objects.size())
        return 0;
    if (timeoutMs == 0) {
        for (Waitable* object : objects.subspan(consumed + 1))
            object->pimpl->tryConsume();
        return -1;
    }

    const TimeSpec deadline = getWaitTime(timeoutMs);
    norq_std_internal::Wait wait(objects.size());
    for (Waitable* object : objects.first(consumed))
        wait.adopt(*object);
    for (Waitable* object : objects.subspan(consumed))
        wait.subscribe(*object);
    return wait.all(deadline);
}

// At the clock's full resolution, so that a wait never ends early.
TimeSpec Concurrency::getWaitTime(std::int32_t timeoutMs) {
    if (timeoutMs < 0)
        return TimeSpec(-1, 0);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    TimeSpec deadline(seconds.count(), static_cast<std::int32_t>(std::chrono::nanoseconds(now - seconds).count()));
    deadline.addMilliseconds(timeoutMs);
    return deadline;
}

} // namespace norq_std
