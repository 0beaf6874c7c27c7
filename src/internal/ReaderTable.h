#pragma once

#include <cstdint>

namespace norq_std_internal {

/// How often the calling thread reads which lock: one table a thread, never seen by another.
///
/// The first entries lie in the thread's own static storage, so that a thread with few read locks at a time never
/// allocates; the rest lie on the heap and go with the thread. Usable in destructors of thread-local and static
/// objects.
class ReaderTable {
public:
    struct Entry {
        std::uint64_t lock;
        std::uint32_t count;
    };

    /// The entry of a lock, null if there is none; valid until the next `insert` or `erase`.
    Entry* find(std::uint64_t lock) noexcept {
        const std::uint32_t near = size < InlineCapacity ? size : InlineCapacity;
        for (std::uint32_t i = 0; i < near; ++i)
            if (entries[i].lock == lock)
                return &entries[i];
        return size > InlineCapacity ? findFar(lock) : nullptr;
    }

    /// Makes room for one entry, so that the next `insert` cannot fail.
    void reserve() {
        if (size >= InlineCapacity + farCapacity) [[unlikely]]
            grow();
    }

    void insert(std::uint64_t lock, std::uint32_t count) noexcept { at(size++) = {lock, count}; }
    void erase(Entry* entry) noexcept { *entry = at(--size); }

private:
    static constexpr std::uint32_t InlineCapacity = 6;

    Entry& at(std::uint32_t index) noexcept {
        return index < InlineCapacity ? entries[index] : far[index - InlineCapacity];
    }
    Entry* findFar(std::uint64_t lock) noexcept;
    void grow();
    static void release(void* table) noexcept;

    Entry entries[InlineCapacity];
    Entry* far;
    std::uint32_t farCapacity;
    std::uint32_t size;
};

} // namespace norq_std_internal
