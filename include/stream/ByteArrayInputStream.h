#pragma once

#include "base/Export.h"
#include "stream/InputStream.h"

#include <memory>

namespace norq_std {

/// Reads a part of an array, which it keeps alive and does not copy.
class NORQSTD_EXPORT ByteArrayInputStream : public InputStream {
public:
    /// The `length` bytes from `offset`, which the array must have. Throws `NorqIllegalArgumentException` for a null
    /// array and for a negative number.
    ByteArrayInputStream(std::shared_ptr<unsigned char[]> buffer, std::int32_t offset, std::int32_t length);
    ~ByteArrayInputStream() override;

    /// The bytes that are left.
    std::int32_t available() override;
    void close() override;
    /// The limit has no effect.
    void mark(std::int32_t limit) override;
    void reset() override;
    bool markSupported() const override;
    std::int32_t read(unsigned char* buffer, std::int32_t offset, std::int32_t length) override;
    std::int32_t read() override;

private:
    static constexpr std::int32_t NO_MARK = -1;

    std::shared_ptr<unsigned char[]> data;
    std::int32_t end;
    std::int32_t markPosition = NO_MARK;
    std::int32_t currentPosition;
};

} // namespace norq_std
