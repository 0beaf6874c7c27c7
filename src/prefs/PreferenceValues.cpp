#include "prefs/AbstractPreferences.h"

#include "base/Base64Utils.h"
#include "base/EncodingUtils.h"
#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "internal/NumberText.h"
#include "stream/ByteArray.h"

#include <locale>
#include <sstream>
#include <string_view>

// The typed values, on `get` and `put` alone.

namespace norq_std {

namespace {

/// Stands for a value that is not there.
const WString& absent() {
    static const WString& text = *new WString(u"___norq_std_default_value___");
    return text;
}

std::string narrowed(const WString& text) {
    std::string narrow(text.size(), '?'); // no number holds one
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] < 0x80)
            narrow[i] = static_cast<char>(text[i]);
    return narrow;
}

/// What a text stream makes of the text: white space may lead, anything may follow.
template <class T>
T numberIn(const WString& text, T defaultValue) {
    std::istringstream stream(narrowed(text));
    stream.imbue(std::locale::classic());
    T value{};
    return stream >> value ? value : defaultValue;
}

template <class T>
WString streamed(T value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    const std::string text = stream.str();
    return WString(text.begin(), text.end());
}

/// The second text is of small letters.
bool equalsIgnoringCase(const WString& text, std::u16string_view lowered) {
    if (text.size() != lowered.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if ((text[i] | 0x20) != lowered[i])
            return false;
    return true;
}

} // namespace

bool AbstractPreferences::getBoolean(const WString& key, bool defaultValue) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::getBoolean");
    const WString text = get(key, absent());
    if (equalsIgnoringCase(text, u"true"))
        return true;
    return equalsIgnoringCase(text, u"false") ? false : defaultValue;
}

std::int32_t AbstractPreferences::getInt(const WString& key, std::int32_t defaultValue) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::getInt");
    return numberIn(get(key, absent()), defaultValue);
}

std::int64_t AbstractPreferences::getLongLong(const WString& key, std::int64_t defaultValue) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::getLongLong");
    return numberIn(get(key, absent()), defaultValue);
}

double AbstractPreferences::getDouble(const WString& key, double defaultValue) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::getDouble");
    return numberIn(get(key, absent()), defaultValue);
}

float AbstractPreferences::getFloat(const WString& key, float defaultValue) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::getFloat");
    return numberIn(get(key, absent()), defaultValue);
}

std::shared_ptr<ByteArray> AbstractPreferences::getByteArray(const WString& key, const ByteArray& defaultValue) const {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::getByteArray");
    const WString text = get(key, absent());
    if (text != absent()) {
        const std::string base64 = EncodingUtils::convertUnicodeToUtf8(text);
        std::shared_ptr<ByteArray> bytes;
        if (Base64Utils::isBase64String(base64))
            bytes = Base64Utils::base64ToByteArray(base64);
        if (bytes != nullptr)
            return bytes;
    }
    return std::make_shared<ByteArray>(defaultValue);
}

void AbstractPreferences::putBoolean(const WString& key, bool value) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::putBoolean");
    put(key, value ? u"true" : u"false");
}

void AbstractPreferences::putInt(const WString& key, std::int32_t value) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::putInt");
    put(key, norq_std_internal::numberText(value));
}

void AbstractPreferences::putLongLong(const WString& key, std::int64_t value) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::putLongLong");
    put(key, norq_std_internal::numberText(value));
}

void AbstractPreferences::putDouble(const WString& key, double value) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::putDouble");
    put(key, streamed(value));
}

void AbstractPreferences::putFloat(const WString& key, float value) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::putFloat");
    put(key, streamed(value));
}

void AbstractPreferences::putByteArray(const WString& key, const ByteArray& value) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractPreferences::putByteArray");
    put(key, EncodingUtils::convertUtf8ToUnicode(Base64Utils::byteArrayToBase64(value)));
}

} // namespace norq_std
