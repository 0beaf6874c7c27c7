#pragma once

#include <cstdint>

namespace norq_std {

/// The value with its bytes in reverse order.
constexpr std::uint16_t byteSwap16(std::uint16_t value) { return __builtin_bswap16(value); }
constexpr std::uint32_t byteSwap32(std::uint32_t value) { return __builtin_bswap32(value); }
constexpr std::uint64_t byteSwap64(std::uint64_t value) { return __builtin_bswap64(value); }

} // namespace norq_std
