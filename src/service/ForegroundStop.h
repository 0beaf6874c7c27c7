#pragma once

namespace norq_std {
class AbstractService;
}

namespace norq_std_internal {

/// Lets the stop signals stop a service politely while it lives: those whose action is the system's default when it is
/// made. Its end waits for a stop that is under way. Of two at once, the first is served.
class ForegroundStop {
public:
    explicit ForegroundStop(norq_std::AbstractService& service);
    ~ForegroundStop();
    ForegroundStop(const ForegroundStop&) = delete;
    ForegroundStop& operator=(const ForegroundStop&) = delete;

private:
    bool first;
};

} // namespace norq_std_internal
