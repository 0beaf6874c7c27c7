#pragma once

#include "base/ByteSwap.h"
#include "base/Export.h"
#include "base/WString.h"
#include "stream/Buffer.h"
#include "stream/Endian.h"

#include <concepts>
#include <cstdint>
#include <cstring>
#include <memory>

namespace norq_std {

class ByteArray;

/// A buffer of bytes, read and written as numbers in either byte order and as blocks.
///
/// An access without an index takes place at the position and moves it; what does not fit between position and limit
/// throws `NorqBufferUnderflowException` on reading and `NorqBufferOverflowException` on writing, with the check that
/// failed as its cause. An access with an index leaves the position alone and throws `NorqIllegalArgumentException`
/// where it would reach beyond the limit. Bad arguments of the block operations throw that too. Whatever throws has
/// changed nothing. Numbers may lie at any position, whatever their alignment.
///
/// The buffer owns its bytes and cannot be copied; it belongs to one thread at a time.
class NORQSTD_EXPORT ByteBuffer : public Buffer {
public:
    static constexpr std::int32_t SHORT_BYTES = 2;
    static constexpr std::int32_t INT_BYTES = 4;
    static constexpr std::int32_t LONG_LONG_BYTES = 8;

    /// A buffer of zero bytes, all of them between position and limit, in the order `ENDIAN_BIG`. Throws
    /// `NorqIllegalArgumentException` for a negative capacity or one above the property "ByteBuffer maximum capacity"
    /// of `NorqSystem` (1000000000 by default), which is read once in the life of the process; and
    /// `NorqOutOfResourcesException` where the memory is not to be had.
    static std::shared_ptr<ByteBuffer> allocate(std::int32_t capacity);

    ByteBuffer(const ByteBuffer&) = delete;
    ByteBuffer& operator=(const ByteBuffer&) = delete;
    ~ByteBuffer() override;

    WString toString() const override;

    /// All bytes, from the first of the capacity; valid as long as the buffer.
    unsigned char* array() { return bytes.get(); }
    const unsigned char* array() const { return bytes.get(); }

    Endian getOrder() const { return order; }
    /// Throws `NorqIllegalArgumentException` for a value that is no order.
    void setOrder(Endian newOrder);

    unsigned char get() {
        const std::uint32_t at = unsignedPosition();
        if (at >= static_cast<std::uint32_t>(limit)) [[unlikely]]
            rejectGet();
        position = static_cast<std::int32_t>(at + 1);
        return bytes[at];
    }
    std::uint16_t getShort() { return getNext<std::uint16_t>(u"norq_std::ByteBuffer::getShort"); }
    std::uint32_t getInt() { return getNext<std::uint32_t>(u"norq_std::ByteBuffer::getInt"); }
    std::uint64_t getLongLong() { return getNext<std::uint64_t>(u"norq_std::ByteBuffer::getLongLong"); }

    unsigned char get(std::int32_t index) const { return getAt<std::uint8_t>(index, u"norq_std::ByteBuffer::get"); }
    std::uint16_t getShort(std::int32_t index) const {
        return getAt<std::uint16_t>(index, u"norq_std::ByteBuffer::getShort");
    }
    std::uint32_t getInt(std::int32_t index) const {
        return getAt<std::uint32_t>(index, u"norq_std::ByteBuffer::getInt");
    }
    std::uint64_t getLongLong(std::int32_t index) const {
        return getAt<std::uint64_t>(index, u"norq_std::ByteBuffer::getLongLong");
    }

    /// The next `length` bytes, or 16-bit units in the buffer's order, to `destination` + `offset`; `size` is how many
    /// of them the destination holds.
    void get(unsigned char* destination, std::int32_t length) { get(destination, length, 0, length); }
    void get(unsigned char* destination, std::int32_t size, std::int32_t offset, std::int32_t length);
    void get(WChar* destination, std::int32_t length) { get(destination, length, 0, length); }
    void get(WChar* destination, std::int32_t size, std::int32_t offset, std::int32_t length);
    /// The next `length` bytes.
    std::shared_ptr<ByteArray> getByteArray(std::int32_t length);

    void put(unsigned char value) {
        const std::uint32_t at = unsignedPosition();
        if (at >= static_cast<std::uint32_t>(limit)) [[unlikely]]
            rejectPut();
        position = static_cast<std::int32_t>(at + 1);
        bytes[at] = value;
    }
    void putShort(std::uint16_t value) { putNext(value, u"norq_std::ByteBuffer::putShort"); }
    void putInt(std::uint32_t value) { putNext(value, u"norq_std::ByteBuffer::putInt"); }
    void putLongLong(std::uint64_t value) { putNext(value, u"norq_std::ByteBuffer::putLongLong"); }

    void put(std::int32_t index, unsigned char value) {
        putAt<std::uint8_t>(index, value, u"norq_std::ByteBuffer::put");
    }
    /// The low 8 bits of a number; without it a literal index 0 could be taken for a null pointer.
    void put(std::int32_t index, std::int32_t value) { put(index, static_cast<unsigned char>(value)); }
    void putShort(std::int32_t index, std::uint16_t value) { putAt(index, value, u"norq_std::ByteBuffer::putShort"); }
    void putInt(std::int32_t index, std::uint32_t value) { putAt(index, value, u"norq_std::ByteBuffer::putInt"); }
    void putLongLong(std::int32_t index, std::uint64_t value) {
        putAt(index, value, u"norq_std::ByteBuffer::putLongLong");
    }

    /// The mirror of the block forms of `get`.
    void put(const unsigned char* source, std::int32_t length) { put(source, length, 0, length); }
    void put(const unsigned char* source, std::int32_t size, std::int32_t offset, std::int32_t length);
    void put(const WChar* source, std::int32_t length) { put(source, length, 0, length); }
    void put(const WChar* source, std::int32_t size, std::int32_t offset, std::int32_t length);
    /// Everything that the other buffer has between its position and limit; both positions move. Throws
    /// `NorqIllegalArgumentException` if the other is this buffer.
    void put(ByteBuffer& other);

private:
    struct Free {
        void operator()(unsigned char* memory) const noexcept;
    };

    ByteBuffer();

    static std::int32_t getMaximumCapacity();

    template <std::unsigned_integral T>
    T ordered(T value) const {
        if (order == getSystemEndianType())
            return value;
        if constexpr (sizeof(T) == SHORT_BYTES)
            return byteSwap16(value);
        else if constexpr (sizeof(T) == INT_BYTES)
            return byteSwap32(value);
        else if constexpr (sizeof(T) == LONG_LONG_BYTES)
            return byteSwap64(value);
        else
            return value;
    }
    /// Never negative. A processor hands a value from its last store to a plain load at once, but not to one that
    /// extends the sign.
    std::uint32_t unsignedPosition() const { return static_cast<std::uint32_t>(position); }
    template <std::unsigned_integral T>
    T load(std::uint32_t at) const {
        T value;
        std::memcpy(&value, bytes.get() + at, sizeof value);
        return ordered(value);
    }
    template <std::unsigned_integral T>
    void store(std::uint32_t at, T value) {
        value = ordered(value);
        std::memcpy(bytes.get() + at, &value, sizeof value);
    }
    template <std::unsigned_integral T>
    T getNext(const WChar* function) {
        constexpr std::uint32_t size = sizeof(T);
        const std::uint32_t at = unsignedPosition();
        if (static_cast<std::uint32_t>(limit) - at < size) [[unlikely]]
            rejectGet(size, function);
        position = static_cast<std::int32_t>(at + size);
        return load<T>(at);
    }
    template <std::unsigned_integral T>
    void putNext(T value, const WChar* function) {
        constexpr std::uint32_t size = sizeof(T);
        const std::uint32_t at = unsignedPosition();
        if (static_cast<std::uint32_t>(limit) - at < size) [[unlikely]]
            rejectPut(size, function);
        position = static_cast<std::int32_t>(at + size);
        store(at, value);
    }
    template <std::unsigned_integral T>
    T getAt(std::int32_t index, const WChar* function) const {
        checkIndex(index, sizeof(T), function);
        return load<T>(static_cast<std::uint32_t>(index));
    }
    template <std::unsigned_integral T>
    void putAt(std::int32_t index, T value, const WChar* function) {
        checkIndex(index, sizeof(T), function);
        store(static_cast<std::uint32_t>(index), value);
    }
    void checkIndex(std::int32_t index, std::uint32_t size, const WChar* function) const {
        // Where the compiler sees that an index is not negative, one comparison with the limit in memory remains.
        if (index < 0 || static_cast<std::uint32_t>(index) + size > static_cast<std::uint32_t>(limit)) [[unlikely]]
            rejectIndex(index, size, function);
    }

    // Each repeats the check that failed and throws what the operation is to throw.
    [[noreturn, gnu::cold]] void rejectGet() const;
    [[noreturn, gnu::cold]] void rejectPut() const;
    [[noreturn, gnu::cold]] void rejectGet(std::int32_t size, const WChar* function) const;
    [[noreturn, gnu::cold]] void rejectPut(std::int32_t size, const WChar* function) const;
    [[noreturn, gnu::cold]] void rejectIndex(std::int32_t index, std::uint32_t size, const WChar* function) const;

    Endian order = ENDIAN_BIG;
    std::unique_ptr<unsigned char[], Free> bytes;
};

} // namespace norq_std
