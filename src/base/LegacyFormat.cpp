// The formatting functions of the older interface: no limit, and no exceptions.

#include "base/LegacyText.h"
#include "exception/NorqException.h"
#include "internal/WideFormatter.h"

#include <cxxabi.h>
#include <new>

namespace NorqStd {

using norq_std::WChar;
using norq_std::WString;

namespace {

using norq_std_internal::FormatBuffer;
using norq_std_internal::FormatDialect;

/// Ends a list on every road out.
struct List {
    ~List() { va_end(arguments); }
    std::va_list arguments;
};

/// False, with nothing in `text`, if nothing can be made of it.
bool formatUnlimited(WString& text, const WChar* format, std::va_list arguments, FormatDialect dialect) {
    if (format == nullptr)
        return false;
    try {
        FormatBuffer buffer(FormatBuffer::unlimited);
        norq_std_internal::formatInto(buffer, format, arguments, dialect);
        text = buffer.text();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const norq_std::NorqException&) {
        return false;
    }
}

} // namespace

void sprintfStringAppendVA(SWString& target, std::va_list arguments, const WChar* format) {
    WString text;
    if (formatUnlimited(text, format, arguments, FormatDialect::Wide))
        target.append(text);
}

void sprintfStringAppendVA(SWString& target, std::va_list arguments, const char* format) {
    WString text;
    if (format != nullptr &&
        formatUnlimited(text, SWString(format, CODE_MBCS, 0).c_str(), arguments, FormatDialect::Narrow))
        target.append(SWString(text).mb_str(0), 0U); // what code page 0 lacks does not survive
}

SWString sprintfStringVA(std::va_list arguments, const WChar* format) {
    SWString text;
    sprintfStringAppendVA(text, arguments, format);
    return text;
}

SWString sprintfStringVA(std::va_list arguments, const char* format) {
    SWString text;
    sprintfStringAppendVA(text, arguments, format);
    return text;
}

SWString sprintfString(const WChar* format, ...) {
    List list;
    va_start(list.arguments, format);
    return sprintfStringVA(list.arguments, format);
}

SWString sprintfString(const char* format, ...) {
    List list;
    va_start(list.arguments, format);
    return sprintfStringVA(list.arguments, format);
}

void sprintfStringAppend(SWString& target, const WChar* format, ...) {
    List list;
    va_start(list.arguments, format);
    sprintfStringAppendVA(target, list.arguments, format);
}

void sprintfStringAppend(SWString& target, const char* format, ...) {
    List list;
    va_start(list.arguments, format);
    sprintfStringAppendVA(target, list.arguments, format);
}

} // namespace NorqStd
