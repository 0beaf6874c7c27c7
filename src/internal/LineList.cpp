#include "internal/LineList.h"

#include "internal/LatinUnits.h"
#include "internal/TextHash.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace norq_std_internal {

namespace {

constexpr std::size_t FEW_KEYS = 8;   // are searched faster than they are hashed
constexpr std::size_t FEW_LINES = 64; // among which the few keys are searched
constexpr std::size_t FIRST_BYTES = 512;
constexpr std::size_t TIDY_BYTES = 4096;
constexpr std::size_t TIDY_LINES = 32;

std::uint32_t hashOf(std::u16string_view key) { return static_cast<std::uint32_t>(TextHash()(key)); }

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
bool isEnough(std::size_t slots, std::size_t keys) { return keys * 8 <= slots * 7; }

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
    lines.swap(other.lines);
    index.swap(other.index);
    std::swap(keyCount, other.keyCount);
    std::swap(removed, other.removed);
    std::swap(unusedBytes, other.unusedBytes);
}

void LineList::put(std::u16string_view key, std::u16string_view value) {
    if (index.empty()) {
        if (const std::uint32_t place = find(key); place != NONE) {
            change(place, value);
            tidy();
        } else {
            addLine(key, value);
            if (++keyCount > FEW_KEYS || lines.size() > FEW_LINES)
                makeIndex(keyCount);
        }
        return;
    }
    const std::uint32_t hash = hashOf(key);
    std::size_t slot = findSlot(key, hash);
    if (const std::uint32_t place = index[slot].place; place != NONE) {
        index[slot].place = change(place, value);
        tidy();
        return;
    }
    if (!isEnough(index.size(), keyCount + 1)) {
        makeIndex(keyCount + 1);
        slot = findFree(hash);
    }
    index[slot] = {hash, addLine(key, value)};
    ++keyCount;
}

void LineList::addComment(std::u16string_view comment) {
    addLine({}, comment);
    if (index.empty() && lines.size() > FEW_LINES)
        makeIndex(keyCount);
}

bool LineList::remove(std::u16string_view key) {
    std::uint32_t place = NONE;
    if (index.empty()) {
        place = find(key);
    } else if (const std::size_t slot = findSlot(key, hashOf(key)); index[slot].place != NONE) {
        place = index[slot].place;
        removeSlot(slot);
    }
    if (place == NONE)
        return false;
    const Header header = headerAt(place);
    lines[header.number] = NONE;
    unusedBytes += lengthOf(header);
    ++removed;
    --keyCount;
    tidy();
    return true;
}

void LineList::clear() { LineList().swap(*this); }

std::uint32_t LineList::find(std::u16string_view key) const {
    if (!index.empty())
        return index[findSlot(key, hashOf(key))].place;
    if (!key.empty())
        for (const std::uint32_t place : lines)
            if (place != NONE && lineAt(place).key == key)
                return place;
    return NONE;
}

std::size_t LineList::findSlot(std::u16string_view key, std::uint32_t hash) const {
    const std::size_t mask = index.size() - 1;
    std::size_t slot = hash & mask;
    while (index[slot].place != NONE && (index[slot].hash != hash || !(lineAt(index[slot].place).key == key)))
        slot = (slot + 1) & mask;
    return slot;
}

std::size_t LineList::findFree(std::uint32_t hash) const {
    const std::size_t mask = index.size() - 1;
    std::size_t slot = hash & mask;
    while (index[slot].place != NONE)
        slot = (slot + 1) & mask;
    return slot;
}

void LineList::setHeader(std::uint32_t place, const Header& header) {
    const StoredHeader stored{header.number, static_cast<std::uint8_t>(header.keySize),
                              static_cast<std::uint8_t>(header.textSize), static_cast<std::uint8_t>(header.room),
                              static_cast<std::uint8_t>((header.isKeyWide ? KEY_WIDE : 0) |
                                                        (header.isTextWide ? TEXT_WIDE : 0) |
                                                        (header.isLong ? LONG : 0))};
    std::memcpy(bytes.data() + place, &stored, sizeof stored);
    if (header.isLong) {
        const std::uint32_t sizes[] = {header.keySize, header.textSize, header.room};
        std::memcpy(bytes.data() + place + sizeof stored, sizes, sizeof sizes);
    }
}

std::uint32_t LineList::store(std::uint32_t number, std::u16string_view key, std::u16string_view text) {
    const Packing packedKey(key);
    const Packing packedText(text);
    const bool isLong = packedKey.size() > UINT8_MAX || packedText.size() > UINT8_MAX;
    const std::size_t place = bytes.size();
    const std::size_t end = place + sizeOf(isLong) + packedKey.size() + packedText.size();
    if (end >= NONE)
        throw std::length_error("LineList");
    if (end > bytes.capacity())
        bytes.reserve(std::max({end, bytes.capacity() * 2, FIRST_BYTES}));
    bytes.resize(end);
    const auto keySize = static_cast<std::uint32_t>(packedKey.size());
    const auto textSize = static_cast<std::uint32_t>(packedText.size());
    setHeader(static_cast<std::uint32_t>(place),
              {number, keySize, textSize, textSize, packedKey.isWide(), packedText.isWide(), isLong});
    packedKey.write(bytes.data() + end - textSize - keySize);
    packedText.write(bytes.data() + end - textSize);
    return static_cast<std::uint32_t>(place);
}

std::uint32_t LineList::change(std::uint32_t place, std::u16string_view value) {
    Header header = headerAt(place);
    if (const Packing packed(value); packed.size() <= header.room) {
        unusedBytes += header.textSize;
        unusedBytes -= packed.size();
        header.textSize = static_cast<std::uint32_t>(packed.size());
        header.isTextWide = packed.isWide();
        setHeader(place, header);
        packed.write(bytes.data() + place + sizeOf(header.isLong) + header.keySize);
        return place;
    }
    const std::uint32_t moved = store(header.number, lineAt(place).key.toString(), value);
    unusedBytes += lengthOf(header);
    return lines[header.number] = moved;
}

std::uint32_t LineList::addLine(std::u16string_view key, std::u16string_view text) {
    if (lines.empty())
        lines.reserve(FEW_KEYS); // not by one, two, four
    const std::uint32_t place = store(static_cast<std::uint32_t>(lines.size()), key, text);
    lines.push_back(place);
    return place;
}

void LineList::removeSlot(std::size_t hole) {
    // Slots behind the hole move up to it where their search would pass it.
    const std::size_t mask = index.size() - 1;
    for (std::size_t i = (hole + 1) & mask; index[i].place != NONE; i = (i + 1) & mask)
        if (((i - index[i].hash) & mask) >= ((i - hole) & mask)) {
            index[hole] = index[i];
            hole = i;
        }
    index[hole].place = NONE;
}

void LineList::makeIndex(std::size_t keys) {
    std::size_t slots = 4 * FEW_KEYS;
    while (!isEnough(slots, keys))
        slots *= 2;
    std::vector<Slot> old(slots, Slot{0, NONE});
    old.swap(index);
    for (const Slot& slot : old)
        if (slot.place != NONE)
            index[findFree(slot.hash)] = slot;
    if (!old.empty())
        return;
    norq_std::WString key;
    for (const std::uint32_t place : lines)
        if (place != NONE && !lineAt(place).key.empty()) {
            lineAt(place).key.copyTo(key);
            const std::uint32_t hash = hashOf(key);
            index[findFree(hash)] = {hash, place};
        }
}

void LineList::tidy() {
    if ((unusedBytes < TIDY_BYTES || unusedBytes < bytes.size() / 2) &&
        (removed < TIDY_LINES || removed < lines.size() / 2))
        return;
    LineList tidied;
    tidied.bytes.reserve(bytes.size() - unusedBytes);
    tidied.lines.reserve(size());
    norq_std::WString key;
    norq_std::WString text;
    forEach([&](const Line& line) {
        line.key.copyTo(key);
        line.text.copyTo(text);
        tidied.addLine(key, text);
    });
    tidied.keyCount = keyCount;
    if (tidied.index.empty() && (keyCount > FEW_KEYS || tidied.lines.size() > FEW_LINES))
        tidied.makeIndex(keyCount);
    swap(tidied);
}

} // namespace norq_std_internal
