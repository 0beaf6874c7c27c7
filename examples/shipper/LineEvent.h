#pragma once

#include "LineDecoder.h"

#include "base/WString.h"

#include <cstdint>

namespace shipper {

/// Where a line comes from.
struct LinePosition {
    const norq_std::WString& source;
    std::uint64_t line;
    std::uint32_t part; ///< from 1 for a piece of a very long line, else 0
};

/// The event of one line as JSON: "source", "line", "text", "time" where the line tells one, and what is out of the
/// ordinary: "encoding" if the line is not UTF-8, "nulBytes" if it has any, "part" if it is a piece.
norq_std::WString makeEvent(const LinePosition& position, const DecodedLine& decoded);

/// The first date with a time of day, such as "2024-03-07 09:05:02", in the usual form; empty if there is none near the
/// beginning of the line.
norq_std::WString findTime(const norq_std::WString& text);

} // namespace shipper
