#pragma once

#include "base/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace norq_std_internal {

/// The time at the head of a log line, "2024-03-07 09:05:02:041 " in local time.
///
/// Lines come many a second, so the text is kept and only its milliseconds are written anew: the zone is looked at
/// again for another second, or after a change of it that `platform::zoneName` has told. One thread at a time.
class NORQSTD_EXPORT LogTimeText {
public:
    static constexpr std::size_t longest = 48;

    /// The text, which stays until the next call; empty if the year is out of range.
    std::string_view of(std::int64_t second, int milliseconds) noexcept;

private:
    void renew(std::int64_t second, std::uint32_t zone) noexcept;

    bool known = false;
    std::uint32_t generation = 0;
    std::int64_t seconds = 0;
    std::size_t length = 0;
    std::array<char, longest> text{};
};

} // namespace norq_std_internal
