#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>

namespace norq_std {

// First sketch of the checked front end: the names below are agreed, the rest is to come.

class FormatArgument {
public:
    template <class T>
    FormatArgument(const T& value);
};

template <class... A>
class WideFormat {
public:
    consteval WideFormat(const WChar* format);
    constexpr const WChar* text() const { return format; }

private:
    const WChar* format;
};

namespace detail {

/// Appends the formatted text; throws as StringUtils::sprintfStringAppendVA does.
NORQSTD_EXPORT void formatAppend(WString& target, const WChar* format, std::initializer_list<FormatArgument> arguments);

} // namespace detail
} // namespace norq_std
