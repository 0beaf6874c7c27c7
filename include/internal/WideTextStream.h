#pragma once

#include "base/WString.h"

#include <cstddef>
#include <string_view>
#include <utility>

namespace norq_std_internal {

/// A growing wide text that is written to in order. The standard streams cannot serve: the C++ library has no facets
/// for the wide unit. Belongs to one thread.
class WideTextStream {
public:
    void reserve(std::size_t units) { text.reserve(units); }

    WideTextStream& operator<<(norq_std::WChar unit) {
        text += unit;
        return *this;
    }
    WideTextStream& operator<<(std::u16string_view units) {
        text += units;
        return *this;
    }

    const norq_std::WString& str() const { return text; }
    /// Hands the text over and is empty again.
    norq_std::WString take() { return std::exchange(text, {}); }

private:
    norq_std::WString text;
};

} // namespace norq_std_internal
