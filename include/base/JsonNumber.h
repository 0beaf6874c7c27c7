#pragma once

#include "base/JsonAware.h"

namespace norq_std {

/// A JSON number: always a double, so that an integer above 2^53 loses precision.
class NORQSTD_EXPORT JsonNumber : public JsonAware {
public:
    JsonNumber() = default;
    explicit JsonNumber(double value)
        : number(value) {}
    JsonNumber(const JsonNumber&) = default;
    JsonNumber& operator=(const JsonNumber&) = default;

    WString toJsonString() const override;
    ~JsonNumber() override;

    double value() const { return number; }
    void value(double newValue) { number = newValue; }

    /// Decimal text, "nan" and "infinity" (also "inf") in either case, with or without a sign; anything else, white
    /// space included, and a number too large for a double, throws `NorqIllegalArgumentException`. A point is a point
    /// in every locale.
    static double fromString(const WString& text);

    /// Up to 17 significant digits, enough to read the same double back; "nan" or "infinity" for what is not finite,
    /// with
    /// "-" where it is negative.
    static WString toString(double number);

private:
    double number = 0;
};

} // namespace norq_std
