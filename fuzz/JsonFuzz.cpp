// Any text: it is refused with an exception of the documented kinds, or read. What was read is written, and what was
// written reads back to the same text, unless it holds what JSON text cannot carry (numbers that are not finite).
#include "base/JsonString.h"
#include "base/JsonUtil.h"
#include "exception/NorqException.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace {

using norq_std::JsonString;
using norq_std::JsonUtil;
using norq_std::WString;

/// One byte of the input a unit, so that the fuzzer finds the grammar; behind a first byte of 0xFF two bytes a unit.
WString toText(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || data[0] != 0xFF)
        return WString(data, data + size);
    WString text((size - 1) / 2, u'\0');
    std::memcpy(text.data(), data + 1, text.size() * sizeof(char16_t));
    return text;
}

void require(bool holds) {
    if (!holds)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const WString text = toText(data, size);
    require(JsonString::unescape(JsonString::escape(text)) == text);
    WString written;
    try {
        const auto value = JsonUtil::parseJson(text);
        if (value == nullptr)
            return 0;
        written = value->toJsonString();
    } catch (const norq_std::NorqIllegalArgumentException&) {
        return 0;
    } catch (const std::out_of_range&) {
        return 0;
    }
    // Numbers here are finite: no text of digits reads as anything else. So everything written can be read.
    const auto again = JsonUtil::parseJson(written);
    require(again != nullptr && again->toJsonString() == written);
    return 0;
}
