#include "stream/ByteBuffer.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "internal/NumberText.h"
#include "stream/ByteArray.h"
#include "system/NorqSystem.h"

#include <algorithm>
#include <atomic>
#include <boost/lexical_cast.hpp>
#include <cstdlib>

namespace norq_std {

using norq_std_internal::numberText;

namespace {

constexpr std::int32_t DefaultMaximumCapacity = 1000000000;
constexpr std::int32_t Unread = -1;

constexpr WChar PositionName[] = u"Position";
constexpr WChar RemainingName[] = u"Remaining data length";
constexpr WChar LengthName[] = u"Length";
constexpr WChar TooShortForLength[] = u"Remaining data length is below desired length";
constexpr WChar NoSpace[] = u"Insufficient space in buffer to add input";

/// Throws an exception of the buffer over the one that a check throws.
template <class Exception, class Check>
[[noreturn]] void throwOver(Check check, const WString& message) {
    try {
        check();
    } catch (const NorqIllegalArgumentException& cause) {
        throw Exception(message, cause);
    }
    throw Exception(message);
}

std::int32_t parseCapacity(const WString& text) {
    std::string narrow;
    std::ranges::transform(text, std::back_inserter(narrow),
                           [](WChar unit) { return unit < 0x80 ? static_cast<char>(unit) : '?'; });
    std::int32_t capacity = 0;
    return boost::conversion::try_lexical_convert(narrow, capacity) ? capacity : DefaultMaximumCapacity;
}

/// Copies units, each with its bytes in reverse order if `swap`. Neither side need be aligned.
void copyUnits(unsigned char* target, const unsigned char* source, std::size_t bytes, bool swap) {
    if (!swap) {
        if (bytes > 0)
            std::memcpy(target, source, bytes);
        return;
    }
    for (std::size_t i = 0; i < bytes; i += sizeof(std::uint16_t)) {
        std::uint16_t unit = 0;
        std::memcpy(&unit, source + i, sizeof unit);
        unit = byteSwap16(unit);
        std::memcpy(target + i, &unit, sizeof unit);
    }
}

/// The arguments of a block operation, in units of `unit` bytes.
struct Block {
    const void* memory;
    std::int32_t size;
    std::int32_t offset;
    std::int32_t length;
    std::int64_t unit = 1;

    std::int64_t bytes() const { return length * unit; }
    bool fits(std::int32_t remaining) const {
        return memory != nullptr && (size | offset | length) >= 0 && size >= offset && size - offset >= length &&
               remaining >= bytes();
    }
};

/// Throws for the first argument that is at fault; what is left then is want of room.
void checkArguments(const Block& block, const WChar* function, const WChar* memoryName) {
    ErrorUtils::isNullEx(block.memory, function, memoryName);
    ErrorUtils::isBelowMinEx(block.size, 0, function, u"Size");
    ErrorUtils::isBelowMinEx(block.offset, 0, function, u"Offset");
    ErrorUtils::isBelowMinEx(block.length, 0, function, LengthName);
    ErrorUtils::isBelowMinEx(block.size, block.offset, function, u"Size");
    ErrorUtils::isBelowMinEx(block.size - block.offset, block.length, function, u"Buffer size");
}

/// Each returns the number of bytes to copy.
std::size_t checkGet(const Block& block, std::int32_t remaining) {
    constexpr const WChar* function = u"norq_std::ByteBuffer::get";
    if (!block.fits(remaining)) [[unlikely]] {
        checkArguments(block, function, u"Destination buffer");
        throwOver<NorqBufferUnderflowException>(
            [&] { ErrorUtils::isBelowMinEx<std::int64_t>(remaining, block.bytes(), function, RemainingName); },
            TooShortForLength);
    }
    return static_cast<std::size_t>(block.bytes());
}

std::size_t checkPut(const Block& block, std::int32_t remaining) {
    constexpr const WChar* function = u"norq_std::ByteBuffer::put";
    if (!block.fits(remaining)) [[unlikely]] {
        checkArguments(block, function, u"Source buffer");
        throwOver<NorqBufferOverflowException>(
            [&] { ErrorUtils::isBelowMinEx<std::int64_t>(remaining, block.bytes(), function, RemainingName); },
            NoSpace);
    }
    return static_cast<std::size_t>(block.bytes());
}

} // namespace

void ByteBuffer::Free::operator()(unsigned char* memory) const noexcept { std::free(memory); }

ByteBuffer::ByteBuffer() = default;

ByteBuffer::~ByteBuffer() = default;

std::shared_ptr<ByteBuffer> ByteBuffer::allocate(std::int32_t capacity) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::ByteBuffer::allocate");
    const std::int32_t maximum = getMaximumCapacity();
    if (capacity < 0 || capacity > maximum)
        ErrorUtils::isOutsideRangeEx(capacity, 0, maximum, u"norq_std::ByteBuffer::allocate", u"Capacity");
    std::shared_ptr<ByteBuffer> buffer(new ByteBuffer);
    // From the C allocator, which gives large blocks of zeros without touching them.
    buffer->bytes.reset(static_cast<unsigned char*>(std::calloc(static_cast<std::size_t>(std::max(capacity, 1)), 1)));
    if (!buffer->bytes)
        throw NorqOutOfResourcesException(u"Error allocating a buffer of " + numberText(capacity) + u" bytes.");
    buffer->capacity = capacity;
    buffer->limit = capacity;
    return buffer;
}

std::int32_t ByteBuffer::getMaximumCapacity() {
    static std::atomic<std::int32_t> maximum{Unread};
    static std::atomic<bool> known{false};
    if (!known.load(std::memory_order_acquire)) {
        static Lock& lock = *new Lock;
        const AutoLock<Lock> hold(lock);
        if (!known.load(std::memory_order_relaxed)) {
            maximum.store(parseCapacity(NorqSystem::getInstance().getProperty(u"ByteBuffer maximum capacity",
                                                                              numberText(DefaultMaximumCapacity))),
                          std::memory_order_relaxed);
            known.store(true, std::memory_order_release);
        }
    }
    return maximum.load(std::memory_order_relaxed);
}

WString ByteBuffer::toString() const {
    return u"ByteBuffer{" + Buffer::toString() + u",order=" + numberText(static_cast<std::int32_t>(order)) + u"}";
}

void ByteBuffer::setOrder(Endian newOrder) {
    if (newOrder != ENDIAN_BIG && newOrder != ENDIAN_LITTLE) {
        const NorqIllegalArgumentException exception(u"Order value " + numberText(static_cast<std::int32_t>(newOrder)) +
                                                     u" is invalid.");
        exception.logDebug(u"norq_std::ByteBuffer::setOrder");
        throw NorqIllegalArgumentException(exception);
    }
    order = newOrder;
}

void ByteBuffer::get(unsigned char* destination, std::int32_t size, std::int32_t offset, std::int32_t length) {
    const std::size_t count = checkGet({destination, size, offset, length}, remaining());
    copyUnits(destination + offset, bytes.get() + position, count, false);
    position += length;
}

void ByteBuffer::get(WChar* destination, std::int32_t size, std::int32_t offset, std::int32_t length) {
    const std::size_t count = checkGet({destination, size, offset, length, SHORT_BYTES}, remaining());
    copyUnits(reinterpret_cast<unsigned char*>(destination + offset), bytes.get() + position, count,
              order != getSystemEndianType());
    position += static_cast<std::int32_t>(count);
}

std::shared_ptr<ByteArray> ByteBuffer::getByteArray(std::int32_t length) {
    checkGet({bytes.get(), std::max(length, 0), 0, length}, remaining());
    auto result = std::make_shared<ByteArray>(bytes.get() + position, length);
    position += length;
    return result;
}

void ByteBuffer::put(const unsigned char* source, std::int32_t size, std::int32_t offset, std::int32_t length) {
    const std::size_t count = checkPut({source, size, offset, length}, remaining());
    copyUnits(bytes.get() + position, source + offset, count, false);
    position += length;
}

void ByteBuffer::put(const WChar* source, std::int32_t size, std::int32_t offset, std::int32_t length) {
    const std::size_t count = checkPut({source, size, offset, length, SHORT_BYTES}, remaining());
    copyUnits(bytes.get() + position, reinterpret_cast<const unsigned char*>(source + offset), count,
              order != getSystemEndianType());
    position += static_cast<std::int32_t>(count);
}

void ByteBuffer::put(ByteBuffer& other) {
    if (&other == this) {
        const NorqIllegalArgumentException exception(u"Attempting to put to same buffer as source.");
        exception.logDebug(u"norq_std::ByteBuffer::put");
        throw NorqIllegalArgumentException(exception);
    }
    const std::int32_t length = other.remaining();
    if (remaining() < length)
        throw NorqBufferOverflowException(u"Remaining data length is below input buffer size");
    copyUnits(bytes.get() + position, other.bytes.get() + other.position, static_cast<std::size_t>(length), false);
    position += length;
    other.position += length;
}

void ByteBuffer::rejectGet() const {
    throwOver<NorqBufferUnderflowException>(
        [&] { ErrorUtils::isAboveMaxEx(position, limit - 1, u"norq_std::ByteBuffer::get", PositionName); },
        u"Position is above limit");
}

void ByteBuffer::rejectPut() const {
    throwOver<NorqBufferOverflowException>(
        [&] { ErrorUtils::isAboveMaxEx(position, limit - 1, u"norq_std::ByteBuffer::put", PositionName); },
        u"Buffer has reached limit");
}

void ByteBuffer::rejectGet(std::int32_t size, const WChar* function) const {
    throwOver<NorqBufferUnderflowException>(
        [&] { ErrorUtils::isBelowMinEx(remaining(), size, function, RemainingName); },
        u"Remaining data length is below " + numberText(size));
}

void ByteBuffer::rejectPut(std::int32_t size, const WChar* function) const {
    throwOver<NorqBufferOverflowException>(
        [&] { ErrorUtils::isBelowMinEx(remaining(), size, function, RemainingName); }, NoSpace);
}

void ByteBuffer::rejectIndex(std::int32_t index, std::uint32_t size, const WChar* function) const {
    ErrorUtils::isOutsideRangeEx(index, 0, limit - static_cast<std::int32_t>(size), function, u"Index");
    throw NorqIllegalArgumentException(u"Index"); // not reached: the check has thrown
}

} // namespace norq_std
