#pragma once

#include "internal/TextHash.h"

#include <cstddef>
#include <list>
#include <string_view>
#include <utility>
#include <vector>

namespace norq_std_internal {

/// An ordered list of values with an index over their names: finding, adding and removing one take the same time
/// however long the list is.
///
/// `NameOf` is a function that gives a value's name as a view into the value. The name must not change, and no two
/// values may have the same. Values stay at their address until they are removed. Copies are deep. No lock.
template <class T, std::u16string_view (*NameOf)(const T&)>
class NamedList {
public:
    using iterator = typename std::list<T>::iterator;
    using const_iterator = typename std::list<T>::const_iterator;

    NamedList() = default;
    NamedList(const NamedList& other)
        : values(other.values) {
        makeIndex();
    }
    NamedList(NamedList&& other) noexcept { swap(other); }
    NamedList& operator=(const NamedList& other) {
        NamedList(other).swap(*this);
        return *this;
    }
    NamedList& operator=(NamedList&& other) noexcept {
        swap(other);
        return *this;
    }
    ~NamedList() = default;

    void swap(NamedList& other) noexcept {
        values.swap(other.values);
        index.swap(other.index);
    }

    iterator begin() { return values.begin(); }
    iterator end() { return values.end(); }
    const_iterator begin() const { return values.begin(); }
    const_iterator end() const { return values.end(); }

    /// The value with this name, null if there is none.
    T* find(std::u16string_view name) { return const_cast<T*>(std::as_const(*this).find(name)); }
    const T* find(std::u16string_view name) const {
        if (index.empty()) {
            for (const T& value : values)
                if (SameText()(NameOf(value), name))
                    return &value;
            return nullptr;
        }
        const Slot& slot = index[findSlot(name, TextHash()(name))];
        return slot.isUsed ? &*slot.value : nullptr;
    }

    /// Makes a value at the end.
    template <class... A>
    T& add(A&&... arguments) {
        const auto added = values.emplace(values.end(), std::forward<A>(arguments)...);
        try {
            if (values.size() * 2 > (index.empty() ? 2 * FEW : index.size()))
                makeIndex();
            else if (!index.empty())
                enter(added);
        } catch (...) {
            values.pop_back();
            throw;
        }
        return *added;
    }

    bool remove(std::u16string_view name) {
        auto value = values.begin();
        if (index.empty()) {
            while (value != values.end() && !SameText()(NameOf(*value), name))
                ++value;
            if (value == values.end())
                return false;
        } else {
            const std::size_t slot = findSlot(name, TextHash()(name));
            if (!index[slot].isUsed)
                return false;
            value = index[slot].value;
            removeSlot(slot);
        }
        values.erase(value);
        return true;
    }

private:
    static constexpr std::size_t FEW = 4; // are searched faster than they are hashed

    struct Slot {
        std::size_t hash = 0;
        iterator value;
        bool isUsed = false;
    };

    /// The slot of the name, or the free one where it belongs. There is an index.
    std::size_t findSlot(std::u16string_view name, std::size_t hash) const {
        std::size_t slot = hash & (index.size() - 1);
        while (index[slot].isUsed && (index[slot].hash != hash || !SameText()(NameOf(*index[slot].value), name)))
            slot = (slot + 1) & (index.size() - 1);
        return slot;
    }

    void enter(iterator value) {
        const std::u16string_view name = NameOf(*value);
        const std::size_t hash = TextHash()(name);
        index[findSlot(name, hash)] = {hash, value, true};
    }

    void makeIndex() {
        if (values.size() <= FEW)
            return;
        std::size_t slots = 4 * FEW;
        while (slots < values.size() * 2)
            slots *= 2;
        std::vector<Slot>(slots).swap(index);
        for (auto value = values.begin(); value != values.end(); ++value)
            enter(value);
    }

    void removeSlot(std::size_t hole) {
        // Slots behind the hole move up to it where their search would pass it.
        const std::size_t mask = index.size() - 1;
        for (std::size_t i = (hole + 1) & mask; index[i].isUsed; i = (i + 1) & mask)
            if (((i - index[i].hash) & mask) >= ((i - hole) & mask)) {
                index[hole] = index[i];
                hole = i;
            }
        index[hole].isUsed = false;
    }

    std::list<T> values;
    std::vector<Slot> index; // open addressing, a power of two; empty while there are few
};

} // namespace norq_std_internal
