#pragma once

#include "base/Export.h"

#include <cstdint>
#include <memory>

namespace norq_std {

/// Collects bytes in memory; the buffer doubles, from a step of 1 MiB on it grows by that step.
///
/// It owns its buffer and cannot be copied. It belongs to one thread at a time.
class NORQSTD_EXPORT ByteArrayOutputStream {
public:
    static constexpr std::int32_t DEFAULT_CAPACITY = 256;

    /// Below 1 the capacity is the default. Throws `NorqIOException` where the memory is not to be had.
    explicit ByteArrayOutputStream(std::int32_t initialCapacity = DEFAULT_CAPACITY);
    virtual ~ByteArrayOutputStream();
    ByteArrayOutputStream(const ByteArrayOutputStream&) = delete;
    ByteArrayOutputStream& operator=(const ByteArrayOutputStream&) = delete;

    /// Appends `length` bytes from `source` + `offset`, which must not lie in this stream's own buffer. Throws
    /// `NorqIllegalArgumentException` for null and for negative numbers, `NorqIOException` where the buffer cannot
    /// grow; the stream is unchanged then.
    virtual void write(const unsigned char* source, std::int32_t offset, std::int32_t length);
    virtual void write(unsigned char byte);

    std::int32_t getSize() const { return size; }
    std::int32_t getCapacity() const { return capacity; }
    /// What was written, valid until the next write or reset.
    const unsigned char* getBuffer() const { return buffer.get(); }

    /// Hands the buffer over, with what was written in front, and starts anew with another; a failure leaves the stream
    /// unchanged.
    std::shared_ptr<unsigned char[]> reset(std::int32_t newCapacity = DEFAULT_CAPACITY);

private:
    struct Free {
        void operator()(unsigned char* memory) const noexcept;
    };
    using Storage = std::unique_ptr<unsigned char[], Free>;

    static Storage allocate(std::int32_t bytes);
    void grow(std::int32_t needed);

    std::int32_t capacity;
    std::int32_t size = 0;
    Storage buffer;
};

} // namespace norq_std
