#pragma once

#include "base/WString.h"

#include <cstddef>
#include <cstring>

namespace norq_std_internal {

/// Collects small pieces of JSON text and appends them to a string in large ones. `flush` ends it.
class JsonOutput {
public:
    using WChar = norq_std::WChar;

    explicit JsonOutput(norq_std::WString& text)
        : target(text) {}
    JsonOutput(const JsonOutput&) = delete;
    JsonOutput& operator=(const JsonOutput&) = delete;

    void put(WChar unit) {
        if (used == size)
            flush();
        units[used++] = unit;
    }

    void append(const WChar* text, std::size_t count) {
        if (count > size - used) {
            flush();
            if (count > size) {
                target.append(text, count);
                return;
            }
        }
        std::memcpy(units + used, text, count * sizeof(WChar));
        used += count;
    }

    /// In quotes, escaped.
    void appendString(const norq_std::WString& text);
    void appendEscaped(const norq_std::WString& text);
    void appendNumber(double number);

    void flush() {
        target.append(units, used);
        used = 0;
    }

private:
    static constexpr std::size_t size = 2048;
    /// How much of a text is escaped at a time.
    static constexpr std::size_t sliceSize = 512;

    /// Makes room for the escaped form of `count` units in quotes, and for the blocks in which it is written.
    void reserveEscaped(std::size_t count);

    norq_std::WString& target;
    std::size_t used = 0;
    WChar units[size];
};

} // namespace norq_std_internal
