#include "internal/LineList.h"

#include "internal/TextHash.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace norq_std_internal {

namespace {

constexpr std::size_t FEW_KEYS = 8; // are searched faster than they are hashed
constexpr std::size_t FIRST_UNITS = 128;
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
        if (const std::uint32_t number = find(key); number != NONE)
            change(lines[number], value);
        else {
            addLine(key, value);
            if (++keyCount > FEW_KEYS)
                makeIndex(keyCount);
        }
        return;
    }
    const std::uint32_t hash = hashOf(key);
    if (const std::uint32_t number = find(key, hash); number != NONE) {
        change(lines[number], value);
        return;
    }
    if ((keyCount + 1) * 3 > index.size() * 2)
        makeIndex(keyCount + 1);
    addLine(key, value);
    addSlot(hash, static_cast<std::uint32_t>(lines.size() - 1));
    ++keyCount;
}

void LineList::addComment(std::u16string_view comment) { addLine({}, comment); }

bool LineList::remove(std::u16string_view key) {
    const std::uint32_t number = find(key);
    if (number == NONE)
        return false;
    if (!index.empty())
        removeSlot(number);
    Record& line = lines[number];
    unusedUnits += line.keyLength + line.textLength;
    line.keyLength = NONE;
    ++removed;
    --keyCount;
    tidy();
    return true;
}

void LineList::clear() { LineList().swap(*this); }

std::uint32_t LineList::find(std::u16string_view key) const {
    if (!index.empty())
        return find(key, hashOf(key));
    if (!key.empty())
        for (std::size_t i = 0; i < lines.size(); ++i)
            if (lines[i].keyLength == key.size() && isSame(keyOf(lines[i]), key))
                return static_cast<std::uint32_t>(i);
    return NONE;
}

std::uint32_t LineList::find(std::u16string_view key, std::uint32_t hash) const {
    const std::size_t mask = index.size() - 1;
    for (std::size_t i = hash & mask; index[i].line != NONE; i = (i + 1) & mask)
        if (index[i].hash == hash && isSame(keyOf(lines[index[i].line]), key))
            return index[i].line;
    return NONE;
}

std::uint32_t LineList::store(std::u16string_view key, std::u16string_view text) {
    if (units.size() + key.size() + text.size() >= NONE)
        throw std::length_error("LineList");
    const auto offset = static_cast<std::uint32_t>(units.size());
    units.insert(units.end(), key.begin(), key.end());
    units.insert(units.end(), text.begin(), text.end());
    return offset;
}

void LineList::change(Record& line, std::u16string_view value) {
    if (value.size() <= line.textLength) {
        unusedUnits += line.textLength - value.size();
        std::copy(value.begin(), value.end(), units.begin() + line.offset + line.keyLength);
        line.textLength = static_cast<std::uint32_t>(value.size());
        return;
    }
    const std::size_t length = line.keyLength + value.size();
    if (units.size() + length >= NONE)
        throw std::length_error("LineList");
    const auto moved = static_cast<std::uint32_t>(units.size());
    units.resize(units.size() + length);
    std::copy_n(units.begin() + line.offset, line.keyLength, units.begin() + moved);
    std::copy(value.begin(), value.end(), units.begin() + moved + line.keyLength);
    unusedUnits += line.keyLength + line.textLength;
    line.offset = moved;
    line.textLength = static_cast<std::uint32_t>(value.size());
    tidy();
}

void LineList::addLine(std::u16string_view key, std::u16string_view text) {
    if (lines.size() + 1 >= NONE)
        throw std::length_error("LineList");
    if (lines.empty()) { // not by one, two, four
        lines.reserve(FEW_KEYS);
        units.reserve(FIRST_UNITS);
    }
    lines.push_back(
        {store(key, text), static_cast<std::uint32_t>(key.size()), static_cast<std::uint32_t>(text.size())});
}

void LineList::addSlot(std::uint32_t hash, std::uint32_t line) {
    const std::size_t mask = index.size() - 1;
    std::size_t i = hash & mask;
    while (index[i].line != NONE)
        i = (i + 1) & mask;
    index[i] = {hash, line};
}

void LineList::removeSlot(std::uint32_t line) {
    const std::size_t mask = index.size() - 1;
    std::size_t hole = hashOf(keyOf(lines[line])) & mask;
    while (index[hole].line != line)
        hole = (hole + 1) & mask;
    // Slots behind the hole move up to it where their search would pass it.
    for (std::size_t i = (hole + 1) & mask; index[i].line != NONE; i = (i + 1) & mask)
        if (((i - index[i].hash) & mask) >= ((i - hole) & mask)) {
            index[hole] = index[i];
            hole = i;
        }
    index[hole].line = NONE;
}

void LineList::makeIndex(std::size_t keys) {
    std::size_t slots = 4 * FEW_KEYS;
    while (slots < keys * 3)
        slots *= 2;
    std::vector<Slot> old(slots, Slot{0, NONE});
    old.swap(index);
    if (!old.empty()) {
        for (const Slot& slot : old)
            if (slot.line != NONE)
                addSlot(slot.hash, slot.line);
        return;
    }
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (!lines[i].isRemoved() && lines[i].keyLength != 0)
            addSlot(hashOf(keyOf(lines[i])), static_cast<std::uint32_t>(i));
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
    if (keyCount > FEW_KEYS)
        tidied.makeIndex(keyCount);
    swap(tidied);
}

} // namespace norq_std_internal
