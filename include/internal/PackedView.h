#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>
#include <string_view>

namespace norq_std_internal {

/// A text as it lies in a packed store: a byte a unit where all units are below 256, else two bytes a unit, without
/// alignment. So equal texts are equal bytes. A view of what somebody else keeps.
class NORQSTD_EXPORT PackedView {
public:
    PackedView() = default;
    PackedView(const char* first, std::uint32_t count, bool wideUnits)
        : bytes(first)
        , byteCount(count)
        , wide(wideUnits) {}

    bool empty() const { return byteCount == 0; }

    norq_std::WString toString() const;
    /// As `toString`, into a string that keeps its space.
    void copyTo(norq_std::WString& text) const;
    /// `TextHash` of the text.
    std::uint64_t hash() const;

    friend NORQSTD_EXPORT bool operator==(const PackedView& a, const PackedView& b);
    friend NORQSTD_EXPORT bool operator==(const PackedView& a, std::u16string_view b);

private:
    const char* bytes = nullptr;
    std::uint32_t byteCount = 0;
    bool wide = false;
};

} // namespace norq_std_internal
