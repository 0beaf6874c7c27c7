#include "base/Base64Utils.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "internal/ByteText.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace norq_std {

namespace {

constexpr std::string_view ALPHABET = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char PADDING = '=';
constexpr std::int64_t FAILED = -1;
constexpr std::int8_t NO_SEXTET = -1;

constexpr std::array<std::int8_t, 256> SEXTETS = [] {
    std::array<std::int8_t, 256> sextets{};
    sextets.fill(NO_SEXTET);
    for (std::size_t i = 0; i < ALPHABET.size(); ++i)
        sextets[static_cast<unsigned char>(ALPHABET[i])] = static_cast<std::int8_t>(i);
    return sextets;
}();

bool isAsciiSpace(char byte) { return byte == ' ' || (byte >= '\t' && byte <= '\r'); }

const char* skipSpace(const char* text) {
    while (isAsciiSpace(*text))
        ++text;
    return text;
}

/// What a decoder has read of the group of four: `state` characters, of which `rest` bits belong to the next byte.
struct Group {
    int state = 0;
    std::uint32_t bits = 0;

    static constexpr int REST_BITS[] = {0, 6, 4, 2};

    std::uint32_t unusedBits() const { return bits & ((1U << REST_BITS[state]) - 1); }
};

/// Checks padding and what follows it; null or the message of the fault.
const WChar* checkPadding(const char* padding, int state) {
    const char* rest = skipSpace(padding + 1);
    if (state == 2) {
        if (*rest != PADDING)
            return u"Missing trailing padding.";
        rest = skipSpace(rest + 1);
    }
    return *rest == '\0' ? nullptr : u"Extra characters after padding.";
}

/// Where a decoder stands.
struct Progress {
    const char* at;
    const char* end;
    unsigned char* target; ///< null to check alone
    std::size_t room;
    std::size_t written = 0;

    /// Whole groups, as far as they reach.
    void takeGroups() {
        if (target == nullptr) {
            const char* const behind = norq_std_internal::skipBase64(at, end);
            written += static_cast<std::size_t>(behind - at) / 4 * 3;
            at = behind;
        } else {
            unsigned char* to = target + written;
            norq_std_internal::decodeBase64({at, end}, {to, target + room});
            written = static_cast<std::size_t>(to - target);
        }
    }
};

} // namespace

Base64Utils::~Base64Utils() = default;

std::uint32_t Base64Utils::getMbcsStringLength(const std::string& base64) {
    return static_cast<std::uint32_t>(base64.size() / 4 * 3 + 1);
}

std::uint32_t Base64Utils::getBase64StringLength(const std::string& text) {
    return static_cast<std::uint32_t>(text.size() / 3 * 4 + 5);
}

bool Base64Utils::isBase64String(const std::string& text) { return internalBase64ToMbcs(text, nullptr, 0) >= 0; }

std::string Base64Utils::base64ToMbcs(const std::string& base64) {
    std::string decoded(base64.size() + 1, '\0');
    const std::int64_t length =
        internalBase64ToMbcs(base64, reinterpret_cast<unsigned char*>(decoded.data()), base64.size());
    if (isFailure(length, u"norq_std::Base64Utils::base64ToMbcs"))
        return {};
    decoded.resize(std::min(decoded.find('\0'), static_cast<std::size_t>(length)));
    return decoded;
}

std::string Base64Utils::mbcsToBase64(const std::string& text) {
    return encode(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

std::int64_t Base64Utils::internalBase64ToMbcs(const std::string& text, unsigned char* target, std::size_t targetSize) {
    Progress progress{text.data(), text.data() + text.size(), target, targetSize};
    Group group;
    for (;; ++progress.at) {
        if (group.state == 0)
            progress.takeGroups();
        const char character = *progress.at;
        if (character == '\0' || character == PADDING)
            break;
        if (isAsciiSpace(character))
            continue;
        const std::int8_t sextet = SEXTETS[static_cast<unsigned char>(character)];
        if (sextet == NO_SEXTET) {
            NORQ_LOG(DEBUG, u"norq_std::Base64Utils::internalBase64ToMbcs", u"<%C> is not a Base64 character.",
                     character);
            return FAILED;
        }
        group.bits = group.bits << 6 | static_cast<std::uint32_t>(sextet);
        group.state = (group.state + 1) % 4;
        if (group.state == 1)
            continue;
        if (target != nullptr) {
            if (progress.written == targetSize) {
                NORQ_LOG(DEBUG, u"norq_std::Base64Utils::internalBase64ToMbcs",
                         u"Insufficient space to hold MBCS string.");
                return FAILED;
            }
            target[progress.written] = static_cast<unsigned char>(group.bits >> Group::REST_BITS[group.state]);
        }
        ++progress.written;
    }
    if (*progress.at == '\0') {
        if (group.state == 0)
            return static_cast<std::int64_t>(progress.written);
        NORQ_LOG(DEBUG, u"norq_std::Base64Utils::internalBase64ToMbcs", u"Partial bytes after string.");
        return FAILED;
    }
    if (group.state < 2)
        return FAILED;
    const WChar* fault = checkPadding(progress.at, group.state);
    if (fault == nullptr && target != nullptr && group.unusedBits() != 0)
        fault = u"Invalid characters after padding.";
    if (fault != nullptr)
        NORQ_LOG(DEBUG, u"norq_std::Base64Utils::internalBase64ToMbcs", u"%ls", fault);
    return fault != nullptr ? FAILED : static_cast<std::int64_t>(progress.written);
}

std::int64_t Base64Utils::internalMbcsToBase64(const unsigned char* source, std::size_t sourceLength, char* target,
                                               std::size_t targetSize) {
    const std::size_t groups = sourceLength / 3;
    const std::size_t rest = sourceLength % 3;
    const std::size_t written = (groups + (rest != 0 ? 1 : 0)) * 4;
    if (targetSize <= written) {
        NORQ_LOG(DEBUG, u"norq_std::Base64Utils::internalMbcsToBase64", u"Insufficient space to hold Base64 string.");
        return FAILED;
    }
    norq_std_internal::encodeBase64(source, groups, target);
    if (rest != 0) {
        const unsigned char last[3] = {source[groups * 3],
                                       rest == 2 ? source[groups * 3 + 1] : static_cast<unsigned char>(0), 0};
        norq_std_internal::encodeBase64(last, 1, target + groups * 4);
        std::fill(target + groups * 4 + rest + 1, target + written, PADDING);
    }
    target[written] = '\0';
    return static_cast<std::int64_t>(written);
}

std::string Base64Utils::encode(const unsigned char* bytes, std::size_t length) {
    std::string encoded(length / 3 * 4 + 5, '\0');
    const std::int64_t written = internalMbcsToBase64(bytes, length, encoded.data(), encoded.size());
    encoded.resize(written < 0 ? 0 : static_cast<std::size_t>(written));
    return encoded;
}

bool Base64Utils::isFailure(std::int64_t length, const WChar* function) {
    try {
        ErrorUtils::isBelowMinEx(length, 0, function, u"Converted string length");
        return false;
    } catch (const NorqIllegalArgumentException&) { // traced by the check
        return true;
    }
}

} // namespace norq_std
