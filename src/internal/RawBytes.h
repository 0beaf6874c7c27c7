#pragma once

#include "stream/ByteArray.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace norq_std_internal {

/// Byte arrays that are filled at once, and so need no zeros before.
class RawBytes {
public:
    /// The length is not negative.
    static std::shared_ptr<norq_std::ByteArray> make(std::int32_t length) {
        auto array = std::make_shared<norq_std::ByteArray>();
        array->data = std::make_shared_for_overwrite<unsigned char[]>(static_cast<std::size_t>(length));
        array->length = length;
        return array;
    }

    /// Keeps the first bytes alone.
    static void shorten(norq_std::ByteArray& array, std::int32_t length) {
        if (length < array.length)
            array = norq_std::ByteArray(array.data.get(), length);
    }

    /// The same where little is lost by keeping the memory.
    static void cut(norq_std::ByteArray& array, std::int32_t length) { array.length = length; }
};

} // namespace norq_std_internal
