#pragma once

#include "concurrency/Waitable.h"

namespace norq_std {

/// An event that any thread may signal, reset and wait for through `Concurrency`.
///
/// To hand over work, keep the work under a lock and use the event only to wake: a signal that finds an auto-reset
/// event signaled already is not counted.
class NORQSTD_EXPORT Event : public Waitable {
public:
    Event(bool autoReset, bool signaled);
    ~Event() override;

    WString toString() const override;

    void signal() override;
    /// Takes the signal back. Threads that wait go on waiting.
    virtual void reset();
};

} // namespace norq_std
