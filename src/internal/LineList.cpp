#include "internal/LineList.h"

#include "internal/TextHash.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace norq_std_internal {

namespace {

constexpr std::size_t FEW_KEYS = 8;   // are searched faster than they are hashed
constexpr std::size_t FEW_LINES = 64; // among which the few keys are searched
constexpr std::size_t FIRST_UNITS = 256;
constexpr std::size_t TIDY_UNITS = 4096;
constexpr std::size_t TIDY_LINES = 32;

std::uint32_t hashOf(std::u16string_view key) { return static_cast<std::uint32_t>(TextHash()(key)); }

bool isSame(std::u16string_view a, std::u16string_view b) { return SameText()(a, b); }

} // namespace

void LineList::swap(LineList& other) noexcept {
    units.swap(other.units);
    lines.swap(other.lines);
    index.swap(other.index);
    std::swap(keyCount, other.keyCount);
    std::swap(removed, other.removed);
    std::swap(unusedUnits, other.unusedUnits);
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
    if ((keyCount + 1) * 3 > index.size() * 2) {
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
    unusedUnits += HEADER_UNITS + header.keyLength + header.textLength;
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
            if (place != NONE && isSame(lineAt(place).key, key))
                return place;
    return NONE;
}

std::size_t LineList::findSlot(std::u16string_view key, std::uint32_t hash) const {
    const std::size_t mask = index.size() - 1;
    std::size_t slot = hash & mask;
    while (index[slot].place != NONE && (index[slot].hash != hash || !isSame(lineAt(index[slot].place).key, key)))
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

std::uint32_t LineList::store(std::uint32_t number, std::u16string_view key, std::u16string_view text) {
    const std::size_t place = units.size();
    const std::size_t end = place + HEADER_UNITS + key.size() + text.size();
    if (end >= NONE)
        throw std::length_error("LineList");
    if (end > units.capacity())
        units.reserve(std::max({end, units.capacity() * 2, FIRST_UNITS}));
    units.resize(place + HEADER_UNITS);
    setHeader(static_cast<std::uint32_t>(place),
              {number, static_cast<std::uint32_t>(key.size()), static_cast<std::uint32_t>(text.size())});
    units.insert(units.end(), key.begin(), key.end());
    units.insert(units.end(), text.begin(), text.end());
    return static_cast<std::uint32_t>(place);
}

std::uint32_t LineList::change(std::uint32_t place, std::u16string_view value) {
    Header header = headerAt(place);
    if (value.size() <= header.textLength) {
        unusedUnits += header.textLength - value.size();
        header.textLength = static_cast<std::uint32_t>(value.size());
        setHeader(place, header);
        std::copy(value.begin(), value.end(), units.begin() + place + HEADER_UNITS + header.keyLength);
        return place;
    }
    const std::u16string key(lineAt(place).key); // the buffer may move
    const std::uint32_t moved = store(header.number, key, value);
    unusedUnits += HEADER_UNITS + header.keyLength + header.textLength;
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
    while (slots * 2 < keys * 3)
        slots *= 2;
    std::vector<Slot> old(slots, Slot{0, NONE});
    old.swap(index);
    for (const Slot& slot : old)
        if (slot.place != NONE)
            index[findFree(slot.hash)] = slot;
    if (!old.empty())
        return;
    for (const std::uint32_t place : lines)
        if (place != NONE && !lineAt(place).key.empty()) {
            const std::uint32_t hash = hashOf(lineAt(place).key);
            index[findFree(hash)] = {hash, place};
        }
}

void LineList::tidy() {
    if ((unusedUnits < TIDY_UNITS || unusedUnits < units.size() / 2) &&
        (removed < TIDY_LINES || removed < lines.size() / 2))
        return;
    LineList tidied;
    tidied.units.reserve(units.size() - unusedUnits);
    tidied.lines.reserve(size());
    forEach([&tidied](const Line& line) { tidied.addLine(line.key, line.text); });
    tidied.keyCount = keyCount;
    if (tidied.index.empty() && (keyCount > FEW_KEYS || tidied.lines.size() > FEW_LINES))
        tidied.makeIndex(keyCount);
    swap(tidied);
}

} // namespace norq_std_internal
