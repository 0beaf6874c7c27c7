#include "platform/Event.h"

#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/WaitSource.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>
#include <vector>

#include <sys/eventfd.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

using Clock = std::chrono::steady_clock;

/// The descriptor is readable while the event is signalled.
class EventSource final : public WaitSource {
public:
    explicit EventSource(Descriptor eventDescriptor)
        : descriptor(std::move(eventDescriptor)) {}

    void raise() const noexcept {
        const CancellationShield shield;
        eventfd_write(descriptor.get(), 1);
    }
    void clear() const noexcept {
        const CancellationShield shield;
        eventfd_t ignored = 0;
        eventfd_read(descriptor.get(), &ignored);
    }

    void appendDescriptors(std::vector<pollfd>& descriptors) const override {
        descriptors.push_back({descriptor.get(), POLLIN, 0});
    }
    void ready(std::span<const pollfd>) override {}

private:
    const Descriptor descriptor;
};

EventSource& eventSource(const std::unique_ptr<WaitSource>& source) noexcept {
    return static_cast<EventSource&>(*source);
}

/// One source of a wait, and where its descriptors stand among all.
struct Polled {
    WaitSource* source;
    std::size_t first;
    std::size_t count;
};

class Poll {
public:
    explicit Poll(std::span<WaitObject* const> objects) {
        for (WaitObject* object : objects) {
            WaitSource& source = object->source();
            if (!polled.empty() && polled.back().source == &source) // those that share one stand together
                continue;
            const std::size_t first = descriptors.size();
            source.appendDescriptors(descriptors);
            polled.push_back({&source, first, descriptors.size() - first});
        }
    }

    /// How many descriptors are ready, or -1.
    int sleep(int timeoutMs) { return ::poll(descriptors.data(), descriptors.size(), timeoutMs); }

    void tellSources() {
        for (const Polled& one : polled) {
            const std::span<const pollfd> own(descriptors.data() + one.first, one.count);
            if (std::any_of(own.begin(), own.end(), [](const pollfd& d) { return d.revents != 0; }))
                one.source->ready(own);
        }
    }

private:
    std::vector<pollfd> descriptors;
    std::vector<Polled> polled;
};

int takeFirst(std::span<WaitObject* const> objects) {
    const auto taken = std::find_if(objects.begin(), objects.end(), [](WaitObject* object) { return object->take(); });
    return taken == objects.end() ? WaitTimedOut : static_cast<int>(taken - objects.begin());
}

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

} // namespace

WaitObject::~WaitObject() = default;

Event::Event(Reset reset)
    : autoReset(reset == Reset::Auto) {
    Descriptor descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!descriptor.valid())
        setLastErrorFromNative();
    wakes = descriptor.valid();
    waitSource = std::make_unique<EventSource>(std::move(descriptor));
}

Event::~Event() = default;

void Event::set() noexcept {
    const std::lock_guard guard(mutex);
    if (!std::exchange(signalled, true))
        eventSource(waitSource).raise();
}

void Event::reset() noexcept {
    const std::lock_guard guard(mutex);
    if (std::exchange(signalled, false))
        eventSource(waitSource).clear();
}

WaitSource& Event::source() { return *waitSource; }

bool Event::take() {
    const std::lock_guard guard(mutex);
    if (!signalled)
        return false;
    if (autoReset) {
        signalled = false;
        eventSource(waitSource).clear();
    }
    return true;
}

int waitForAny(std::span<WaitObject* const> objects, std::int32_t timeoutMs) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(std::max(timeoutMs, 0));
    Poll poll(objects);
    for (int left = std::max(timeoutMs, -1);;) {
        if (const int index = takeFirst(objects); index >= 0)
            return index;
        const int ready = poll.sleep(left);
        if (ready < 0 && errno != EINTR) {
            setLastErrorFromNative();
            return WaitFailed;
        }
        if (ready > 0)
            poll.tellSources();
        else if (timeoutMs >= 0 && Clock::now() >= deadline)
            return takeFirst(objects);
        if (timeoutMs >= 0)
            left = millisecondsUntil(deadline);
    }
}

} // namespace norq_std_internal::platform
