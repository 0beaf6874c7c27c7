#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace norq_std_internal {

/// The lines of a section in order, packed: keys with their values, each key once, and comments.
///
/// All texts lie in one buffer, so that a large section is a few blocks of memory and copying it is copying them. Keys
/// are found through a table of hashes. A changed value takes the place of the old one if it fits, else the line moves
/// to the end of the buffer; what is left behind, and removed lines, are cleared away once they are half of everything.
/// So every operation takes the same time, on average, however many lines there are.
///
/// Texts that are given may not be part of the list; views that are returned are good until the next change. A list
/// holds fewer than 2^32 lines and units, what would pass that throws `std::length_error`. No lock.
class NORQSTD_EXPORT LineList {
public:
    struct Line {
        std::u16string_view key;  ///< empty for a comment or a blank line
        std::u16string_view text; ///< the value of the key, or the comment
    };

    LineList() = default;
    LineList(const LineList& other) = default;
    LineList(LineList&& other) noexcept { swap(other); }
    LineList& operator=(const LineList& other) = default;
    LineList& operator=(LineList&& other) noexcept {
        swap(other);
        return *this;
    }
    ~LineList() = default;

    void swap(LineList& other) noexcept;

    std::size_t size() const { return lines.size() - removed; }

    /// About how many units the lines have as text.
    std::size_t estimateSize() const { return units.size() + 3 * lines.size(); }

    bool contains(std::u16string_view key) const { return find(key) != NONE; }
    /// The value of the key, with null data if it is not there.
    std::u16string_view value(std::u16string_view key) const {
        const std::uint32_t number = find(key);
        return number == NONE ? std::u16string_view() : valueOf(lines[number]);
    }
    /// Sets the value of the key where it stands, or adds a line. The key is not empty.
    void put(std::u16string_view key, std::u16string_view value);
    void addComment(std::u16string_view comment);
    bool remove(std::u16string_view key);
    void clear();

    template <class F>
    void forEach(F visit) const {
        for (const Record& line : lines)
            if (!line.isRemoved())
                visit(Line{keyOf(line), valueOf(line)});
    }

private:
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;

    /// A line's key and, right behind it, its text.
    struct Record {
        std::uint32_t offset;
        std::uint32_t keyLength; // NONE if the line was removed
        std::uint32_t textLength;

        bool isRemoved() const { return keyLength == NONE; }
    };
    struct Slot {
        std::uint32_t hash;
        std::uint32_t line; // NONE if the slot is free
    };

    std::u16string_view keyOf(const Record& line) const { return {units.data() + line.offset, line.keyLength}; }
    std::u16string_view valueOf(const Record& line) const {
        return {units.data() + line.offset + line.keyLength, line.textLength};
    }

    std::uint32_t find(std::u16string_view key) const;
    std::uint32_t find(std::u16string_view key, std::uint32_t hash) const;
    std::uint32_t store(std::u16string_view key, std::u16string_view text);
    void change(Record& line, std::u16string_view value);
    void addLine(std::u16string_view key, std::u16string_view text);
    void addSlot(std::uint32_t hash, std::uint32_t line);
    void removeSlot(std::uint32_t line);
    void makeIndex(std::size_t keys);
    /// Clears away what is not used any more once that is half of everything.
    void tidy();

    std::vector<norq_std::WChar> units;
    std::vector<Record> lines;
    std::vector<Slot> index; // open addressing, a power of two; empty while there are few keys
    std::size_t keyCount = 0;
    std::size_t removed = 0;     // of `lines`
    std::size_t unusedUnits = 0; // of `units`
};

} // namespace norq_std_internal
