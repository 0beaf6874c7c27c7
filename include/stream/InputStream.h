#pragma once

#include "base/Export.h"

#include <cstdint>

namespace norq_std {

/// A source of bytes, read once from its start to its end.
///
/// A stream belongs to one thread at a time. Offsets and lengths that are negative, and null buffers, throw
/// `NorqIllegalArgumentException`.
class NORQSTD_EXPORT InputStream {
public:
    virtual ~InputStream();
    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;

    /// How many bytes can be read without waiting; 0 if that is not known.
    virtual std::int32_t available();
    virtual void close();
    /// Remembers the position for `reset`; `limit` is how many bytes may be read before it is forgotten.
    virtual void mark(std::int32_t limit);
    /// Goes back to the mark. Throws `NorqIOException` where the stream has none.
    virtual void reset();
    virtual bool markSupported() const;
    /// Reads up to `length` bytes to `buffer` + `offset`. Returns their number, or -1 at the end.
    virtual std::int32_t read(unsigned char* buffer, std::int32_t offset, std::int32_t length);
    /// The next byte as a signed number, -1 at the end. The byte 0xFF is -1 as well: only the other form tells the two
    /// apart.
    virtual std::int32_t read() = 0;

protected:
    InputStream();
};

} // namespace norq_std
