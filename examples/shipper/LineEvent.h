#pragma once

#include "LineDecoder.h"

#include "base/JsonNumber.h"
#include "base/JsonObject.h"
#include "base/JsonString.h"
#include "base/WString.h"

#include <cstdint>
#include <memory>

namespace shipper {

/// Where a line comes from.
struct LinePosition {
    const std::shared_ptr<const norq_std::WString>& source;
    std::uint64_t line;
    std::uint32_t part; ///< from 1 for a piece of a very long line, else 0
};

/// Makes the events of lines as JSON: "source", "line", "text", "time" where the line tells one, and what is out of the
/// ordinary: "encoding" if the line is not UTF-8, "nulBytes" if it has any, "part" if it is a piece.
///
/// It keeps one object for the lines that have only what is usual, and gives it the values of each line: an object made
/// anew costs a dozen allocations. For one thread.
class LineEventMaker {
public:
    LineEventMaker();

    norq_std::WString make(const LinePosition& position, const DecodedLine& decoded);

private:
    void setUsual(const LinePosition& position, const norq_std::WString& lineText);

    norq_std::JsonObject usual;
    std::shared_ptr<const norq_std::WString> usualSource; ///< that is set
    norq_std::WString lineTime;
    std::shared_ptr<norq_std::JsonString> source, text, time;
    std::shared_ptr<norq_std::JsonNumber> line;
};

/// The first date with a time of day, such as "2024-03-07 09:05:02", in the usual form; empty if there is none near the
/// beginning of the line.
void findTime(const norq_std::WString& text, norq_std::WString& time);

} // namespace shipper
