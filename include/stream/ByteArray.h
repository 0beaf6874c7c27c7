#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace norq_std_internal {
class RawBytes;
}

namespace norq_std {

/// A run of bytes as a value: each array holds its own, and copying copies them.
///
/// Text and bytes are the inverse of each other by an encoding name, compared exactly: "windows-1252"; "UTF-8", whose
/// results end where the limit of `ConvertUTF` ends them (docs/text.md); and, under any other name, the 16-bit units as
/// they lie in memory. An array belongs to one thread at a time.
class NORQSTD_EXPORT ByteArray {
public:
    static constexpr std::int32_t WCHAR_T_SIZE = 2;

    ByteArray();
    /// Zero bytes. Throws `NorqIllegalArgumentException` for a negative length, as all constructors do.
    explicit ByteArray(std::int32_t arrayLength);
    /// A copy. Throws `NorqIllegalArgumentException` for null bytes.
    ByteArray(const unsigned char* bytes, std::int32_t arrayLength);
    /// The bytes of the string, without a terminator.
    explicit ByteArray(const std::string& bytes);
    ByteArray(const WString& text, const WString& encoding);
    ByteArray(const ByteArray& other);
    /// Leaves the other empty.
    ByteArray(ByteArray&& other) noexcept;
    ByteArray& operator=(const ByteArray& other);
    ByteArray& operator=(ByteArray&& other) noexcept;
    virtual ~ByteArray();

    /// The bytes as they are.
    virtual std::string toString() const;

    std::int32_t getLength() const { return length; }
    /// The bytes themselves, not a copy: they live as long as anybody holds this pointer. Null only after the default
    /// constructor, `clear` or a move.
    std::shared_ptr<unsigned char[]> getArray() const { return data; }

    /// Decodes; "windows-1252" and "UTF-8" end at the first zero byte, and an odd last byte of units is left out.
    WString toWString(const WString& encoding) const;

    bool operator==(const ByteArray& other) const;

    /// The byte at the index. An index outside gives a reference to a zero byte that is no part of the data, and a line
    /// of debug log.
    unsigned char& operator[](std::int32_t index) { return isInside(index) ? data[index] : outside(index); }
    unsigned char operator[](std::int32_t index) const { return isInside(index) ? data[index] : outside(index); }

    /// Releases the bytes.
    void clear();

private:
    friend class norq_std_internal::RawBytes;

    bool isInside(std::int32_t index) const {
        return static_cast<std::uint32_t>(index) < static_cast<std::uint32_t>(length);
    }
    unsigned char& outside(std::int32_t index) const;
    void assign(const void* bytes, std::size_t size);

    std::shared_ptr<unsigned char[]> data;
    std::int32_t length = 0;
    mutable unsigned char fallback = 0; // what an index outside refers to
};

} // namespace norq_std
