#pragma once

#include "base/Export.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>

namespace norq_std_internal::platform {

class WaitSource;

/// What a thread can wait for beside other things of the operating system, in `waitForAny`. The library's own waits are
/// in `Concurrency`; these are for what only the kernel can signal, and for what is waited for together with it.
class NORQSTD_EXPORT WaitObject {
public:
    virtual ~WaitObject();

    /// Where the kernel tells of signals. Several objects may share one.
    virtual WaitSource& source() = 0;
    /// Whether it is signalled. An object with auto reset is taken by this.
    virtual bool take() = 0;
};

/// An event that any thread sets, resets and waits for. It must outlive every wait for it.
class NORQSTD_EXPORT Event final : public WaitObject {
public:
    enum class Reset : std::uint8_t { Auto, Manual };

    /// Not signalled. Where the system has no room for it, `valid` is false, the last error says why, and nobody may
    /// wait for it.
    explicit Event(Reset reset);
    ~Event() override;
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    bool valid() const noexcept { return wakes; }

    /// What the caller did before happens before the return of a wait that takes the signal.
    void set() noexcept;
    void reset() noexcept;

    WaitSource& source() override;
    bool take() override;

private:
    const bool autoReset;
    std::mutex mutex; // guards the flag, and that the kernel's side is the same
    bool signalled = false;
    bool wakes = false;
    std::unique_ptr<WaitSource> waitSource;
};

inline constexpr int WaitTimedOut = -1;
inline constexpr int WaitFailed = -2;

/// Waits until one of the objects is signalled, however many they are, and returns the lowest index among those that
/// are. A negative time-out waits without limit; 0 only looks. A failure leaves the last error.
NORQSTD_EXPORT int waitForAny(std::span<WaitObject* const> objects, std::int32_t timeoutMs);

} // namespace norq_std_internal::platform
