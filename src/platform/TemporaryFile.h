#pragma once

#include "base/Export.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace norq_std_internal::platform {

/// Creates a file that did not exist, for writing; the six X at the end of the path become random characters. It gets
/// the permissions of the file at `model` where there is one. Null, with the last error, on failure. Programs that the
/// process starts do not inherit it.
NORQSTD_EXPORT std::FILE* createTemporaryFile(std::u16string& path, std::u16string_view model);

} // namespace norq_std_internal::platform
