#include "service/SignalMultiHandler.h"

#include "base/LogMacros.h"
#include "internal/SignalActions.h"

#include <utility>

namespace norq_std {

using norq_std_internal::SignalActions;

std::atomic<SignalMultiHandler*> SignalMultiHandler::instance{nullptr};

SignalMultiHandler::SignalMultiHandler()
    : handlers(nullptr) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalMultiHandler::SignalMultiHandler");
    publish({});
    instance.store(this, std::memory_order_release);
}

SignalMultiHandler::~SignalMultiHandler() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalMultiHandler::~SignalMultiHandler");
    SignalMultiHandler* expected = this;
    instance.compare_exchange_strong(expected, nullptr, std::memory_order_acq_rel);
    const SignalMultiHandler* const other = instance.load(std::memory_order_acquire);
    const Handlers registered = *handlers.load(std::memory_order_relaxed);
    for (const auto& [signal, functions] : registered)
        if (other == nullptr || !other->handlers.load(std::memory_order_acquire)->contains(signal))
            SignalMultiHandler::useDefaultSignalHandler(signal);
}

WString SignalMultiHandler::toString() const { return u"SignalMultiHandler{}"; }

void SignalMultiHandler::ignoreSignal(int signal) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalMultiHandler::ignoreSignal");
    SignalActions::ignore(signal);
    drop(signal);
}

void SignalMultiHandler::useDefaultSignalHandler(int signal) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalMultiHandler::useDefaultSignalHandler");
    SignalActions::useDefault(signal);
    drop(signal);
}

void SignalMultiHandler::registerSignalHandler(int signal, void (*handler)(int)) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalMultiHandler::registerSignalHandler");
    SignalActions::checkHandler(signal, handler);
    const Handlers* const before = handlers.load(std::memory_order_relaxed);
    Handlers changed = *before;
    const bool first = !changed.contains(signal);
    changed[signal].insert(handler);
    publish(std::move(changed));
    if (!first)
        return;
    try {
        SignalActions::call(signal, signalHandler);
    } catch (...) {
        handlers.store(before, std::memory_order_release);
        throw;
    }
}

void SignalMultiHandler::deregisterSignalHandler(int signal, void (*handler)(int)) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalMultiHandler::deregisterSignalHandler");
    Handlers changed = *handlers.load(std::memory_order_relaxed);
    const auto found = changed.find(signal);
    if (found == changed.end() || found->second.erase(handler) == 0)
        return;
    if (found->second.empty()) {
        useDefaultSignalHandler(signal);
        return;
    }
    publish(std::move(changed));
}

void SignalMultiHandler::deregisterAllSignalHandlers() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::SignalMultiHandler::deregisterAllSignalHandlers");
    const Handlers registered = *handlers.load(std::memory_order_relaxed);
    for (const auto& [signal, functions] : registered)
        SignalMultiHandler::useDefaultSignalHandler(signal);
}

void SignalMultiHandler::signalHandler(int signal) {
    if (const SignalMultiHandler* const object = instance.load(std::memory_order_acquire); object != nullptr)
        object->callSignalHandlers(signal);
}

void SignalMultiHandler::callSignalHandlers(int signal) const {
    const Handlers& current = *handlers.load(std::memory_order_acquire);
    if (const auto found = current.find(signal); found != current.end())
        for (const Function function : found->second)
            function(signal);
}

void SignalMultiHandler::publish(Handlers changed) {
    versions.push_back(std::make_unique<const Handlers>(std::move(changed)));
    handlers.store(versions.back().get(), std::memory_order_release);
}

void SignalMultiHandler::drop(int signal) {
    Handlers changed = *handlers.load(std::memory_order_relaxed);
    if (changed.erase(signal) != 0)
        publish(std::move(changed));
}

} // namespace norq_std
