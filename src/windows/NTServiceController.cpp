#include "windows/NTServiceController.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "log/NTServiceLogger.h"
#include "log/NorqLoggerSTD.h"
#include "platform/Error.h"
#include "platform/ServiceControl.h"
#include "platform/Sessions.h"
#include "service/AbstractService.h"
#include "service/ISignalHandler.h"
#include "thread/Thread.h"

#include <array>
#include <csignal>
#include <exception>
#include <memory>
#include <span>

#include <cxxabi.h>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

constexpr std::uint32_t AcceptedControls = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN | SERVICE_ACCEPT_SESSIONCHANGE;

struct ErrorMessage {
    std::int32_t error;
    const WChar* message;
};

constexpr std::array DispatcherErrors{
    ErrorMessage{13, u"Failed to start service control dispatcher: The specified dispatch table contains entries that "
                     u"are not in the proper format."},
    ErrorMessage{1056, u"Failed to start service control dispatcher: This service is already running."},
    ErrorMessage{1063, u"Failed to start service control dispatcher: The service is not being run as a service "
                       u"(possible being run via the console?)."},
};
constexpr std::array HandlerErrors{
    ErrorMessage{123, u"Failed to register the service control handler: The service name is invalid."},
    ErrorMessage{1060, u"Failed to register the service control handler: The service does not exist."},
};
constexpr std::array StatusErrors{
    ErrorMessage{13, u"Failed to set service status: The specified service status structure is invalid."},
    ErrorMessage{6, u"Failed to set service status: The specified handle is invalid."},
};

/// Throws if the error is one of these.
void throwListed(std::int32_t error, std::span<const ErrorMessage> messages) {
    for (const ErrorMessage& each : messages)
        if (each.error == error)
            throw NorqIOException(each.message, error);
}

std::uint32_t numberOf(void* handle) { return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle)); }

WString messageOf(const std::exception& exception) {
    const auto* const ours = dynamic_cast<const NorqException*>(&exception);
    if (ours != nullptr)
        return ours->getMessage();
    const char* const text = exception.what();
    return {text, text + std::char_traits<char>::length(text)};
}

std::int32_t errorNumberOf(const std::exception& exception) {
    const auto* const ours = dynamic_cast<const NorqException*>(&exception);
    return ours != nullptr && ours->getErrNum() != 0 ? ours->getErrNum() : std::int32_t{platform::ExceptionInService};
}

WString textIn(std::span<const WChar* const> texts, std::uint32_t number, const WChar* other) {
    return number >= 1 && number <= texts.size() ? texts[number - 1] : other;
}

} // namespace

std::atomic<NTServiceController*> NTServiceController::instance{nullptr};

NTServiceController::NTServiceController(AbstractService* controlled)
    : ServiceController(controlled) {
    status.controlsAccepted = AcceptedControls;
    instance = this;
    if (callServiceInForeground())
        for (const int signal : {SIGINT, SIGTERM, SIGBREAK, SIGABRT})
            getService()->getSignalHandler().registerSignalHandler(signal, &defaultServiceSignalHandler);
}

NTServiceController::~NTServiceController() {
    setStatusOnStop = true;
    try {
        handle(SERVICE_CONTROL_STOP, 0, nullptr);
    } catch (const std::exception& failure) {
        NorqLoggerSTD::getInstance().STD2002(u"norq_std::NTServiceController::~NTServiceController",
                                             messageOf(failure).c_str());
    }
    NTServiceController* self = this;
    instance.compare_exchange_strong(self, nullptr);
}

WString NTServiceController::toString() const { return u"NTServiceController{}"; }

WString NTServiceController::serviceStatusToString(std::uint32_t state) {
    static constexpr std::array<const WChar*, 7> texts{
        u"SERVICE_STOPPED",          u"SERVICE_START_PENDING", u"SERVICE_STOP_PENDING", u"SERVICE_RUNNING",
        u"SERVICE_CONTINUE_PENDING", u"SERVICE_PAUSE_PENDING", u"SERVICE_PAUSED"};
    return textIn(texts, state, u"Unknown Service State");
}

WString NTServiceController::controlCodeToString(std::uint32_t controlCode) {
    static constexpr std::array<const WChar*, 14> texts{
        u"SERVICE_CONTROL_STOP",           u"SERVICE_CONTROL_PAUSE",         u"SERVICE_CONTROL_CONTINUE",
        u"SERVICE_CONTROL_INTERROGATE",    u"SERVICE_CONTROL_SHUTDOWN",      u"SERVICE_CONTROL_PARAMCHANGE",
        u"SERVICE_CONTROL_NETBINDADD",     u"SERVICE_CONTROL_NETBINDREMOVE", u"SERVICE_CONTROL_NETBINDENABLE",
        u"SERVICE_CONTROL_NETBINDDISABLE", u"SERVICE_CONTROL_DEVICEEVENT",   u"SERVICE_CONTROL_HARDWAREPROFILECHANGE",
        u"SERVICE_CONTROL_POWEREVENT",     u"SERVICE_CONTROL_SESSIONCHANGE"};
    return textIn(texts, controlCode, u"Unknown Service Control Code");
}

// ---- the life of the service

void NTServiceController::start() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NTServiceController::start");
    const WString name = getService()->getServiceName();
    NORQ_LOG(TRACE, u"norq_std::NTServiceController::start", u"Calling StartServiceCtrlDispatcher");
    if (!platform::runServiceDispatcher(name, &NTServiceController::serviceMain))
        throwListed(platform::lastError(), DispatcherErrors);
}

void NTServiceController::stop(bool setStatus) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NTServiceController::stop");
    setStatusOnStop = setStatus;
    handle(SERVICE_CONTROL_STOP, 0, nullptr);
}

void NTServiceController::defaultServiceSignalHandler(int) {
    if (NTServiceController* const controller = instance)
        controller->stop(true);
}

/// What a service's start throws goes on to the dispatcher's caller, and to the manager.
void NTServiceController::serviceMain(std::uint32_t argc, WChar** argv) {
    try {
        serviceStartFunction(argc, argv);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const std::exception& failure) {
        if (NTServiceController* const controller = instance)
            controller->reportFailedStart(errorNumberOf(failure));
        throw;
    } catch (...) {
        if (NTServiceController* const controller = instance)
            controller->reportFailedStart(platform::ExceptionInService);
        throw;
    }
}

void NTServiceController::serviceStartFunction(std::uint32_t, WChar**) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NTServiceController::serviceStartFunction");
    if (NTServiceController* const controller = instance)
        controller->runService();
}

void NTServiceController::runService() {
    registerControlHandler();
    setServiceStatus(SERVICE_START_PENDING);
    stoppedEvent.reset();
    {
        const AutoLock<Lock> guard(statusLock);
        status.win32ExitCode = 0;
        status.serviceSpecificExitCode = 0;
        status.checkPoint = 0;
        status.waitHint = 0;
    }
    callServiceOnStart();
    Thread body(std::shared_ptr<Runnable>(std::shared_ptr<void>(), getService()), u"");
    body.setJoinOnDestruct(true);
    body.start();
    setServiceStatus(SERVICE_RUNNING);
    {
        const AutoLock<Lock> guard(lock);
        isStopping = false;
    }
    NTServiceLogger::getInstance().SL4007(u"norq_std::NTServiceController::serviceStartFunction");
    platform::openServiceControls(statusHandle);
    Concurrency::waitForSingleObject(stoppedEvent, -1);
    if (setStatusOnStop) {
        setServiceStatus(SERVICE_STOPPED);
        NTServiceLogger::getInstance().SL4011(u"norq_std::NTServiceController::serviceStartFunction");
    }
}

void NTServiceController::registerControlHandler() {
    const WString name = getService()->getServiceName();
    statusHandle = platform::registerServiceHandler(name, &NTServiceController::controlOfManager, nullptr);
    if (statusHandle != nullptr)
        return;
    const std::int32_t error = platform::lastError();
    NTServiceLogger::getInstance().SL1005(u"norq_std::NTServiceController::serviceStartFunction");
    throwListed(error, HandlerErrors);
}

void NTServiceController::setServiceStatus(std::uint32_t state) {
    const AutoLock<Lock> guard(statusLock);
    void* const handle = statusHandle;
    NORQ_LOG(TRACE, u"norq_std::NTServiceController::setServiceStatus", u"Status(%lu, %lu - %ls)", numberOf(handle),
             state, serviceStatusToString(state));
    status.currentState = state;
    if (handle != nullptr && !platform::reportServiceStatus(handle, status))
        throwListed(platform::lastError(), StatusErrors);
}

void NTServiceController::endWith(std::int32_t errNum) {
    const AutoLock<Lock> guard(statusLock);
    status.win32ExitCode = static_cast<std::uint32_t>(errNum);
}

void NTServiceController::reportFailedStart(std::int32_t errNum) noexcept {
    try {
        endWith(errNum);
        setServiceStatus(SERVICE_STOPPED);
    } catch (const NorqException& failure) {
        NORQ_LOG(DEBUG, u"norq_std::NTServiceController::reportFailedStart", u"%ls", failure.getMessage());
    }
}

// ---- controls

/// A control of the manager has no caller that an exception could reach.
void NTServiceController::controlOfManager(std::uint32_t controlCode, std::uint32_t eventType, void* eventData,
                                           void* context) {
    NTServiceController* const controller = instance;
    if (controller == nullptr)
        return;
    const auto fail = [&](const WString& message, std::int32_t errNum) {
        NorqLoggerSTD::getInstance().STD2002(u"norq_std::NTServiceController::handleServiceEventEx", message.c_str());
        if (controlCode == SERVICE_CONTROL_STOP || controlCode == SERVICE_CONTROL_SHUTDOWN) {
            controller->endWith(errNum);
            controller->stoppedEvent.signal();
        }
    };
    try {
        handleServiceEventEx(controlCode, eventType, eventData, context);
    } catch (const std::exception& failure) {
        fail(messageOf(failure), errorNumberOf(failure));
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        fail(u"Caught unknown exception.", platform::ExceptionInService);
    }
}

void NTServiceController::handleServiceEventEx(std::uint32_t controlCode, std::uint32_t eventType, void* eventData,
                                               void*) {
    if (NTServiceController* const controller = instance)
        controller->handle(controlCode, eventType, eventData);
}

void NTServiceController::handle(std::uint32_t controlCode, std::uint32_t eventType, void* eventData) {
    constexpr const WChar* function = u"norq_std::NTServiceController::handleServiceEventEx";
    NORQ_LOG(TRACE, u"norq_std::NTServiceController::handleServiceEventEx", u"Begin.  Control Code:[%lu:%ls]",
             controlCode, controlCodeToString(controlCode));
    NTServiceLogger& logger = NTServiceLogger::getInstance();
    switch (controlCode) {
    case SERVICE_CONTROL_STOP:
        logger.SL4008(function);
        if (!handleStop(setStatusOnStop))
            return;
        break;
    case SERVICE_CONTROL_PAUSE:
        logger.SL4009(function);
        setServiceStatus(SERVICE_PAUSE_PENDING);
        setServiceStatus(SERVICE_PAUSED);
        logger.SL4010(function);
        break;
    case SERVICE_CONTROL_CONTINUE:
        logger.SL4012(function);
        setServiceStatus(SERVICE_CONTINUE_PENDING);
        setServiceStatus(SERVICE_RUNNING);
        break;
    case SERVICE_CONTROL_INTERROGATE:
        NORQ_LOG(CALL, u"norq_std::NTServiceController::handleServiceEventEx",
                 u"The Windows NT service received an interrogate message from the Windows NT service manager.");
        break;
    case SERVICE_CONTROL_SHUTDOWN:
        logger.SL4014(function);
        if (!handleStop(true))
            return;
        break;
    case SERVICE_CONTROL_SESSIONCHANGE:
        logger.SL4015(function);
        if (eventData != nullptr)
            handleSessionChange(eventType, static_cast<SessionNotification*>(eventData)->sessionId);
        break;
    default:
        logger.SL4015(function);
        logger.SL2000(function);
    }
    const AutoLock<Lock> guard(statusLock);
    NORQ_LOG(TRACE, u"norq_std::NTServiceController::handleServiceEventEx", u"End with Updated status (%lu, %lu)",
             numberOf(statusHandle), status.currentState);
}

/// False if the service has been told already.
bool NTServiceController::handleStop(bool report) {
    {
        const AutoLock<Lock> guard(lock);
        if (isStopping) {
            NORQ_LOG(TRACE, u"norq_std::NTServiceController::handleServiceEventEx",
                     u"End. Already stopped or is stopping.");
            return false;
        }
        isStopping = true;
    }
    if (report)
        setServiceStatus(SERVICE_STOP_PENDING);
    callServiceOnStop();
    stoppedEvent.signal();
    return true;
}

void NTServiceController::handleSessionChange(std::uint32_t eventType, std::uint32_t session) {
    WString user;
    WString domain;
    if (!platform::sessionUser(session, user))
        NORQ_LOG(TRACE, u"norq_std::NTServiceController::handleServiceEventEx",
                 u"WTSQuerySessionInformation for WTSUserName failed with error %s",
                 ErrorUtils::getLastErrorDescription());
    if (!platform::sessionDomain(session, domain))
        NORQ_LOG(TRACE, u"norq_std::NTServiceController::handleServiceEventEx",
                 u"WTSQuerySessionInformation for WTSDomainName failed with error %s",
                 ErrorUtils::getLastErrorDescription());
    switch (eventType) {
    case SESSION_CONSOLE_CONNECT:
        return callServiceOnSessionConsoleConnect(user, domain, session);
    case SESSION_CONSOLE_DISCONNECT:
        return callServiceOnSessionConsoleDisconnect(user, domain, session);
    case SESSION_REMOTE_CONNECT:
        return callServiceOnSessionRemoteConnect(user, domain, session);
    case SESSION_REMOTE_DISCONNECT:
        return callServiceOnSessionRemoteDisconnect(user, domain, session);
    case SESSION_LOGON:
        return callServiceOnSessionLogon(user, domain, session);
    case SESSION_LOGOFF:
        return callServiceOnSessionLogoff(user, domain, session);
    case SESSION_LOCK:
        return callServiceOnSessionLock(user, domain, session);
    case SESSION_UNLOCK:
        return callServiceOnSessionUnlock(user, domain, session);
    default:
        NORQ_LOG(TRACE, u"norq_std::NTServiceController::handleServiceEventEx", u"OTHER SESSION STATE\n");
    }
}

} // namespace norq_std
