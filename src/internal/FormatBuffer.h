#pragma once

#include "base/WString.h"
#include "internal/AsciiRuns.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace norq_std_internal {

/// The text that one formatting builds: on the stack while it is short, and never more than its limit.
///
/// What would pass the limit sets `overflowed`; the text is lost from there on and every further append does nothing.
/// Local to one thread.
class FormatBuffer {
public:
    using WChar = norq_std::WChar;

    static constexpr std::size_t limit = 16384;
    static constexpr std::size_t unlimited = 0x7FFFFFFE; ///< the longest text that a printf function can report
    static constexpr std::size_t unbounded = static_cast<std::size_t>(-1);

    FormatBuffer() = default;
    explicit FormatBuffer(std::size_t largestText)
        : most(largestText) {}
    FormatBuffer(const FormatBuffer&) = delete;
    FormatBuffer& operator=(const FormatBuffer&) = delete;

    /// Space for `count` more units, which the caller fills; null once the limit is passed.
    WChar* claim(std::size_t count) {
        if (count > room() && !grow(count)) [[unlikely]]
            return nullptr;
        WChar* units = next;
        next += count;
        return units;
    }

    void append(WChar unit) {
        if (WChar* to = claim(1))
            *to = unit;
        holdsZero |= unit == 0;
    }

    /// Appends up to the first zero or percent sign, and gives the number of units.
    std::size_t appendLiteral(const WChar* text) { return appendUnits(text, unbounded, u'%'); }

    void fill(std::size_t count, WChar unit) {
        if (WChar* to = claim(count))
            std::fill_n(to, count, unit);
    }

    /// Appends up to the first zero unit, and at most `bound` units.
    void appendText(const WChar* text, std::size_t bound) { appendUnits(text, bound, 0); }

    /// Appends a word of ours, cut to `bound` units.
    void appendWord(std::u16string_view word, std::size_t bound) {
        word = word.substr(0, bound);
        if (WChar* to = claim(word.size()))
            std::copy(word.begin(), word.end(), to);
    }

    /// Appends UTF-8 up to the first zero byte, and at most `bound` bytes; a byte that is not part of a well-formed
    /// character becomes the unit of its value. `cutsText` says that the bound may lie inside the text: a character
    /// that it cuts is left out.
    void appendUtf8(const char* text, std::size_t bound, bool cutsText);

    /// Brings the text from `start` on to `width` units with spaces on the side away from `left`.
    void pad(std::size_t start, std::size_t width, bool left);

    std::size_t size() const { return static_cast<std::size_t>(next - first); }
    bool overflowed() const { return lost; }
    std::size_t largest() const { return most; }

    /// What was built, up to its first zero unit; nothing if it passed the limit.
    std::u16string_view text() const {
        const std::u16string_view built(first, size());
        return holdsZero ? built.substr(0, built.find(u'\0')) : built;
    }

private:
    std::size_t room() const { return static_cast<std::size_t>(last - next); }
    bool grow(std::size_t count);

    /// Copies units up to a zero, the bound or `stop`; gives the number of units read.
    std::size_t appendUnits(const WChar* text, std::size_t bound, WChar stop) {
        return appendRun(
            text, bound, [&](WChar unit) { return unit == 0 || unit == stop; },
            [&](const WChar* from, std::size_t count) { return copyUntil(from, count, stop, next); });
    }

    /// Copies up to the bound or a unit that `ends` the run, as many as there is room for with each `copy`; gives the
    /// number of units read.
    template <class Unit, class Ends, class Copy>
    std::size_t appendRun(const Unit* text, std::size_t bound, Ends ends, Copy copy) {
        std::size_t read = 0;
        for (;;) {
            const std::size_t chunk = std::min(room(), bound - read);
            const std::size_t copied = copy(text + read, chunk);
            next += copied;
            read += copied;
            // Room alone has ended: the text may end here as well.
            if (copied < chunk || read == bound || ends(text[read]) || !grow(1))
                return read;
        }
    }

    static constexpr std::size_t inlineSize = 512;

    WChar inlineUnits[inlineSize];
    std::unique_ptr<WChar[]> heapUnits;
    WChar* first = inlineUnits;
    WChar* next = inlineUnits;
    WChar* last = inlineUnits + inlineSize;
    std::size_t most = limit;
    bool lost = false;
    bool holdsZero = false; // only single units can bring one in
};

} // namespace norq_std_internal
