#pragma once

#include "base/WideFormat.h"
#include "internal/FormatBuffer.h"

#include <cstdarg>
#include <initializer_list>

namespace norq_std_internal {

/// One pass of the wide printf dialect (base/WideFormat.h) into a buffer.
///
/// A conversion that is unknown, cut off or does not fit its argument throws `NorqIllegalArgumentException` and takes
/// no argument.
void formatInto(FormatBuffer& out, const norq_std::WChar* format, std::va_list arguments);
void formatInto(FormatBuffer& out, const norq_std::WChar* format,
                std::initializer_list<norq_std::FormatArgument> arguments);

} // namespace norq_std_internal
