#pragma once

#include <array>
#include <cstdint>
#include <deque>

#include <signal.h>

namespace norq_std_internal::platform {

/// Takes the signals that are controls of a service, until they are given back: then what stood there before is there
/// again. One at a time. In a forked copy of the process it is as if they had been given back.
class ControlSignals {
public:
    ControlSignals();
    ~ControlSignals();
    ControlSignals(const ControlSignals&) = delete;
    ControlSignals& operator=(const ControlSignals&) = delete;

    bool valid() const { return held; }
    /// On the thread that made it.
    void giveBack() noexcept;
    /// Ready to read when there is something to take.
    int descriptor() const;
    /// Wakes whoever waits for that; from any thread.
    void wake() const noexcept;
    /// Appends the controls that have come.
    void take(std::deque<std::uint32_t>& controls) const;

    static constexpr std::size_t Count = 7;

private:
    sigset_t maskBefore{};
    bool held = false;
};

} // namespace norq_std_internal::platform
