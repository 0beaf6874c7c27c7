#include "internal/LineList.h"

#include "internal/LatinUnits.h"
#include "internal/TextHash.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace norq_std_internal {

namespace {

constexpr std::size_t FEW_KEYS = 8;   // are searched faster than they are hashed
constexpr std::size_t FEW_LINES = 64; // among which the few keys are searched
constexpr std::size_t FIRST_BYTES = 512;
constexpr std::size_t TIDY_BYTES = 1024;
constexpr std::size_t SMALL_INDEX = 1024; // slots; grows by four and not by two up to here

std::uint64_t hashOf(std::u16string_view key) { return TextHash()(key); }

/// A text on its way into the buffer.
class Packing {
public:
    explicit Packing(std::u16string_view source)
        : text(source)
        , wide(!isLatin(source.data(), source.size())) {}

    bool isWide() const { return wide; }
    std::size_t size() const { return text.size() * (wide ? sizeof(norq_std::WChar) : 1); }
    void write(char* to) const {
        if (!wide)
            narrowLatin(text.data(), text.size(), to);
        else
            std::memcpy(to, text.data(), size());
    }

private:
    std::u16string_view text;
    bool wide;
};

/// Whether so many keys in so many slots are found in few steps.
bool isEnough(std::size_t slots, std::size_t keys) { return keys * 5 <= slots * 4; }

} // namespace

norq_std::WString PackedView::toString() const {
    norq_std::WString text;
    copyTo(text);
    return text;
}

void PackedView::copyTo(norq_std::WString& text) const {
    if (wide) {
        text.resize(byteCount / sizeof(norq_std::WChar));
        std::memcpy(text.data(), bytes, byteCount);
    } else {
        text.resize(byteCount);
        widenLatin(bytes, byteCount, text.data());
    }
}

std::uint64_t PackedView::hash() const {
    if (wide)
        return ByteHash::hash(bytes, byteCount);
    norq_std::WChar units[UINT8_MAX];
    if (byteCount > UINT8_MAX)
        return TextHash()(toString());
    widenLatin(bytes, byteCount, units);
    return TextHash()({units, byteCount});
}

bool operator==(const PackedView& a, const PackedView& b) {
    return a.wide == b.wide && std::string_view(a.bytes, a.byteCount) == std::string_view(b.bytes, b.byteCount);
}

bool operator==(const PackedView& a, std::u16string_view b) {
    if (!a.wide)
        return a.byteCount == b.size() && isSameLatin(a.bytes, b.data(), b.size());
    return a.byteCount == b.size() * sizeof(norq_std::WChar) && std::memcmp(a.bytes, b.data(), a.byteCount) == 0;
}

void LineList::swap(LineList& other) noexcept {
    bytes.swap(other.bytes);
    index.swap(other.index);
    std::swap(placeBits, other.placeBits);
    std::swap(keyCount, other.keyCount);
    std::swap(lineCount, other.lineCount);
    std::swap(unusedBytes, other.unusedBytes);
}

void LineList::put(std::u16string_view key, std::u16string_view value) {
    if (index.empty()) {
        if (const std::uint32_t place = find(key); place != NONE) {
            change(place, value);
            tidy();
        } else {
            addLine(key, value);
            if (++keyCount > FEW_KEYS || lineCount > FEW_LINES)
                makeIndex(keyCount);
        }
        return;
    }
    const std::uint64_t hash = hashOf(key);
    std::size_t slot = findSlot(key, hash);
    if (index[slot] != NONE) {
        index[slot] = slotOf(hash, change(index[slot] & placeBits, value));
        tidy();
        return;
    }
    if (!isEnough(index.size(), keyCount + 1)) {
        makeIndex(keyCount + 1);
        slot = findFree(hash);
    }
    index[slot] = slotOf(hash, addLine(key, value));
    ++keyCount;
}

void LineList::addComment(std::u16string_view comment) {
    addLine({}, comment);
    if (index.empty() && lineCount > FEW_LINES)
        makeIndex(keyCount);
}

bool LineList::remove(std::u16string_view key) {
    std::uint32_t place = NONE;
    if (index.empty()) {
        place = find(key);
    } else if (const std::size_t slot = findSlot(key, hashOf(key)); index[slot] != NONE) {
        place = index[slot] & placeBits;
        removeSlot(slot);
    }
    if (place == NONE)
        return false;
    const Header header = headerAt(place);
    if ((header.kind & MOVED_HERE) != 0) {
        const std::uint32_t turn = noteAt(place, header);
        Header gone = headerAt(turn);
        gone.kind |= REMOVED;
        setHeader(turn, gone);
    }
    giveUp(place, header, REMOVED);
    --keyCount;
    --lineCount;
    tidy();
    return true;
}

void LineList::clear() { LineList().swap(*this); }

std::uint32_t LineList::find(std::u16string_view key) const {
    if (!index.empty()) {
        const std::uint32_t slot = index[findSlot(key, hashOf(key))];
        return slot == NONE ? NONE : slot & placeBits;
    }
    std::uint32_t found = NONE;
    if (!key.empty())
        forEachStored([&](std::uint32_t place, const Header& header) {
            if ((header.kind & MOVED_AWAY) == 0 && lineAt(place, header).key == key)
                found = place;
            return found == NONE;
        });
    return found;
}

std::size_t LineList::findSlot(std::u16string_view key, std::uint64_t hash) const {
    const std::size_t mask = index.size() - 1;
    const std::uint32_t wanted = slotOf(hash, 0);
    std::size_t slot = hash & mask;
    for (; index[slot] != NONE; slot = (slot + 1) & mask)
        if ((index[slot] & ~placeBits) == wanted && lineAt(index[slot] & placeBits).key == key)
            break;
    return slot;
}

std::size_t LineList::findFree(std::uint64_t hash) const {
    const std::size_t mask = index.size() - 1;
    std::size_t slot = hash & mask;
    while (index[slot] != NONE)
        slot = (slot + 1) & mask;
    return slot;
}

void LineList::setHeader(std::uint32_t place, const Header& header) {
    const StoredHeader stored{static_cast<std::uint8_t>(header.keySize), static_cast<std::uint8_t>(header.textSize),
                              static_cast<std::uint8_t>(header.room), header.kind};
    std::memcpy(bytes.data() + place, &stored, sizeof stored);
    if ((header.kind & LONG) != 0) {
        const std::uint32_t sizes[] = {header.keySize, header.textSize, header.room};
        std::memcpy(bytes.data() + place + sizeof stored, sizes, sizeof sizes);
    }
}

LineList::Header LineList::headerOf(std::size_t keySize, std::size_t textSize, unsigned kind) {
    if (keySize >= NONE || textSize >= NONE)
        throw std::length_error("LineList");
    const bool isLong = keySize > UINT8_MAX || textSize > UINT8_MAX;
    const std::size_t least = keySize == 0 || keySize >= NOTE_BYTES ? 0 : NOTE_BYTES - keySize;
    return {static_cast<std::uint32_t>(keySize), static_cast<std::uint32_t>(textSize),
            static_cast<std::uint32_t>(std::max(textSize, least)),
            static_cast<std::uint8_t>(kind | (isLong ? LONG : 0))};
}

std::uint32_t LineList::allocate(const Header& header) {
    const std::size_t place = bytes.size();
    const std::size_t end = place + sizeOf(header.kind) + header.keySize + std::size_t(header.room);
    if (end >= NONE)
        throw std::length_error("LineList");
    if (end > bytes.capacity())
        bytes.reserve(std::max({end, bytes.capacity() * 2, FIRST_BYTES}));
    bytes.resize(end);
    while (end > placeBits) {
        const std::uint32_t more = placeBits * 2 + 1;
        for (std::uint32_t& slot : index)
            if (slot != NONE)
                slot = (slot & ~more) | (slot & placeBits);
        placeBits = more;
    }
    setHeader(static_cast<std::uint32_t>(place), header);
    unusedBytes += header.room - header.textSize;
    return static_cast<std::uint32_t>(place);
}

void LineList::giveUp(std::uint32_t place, Header header, std::uint8_t reason) {
    unusedBytes += lengthOf(header) - (header.room - header.textSize); // the rest of the room counted already
    header.kind |= reason;
    setHeader(place, header);
}

std::uint32_t LineList::change(std::uint32_t place, std::u16string_view value) {
    const Packing packed(value);
    const unsigned textKind = packed.isWide() ? TEXT_WIDE : 0;
    Header header = headerAt(place);
    if (packed.size() <= header.room) {
        unusedBytes += header.textSize;
        unusedBytes -= packed.size();
        header.textSize = static_cast<std::uint32_t>(packed.size());
        header.kind = static_cast<std::uint8_t>((header.kind & ~TEXT_WIDE) | textKind);
        setHeader(place, header);
        packed.write(textOf(place, header));
        return place;
    }
    const bool isSecondMove = (header.kind & MOVED_HERE) != 0;
    const std::uint32_t turn = isSecondMove ? noteAt(place, header) : place;
    const Header moved = headerOf(header.keySize, packed.size(), (header.kind & KEY_WIDE) | textKind | MOVED_HERE);
    const std::uint32_t there = allocate(moved);
    setNote(there, moved, turn);
    std::memcpy(keyOf(there, moved), keyOf(place, header), header.keySize);
    packed.write(textOf(there, moved));
    giveUp(place, header, isSecondMove ? REMOVED : MOVED_AWAY);
    setNote(turn, headerAt(turn), there);
    return there;
}

std::uint32_t LineList::addLine(std::u16string_view key, std::u16string_view text) {
    const Packing packedKey(key);
    const Packing packedText(text);
    const Header header = headerOf(packedKey.size(), packedText.size(),
                                   (packedKey.isWide() ? KEY_WIDE : 0) | (packedText.isWide() ? TEXT_WIDE : 0));
    const std::uint32_t place = allocate(header);
    packedKey.write(keyOf(place, header));
    packedText.write(textOf(place, header));
    ++lineCount;
    return place;
}

void LineList::removeSlot(std::size_t hole) {
    // Slots behind the hole move up to it where their search would pass it.
    const std::size_t mask = index.size() - 1;
    for (std::size_t i = (hole + 1) & mask; index[i] != NONE; i = (i + 1) & mask)
        if (((i - lineAt(index[i] & placeBits).key.hash()) & mask) >= ((i - hole) & mask)) {
            index[hole] = index[i];
            hole = i;
        }
    index[hole] = NONE;
}

void LineList::makeIndex(std::size_t keys) {
    std::size_t slots = 4 * FEW_KEYS;
    while (!isEnough(slots, keys))
        slots *= slots < SMALL_INDEX ? 4 : 2;
    std::vector<std::uint32_t>(slots, NONE).swap(index);
    forEachStored([&](std::uint32_t place, const Header& header) {
        if (header.keySize != 0 && (header.kind & MOVED_AWAY) == 0) {
            const std::uint64_t hash = lineAt(place, header).key.hash();
            index[findFree(hash)] = slotOf(hash, place);
        }
        return true;
    });
}

void LineList::tidy() {
    if (unusedBytes < TIDY_BYTES || unusedBytes < bytes.size() / 2)
        return;
    LineList tidied;
    tidied.bytes.reserve(bytes.size() - unusedBytes);
    norq_std::WString key;
    norq_std::WString text;
    forEach([&](const Line& line) {
        line.key.copyTo(key);
        line.text.copyTo(text);
        tidied.addLine(key, text);
    });
    tidied.keyCount = keyCount;
    if (keyCount > FEW_KEYS || tidied.lineCount > FEW_LINES)
        tidied.makeIndex(keyCount);
    swap(tidied);
}

} // namespace norq_std_internal
