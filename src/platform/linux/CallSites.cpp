#include "platform/linux/CallSites.h"

#include <cstring>

namespace norq_std_internal::platform {

namespace {

constexpr std::uint8_t Omitted = 0xFF;
constexpr std::uint8_t VariableLength = 0x01;
constexpr std::uint8_t FourBytes = 0x03;

} // namespace

CallSites::CallSites(const void* table)
    : at(static_cast<const std::uint8_t*>(table)) {
    if (at == nullptr)
        return;
    const bool padsAreRelativeToFunction = *at++ == Omitted;
    const bool hasTypes = *at++ != Omitted;
    if (hasTypes)
        number();
    encoding = *at++;
    readable = padsAreRelativeToFunction && (encoding == VariableLength || encoding == FourBytes);
    if (readable) {
        const std::uintptr_t length = number();
        end = at + length;
    }
}

bool CallSites::next(CallSite& site) {
    if (end == nullptr || at >= end)
        return false;
    site.begin = value();
    site.end = site.begin + value();
    site.cleansUp = value() != 0;
    site.catches = number() != 0; // which exceptions
    return true;
}

std::uintptr_t CallSites::number() {
    std::uintptr_t result = 0;
    for (unsigned shift = 0;; shift += 7) {
        const std::uint8_t byte = *at++;
        result |= static_cast<std::uintptr_t>(byte & 0x7F) << shift;
        if (byte < 0x80 || shift > 56)
            return result;
    }
}

std::uintptr_t CallSites::value() {
    if (encoding == VariableLength)
        return number();
    std::uint32_t result = 0;
    std::memcpy(&result, at, sizeof result);
    at += sizeof result;
    return result;
}

} // namespace norq_std_internal::platform
