#include "service/AbstractService.h"

#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "log/NorqLoggerSTD.h"
#include "service/ConsoleControlSignalTranslator.h"
#include "service/ForegroundStop.h"
#include "service/IArgumentParser.h"
#include "service/IController.h"
#include "windows/NTServiceController.h"

namespace norq_std {

AbstractService::AbstractService()
    : controller(std::make_shared<NTServiceController>(this)) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractService::AbstractService");
    ConsoleControlSignalTranslator& translator = ConsoleControlSignalTranslator::getInstance();
    translator.ignoreControlCode(CTRL_LOGOFF_EVENT);
    translator.ignoreControlCode(CTRL_SHUTDOWN_EVENT);
}

AbstractService::~AbstractService() { isEnding = true; }

WString AbstractService::toString() const { return u"AbstractService{}"; }

void AbstractService::onStart() {}
void AbstractService::onSessionConsoleConnect(const WString&, const WString&, std::uint32_t) {}
void AbstractService::onSessionConsoleDisconnect(const WString&, const WString&, std::uint32_t) {}
void AbstractService::onSessionRemoteConnect(const WString&, const WString&, std::uint32_t) {}
void AbstractService::onSessionRemoteDisconnect(const WString&, const WString&, std::uint32_t) {}
void AbstractService::onSessionLogon(const WString&, const WString&, std::uint32_t) {}
void AbstractService::onSessionLogoff(const WString&, const WString&, std::uint32_t) {}
void AbstractService::onSessionLock(const WString&, const WString&, std::uint32_t) {}
void AbstractService::onSessionUnlock(const WString&, const WString&, std::uint32_t) {}

bool AbstractService::start() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractService::start");
    if (inForeground()) {
        runInForeground();
        return true;
    }
    try {
        controller->start();
    } catch (const NorqIOException& e) {
        NorqLoggerSTD::getInstance().STD2002(u"norq_std::AbstractService::start", e.getMessage().c_str());
    }
    return false;
}

void AbstractService::runInForeground() {
    const norq_std_internal::ForegroundStop stopBySignal(*this);
    onStart();
    run();
}

void AbstractService::stop(bool setStatus) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractService::stop");
    stopEvent.signal();
    if (inForeground()) {
        onStop();
        return;
    }
    try {
        controller->stop(setStatus);
    } catch (const NorqIOException& e) {
        NorqLoggerSTD::getInstance().STD2002(u"norq_std::AbstractService::stop", e.getMessage().c_str());
    }
}

bool AbstractService::inForeground() const {
    return getArgumentParser().argumentParsed(IArgumentParser::ARG_FOREGROUND);
}

} // namespace norq_std
