#include "base/ErrorUtils.h"

#include "base/InternalLog.h"
#include "base/LogCallSite.h"
#include "base/StaticLog.h"
#include "base/StringUtils.h"
#include "exception/NorqException.h"
#include "internal/ThreadIdMap.h"
#include "platform/Error.h"

#include <charconv>
#include <cxxabi.h>

namespace norq_std {
namespace {

constexpr const WChar* Leaf = detail::pathLeaf(u"ErrorUtils.cpp");

template <class Number>
WString decimalText(Number number) {
    char digits[24];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    return WString(static_cast<const char*>(digits), end);
}

template <class Check>
bool rejects(Check check) {
    try {
        check();
        return false;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return true;
    }
}

} // namespace

WString ErrorUtils::signedText(std::int64_t value) { return decimalText(value); }

WString ErrorUtils::unsignedText(std::uint64_t value) { return decimalText(value); }

void ErrorUtils::logDebug(const WChar* function, const WString& message) {
    if (StaticLog::isThresholdOn(DEBUG))
        StaticLog::log(DEBUG, StringUtils::nullCheckedString(function), message, u"NorqStd", WString(),
                       norq_std_internal::currentThreadId(), Leaf, __LINE__);
}

void ErrorUtils::rejectNull(const WChar* function, const WString& name, std::int32_t errNum) {
    const WString message = name + u" value is NULL.";
    if (__internal_debug_on())
        __internal_debug(function, Leaf, __LINE__, u"%ls", message.c_str());
    throw NorqIllegalArgumentException(message, errNum);
}

void ErrorUtils::rejectNotNull(const WChar* function, const WString& name, std::int32_t errNum) {
    const WString message = name + u" value is not NULL.";
    if (__internal_debug_on())
        __internal_debug(function, Leaf, __LINE__, u"%ls", message.c_str());
    throw NorqIllegalArgumentException(message, errNum);
}

void ErrorUtils::rejectEmpty(const WChar* function, const WString& name, std::int32_t errNum) {
    const WString message = name + u" value is empty.";
    logDebug(function, message);
    throw NorqIllegalArgumentException(message, errNum);
}

void ErrorUtils::rejectBelow(const WString& value, const WString& minimum, const WChar* function, const WString& name,
                             std::int32_t errNum) {
    WString message;
    StringUtils::sprintfStringAppend(message, u"%ls value %ls is below minimum of %ls.", name.c_str(), value.c_str(),
                                     minimum.c_str());
    logDebug(function, message);
    throw NorqIllegalArgumentException(message, errNum);
}

void ErrorUtils::rejectAbove(const WString& value, const WString& maximum, const WChar* function, const WString& name,
                             std::int32_t errNum) {
    WString message;
    StringUtils::sprintfStringAppend(message, u"%ls value %ls is above maximum of %ls.", name.c_str(), value.c_str(),
                                     maximum.c_str());
    logDebug(function, message);
    throw NorqIllegalArgumentException(message, errNum);
}

void ErrorUtils::rejectOutside(const RangeTexts& range, const WChar* function, const WString& name,
                               std::int32_t errNum) {
    WString message;
    StringUtils::sprintfStringAppend(message, u"%ls value %ls is outside minimum of %ls and maximum of %ls.",
                                     name.c_str(), range.value.c_str(), range.minimum.c_str(), range.maximum.c_str());
    logDebug(function, message);
    throw NorqIllegalArgumentException(message, errNum);
}

void ErrorUtils::rejectNotEqual(const WString& expected, const WChar* function, const WString& name,
                                std::int32_t errNum) {
    WString message;
    StringUtils::sprintfStringAppend(message, u"%ls value is not equal to %ls.", name.c_str(), expected.c_str());
    logDebug(function, message);
    throw NorqIllegalArgumentException(message, errNum);
}

void ErrorUtils::rejectEqual(const WString& other, const WChar* function, const WString& name, std::int32_t errNum) {
    WString message;
    StringUtils::sprintfStringAppend(message, u"%ls value is equal to %ls.", name.c_str(), other.c_str());
    logDebug(function, message);
    throw NorqIllegalArgumentException(message, errNum);
}

bool ErrorUtils::isNull(const void* pointer, const WChar* function, const WString& name, std::int32_t errNum) {
    return rejects([&] { isNullEx(pointer, function, name, errNum); });
}

bool ErrorUtils::isNotNull(const void* pointer, const WChar* function, const WString& name, std::int32_t errNum) {
    return rejects([&] { isNotNullEx(pointer, function, name, errNum); });
}

std::int32_t ErrorUtils::getLastError() { return norq_std_internal::platform::lastError(); }

WString ErrorUtils::getWindowsErrorDescription(std::int32_t code) {
    WString description = decimalText(code) + u":";
    try {
        WString text = norq_std_internal::platform::errorDescription(code);
        text.erase(text.find_last_not_of(u" \t\n\v\f\r") + 1);
        return description + text;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return description + u"An unexpected error occurred calling FormatMessage.";
    }
}

WString ErrorUtils::getErrorDescription(std::int32_t code) { return getWindowsErrorDescription(code); }

WString ErrorUtils::getLastErrorDescription() { return getErrorDescription(getLastError()); }

} // namespace norq_std
