#include "stream/InputStream.h"

#include "exception/NorqException.h"
#include "internal/StreamChecks.h"

namespace norq_std {

InputStream::InputStream() = default;

InputStream::~InputStream() = default;

std::int32_t InputStream::available() { return 0; }

void InputStream::close() {}

void InputStream::mark(std::int32_t /*limit*/) {}

void InputStream::reset() { throw NorqIOException(u"Mark not supported."); }

bool InputStream::markSupported() const { return false; }

std::int32_t InputStream::read(unsigned char* buffer, std::int32_t offset, std::int32_t length) {
    norq_std_internal::checkTransfer(buffer, offset, length, u"norq_std::InputStream::read");
    for (std::int32_t count = 0; count < length; ++count) {
        const std::int32_t value = read();
        if (value == -1)
            return count == 0 ? -1 : count;
        buffer[static_cast<std::size_t>(offset) + static_cast<std::size_t>(count)] = static_cast<unsigned char>(value);
    }
    return length;
}

} // namespace norq_std
