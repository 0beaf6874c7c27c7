#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "internal/PackedView.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

namespace norq_std_internal {

/// The lines of a section in order, packed: keys with their values, each key once, and comments.
///
/// All texts lie in one buffer, a byte a unit where they can, so that a large section is a few blocks of memory,
/// copying it is copying them, and much of it fits into the cache. Keys are found through a table of hashes and places:
/// a look-up touches one slot of it and the line, where key and value lie side by side. A changed value takes the place
/// of the old one if it fits, else the line moves to the end of the buffer; what is left behind, and removed lines, are
/// cleared away once they are half of everything. So every operation takes the same time, on average, however many
/// lines there are.
///
/// Texts that are given may not be part of the list; views that are returned are good until the next change. A list
/// holds fewer than 2^32 lines and bytes, what would pass that throws `std::length_error`. No lock.
class NORQSTD_EXPORT LineList {
public:
    struct Line {
        PackedView key;  ///< empty for a comment or a blank line
        PackedView text; ///< the value of the key, or the comment
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
    std::size_t estimateSize() const { return bytes.size(); }

    bool contains(std::u16string_view key) const { return find(key) != NONE; }
    std::optional<PackedView> value(std::u16string_view key) const {
        const std::uint32_t place = find(key);
        return place == NONE ? std::nullopt : std::optional(lineAt(place).text);
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

    /// Of a line, before its key and its text.
    struct Header {
        std::uint32_t number;
        std::uint32_t keySize;
        std::uint32_t textSize;
        std::uint32_t room; // for the text
        bool isKeyWide;
        bool isTextWide;
        bool isLong; // one of the sizes needs more than a byte, so they stand in words of their own
    };
    /// How a header begins in the buffer. The three sizes follow in words if it is a long one.
    struct StoredHeader {
        std::uint32_t number;
        std::uint8_t keySize;
        std::uint8_t textSize;
        std::uint8_t room;
        std::uint8_t kind; // bits
    };
    static constexpr std::uint8_t KEY_WIDE = 1;
    static constexpr std::uint8_t TEXT_WIDE = 2;
    static constexpr std::uint8_t LONG = 4;

    struct Slot {
        std::uint32_t hash;
        std::uint32_t place; // NONE if the slot is free
    };

    static std::uint32_t sizeOf(bool isLongHeader) {
        return sizeof(StoredHeader) + (isLongHeader ? 3 * sizeof(std::uint32_t) : 0);
    }
    static std::uint32_t lengthOf(const Header& header) {
        return sizeOf(header.isLong) + header.keySize + header.textSize;
    }

    Header headerAt(std::uint32_t place) const {
        StoredHeader stored;
        std::memcpy(&stored, bytes.data() + place, sizeof stored);
        Header header{stored.number,
                      stored.keySize,
                      stored.textSize,
                      stored.room,
                      (stored.kind & KEY_WIDE) != 0,
                      (stored.kind & TEXT_WIDE) != 0,
                      (stored.kind & LONG) != 0};
        if (header.isLong) [[unlikely]] {
            std::uint32_t sizes[3];
            std::memcpy(sizes, bytes.data() + place + sizeof stored, sizeof sizes);
            header.keySize = sizes[0];
            header.textSize = sizes[1];
            header.room = sizes[2];
        }
        return header;
    }
    void setHeader(std::uint32_t place, const Header& header);
    Line lineAt(std::uint32_t place) const {
        const Header header = headerAt(place);
        const char* const key = bytes.data() + place + sizeOf(header.isLong);
        return {{key, header.keySize, header.isKeyWide}, {key + header.keySize, header.textSize, header.isTextWide}};
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

    std::vector<char> bytes;
    std::vector<std::uint32_t> lines; // the places in order, NONE for a line that was removed
    std::vector<Slot> index;          // open addressing, a power of two; empty while there is little to search
    std::size_t keyCount = 0;
    std::size_t removed = 0;     // of `lines`
    std::size_t unusedBytes = 0; // of `bytes`
};

} // namespace norq_std_internal
