#pragma once

#include <string>
#include <string_view>

namespace norq_std_internal::platform {

// Text at the border to the operating system is UTF-8. These two never fail: what is not well formed becomes U+FFFD.
// Contracts about conversion are kept elsewhere; this is for names, messages and diagnostics.

void appendUtf8(std::string& target, std::u16string_view text);
void appendWide(std::u16string& target, std::string_view text);

/// The strict form: false, and nothing is appended, if the text is not well formed.
bool appendWellFormed(std::u16string& target, std::string_view text);

inline std::string toUtf8(std::u16string_view text) {
    std::string result;
    appendUtf8(result, text);
    return result;
}

inline std::u16string toWide(std::string_view text) {
    std::u16string result;
    appendWide(result, text);
    return result;
}

} // namespace norq_std_internal::platform
