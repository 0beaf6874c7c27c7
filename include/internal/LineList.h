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
/// All texts lie in one buffer in the order of the lines, a byte a unit where they can, so that a large section is two
/// blocks of memory, copying it is copying them, and much of it fits into the cache. Keys are found through a table of
/// one word a slot: the place of the line in as many bits as places need, and bits of the key's hash in the rest. A
/// look-up touches one slot of it and the line, where key and value lie side by side. A changed value takes the place
/// of the old one if it fits, else the line moves to the end of the buffer and leaves a note where it went; what is
/// left behind, and removed lines, are cleared away once they are half of everything. So every operation takes the same
/// time, on average, however many lines there are.
///
/// Texts that are given may not be part of the list; views that are returned are good until the next change. The buffer
/// holds less than 2^32 bytes, what would pass that throws `std::length_error`. No lock.
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

    std::size_t size() const { return lineCount; }

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
        forEachStored([&](std::uint32_t place, const Header& header) {
            if ((header.kind & MOVED_AWAY) != 0) [[unlikely]]
                visit(lineAt(noteAt(place, header)));
            else if ((header.kind & MOVED_HERE) == 0)
                visit(lineAt(place, header));
            return true;
        });
    }

private:
    static constexpr std::uint32_t NONE = 0xFFFFFFFF;

    /// Of a line, before its key and its text.
    struct Header {
        std::uint32_t keySize;
        std::uint32_t textSize;
        std::uint32_t room; // for the text
        std::uint8_t kind;  // bits
    };
    /// How a header begins in the buffer. The three sizes follow in words if one needs more than a byte.
    struct StoredHeader {
        std::uint8_t keySize;
        std::uint8_t textSize;
        std::uint8_t room;
        std::uint8_t kind;
    };
    static constexpr std::uint8_t KEY_WIDE = 1;
    static constexpr std::uint8_t TEXT_WIDE = 2;
    static constexpr std::uint8_t LONG = 4;
    static constexpr std::uint8_t MOVED_HERE = 8;  // behind the header: where the line has its turn
    static constexpr std::uint8_t MOVED_AWAY = 16; // has its turn here; instead of the texts: where it went
    static constexpr std::uint8_t REMOVED = 32;
    static constexpr std::uint32_t NOTE_BYTES = sizeof(std::uint32_t); // a key and its room have at least

    static std::uint32_t sizeOf(std::uint8_t kind) {
        return static_cast<std::uint32_t>(sizeof(StoredHeader) + ((kind & LONG) != 0 ? 3 * sizeof(std::uint32_t) : 0) +
                                          ((kind & MOVED_HERE) != 0 ? sizeof(std::uint32_t) : 0));
    }
    static Header headerOf(std::size_t keySize, std::size_t textSize, unsigned kind);
    static std::uint32_t lengthOf(const Header& header) { return sizeOf(header.kind) + header.keySize + header.room; }

    Header headerAt(std::uint32_t place) const {
        StoredHeader stored;
        std::memcpy(&stored, bytes.data() + place, sizeof stored);
        Header header{stored.keySize, stored.textSize, stored.room, stored.kind};
        if ((header.kind & LONG) != 0) [[unlikely]] {
            std::uint32_t sizes[3];
            std::memcpy(sizes, bytes.data() + place + sizeof stored, sizeof sizes);
            header.keySize = sizes[0];
            header.textSize = sizes[1];
            header.room = sizes[2];
        }
        return header;
    }
    void setHeader(std::uint32_t place, const Header& header);
    /// The other place of a line that moved: where it went, or where it has its turn.
    std::uint32_t noteAt(std::uint32_t place, const Header& header) const {
        std::uint32_t note;
        std::memcpy(&note, bytes.data() + positionOfNote(place, header), sizeof note);
        return note;
    }
    void setNote(std::uint32_t place, const Header& header, std::uint32_t note) {
        std::memcpy(bytes.data() + positionOfNote(place, header), &note, sizeof note);
    }
    static std::uint32_t positionOfNote(std::uint32_t place, const Header& header) {
        return place + sizeOf(static_cast<std::uint8_t>(header.kind & LONG));
    }
    char* keyOf(std::uint32_t place, const Header& header) { return bytes.data() + place + sizeOf(header.kind); }
    char* textOf(std::uint32_t place, const Header& header) { return keyOf(place, header) + header.keySize; }
    Line lineAt(std::uint32_t place) const { return lineAt(place, headerAt(place)); }
    Line lineAt(std::uint32_t place, const Header& header) const {
        const char* const key = bytes.data() + place + sizeOf(header.kind);
        return {{key, header.keySize, (header.kind & KEY_WIDE) != 0},
                {key + header.keySize, header.textSize, (header.kind & TEXT_WIDE) != 0}};
    }

    /// Visits what was not removed as it lies in the buffer, until the visitor returns false.
    template <class F>
    void forEachStored(F visit) const {
        for (std::uint32_t place = 0; place < bytes.size();) {
            const Header header = headerAt(place);
            if ((header.kind & REMOVED) == 0 && !visit(place, header))
                return;
            place += lengthOf(header);
        }
    }

    std::uint32_t find(std::u16string_view key) const;
    /// The slot of the key, or the free one where it belongs. There is an index.
    std::size_t findSlot(std::u16string_view key, std::uint64_t hash) const;
    std::size_t findFree(std::uint64_t hash) const;
    std::uint32_t slotOf(std::uint64_t hash, std::uint32_t place) const {
        return (static_cast<std::uint32_t>(hash >> 32) & ~placeBits) | place;
    }
    /// Puts a value in the place of another, and returns the place of the line, which may be a new one.
    std::uint32_t change(std::uint32_t place, std::u16string_view value);
    std::uint32_t addLine(std::u16string_view key, std::u16string_view text);
    /// A place at the end for a line of this header, which it writes.
    std::uint32_t allocate(const Header& header);
    /// What lies there counts no more, as the bit of `kind` says.
    void giveUp(std::uint32_t place, Header header, std::uint8_t reason);
    void removeSlot(std::size_t hole);
    void makeIndex(std::size_t keys);
    /// Clears away what is not used any more once that is half of everything.
    void tidy();

    std::vector<char> bytes;
    std::vector<std::uint32_t> index; // open addressing, a power of two; empty while there is little to search
    std::uint32_t placeBits = 0xFFFF; // of a slot, enough for the end of `bytes`; the others are of the hash
    std::size_t keyCount = 0;
    std::size_t lineCount = 0;
    std::size_t unusedBytes = 0; // of `bytes`
};

} // namespace norq_std_internal
