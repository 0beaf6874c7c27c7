#include "platform/CurrentThread.h"

#include <cstddef>

#include <pthread.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

constexpr std::size_t MaxNameBytes = 15;

bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

/// Takes the next character off the front.
char32_t nextCharacter(std::u16string_view& text) {
    const char32_t first = text[0];
    text.remove_prefix(1);
    if (isHighSurrogate(first) && !text.empty() && isLowSurrogate(text[0])) {
        const char32_t second = text[0];
        text.remove_prefix(1);
        return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    }
    return isHighSurrogate(first) || isLowSurrogate(first) ? 0xFFFD : first;
}

/// Writes a character as UTF-8 and gives the number of bytes.
std::size_t encode(char32_t character, char (&bytes)[4]) {
    if (character < 0x80) {
        bytes[0] = static_cast<char>(character);
        return 1;
    }
    const std::size_t length = character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
    for (std::size_t i = length - 1; i > 0; --i, character >>= 6)
        bytes[i] = static_cast<char>(0x80 | (character & 0x3F));
    constexpr unsigned leads[] = {0, 0, 0xC0, 0xE0, 0xF0};
    bytes[0] = static_cast<char>(leads[length] | character);
    return length;
}

} // namespace

std::uint64_t currentThreadNumber() noexcept { return static_cast<std::uint64_t>(gettid()); }

void nameCurrentThread(std::u16string_view name) noexcept {
    char buffer[MaxNameBytes + 1];
    std::size_t used = 0;
    while (!name.empty() && name[0] != 0) {
        char bytes[4];
        const std::size_t length = encode(nextCharacter(name), bytes);
        if (used + length > MaxNameBytes)
            break;
        for (std::size_t i = 0; i < length; ++i)
            buffer[used++] = bytes[i];
    }
    buffer[used] = 0;
    pthread_setname_np(pthread_self(), buffer);
}

} // namespace norq_std_internal::platform
