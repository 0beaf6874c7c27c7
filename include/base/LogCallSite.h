#pragma once

#include "base/WString.h"

#include <cstdint>
#include <string_view>

namespace norq_std {

/// Where a log statement stands, made once at compile time and never copied.
struct LogCallSite {
    std::u16string_view function; ///< qualified name
    std::u16string_view module;
    std::u16string_view file; ///< leaf of the source path
    std::uint32_t line;
};

namespace detail {

/// The part behind the last slash or backslash, whichever comes later.
constexpr const WChar* pathLeaf(const WChar* path) {
    const WChar* leaf = path;
    for (const WChar* p = path; *p != 0; ++p)
        if (*p == u'/' || *p == u'\\')
            leaf = p + 1;
    return leaf;
}

} // namespace detail
} // namespace norq_std
