#pragma once

#include "base/Export.h"

#include <cstdint>

namespace norq_std {

/// A sink of bytes. It belongs to one thread at a time. Offsets and lengths that are negative, and null buffers, throw
/// `NorqIllegalArgumentException`.
class NORQSTD_EXPORT OutputStream {
public:
    virtual ~OutputStream();
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    virtual void flush();
    virtual void close();
    /// Writes `length` bytes from `buffer` + `offset`.
    virtual void write(const unsigned char* buffer, std::int32_t offset, std::int32_t length);
    virtual void write(unsigned char byte) = 0;

protected:
    OutputStream();
};

} // namespace norq_std
