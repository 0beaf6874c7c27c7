#pragma once

#include "base/Export.h"

#include <cstddef>

namespace norq_std::detail {

/// Memory for the entries of one `JsonObject`: few large pieces in place of one a entry, given back together when the
/// last entry is gone. Not for use on its own; no lock.
class JsonNodePool {
public:
    JsonNodePool() = default;
    JsonNodePool(const JsonNodePool&) = delete;
    JsonNodePool& operator=(const JsonNodePool&) = delete;
    ~JsonNodePool() { release(); }

    /// Makes the next piece large enough for this many entries.
    void expect(std::size_t count) { nextCount = count; }

    /// `size` is the same in every call.
    void* allocate(std::size_t size) {
        if (unused != nullptr) {
            Link* node = unused;
            unused = node->next;
            ++live;
            return node;
        }
        if (next == last)
            grow(size);
        std::byte* node = next;
        next += size;
        ++live;
        return node;
    }

    void deallocate(void* memory) noexcept {
        if (--live == 0)
            return release();
        Link* node = static_cast<Link*>(memory);
        node->next = unused;
        unused = node;
    }

private:
    struct Link {
        Link* next;
    };

    NORQSTD_EXPORT void grow(std::size_t size);
    NORQSTD_EXPORT void release() noexcept;

    Link* pieces = nullptr;
    Link* unused = nullptr;
    std::byte* next = nullptr;
    std::byte* last = nullptr;
    std::size_t live = 0;
    std::size_t nextCount = 4;
};

/// Gives a map its nodes from a pool, which must outlive the map.
template <class T>
class JsonNodeAllocator {
public:
    using value_type = T;

    explicit JsonNodeAllocator(JsonNodePool& nodes) noexcept
        : pool(&nodes) {}
    template <class U>
    JsonNodeAllocator(const JsonNodeAllocator<U>& other) noexcept
        : pool(other.pool) {}

    T* allocate(std::size_t) { return static_cast<T*>(pool->allocate(sizeof(T))); }
    void deallocate(T* node, std::size_t) noexcept { pool->deallocate(node); }

    template <class U>
    bool operator==(const JsonNodeAllocator<U>& other) const noexcept {
        return pool == other.pool;
    }

private:
    template <class U>
    friend class JsonNodeAllocator;

    JsonNodePool* pool;
};

} // namespace norq_std::detail
