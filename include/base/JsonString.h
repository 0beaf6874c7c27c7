#pragma once

#include "base/JsonAware.h"

#include <string_view>

namespace norq_std {

/// A JSON string. It holds the text as it is meant, without escapes.
class NORQSTD_EXPORT JsonString : public JsonAware {
public:
    JsonString() = default;
    explicit JsonString(const WString& value);
    explicit JsonString(WString&& value) noexcept;
    explicit JsonString(std::u16string_view value);
    /// A null pointer throws `NorqIllegalArgumentException`.
    explicit JsonString(const WChar* value);
    JsonString(const JsonString&) = default;
    JsonString& operator=(const JsonString&) = default;

    /// In quotes, escaped.
    WString toJsonString() const override;
    ~JsonString() override;

    bool operator==(const JsonString& other) const { return text == other.text; }

    const WString& str() const { return text; }
    void str(const WString& value) { text = value; }

    /// Puts a backslash form in place of backspace, tab, line feed, form feed, carriage return, quote, slash and
    /// backslash. All other units, other control characters among them, go through as they are.
    static WString escape(const WString& text);

    /// Undoes `escape`, and resolves `\u` with four hexadecimal digits to one unit. A backslash at the end is dropped;
    /// an unknown or incomplete form throws `NorqIllegalArgumentException`.
    static WString unescape(const WString& text);

private:
    WString text;
};

} // namespace norq_std
