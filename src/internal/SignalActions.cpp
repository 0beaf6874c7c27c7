#include "internal/SignalActions.h"

#include "base/ErrorUtils.h"
#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "platform/Error.h"
#include "platform/Signals.h"

#include <csignal>

namespace norq_std_internal {

using norq_std::ErrorUtils;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqOutOfResourcesException;
using norq_std::StringUtils;
using norq_std::WString;

namespace {

void check(bool succeeded, int signal) {
    if (succeeded)
        return;
    const std::int32_t error = platform::lastError();
    if (error == platform::InvalidParameter)
        throw NorqIllegalArgumentException(StringUtils::format(u"The signal %d cannot be handled.", signal), error);
    const WString description = ErrorUtils::getErrorDescription(error);
    throw NorqOutOfResourcesException(
        StringUtils::format(u"The signal %d cannot be handled: %ls", signal, description.c_str()), error);
}

} // namespace

void SignalActions::ignore(int signal) { check(platform::ignoreSignal(signal), signal); }

void SignalActions::useDefault(int signal) { check(platform::setSignalDefault(signal), signal); }

void SignalActions::checkHandler(int signal, void (*handler)(int)) {
    if (handler == nullptr || handler == SIG_IGN || handler == SIG_ERR)
        throw NorqIllegalArgumentException(StringUtils::format(u"The handler of the signal %d is none.", signal),
                                           platform::InvalidParameter);
}

void SignalActions::call(int signal, void (*handler)(int)) {
    checkHandler(signal, handler);
    check(platform::setSignalFunction(signal, handler), signal);
}

} // namespace norq_std_internal
