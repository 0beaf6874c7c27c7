#include "base/EncodingUtils.h"

#include "base/Base64Utils.h"
#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "base/Utf8Utils.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "platform/CodePage.h"

#include <algorithm>
#include <string_view>

namespace norq_std {

namespace platform = norq_std_internal::platform;

namespace {

constexpr std::u16string_view CHARACTER_SETS[] = {u"ISO-10646-UCS-2", u"UTF-8", u"windows-1252"};

} // namespace

constinit const EncodingUtils::LanguageMap* EncodingUtils::languageMap = nullptr;
constinit std::atomic<bool> EncodingUtils::isLoaded{false};

EncodingUtils::~EncodingUtils() = default;

WString EncodingUtils::convertUtf8ToUnicode(const std::string& text) { return Utf8Utils::utf8ToUnicode(text); }

std::string EncodingUtils::convertUnicodeToUtf8(const WString& text) { return Utf8Utils::unicodeToUtf8(text); }

WString EncodingUtils::convertMbcsToUnicode(const std::string& text, std::uint32_t codePage) {
    WString result;
    if (!platform::decodeCodePage(codePage, text.c_str(), result))
        NORQ_LOG(DEBUG, u"norq_std::EncodingUtils::convertMbcsToUnicode", u"Code page %u is not known.", codePage);
    return result;
}

std::string EncodingUtils::convertUnicodeToMbcs(const WString& text, std::uint32_t codePage) {
    std::string result;
    if (!platform::encodeCodePage(codePage, text.c_str(), result))
        NORQ_LOG(DEBUG, u"norq_std::EncodingUtils::convertUnicodeToMbcs", u"Code page %u is not known.", codePage);
    return result;
}

WString EncodingUtils::toStringFromLongLong(std::uint64_t value) { return StringUtils::format(u"%llu", value); }

std::string EncodingUtils::convertBase64ToMbcs(const std::string& text) { return Base64Utils::base64ToMbcs(text); }

std::string EncodingUtils::convertMbcsToBase64(const std::string& text) { return Base64Utils::mbcsToBase64(text); }

bool EncodingUtils::isValidCharacterSet(const WString& name) {
    return std::ranges::find(CHARACTER_SETS, std::u16string_view(name)) != std::end(CHARACTER_SETS);
}

std::uint32_t EncodingUtils::languageToCodePage(const WString& language) {
    if (!isLoaded.load(std::memory_order_acquire)) {
        const AutoLock<Lock> hold(lock());
        if (!isLoaded.load(std::memory_order_relaxed)) {
            languageMap = loadLanguageMap();
            isLoaded.store(true, std::memory_order_release);
        }
    }
    const auto entry = languageMap->find(language);
    return entry == languageMap->end() ? 0 : entry->second;
}

Lock& EncodingUtils::lock() {
    static Lock& guard = *new Lock;
    return guard;
}

EncodingUtils::LanguageMap* EncodingUtils::loadLanguageMap() {
    return new LanguageMap{
        {u"English", 1252},
        {u"French", 1252},
        {u"German", 1252},
        {u"Spanish", 1252},
        {u"Italian", 1252},
        {u"Chinese", 936},
        {u"Japanese", 932},
        {u"Korean", 949},
        {u"Brazilian Portuguese", 1252},
        {u"Dutch", 1252},
        {u"Danish", 1252},
        {u"Swedish", 1252},
        {u"Traditional Chinese", 950},
        {u"Russian", 1251},
        {u"Arabic", 1256},
        {u"Canadian French", 1252},
        {u"Norwegian", 1252},
        {u"Finnish", 1252},
        {u"Turkish", 1254},
        {u"Polish", 1250},
    };
}

} // namespace norq_std
