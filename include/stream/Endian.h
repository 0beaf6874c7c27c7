#pragma once

#include <bit>
#include <cstdint>

namespace norq_std {

/// The order of the bytes of a number.
enum Endian : std::int32_t {
    ENDIAN_BIG = 0,    ///< the most significant byte first
    ENDIAN_LITTLE = 1, ///< the least significant byte first
};

/// The order of the processor that runs this.
constexpr Endian getSystemEndianType() {
    static_assert(std::endian::native == std::endian::big || std::endian::native == std::endian::little);
    return std::endian::native == std::endian::big ? ENDIAN_BIG : ENDIAN_LITTLE;
}

} // namespace norq_std
