#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace norq_std_internal {

/// Memory for the values that one parsing makes one after the other, each with an owner count of its own.
///
/// A block is given back when the last value in it is gone, so that a value which outlives its document keeps one block
/// and no more.
class alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) JsonValueBlock {
public:
    /// With the block's own fields and those of the allocator less than 1 KB: from there on glibc joins all its small
    /// free pieces before it gives one.
    static constexpr std::size_t size = 976;

    static JsonValueBlock* make(std::size_t capacity) {
        return ::new (::operator new(sizeof(JsonValueBlock) + capacity)) JsonValueBlock(capacity);
    }

    bool hasRoom(std::size_t bytes) const { return capacity - used >= bytes; }

    /// Only the thread that parses takes, before any other thread can see the values.
    void* take(std::size_t bytes) {
        std::byte* memory = reinterpret_cast<std::byte*>(this + 1) + used;
        used += static_cast<std::uint32_t>(bytes);
        owners.store(owners.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        return memory;
    }

    void release() noexcept {
        if (owners.load(std::memory_order_acquire) == 1 || owners.fetch_sub(1, std::memory_order_acq_rel) == 1)
            ::operator delete(this);
    }

private:
    explicit JsonValueBlock(std::size_t bytes)
        : capacity(static_cast<std::uint32_t>(bytes)) {}

    std::atomic<std::uint32_t> owners{1};
    std::uint32_t used = 0;
    std::uint32_t capacity;
};

/// Gives `std::allocate_shared` the memory of a block that has room.
template <class T>
class JsonValueAllocator {
public:
    using value_type = T;

    explicit JsonValueAllocator(JsonValueBlock* source) noexcept
        : block(source) {}
    template <class U>
    JsonValueAllocator(const JsonValueAllocator<U>& other) noexcept
        : block(other.block) {}

    T* allocate(std::size_t) { return static_cast<T*>(block->take(sizeof(T))); }
    void deallocate(T*, std::size_t) noexcept { block->release(); }

    template <class U>
    bool operator==(const JsonValueAllocator<U>& other) const noexcept {
        return block == other.block;
    }

private:
    template <class U>
    friend class JsonValueAllocator;

    JsonValueBlock* block;
};

/// Makes values in blocks.
class JsonValueMaker {
public:
    /// The size of the first block, for texts that fill no larger one.
    explicit JsonValueMaker(std::size_t firstSize)
        : nextSize(firstSize) {}
    ~JsonValueMaker() {
        if (block != nullptr)
            block->release();
    }
    JsonValueMaker(const JsonValueMaker&) = delete;
    JsonValueMaker& operator=(const JsonValueMaker&) = delete;

    template <class T, class... A>
    std::shared_ptr<T> make(A&&... arguments) {
        constexpr std::size_t counts = 32; // at least what the owner counts and the allocator beside them take
        static_assert(alignof(T) <= alignof(JsonValueBlock*));
        if (block == nullptr || !block->hasRoom(sizeof(T) + counts))
            renew(sizeof(T) + counts);
        return std::allocate_shared<T>(JsonValueAllocator<T>(block), std::forward<A>(arguments)...);
    }

private:
    void renew(std::size_t least) {
        JsonValueBlock* fresh = JsonValueBlock::make(nextSize < least ? least : nextSize);
        if (block != nullptr)
            block->release();
        block = fresh;
        nextSize = JsonValueBlock::size;
    }

    JsonValueBlock* block = nullptr;
    std::size_t nextSize;
};

} // namespace norq_std_internal
