#pragma once

#include "base/WString.h"

#include <string_view>
#include <vector>

namespace norq_std_internal {

/// The words of a text, by the quoting rules of a POSIX shell and without any expansion. Throws
/// `NorqIllegalArgumentException` for an open quote and a backslash with nothing behind it.
std::vector<norq_std::WString> splitArguments(std::u16string_view text);

} // namespace norq_std_internal
