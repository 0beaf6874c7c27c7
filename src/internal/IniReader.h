#pragma once

#include "base/ThreadAnnotations.h"
#include "base/WString.h"

#include <string_view>

namespace norq_std {
class Configuration;
class ConfigurationSection;
} // namespace norq_std

namespace norq_std_internal {

/// Reads a text of the `.cfg` format, in pieces that end in a line feed, into a new configuration that nobody else
/// knows yet.
class IniReader {
public:
    // The configuration is this thread's alone, so nothing here takes its lock.

    explicit IniReader(norq_std::Configuration& target) NORQ_NO_THREAD_SAFETY_ANALYSIS;

    /// Returns the first line separator of the piece, empty if it has no line end.
    std::u16string_view read(std::u16string_view text);

private:
    /// `text` is trimmed.
    void readLine(std::u16string_view text);
    void readHead(std::u16string_view text) NORQ_NO_THREAD_SAFETY_ANALYSIS;
    void readEntry(std::u16string_view text);
    /// The key of a line that holds escapes, into `key`; returns the place of the separator, `npos` if there is none.
    std::size_t scanKey(std::u16string_view text);

    norq_std::Configuration& configuration;
    norq_std::ConfigurationSection* section;
    norq_std::WString key; // kept between lines for its space
};

} // namespace norq_std_internal
