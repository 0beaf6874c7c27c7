#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdint>

namespace norq_std {

/// A point of wall-clock time, or a span of time, as seconds and nanoseconds.
///
/// Every operation leaves the nanoseconds in 0 to 999,999,999; the seconds carry the sign. A value, not safe for
/// concurrent writing.
class NORQSTD_EXPORT TimeSpec {
public:
    TimeSpec() = default;
    TimeSpec(std::int64_t wholeSeconds, std::int32_t furtherNanoseconds);
    TimeSpec(const TimeSpec& other) = default;
    TimeSpec& operator=(const TimeSpec& other) = default;
    virtual ~TimeSpec();

    virtual WString toString() const;

    /// The wall clock, at millisecond resolution.
    static TimeSpec getCurrentTime();

    bool operator==(const TimeSpec& other) const = default;
    TimeSpec operator+(const TimeSpec& other) const;
    TimeSpec operator-(const TimeSpec& other) const;
    TimeSpec& operator+=(const TimeSpec& other);
    TimeSpec& operator-=(const TimeSpec& other);
    void addMilliseconds(std::int32_t ms);

    std::int64_t getSeconds() const { return seconds; }
    std::int32_t getNanoseconds() const { return nanoseconds; }
    void setSeconds(std::int64_t value);
    void setNanoseconds(std::int32_t value);

private:
    void normalize();

    std::int64_t seconds = 0;
    std::int32_t nanoseconds = 0;
};

} // namespace norq_std
