#pragma once

#include "service/IController.h"

#include <cstdint>

namespace norq_std {

class AbstractService;

/// Base of the controllers of an `AbstractService`: it hands their calls on to the service.
///
/// The service owns its controller, so the pointer back is a plain one and lives as long as the controller.
class NORQSTD_EXPORT ServiceController : public IController {
public:
    /// Throws `NorqIllegalArgumentException` for a null service.
    explicit ServiceController(AbstractService* service);
    ~ServiceController() override;
    ServiceController(const ServiceController&) = delete;
    ServiceController& operator=(const ServiceController&) = delete;

    WString toString() const override;

protected:
    /// `AbstractService::start`.
    bool callServiceStart();
    /// `AbstractService::stop(true)`.
    void callServiceStop();
    void callServiceOnStart();
    void callServiceOnStop();
    void callServiceOnSessionConsoleConnect(const WString& user, const WString& domain, std::uint32_t sessionId);
    void callServiceOnSessionConsoleDisconnect(const WString& user, const WString& domain, std::uint32_t sessionId);
    void callServiceOnSessionRemoteConnect(const WString& user, const WString& domain, std::uint32_t sessionId);
    void callServiceOnSessionRemoteDisconnect(const WString& user, const WString& domain, std::uint32_t sessionId);
    void callServiceOnSessionLogon(const WString& user, const WString& domain, std::uint32_t sessionId);
    void callServiceOnSessionLogoff(const WString& user, const WString& domain, std::uint32_t sessionId);
    void callServiceOnSessionLock(const WString& user, const WString& domain, std::uint32_t sessionId);
    void callServiceOnSessionUnlock(const WString& user, const WString& domain, std::uint32_t sessionId);
    bool callServiceInForeground() const;

    AbstractService* getService() const { return service; }

private:
    AbstractService* const service;
};

} // namespace norq_std
