#include "platform/linux/CallSites.h"

#include <cstdint>
#include <cstring>

namespace norq_std_internal::platform {
namespace {

constexpr std::uint8_t Omitted = 0xFF;
constexpr std::uint8_t VariableLength = 0x01;
constexpr std::uint8_t FourBytes = 0x03;

std::uint64_t readVariableLength(const std::uint8_t*& at) {
    std::uint64_t number = 0;
    for (unsigned shift = 0;; shift += 7) {
        const std::uint8_t byte = *at++;
        number |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
        if (byte < 0x80 || shift > 56)
            return number;
    }
}

} // namespace

bool liesBeforeCallSites(const void* table, std::size_t offset) {
    if (table == nullptr)
        return false;
    const auto* at = static_cast<const std::uint8_t*>(table);
    if (*at++ != Omitted) // landing pads relative to another place than the function's start
        return false;
    if (*at++ != Omitted)
        readVariableLength(at); // where the types are
    const std::uint8_t encoding = *at++;
    if (readVariableLength(at) == 0)
        return false;
    if (encoding == VariableLength)
        return offset < readVariableLength(at);
    std::uint32_t start = 0;
    std::memcpy(&start, at, sizeof start);
    return encoding == FourBytes && offset < start;
}

} // namespace norq_std_internal::platform
