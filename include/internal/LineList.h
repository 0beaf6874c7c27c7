#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
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
    std::size_t estimateSize() const { return units.size(); }

    bool contains(std::u16string_view key) const { return find(key) != NONE; }
    /// The value of the key, with null data if it is not there.
    std::u16string_view value(std::u16string_view key) const {
        const std::uint32_t place = find(key);
        return place == NONE ? std::u16string_view() : lineAt(place).text;
    }
    /// Sets the value of the key where it stands, or adds a line. The key is not empty.
    void put(std::u16string_view key, std::u16string_view value);
    void addComment(std::u16string_view comment);
    bool remove(std::u16string_view key);
    void clear();

    template <class F>
    void forEach(F visit) const {
        for (const std::uint32_t place : lines)
            if (place != NONE)
                visit(lineAt(place));
    }

private:
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;

    /// Stands in the buffer before the key and the text of a line, so that whoever finds one has them all.
    struct Header {
        std::uint32_t number; // of the line
        std::uint32_t keyLength;
        std::uint32_t textLength;
    };
    static constexpr std::size_t HEADER_UNITS = sizeof(Header) / sizeof(norq_std::WChar);

    struct Slot {
        std::uint32_t hash;
        std::uint32_t place; // NONE if the slot is free
    };

    Header headerAt(std::uint32_t place) const {
        Header header;
        std::memcpy(&header, units.data() + place, sizeof header);
        return header;
    }
    void setHeader(std::uint32_t place, const Header& header) {
        std::memcpy(units.data() + place, &header, sizeof header);
    }
    Line lineAt(std::uint32_t place) const {
        const Header header = headerAt(place);
        const norq_std::WChar* const key = units.data() + place + HEADER_UNITS;
        return {{key, header.keyLength}, {key + header.keyLength, header.textLength}};
    }

    std::uint32_t find(std::u16string_view key) const;
    /// The slot of the key, or the free one where it belongs. There is an index.
    std::size_t findSlot(std::u16string_view key, std::uint32_t hash) const;
    std::size_t findFree(std::uint32_t hash) const;
    /// Puts a value in the place of another, and returns the place of the line, which may be a new one.
    std::uint32_t change(std::uint32_t place, std::u16string_view value);
    std::uint32_t addLine(std::u16string_view key, std::u16string_view text);
    std::uint32_t store(std::uint32_t number, std::u16string_view key, std::u16string_view text);
    void removeSlot(std::size_t hole);
    void makeIndex(std::size_t keys);
    /// Clears away what is not used any more once that is half of everything.
    void tidy();

    std::vector<norq_std::WChar> units;
    std::vector<std::uint32_t> lines; // the places in order, NONE for a line that was removed
    std::vector<Slot> index;          // open addressing, a power of two; empty while there is little to search
    std::size_t keyCount = 0;
    std::size_t removed = 0;     // of `lines`
    std::size_t unusedUnits = 0; // of `units`
};

} // namespace norq_std_internal
