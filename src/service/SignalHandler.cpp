#include "service/SignalHandler.h"

#include "base/LogMacros.h"
#include "internal/SignalActions.h"

namespace norq_std {

using norq_std_internal::SignalActions;

SignalHandler::SignalHandler() = default;

SignalHandler::~SignalHandler() = default;

WString SignalHandler::toString() const { return u"SignalHandler{}"; }

void SignalHandler::ignoreSignal(int signal) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalHandler::ignoreSignal");
    SignalActions::ignore(signal);
    signals.insert(signal);
}

void SignalHandler::useDefaultSignalHandler(int signal) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalHandler::useDefaultSignalHandler");
    SignalActions::useDefault(signal);
    signals.erase(signal);
}

void SignalHandler::registerSignalHandler(int signal, void (*handler)(int)) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalHandler::registerSignalHandler");
    SignalActions::call(signal, handler);
    signals.insert(signal);
}

void SignalHandler::deregisterSignalHandler(int signal, void (*)(int)) { useDefaultSignalHandler(signal); }

void SignalHandler::deregisterSignalHandler(int signal) { deregisterSignalHandler(signal, nullptr); }

void SignalHandler::deregisterAllSignalHandlers() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalHandler::deregisterAllSignalHandlers");
    const std::set<int> remembered = signals;
    for (const int signal : remembered)
        useDefaultSignalHandler(signal);
}

} // namespace norq_std
