#include "concurrency/TimeSpec.h"

#include "internal/NumberText.h"

#include <chrono>

namespace norq_std {

namespace {

constexpr std::int32_t NANOSECONDS_PER_SECOND = 1'000'000'000;

/// Seconds wrap around at the ends of their range.
std::int64_t add(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

std::int64_t subtract(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

} // namespace

TimeSpec::TimeSpec(std::int64_t wholeSeconds, std::int32_t furtherNanoseconds)
    : seconds(wholeSeconds)
    , nanoseconds(furtherNanoseconds) {
    normalize();
}

TimeSpec::~TimeSpec() = default;

WString TimeSpec::toString() const {
    return u"TimeSpec{seconds=" + norq_std_internal::numberText(seconds) + u",nanoseconds=" +
           norq_std_internal::numberText(nanoseconds) + u"}";
}

TimeSpec TimeSpec::getCurrentTime() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto ms = std::chrono::floor<std::chrono::milliseconds>(now).count();
    return TimeSpec(ms / 1000, static_cast<std::int32_t>(ms % 1000) * 1'000'000);
}

TimeSpec TimeSpec::operator+(const TimeSpec& other) const {
    TimeSpec sum(*this);
    return sum += other;
}

TimeSpec TimeSpec::operator-(const TimeSpec& other) const {
    TimeSpec difference(*this);
    return difference -= other;
}

TimeSpec& TimeSpec::operator+=(const TimeSpec& other) {
    seconds = add(seconds, other.seconds);
    nanoseconds += other.nanoseconds;
    normalize();
    return *this;
}

TimeSpec& TimeSpec::operator-=(const TimeSpec& other) {
    seconds = subtract(seconds, other.seconds);
    nanoseconds -= other.nanoseconds;
    normalize();
    return *this;
}

void TimeSpec::addMilliseconds(std::int32_t ms) {
    seconds = add(seconds, ms / 1000);
    nanoseconds += (ms % 1000) * 1'000'000;
    normalize();
}

void TimeSpec::setSeconds(std::int64_t value) {
    seconds = value;
    normalize();
}

void TimeSpec::setNanoseconds(std::int32_t value) {
    nanoseconds = value;
    normalize();
}

void TimeSpec::normalize() {
    if (nanoseconds >= NANOSECONDS_PER_SECOND) {
        seconds = add(seconds, nanoseconds / NANOSECONDS_PER_SECOND);
        nanoseconds %= NANOSECONDS_PER_SECOND;
    }
    while (nanoseconds < 0) {
        seconds = subtract(seconds, 1);
        nanoseconds += NANOSECONDS_PER_SECOND;
    }
}

} // namespace norq_std
