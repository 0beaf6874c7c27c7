#pragma once

#include "exception/NorqException.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace norq_std_internal {

/// The growing output buffer of a text conversion, with a limit that it never passes.
///
/// `T` is an unsigned unit of 8, 16 or 32 bits. Slots are not initialised. Growth moves the buffer: a reference taken
/// before an access by index may be stale after it. The sink owns its buffer and belongs to one thread.
template <class T>
class CharacterSink {
public:
    /// Allocates the lesser of both numbers of units, nothing for 0.
    CharacterSink(std::uint32_t initialCapacity, std::uint32_t limit)
        : maxSize(limit) {
        resize(std::min(initialCapacity, limit));
    }
    virtual ~CharacterSink() { std::free(buffer); }
    CharacterSink(const CharacterSink&) = delete;
    CharacterSink& operator=(const CharacterSink&) = delete;

    /// The slot at `index`; throws `NorqBufferOverflowException` where the limit allows none.
    T& operator[](std::uint32_t index) {
        if (index >= capacity) [[unlikely]]
            grow(index);
        return buffer[index];
    }

    std::uint32_t getCapacity() const { return capacity; }

private:
    void grow(std::uint32_t index) {
        std::uint64_t wanted = capacity;
        while (wanted <= index && wanted != 0 && wanted < maxSize)
            wanted = std::min<std::uint64_t>(wanted * 2, maxSize);
        if (wanted <= index)
            throw norq_std::NorqBufferOverflowException(
                u"Array index is out of bounds or size limit has been reached.");
        resize(static_cast<std::uint32_t>(wanted));
    }

    void resize(std::uint32_t units) {
        if (units == 0)
            return;
        void* const grown = std::realloc(buffer, std::size_t{units} * sizeof(T));
        if (grown == nullptr)
            throw std::bad_alloc();
        buffer = static_cast<T*>(grown);
        capacity = units;
    }

    T* buffer = nullptr;
    std::uint32_t maxSize;
    std::uint32_t capacity = 0;
};

} // namespace norq_std_internal
