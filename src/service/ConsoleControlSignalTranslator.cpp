#include "service/ConsoleControlSignalTranslator.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "log/NorqLoggerSTD.h"
#include "platform/ConsoleControl.h"
#include "platform/Error.h"
#include "platform/Signals.h"
#include "service/ISignalHandler.h"

#include <csignal>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

static_assert(SIGBREAK == platform::BreakSignal);

constexpr std::uint32_t EveryOtherCode = 0xFFFFFFFF;

struct Name {
    std::int64_t number;
    const WChar* text;
};

constexpr Name SignalNames[] = {
    {0, u"Ignored"},       {SIGINT, u"SIGINT"},   {SIGILL, u"SIGILL"},     {SIGFPE, u"SIGFPE"},
    {SIGSEGV, u"SIGSEGV"}, {SIGTERM, u"SIGTERM"}, {SIGBREAK, u"SIGBREAK"}, {SIGABRT, u"SIGABRT"},
};

constexpr Name CodeNames[] = {
    {CTRL_C_EVENT, u"CTRL_C_EVENT"},
    {CTRL_BREAK_EVENT, u"CTRL_BREAK_EVENT"},
    {CTRL_CLOSE_EVENT, u"CTRL_CLOSE_EVENT"},
    {CTRL_LOGOFF_EVENT, u"CTRL_LOGOFF_EVENT"},
    {CTRL_SHUTDOWN_EVENT, u"CTRL_SHUTDOWN_EVENT"},
};

template <std::size_t N>
const WChar* nameOf(const Name (&names)[N], std::int64_t number, const WChar* unknown) {
    for (const Name& name : names)
        if (name.number == number)
            return name.text;
    return unknown;
}

const WChar* signalName(int signal) { return nameOf(SignalNames, signal, u"Unknown signal"); }

const WChar* codeName(std::uint32_t code) { return nameOf(CodeNames, code, u"Unknown control code"); }

} // namespace

ConsoleControlSignalTranslator::ConsoleControlSignalTranslator() {
    resetTranslations();
    if (!platform::installConsoleControlHandler(controlCodeHandler)) {
        const std::int32_t error = ErrorUtils::getLastError();
        NorqLoggerSTD::getInstance().STD2003(
            u"norq_std::ConsoleControlSignalTranslator::ConsoleControlSignalTranslator", error,
            ErrorUtils::getErrorDescription(error).c_str());
    }
}

ConsoleControlSignalTranslator::~ConsoleControlSignalTranslator() {
    platform::removeConsoleControlHandler(controlCodeHandler);
}

const WChar* ConsoleControlSignalTranslator::getSingletonName() { return u"norq_std::ConsoleControlSignalTranslator"; }

void ConsoleControlSignalTranslator::resetTranslations() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ConsoleControlSignalTranslator::resetTranslations");
    const AutoLock<Lock> guard(lock);
    defaultSignal = SIGILL;
    translations = {{CTRL_C_EVENT, SIGINT},
                    {CTRL_BREAK_EVENT, SIGBREAK},
                    {CTRL_CLOSE_EVENT, SIGINT},
                    {CTRL_LOGOFF_EVENT, 0},
                    {CTRL_SHUTDOWN_EVENT, SIGINT}};
}

void ConsoleControlSignalTranslator::setTranslationForCode(std::uint32_t code, int signal) {
    NORQ_LOG(DEBUG, u"norq_std::ConsoleControlSignalTranslator::setTranslationForCode",
             u"Now using signal (%d:%ls) for control code (%d:%ls)", signal, signalName(signal),
             static_cast<std::int32_t>(code), codeName(code));
    if (signal != 0 && !platform::isSignal(signal))
        throw NorqIllegalArgumentException(StringUtils::format(u"There is no signal %d.", signal),
                                           platform::InvalidParameter);
    const AutoLock<Lock> guard(lock);
    if (code == EveryOtherCode)
        defaultSignal = signal;
    else
        translations[code] = signal;
}

void ConsoleControlSignalTranslator::ignoreControlCode(std::uint32_t code) { setTranslationForCode(code, 0); }

std::int32_t ConsoleControlSignalTranslator::controlCodeHandler(std::uint32_t code) {
    constexpr const WChar* Function = u"norq_std::ConsoleControlSignalTranslator::controlCodeHandler";
    const int signal = getInstance().signalOf(code);
    if (signal == 0) {
        NORQ_LOG(DEBUG, Function, u"Handling control code: (%d:%ls).  Ignoring.", static_cast<std::int32_t>(code),
                 codeName(code));
        return 1;
    }
    NORQ_LOG(DEBUG, Function, u"Handling control code: (%d:%ls).  Translating to signal: (%d:%ls).",
             static_cast<std::int32_t>(code), codeName(code), signal, signalName(signal));
    platform::raiseSignal(signal);
    return 1;
}

int ConsoleControlSignalTranslator::signalOf(std::uint32_t code) const {
    const AutoLock<Lock> guard(lock);
    const auto found = translations.find(code);
    return found == translations.end() ? defaultSignal : found->second;
}

} // namespace norq_std
