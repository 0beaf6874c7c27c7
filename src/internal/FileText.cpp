#include "internal/FileText.h"

#include "base/LogMacros.h"
#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "internal/ConvertUTF.h"
#include "platform/CodePage.h"
#include "stream/ByteArray.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace norq_std_internal {

using norq_std::ByteArray;
using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr std::u16string_view UTF8 = u"UTF-8";
constexpr std::u16string_view UCS2 = u"ISO-10646-UCS-2";
// UTF-8 is converted in parts that keep below the limit of a conversion: a unit has at most three bytes.
constexpr std::size_t PART = ConvertUTF::DEFAULT_MAX_STRING_SIZE / 4;
constexpr std::size_t PIECE = 16 * 1024; // bytes of a piece, more if its last line is long

constexpr bool isHighSurrogate(WChar unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool isLowSurrogate(WChar unit) { return (unit & 0xFC00) == 0xDC00; }

/// Length of the next part, which ends before a character.
std::size_t partLength(std::string_view bytes) {
    if (bytes.size() <= PART)
        return bytes.size();
    std::size_t length = PART;
    while (length > PART - 4 && (static_cast<unsigned char>(bytes[length]) & 0xC0) == 0x80)
        --length;
    return length;
}

std::string encodeUtf8(std::u16string_view text) {
    std::string bytes;
    bytes.reserve(text.size() + text.size() / 8);
    while (!text.empty()) {
        std::size_t length = std::min(text.size(), PART);
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

bool decodeUtf8(std::string_view bytes, WString& text) {
    for (std::string part; !bytes.empty(); bytes.remove_prefix(part.size())) {
        part = bytes.substr(0, partLength(bytes));
        const auto* const source = reinterpret_cast<const unsigned char*>(part.c_str());
        try {
            text += ConvertUTF::utf8ToUtf16(source, false, ConvertUTF::EXCEPT);
        } catch (const norq_std::NorqIllegalArgumentException&) {
            text += ConvertUTF::utf8ToUtf16(source, false, ConvertUTF::NO_EXCEPT);
            return false;
        }
    }
    return true;
}

FileDecoder::FileDecoder(const ByteArray& bytes, const WString& name)
    : charset(name)
    , rest(reinterpret_cast<const char*>(bytes.getArray().get()), static_cast<std::size_t>(bytes.getLength())) {
    if (charset == UCS2)
        rest.remove_suffix(rest.size() % sizeof(WChar));
    else
        rest = rest.substr(0, rest.find('\0'));
}

std::size_t FileDecoder::pieceLength() const {
    if (rest.size() <= PIECE)
        return rest.size();
    if (charset == UCS2) {
        for (std::size_t end = PIECE; end < rest.size(); end += sizeof(WChar)) {
            WChar unit = 0;
            std::memcpy(&unit, rest.data() + end - sizeof unit, sizeof unit);
            if (unit == u'\n')
                return end;
        }
        return rest.size();
    }
    const std::size_t end = rest.find('\n', PIECE);
    return end == rest.npos ? rest.size() : end + 1;
}

bool FileDecoder::next(WString& piece) {
    piece.clear();
    if (rest.empty())
        return false;
    const std::string_view bytes = rest.substr(0, pieceLength());
    rest.remove_prefix(bytes.size());
    if (charset == UCS2) {
        piece.resize(bytes.size() / sizeof(WChar));
        std::memcpy(piece.data(), bytes.data(), bytes.size());
    } else if (charset != UTF8) {
        platform::decodeCodePage(platform::DEFAULT_CODE_PAGE, bytes, piece);
    } else if (!decodeUtf8(bytes, piece)) {
        NORQ_LOG(norq_std::DEBUG, u"norq_std_internal::FileDecoder::next",
                 u"Text is not UTF-8, its last %d bytes are left out.", rest.size() + bytes.size());
        rest = {};
    }
    return true;
}

std::shared_ptr<ByteArray> encodeFile(WString text, const WString& charset) {
    if (charset != UCS2)
        for (WChar& unit : text) // as a compiler can do many at once
            unit = unit == 0 ? u'\uFFFD' : unit;
    if (charset == UCS2)
        return std::make_shared<ByteArray>(text, charset);
    std::string bytes;
    if (charset == UTF8) {
        replaceLoneSurrogates(text);
        bytes = encodeUtf8(text);
    } else {
        platform::encodeCodePage(platform::DEFAULT_CODE_PAGE, text, bytes);
    }
    return std::make_shared<ByteArray>(bytes);
}

} // namespace norq_std_internal
