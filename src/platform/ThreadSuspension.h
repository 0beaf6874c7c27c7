#pragma once

#include "base/Export.h"

#include <functional>
#include <memory>

namespace norq_std_internal::platform {

/// While it lives, the calling thread is not stopped by a `SuspendTarget`: that takes hold when the last shield goes.
/// Around what holds a lock that everybody needs.
class SuspensionShield {
public:
    SuspensionShield() noexcept;
    ~SuspensionShield();
    SuspensionShield(const SuspensionShield&) = delete;
    SuspensionShield& operator=(const SuspensionShield&) = delete;
};

/// A thread that others may stop wherever it stands, and let go on. Shared by that thread and by those who stop it.
///
/// A stopped thread keeps its locks. So a stop takes hold, wherever possible, in the thread's own code or where it
/// waits, rather than in the middle of a call into a library; whoever stops it names a probe of the locks that must be
/// free meanwhile; and work that may need others runs under a `SuspensionRelief`.
class NORQSTD_EXPORT SuspendTarget {
public:
    SuspendTarget();
    ~SuspendTarget();
    SuspendTarget(const SuspendTarget&) = delete;
    SuspendTarget& operator=(const SuspendTarget&) = delete;

    using Code = void (*)();

    /// The calling thread is the one, from here to `detach`; `ownCode` is any function of its program.
    void attach(Code ownCode) noexcept;
    void detach() noexcept;

    /// Stops the thread, and returns once it stands. If the probe does not come to its end while the thread stands, the
    /// thread goes on a little and is stopped elsewhere. True if it stands; false if there is no thread, or it blocks
    /// the signal that stops it.
    bool suspend(const std::function<void()>& probe);
    /// Lets it go on; nothing if it runs.
    void resume() noexcept;
    bool isSuspended() const noexcept;

    struct State;

private:
    friend class SuspensionRelief;

    bool stopAndProbe(const std::function<void()>& probe);

    std::unique_ptr<State> state;
};

/// Keeps work on the calling thread from hanging for a lock of a stopped thread: whenever the work does not come to its
/// end for a while, the thread goes on for a moment and is stopped again.
class NORQSTD_EXPORT SuspensionRelief {
public:
    /// A null target is none; one within another on the same thread does nothing. The probe holds for where the thread
    /// stands at the end.
    SuspensionRelief(const std::shared_ptr<SuspendTarget>& stopped, std::function<void()> probe);
    ~SuspensionRelief();
    SuspensionRelief(const SuspensionRelief&) = delete;
    SuspensionRelief& operator=(const SuspensionRelief&) = delete;

private:
    const std::shared_ptr<SuspendTarget> target;
    const std::function<void()> probe;
    bool watching = false;
};

} // namespace norq_std_internal::platform
