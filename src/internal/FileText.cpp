#include "internal/FileText.h"

#include "base/LogMacros.h"
#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "internal/ConvertUTF.h"
#include "stream/ByteArray.h"

#include <algorithm>
#include <string>

namespace norq_std_internal {

using norq_std::ByteArray;
using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr std::u16string_view UTF8 = u"UTF-8";
constexpr std::u16string_view UCS2 = u"ISO-10646-UCS-2";
// UTF-8 is converted in pieces that keep below the limit of a conversion: a unit has at most three bytes.
constexpr std::size_t PIECE = ConvertUTF::DEFAULT_MAX_STRING_SIZE / 4;

constexpr bool isHighSurrogate(WChar unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool isLowSurrogate(WChar unit) { return (unit & 0xFC00) == 0xDC00; }

/// Length of the next piece, which ends before a character.
std::size_t pieceLength(std::string_view bytes) {
    if (bytes.size() <= PIECE)
        return bytes.size();
    std::size_t length = PIECE;
    while (length > PIECE - 4 && (static_cast<unsigned char>(bytes[length]) & 0xC0) == 0x80)
        --length;
    return length;
}

WString decodeUtf8(std::string_view bytes) {
    WString text;
    text.reserve(bytes.size());
    for (std::string piece; !bytes.empty(); bytes.remove_prefix(piece.size())) {
        piece = bytes.substr(0, pieceLength(bytes));
        const auto* const source = reinterpret_cast<const unsigned char*>(piece.c_str());
        try {
            text += ConvertUTF::utf8ToUtf16(source, false, ConvertUTF::EXCEPT);
        } catch (const norq_std::NorqIllegalArgumentException&) {
            text += ConvertUTF::utf8ToUtf16(source, false, ConvertUTF::NO_EXCEPT);
            NORQ_LOG(norq_std::DEBUG, u"norq_std_internal::decodeFile",
                     u"Text is not UTF-8 behind %d characters, the rest is left out.", text.size());
            break;
        }
    }
    return text;
}

std::string encodeUtf8(std::u16string_view text) {
    std::string bytes;
    bytes.reserve(text.size() + text.size() / 8);
    while (!text.empty()) {
        std::size_t length = std::min(text.size(), PIECE);
        if (length < text.size() && isHighSurrogate(text[length - 1]))
            --length;
        bytes += norq_std::UtfUtils::utf16ToUtf8(WString(text.substr(0, length)));
        text.remove_prefix(length);
    }
    return bytes;
}

void replaceLoneSurrogates(WString& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((text[i] & 0xF800) != 0xD800)
            continue;
        if (isHighSurrogate(text[i]) && i + 1 < text.size() && isLowSurrogate(text[i + 1]))
            ++i;
        else
            text[i] = u'\uFFFD';
    }
}

} // namespace

WString decodeFile(const ByteArray& bytes, const WString& charset) {
    if (charset != UTF8)
        return bytes.toWString(charset);
    const std::string_view all(reinterpret_cast<const char*>(bytes.getArray().get()),
                               static_cast<std::size_t>(bytes.getLength()));
    return decodeUtf8(all.substr(0, all.find('\0')));
}

std::shared_ptr<ByteArray> encodeFile(WString text, const WString& charset) {
    if (charset != UCS2)
        std::replace(text.begin(), text.end(), WChar{0}, u'\uFFFD');
    if (charset != UTF8)
        return std::make_shared<ByteArray>(text, charset);
    replaceLoneSurrogates(text);
    return std::make_shared<ByteArray>(encodeUtf8(text));
}

} // namespace norq_std_internal
