#include "stream/ByteArrayOutputStream.h"

#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "internal/StreamChecks.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

namespace norq_std {

namespace {

constexpr std::int32_t LargestStep = 1048576;
constexpr WChar AllocationFailed[] = u"Error allocating buffer space.";

std::int32_t orDefault(std::int32_t bytes) { return bytes < 1 ? ByteArrayOutputStream::DEFAULT_CAPACITY : bytes; }

} // namespace

void ByteArrayOutputStream::Free::operator()(unsigned char* memory) const noexcept { std::free(memory); }

ByteArrayOutputStream::ByteArrayOutputStream(std::int32_t initialCapacity)
    : capacity(orDefault(initialCapacity))
    , buffer(allocate(capacity)) {}

ByteArrayOutputStream::~ByteArrayOutputStream() = default;

void ByteArrayOutputStream::write(const unsigned char* source, std::int32_t offset, std::int32_t length) {
    norq_std_internal::checkTransfer(source, offset, length, u"norq_std::ByteArrayOutputStream::write");
    grow(length);
    std::memcpy(buffer.get() + size, source + offset, static_cast<std::size_t>(length));
    size += length;
}

void ByteArrayOutputStream::write(unsigned char byte) { write(&byte, 0, 1); }

std::shared_ptr<unsigned char[]> ByteArrayOutputStream::reset(std::int32_t newCapacity) {
    Storage fresh = allocate(orDefault(newCapacity));
    std::shared_ptr<unsigned char[]> full(std::move(buffer));
    buffer = std::move(fresh);
    capacity = orDefault(newCapacity);
    size = 0;
    return full;
}

ByteArrayOutputStream::Storage ByteArrayOutputStream::allocate(std::int32_t bytes) {
    Storage storage(static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(bytes))));
    if (!storage)
        throw NorqIOException(AllocationFailed);
    return storage;
}

void ByteArrayOutputStream::grow(std::int32_t needed) {
    const std::int32_t shortfall = needed - (capacity - size);
    if (shortfall <= 0)
        return;
    const std::int32_t increment = std::max(std::min(capacity, LargestStep), shortfall);
    if (increment > std::numeric_limits<std::int32_t>::max() - capacity)
        throw NorqIOException(AllocationFailed);
    NORQ_LOG(TRACE, u"norq_std::ByteArrayOutputStream::grow", u"Growing by <%d> bytes to a capacity of <%d>.",
             increment, capacity + increment);
    auto* const larger = static_cast<unsigned char*>(
        std::realloc(buffer.get(), static_cast<std::size_t>(capacity) + static_cast<std::size_t>(increment)));
    if (larger == nullptr)
        throw NorqIOException(AllocationFailed);
    buffer.release(); // realloc has freed it or extended it in place
    buffer.reset(larger);
    capacity += increment;
}

} // namespace norq_std
