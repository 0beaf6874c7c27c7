#pragma once

#include "base/WString.h"

#include <string>

namespace norq_std_internal {

/// A whole number in decimal.
template <class T>
norq_std::WString numberText(T number) {
    const std::string text = std::to_string(number);
    return norq_std::WString(text.begin(), text.end());
}

} // namespace norq_std_internal
