#pragma once

#include "internal/TextHash.h"

#include <list>
#include <string_view>
#include <unordered_map>
#include <utility>

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
        index.reserve(values.size());
        for (auto value = values.begin(); value != values.end(); ++value)
            index.emplace(NameOf(*value), value);
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
    T* find(std::u16string_view name) {
        const auto found = index.find(name);
        return found == index.end() ? nullptr : &*found->second;
    }
    const T* find(std::u16string_view name) const {
        const auto found = index.find(name);
        return found == index.end() ? nullptr : &*found->second;
    }

    /// Makes a value at the end.
    template <class... A>
    T& add(A&&... arguments) {
        const auto added = values.emplace(values.end(), std::forward<A>(arguments)...);
        try {
            index.emplace(NameOf(*added), added);
        } catch (...) {
            values.pop_back();
            throw;
        }
        return *added;
    }

    bool remove(std::u16string_view name) {
        const auto found = index.find(name);
        if (found == index.end())
            return false;
        const iterator value = found->second;
        index.erase(found);
        values.erase(value);
        return true;
    }

private:
    std::list<T> values;
    std::unordered_map<std::u16string_view, iterator, TextHash, SameText> index;
};

} // namespace norq_std_internal
