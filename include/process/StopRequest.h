#pragma once

#include "concurrency/Waitable.h"

#include <memory>

namespace norq_std {

class Thread;

/// The wish of another process that this one end: the receiving side of `Process::stop` and `Process::signalShutdown`.
///
/// It is signaled once any process of the same user has signaled the stop event of its name, and stays signaled, so it
/// can be waited for alone or together with anything else through `Concurrency`. What is told before the first
/// `StopRequest` of a name exists is lost; while one exists anywhere, later ones of that name are signaled with it. The
/// event is gone with the last process that holds it, however that ends. docs/processes.md tells how processes meet.
///
/// Each object has a thread of its own, which waits for the event. Whoever waits may destroy it once it is signaled.
class NORQSTD_EXPORT StopRequest final : public Waitable {
public:
    /// Throws `NorqIllegalArgumentException` for an empty name and `NorqAccessException` if the system does not open
    /// the event.
    explicit StopRequest(const WString& eventName);
    ~StopRequest() override;

    WString toString() const override;

    WString getName() const;

private:
    class Watch;

    const WString name;
    const std::shared_ptr<Watch> watch;
    const std::unique_ptr<Thread> thread;
};

} // namespace norq_std
