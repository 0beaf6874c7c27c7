#include "LineDecoder.h"

#include "base/EncodingUtils.h"
#include "base/UtfUtils.h"

#include <string>
#include <utility>

namespace shipper {
namespace {

using norq_std::WString;

/// How many bytes of valid UTF-8 a text was made from. A conversion stops at the first fault without a word, so this
/// tells whether it came to the end.
std::size_t utf8Length(const WString& text) {
    std::size_t bytes = 0;
    for (const char16_t unit : text) {
        const bool surrogate = (unit & 0xF800) == 0xD800; // two of them stand for four bytes
        bytes += unit < 0x80 ? 1u : unit < 0x800 || surrogate ? 2u : 3u;
    }
    return bytes;
}

/// Converts the stretches between zero bytes one by one.
template <class Convert>
WString joinStretches(const std::string& line, const Convert& convert) {
    WString text;
    for (std::size_t begin = 0;;) {
        const std::size_t end = line.find('\0', begin);
        text += convert(line.substr(begin, end - begin));
        if (end == std::string::npos)
            return text;
        text += u'\u2400';
        begin = end + 1;
    }
}

} // namespace

std::optional<WString> decodePlain(const char* bytes, std::size_t length) {
    WString text = norq_std::UtfUtils::utf8ToUtf16(bytes);
    if (text.size() == length || utf8Length(text) == length) // most lines are ASCII
        return text;
    return std::nullopt;
}

DecodedLine decode(const char* line, std::size_t length) {
    DecodedLine result;
    if (auto plain = decodePlain(line, length)) {
        result.text = std::move(*plain);
        return result;
    }
    const std::string bytes(line, length);
    for (const char byte : bytes)
        result.nulBytes += byte == 0;
    result.text = joinStretches(bytes, [&](const std::string& stretch) {
        WString text = norq_std::UtfUtils::utf8ToUtf16(stretch);
        result.otherEncoding |= utf8Length(text) != stretch.size();
        return text;
    });
    if (result.otherEncoding)
        result.text = joinStretches(bytes, [](const std::string& stretch) {
            return norq_std::EncodingUtils::convertMbcsToUnicode(stretch, 0);
        });
    return result;
}

} // namespace shipper
