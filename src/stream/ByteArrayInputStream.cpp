#include "stream/ByteArrayInputStream.h"

#include "exception/NorqException.h"
#include "internal/StreamChecks.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

namespace norq_std {

ByteArrayInputStream::ByteArrayInputStream(std::shared_ptr<unsigned char[]> buffer, std::int32_t offset,
                                           std::int32_t length)
    : data(std::move(buffer))
    , currentPosition(offset) {
    constexpr const WChar* function = u"norq_std::ByteArrayInputStream::ByteArrayInputStream";
    norq_std_internal::checkTransfer(data.get(), offset, length, function);
    const std::int32_t room = std::numeric_limits<std::int32_t>::max() - offset;
    if (length > room)
        ErrorUtils::isAboveMaxEx(length, room, function, u"length");
    end = offset + length;
}

ByteArrayInputStream::~ByteArrayInputStream() = default;

std::int32_t ByteArrayInputStream::available() { return end - currentPosition; }

void ByteArrayInputStream::close() {}

void ByteArrayInputStream::mark(std::int32_t /*limit*/) { markPosition = currentPosition; }

void ByteArrayInputStream::reset() {
    if (markPosition == NO_MARK)
        throw NorqIOException(u"Mark has not been set.");
    currentPosition = markPosition;
}

bool ByteArrayInputStream::markSupported() const { return true; }

std::int32_t ByteArrayInputStream::read(unsigned char* buffer, std::int32_t offset, std::int32_t length) {
    norq_std_internal::checkTransfer(buffer, offset, length, u"norq_std::ByteArrayInputStream::read");
    const std::int32_t left = available();
    if (left == 0)
        return -1;
    const std::int32_t count = std::min(length, left);
    std::memcpy(buffer + offset, data.get() + currentPosition, static_cast<std::size_t>(count));
    currentPosition += count;
    return count;
}

std::int32_t ByteArrayInputStream::read() {
    return currentPosition == end ? -1 : static_cast<signed char>(data[currentPosition++]);
}

} // namespace norq_std
