#include "exception/NorqException.h"

#include "base/ContextLogMessage.h"
#include "base/LogMacros.h"
#include "base/StaticLog.h"
#include "concurrency/ReadWriteLock.h"
#include "internal/FaultTranslation.h"
#include "internal/ReadWriteGuards.h"
#include "internal/ThreadIdMap.h"

#include <utility>

namespace norq_std {

using norq_std_internal::ReadGuard;
using norq_std_internal::WriteGuard;

namespace {

constexpr int KeyValueReaders = 32;

std::shared_ptr<ReadWriteLock> newKeyValuesLock() { return std::make_shared<ReadWriteLock>(KeyValueReaders); }

void logStackTrace(LogEventPriority priority, const WString& function, const NorqException& exception,
                   std::uint32_t line) {
    if (!StaticLog::isThresholdOn(priority))
        return;
    ContextLogMessage::log(priority, function.c_str(), u"NorqStd", u"", norq_std_internal::currentThreadId(),
                           u"NorqException.cpp", line, u"%ls Stack trace <%ls>.", exception.toString().c_str(),
                           exception.getStackTraceString().c_str());
}

} // namespace

NorqException::NorqException(const WString& text)
    : NorqException(text, 0) {}

NorqException::NorqException(const WString& text, const NorqException& cause)
    : NorqException(text, cause.getErrNum(), cause) {}

NorqException::NorqException(const WString& text, std::int32_t number)
    : message(text)
    , errNum(number)
    , stackTrace(generateStackTraceString())
    , keyValuesLock(newKeyValuesLock()) {}

NorqException::NorqException(const WString& text, std::int32_t number, const NorqException& cause)
    : message(text)
    , nested(cause.newInstance())
    , errNum(number)
    , stackTrace(generateStackTraceString())
    , keyValuesLock(newKeyValuesLock())
    , keyValues(cause.getKeyValues()) {}

NorqException::NorqException(const NorqException& other)
    : std::exception(other)
    , Object(other)
    , message(other.message)
    , nested(other.nested ? other.nested->newInstance() : nullptr)
    , errNum(other.errNum)
    , stackTrace(other.stackTrace)
    , keyValuesLock(newKeyValuesLock())
    , keyValues(other.NorqException::getKeyValues()) {}

NorqException& NorqException::operator=(const NorqException& other) {
    if (this == &other)
        return *this;
    // What can fail comes first, so that a failure leaves this object as it was.
    std::unique_ptr<NorqException> nextNested(other.nested ? other.nested->newInstance() : nullptr);
    KeyValues nextKeyValues = other.NorqException::getKeyValues();
    WString nextMessage = other.message;
    WString nextStackTrace = other.stackTrace;

    message = std::move(nextMessage);
    nested = std::move(nextNested);
    errNum = other.errNum;
    stackTrace = std::move(nextStackTrace);
    keyValuesLock = other.keyValuesLock;
    const WriteGuard guard(*keyValuesLock);
    keyValues = std::move(nextKeyValues);
    return *this;
}

NorqException::~NorqException() = default;

NorqException* NorqException::getNestedException() const { return nested ? nested->newInstance() : nullptr; }

WString NorqException::getMessage() const {
    if (!nested)
        return message;
    return message.empty() ? nested->getMessage() : message + u": " + nested->getMessage();
}

std::int32_t NorqException::getErrNum() const { return errNum; }

WString NorqException::getStackTraceString() const {
    return nested ? nested->getStackTraceString() + u"-------- nested by: " + stackTrace : stackTrace;
}

WString NorqException::getKeyValuesString() const {
    WString text = u"KeyValues{";
    const ReadGuard guard(*keyValuesLock);
    const WChar* separator = u"";
    for (const auto& [key, value] : keyValues) {
        text.append(separator).append(key).append(u"=").append(value);
        separator = u",";
    }
    return text.append(u"}");
}

NorqException::KeyValues NorqException::getKeyValues() const {
    const ReadGuard guard(*keyValuesLock);
    return keyValues;
}

WString NorqException::getValue(const WString& key) const {
    const ReadGuard guard(*keyValuesLock);
    const auto found = keyValues.find(key);
    return found == keyValues.end() ? WString() : found->second;
}

void NorqException::setKeyValues(const KeyValues& next) {
    if (&next == &keyValues)
        return;
    const WriteGuard guard(*keyValuesLock);
    keyValues = next;
}

void NorqException::setValue(const WString& key, const WString& value) {
    const WriteGuard guard(*keyValuesLock);
    keyValues[key] = value;
}

void NorqException::logDebug(const WString& function) const { logStackTrace(DEBUG, function, *this, __LINE__); }

void NorqException::logCall(const WString& function) const { logStackTrace(CALL, function, *this, __LINE__); }

void NorqException::logTrace(const WString& function) const { logStackTrace(TRACE, function, *this, __LINE__); }

void NorqException::logDump(const WString& function) const { logStackTrace(DUMP, function, *this, __LINE__); }

WString NorqException::toString() const {
    WString text = getClassName() + u": " + getMessage();
    if (nested)
        text.append(u"; --> nested ").append(nested->toString());
    return text;
}

// The one point where a platform's stack capture would be placed.
WString NorqException::generateStackTraceString() const { return {}; }

void NorqException::installHandler() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::NorqException::installHandler");
    norq_std_internal::installFaultTranslation();
}

WString NorqException::getClassName() const { return u"com.vantrell.exception.NorqException"; }

NorqException* NorqException::newInstance() const { return new NorqException(*this); }

// clang-format off
#define NORQSTD_DEFINE_EXCEPTION(Name, Base, Package)                                                                  \
    Name::Name(const WString& text) : Base(text) {}                                                                    \
    Name::Name(const WString& text, const NorqException& cause) : Base(text, cause) {}                                 \
    Name::Name(const WString& text, std::int32_t number) : Base(text, number) {}                                       \
    Name::Name(const WString& text, std::int32_t number, const NorqException& cause)                                   \
        : Base(text, number, cause) {}                                                                                  \
    Name::Name(const Name& other) = default;                                                                           \
    Name& Name::operator=(const Name& other) = default;                                                                \
    Name::~Name() = default;                                                                                           \
    WString Name::getClassName() const { return Package "." #Name; }                                                   \
    NorqException* Name::newInstance() const { return new Name(*this); }

NORQSTD_DEFINE_EXCEPTION(NorqIllegalArgumentException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqIllegalStateException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqIOException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqObjectNotFoundException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqRuntimeException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqAccessException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqUnknownException, NorqRuntimeException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqBufferOverflowException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqBufferUnderflowException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqTimeoutException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqOutOfResourcesException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqUnsupportedOperationException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqUnhandledException, NorqException, u"com.vantrell.exception")
NORQSTD_DEFINE_EXCEPTION(NorqInterruptedException, NorqException, u"com.vantrell.util.concurrency")
NORQSTD_DEFINE_EXCEPTION(NorqWaitObjectDestroyedException, NorqException, u"com.vantrell.util.concurrency")
NORQSTD_DEFINE_EXCEPTION(NorqAbandonedException, NorqException, u"com.vantrell.util.concurrency")
NORQSTD_DEFINE_EXCEPTION(NorqDeadlockException, NorqException, u"com.vantrell.util.concurrency")
NORQSTD_DEFINE_EXCEPTION(NorqCancellationException, NorqException, u"com.vantrell.util.thread")
NORQSTD_DEFINE_EXCEPTION(NorqExecutionException, NorqException, u"com.vantrell.util.thread")
NORQSTD_DEFINE_EXCEPTION(NorqRejectedExecutionException, NorqException, u"com.vantrell.util.thread")
NORQSTD_DEFINE_EXCEPTION(NorqConnectException, NorqIOException, u"com.vantrell.util.connection")
NORQSTD_DEFINE_EXCEPTION(NorqBackingStoreException, NorqException, u"com.vantrell.util.prefs")
NORQSTD_DEFINE_EXCEPTION(NorqInvalidPreferencesFormatException, NorqException, u"com.vantrell.util.prefs")
NORQSTD_DEFINE_EXCEPTION(NorqXmlException, NorqException, u"com.vantrell.xml")
// clang-format on

} // namespace norq_std
