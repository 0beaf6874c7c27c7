#pragma once

#include "base/WideFormat.h"
#include "internal/FormatBuffer.h"

#include <cstdarg>
#include <cstdint>
#include <initializer_list>

namespace norq_std_internal {

/// Which text a bare `%s` or `%c` takes, and what narrow text is.
enum class FormatDialect : std::uint8_t {
    Wide,   ///< wide text; narrow text is UTF-8
    Narrow, ///< narrow text, in code page 0; a bare `%S` or `%C` takes wide text
};

/// One pass of the wide printf dialect (base/WideFormat.h) into a buffer.
///
/// A conversion that is unknown, cut off or does not fit its argument throws `NorqIllegalArgumentException` and takes
/// no argument.
void formatInto(FormatBuffer& out, const norq_std::WChar* format, std::va_list arguments,
                FormatDialect dialect = FormatDialect::Wide);
void formatInto(FormatBuffer& out, const norq_std::WChar* format,
                std::initializer_list<norq_std::FormatArgument> arguments);

/// The same with the failures of `StringUtils::sprintfStringAppend`.
void formatOrThrow(FormatBuffer& out, const norq_std::WChar* format, std::va_list arguments);
void formatOrThrow(FormatBuffer& out, const norq_std::WChar* format,
                   std::initializer_list<norq_std::FormatArgument> arguments);

} // namespace norq_std_internal
