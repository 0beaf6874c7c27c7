#include "stream/OutputStream.h"

#include "internal/StreamChecks.h"

namespace norq_std {

OutputStream::OutputStream() = default;

OutputStream::~OutputStream() = default;

void OutputStream::flush() {}

void OutputStream::close() {}

void OutputStream::write(const unsigned char* buffer, std::int32_t offset, std::int32_t length) {
    norq_std_internal::checkTransfer(buffer, offset, length, u"norq_std::OutputStream::write");
    for (std::int32_t i = 0; i < length; ++i)
        write(buffer[static_cast<std::size_t>(offset) + static_cast<std::size_t>(i)]);
}

} // namespace norq_std
