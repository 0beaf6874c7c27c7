#pragma once

#include <cstddef>
#include <memory>

namespace NorqStd {

/// An array whose size is fixed between two calls of `resize`, for interfaces that fill a buffer.
///
/// `T` is a wide unit or an unsigned 32-bit integer. New elements are not initialised. The buffer owns its array and
/// belongs to one thread. Where contents shall survive a change of size, use `std::vector`.
template <class T>
class MemoryBuffer {
public:
    explicit MemoryBuffer(std::size_t size)
        : count(size)
        , elements(allocate(size)) {}
    virtual ~MemoryBuffer() = default;
    MemoryBuffer(const MemoryBuffer&) = delete;
    MemoryBuffer& operator=(const MemoryBuffer&) = delete;

    /// A new size gives a new array and loses the contents; the same size does nothing.
    void resize(std::size_t size) {
        if (size == count)
            return;
        count = 0; // should the allocation fail
        elements.reset();
        elements = allocate(size);
        count = size;
    }

    /// In elements.
    std::size_t size() const { return count; }

    /// The array, null for size 0. It is valid until the next change of size.
    operator T*() { return elements.get(); }
    operator const T*() const { return elements.get(); }

private:
    static std::unique_ptr<T[]> allocate(std::size_t size) {
        return size == 0 ? nullptr : std::make_unique_for_overwrite<T[]>(size);
    }

    std::size_t count;
    std::unique_ptr<T[]> elements;
};

} // namespace NorqStd
