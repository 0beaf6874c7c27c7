#include "service/ServiceController.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "service/AbstractService.h"

namespace norq_std {

ServiceController::ServiceController(AbstractService* served)
    : service(served) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ServiceController::ServiceController");
    if (service == nullptr)
        throw NorqIllegalArgumentException(u"The service object is null.", 2);
}

ServiceController::~ServiceController() = default;

WString ServiceController::toString() const { return u"ServiceController{}"; }

bool ServiceController::callServiceStart() { return service->start(); }

void ServiceController::callServiceStop() { service->stop(true); }

void ServiceController::callServiceOnStart() { service->onStart(); }

void ServiceController::callServiceOnStop() {
    if (!service->isEnding)
        service->onStop();
}

void ServiceController::callServiceOnSessionConsoleConnect(const WString& user, const WString& domain,
                                                           std::uint32_t sessionId) {
    service->onSessionConsoleConnect(user, domain, sessionId);
}

void ServiceController::callServiceOnSessionConsoleDisconnect(const WString& user, const WString& domain,
                                                              std::uint32_t sessionId) {
    service->onSessionConsoleDisconnect(user, domain, sessionId);
}

void ServiceController::callServiceOnSessionRemoteConnect(const WString& user, const WString& domain,
                                                          std::uint32_t sessionId) {
    service->onSessionRemoteConnect(user, domain, sessionId);
}

void ServiceController::callServiceOnSessionRemoteDisconnect(const WString& user, const WString& domain,
                                                             std::uint32_t sessionId) {
    service->onSessionRemoteDisconnect(user, domain, sessionId);
}

void ServiceController::callServiceOnSessionLogon(const WString& user, const WString& domain, std::uint32_t sessionId) {
    service->onSessionLogon(user, domain, sessionId);
}

void ServiceController::callServiceOnSessionLogoff(const WString& user, const WString& domain,
                                                   std::uint32_t sessionId) {
    service->onSessionLogoff(user, domain, sessionId);
}

void ServiceController::callServiceOnSessionLock(const WString& user, const WString& domain, std::uint32_t sessionId) {
    service->onSessionLock(user, domain, sessionId);
}

void ServiceController::callServiceOnSessionUnlock(const WString& user, const WString& domain,
                                                   std::uint32_t sessionId) {
    service->onSessionUnlock(user, domain, sessionId);
}

bool ServiceController::callServiceInForeground() const { return service->inForeground(); }

} // namespace norq_std
