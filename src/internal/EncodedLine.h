#pragma once

#include "base/WString.h"
#include "internal/AsciiRuns.h"
#include "internal/LogTimeText.h"
#include "platform/CodePage.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace norq_std_internal {

/// A line of a log file in the bytes that are written, code page 0: encoded as it is put together, on the stack while
/// it is short. There is room before it for its time, which is known last. Local to one thread.
class EncodedLine {
public:
    EncodedLine() = default;
    EncodedLine(const EncodedLine&) = delete;
    EncodedLine& operator=(const EncodedLine&) = delete;

    EncodedLine& operator+=(std::u16string_view text) {
        if (text.size() > static_cast<std::size_t>(last - next)) [[unlikely]]
            grow(text.size());
        const std::size_t ascii = narrowAscii(text.data(), text.size(), next);
        next += ascii;
        if (ascii != text.size()) [[unlikely]]
            next = platform::encodeDefaultCodePage(text.substr(ascii), next);
        return *this;
    }
    EncodedLine& operator+=(norq_std::WChar ascii) {
        if (next == last) [[unlikely]]
            grow(1);
        *next++ = static_cast<unsigned char>(ascii);
        return *this;
    }
    /// ASCII as well.
    EncodedLine& append(const char* begin, const char* end) {
        const auto count = static_cast<std::size_t>(end - begin);
        if (count > static_cast<std::size_t>(last - next)) [[unlikely]]
            grow(count);
        std::memcpy(next, begin, count);
        next += count;
        return *this;
    }

    /// To be called when it is complete: as every text that is encoded, a line ends at its first zero unit.
    void end() {
        unsigned char* const body = first + LogTimeText::longest;
        if (void* const zero = std::memchr(body, 0, static_cast<std::size_t>(next - body))) [[unlikely]]
            next = static_cast<unsigned char*>(zero);
    }

    /// The line with this time at its head, until the next call.
    std::string_view at(std::string_view time) {
        unsigned char* const head = first + LogTimeText::longest - time.size();
        std::memcpy(head, time.data(), time.size());
        return {reinterpret_cast<const char*>(head), static_cast<std::size_t>(next - head)};
    }

private:
    static constexpr std::size_t inlineSize = 1024;

    void grow(std::size_t count) {
        const auto used = static_cast<std::size_t>(next - first);
        const std::size_t capacity = used + count + used / 2;
        auto bytes = std::make_unique_for_overwrite<unsigned char[]>(capacity);
        std::memcpy(bytes.get(), first, used);
        heapBytes = std::move(bytes);
        first = heapBytes.get();
        next = first + used;
        last = first + capacity;
    }

    unsigned char inlineBytes[inlineSize];
    std::unique_ptr<unsigned char[]> heapBytes;
    unsigned char* first = inlineBytes;
    unsigned char* next = inlineBytes + LogTimeText::longest;
    unsigned char* last = inlineBytes + inlineSize;
};

} // namespace norq_std_internal
