#include "base/StringUtils.h"

#include "exception/NorqException.h"
#include "internal/WideFormatter.h"

#include <cxxabi.h>

#include <new>

namespace norq_std_internal {

namespace {

using norq_std::NorqException;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqOutOfResourcesException;

template <class Arguments>
void formatTranslating(FormatBuffer& out, const norq_std::WChar* format, Arguments&& arguments) {
    if (format == nullptr)
        throw NorqIllegalArgumentException(u"Format string cannot be null!");
    try {
        formatInto(out, format, arguments);
    } catch (const std::bad_alloc&) {
        throw NorqOutOfResourcesException(u"Unable to allocate enough memory to print log statement.");
    } catch (const NorqException& e) {
        throw NorqIllegalArgumentException(norq_std::WString(u"Unable to format string: ") + format, e);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        throw NorqIllegalArgumentException(norq_std::WString(u"Unable to format string: ") + format);
    }
}

} // namespace

void formatOrThrow(FormatBuffer& out, const norq_std::WChar* format, std::va_list arguments) {
    formatTranslating(out, format, arguments);
}

void formatOrThrow(FormatBuffer& out, const norq_std::WChar* format,
                   std::initializer_list<norq_std::FormatArgument> arguments) {
    formatTranslating(out, format, arguments);
}

} // namespace norq_std_internal

namespace norq_std {

namespace {

template <class Arguments>
void appendFormatted(WString& target, const WChar* format, Arguments&& arguments) {
    norq_std_internal::FormatBuffer buffer;
    norq_std_internal::formatOrThrow(buffer, format, arguments);
    try {
        target.append(buffer.text());
    } catch (const std::bad_alloc&) {
        throw NorqOutOfResourcesException(u"Unable to allocate enough memory to print log statement.");
    }
}

} // namespace

WString StringUtils::nullCheckedString(const WChar* text) { return text == nullptr ? u"NULL" : text; }

void StringUtils::sprintfStringAppend(WString& target, const WChar* format, ...) {
    // A class, so that the list is ended on every road out.
    struct List {
        ~List() { va_end(arguments); }
        std::va_list arguments;
    } list;
    va_start(list.arguments, format);
    sprintfStringAppendVA(target, list.arguments, format);
}

void StringUtils::sprintfStringAppendVA(WString& target, std::va_list arguments, const WChar* format) {
    appendFormatted(target, format, arguments);
}

void detail::formatAppend(WString& target, const WChar* format, std::initializer_list<FormatArgument> arguments) {
    appendFormatted(target, format, arguments);
}

} // namespace norq_std
