#include "platform/CodePage.h"

#include "platform/linux/CodePageTable.h"

#include <unicode/ustring.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace norq_std_internal::platform {

namespace {

constexpr std::uint32_t UTF8_CODE_PAGE = 65001;
constexpr UChar32 REPLACEMENT = 0xFFFD;
constexpr std::size_t MAX_UTF8_BYTES_A_UNIT = 3;

std::int32_t checkedLength(std::size_t length) {
    if (length > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()) / MAX_UTF8_BYTES_A_UNIT)
        throw std::length_error("CodePage");
    return static_cast<std::int32_t>(length);
}

void decodeUtf8(std::string_view bytes, std::u16string& target) {
    const std::size_t before = target.size();
    const std::int32_t most = checkedLength(bytes.size());
    target.resize(before + bytes.size());
    std::int32_t written = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8WithSub(target.data() + before, most, &written, bytes.data(), most, REPLACEMENT, nullptr, &error);
    target.resize(before + static_cast<std::size_t>(written));
}

void encodeUtf8(std::u16string_view text, std::string& target) {
    const std::size_t before = target.size();
    const std::int32_t length = checkedLength(text.size());
    target.resize(before + text.size() * MAX_UTF8_BYTES_A_UNIT);
    std::int32_t written = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8WithSub(target.data() + before, length * static_cast<std::int32_t>(MAX_UTF8_BYTES_A_UNIT), &written,
                       text.data(), length, REPLACEMENT, nullptr, &error);
    target.resize(before + static_cast<std::size_t>(written));
}

const CodePageTable* findTable(std::uint32_t codePage) {
    return CodePageTable::find(codePage == 0 ? DEFAULT_CODE_PAGE : codePage);
}

} // namespace

bool decodeCodePage(std::uint32_t codePage, std::string_view bytes, std::u16string& target) {
    if (codePage == UTF8_CODE_PAGE) {
        decodeUtf8(bytes, target);
        return true;
    }
    const CodePageTable* const table = findTable(codePage);
    if (table != nullptr)
        table->decode(bytes, target);
    return table != nullptr;
}

bool encodeCodePage(std::uint32_t codePage, std::u16string_view text, std::string& target) {
    if (codePage == UTF8_CODE_PAGE) {
        encodeUtf8(text, target);
        return true;
    }
    const CodePageTable* const table = findTable(codePage);
    if (table != nullptr)
        table->encode(text, target);
    return table != nullptr;
}

unsigned char* encodeDefaultCodePage(std::u16string_view text, unsigned char* target) {
    const char16_t* in = text.data();
    return CodePageTable::find(DEFAULT_CODE_PAGE)->encode(in, in + text.size(), target, target + text.size());
}

} // namespace norq_std_internal::platform
