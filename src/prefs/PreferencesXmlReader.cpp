#include "prefs/PreferencesXmlReader.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "base/Utf8Utils.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "file/LockedFile.h"
#include "internal/FileText.h"
#include "internal/PreferencesXmlReaderImpl.h"
#include "stream/ByteArray.h"

#include <string>

namespace norq_std {

namespace {

constexpr WChar BYTE_ORDER_MARK = 0xFEFF;

} // namespace

PreferencesXmlReader::PreferencesXmlReader(const WString& inputFilename)
    : filename(inputFilename)
    , impl(std::make_unique<norq_std_internal::PreferencesXmlReaderImpl>(filename)) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferencesXmlReader::PreferencesXmlReader");
    ErrorUtils::isEmptyEx(filename, u"norq_std::PreferencesXmlReader::PreferencesXmlReader", u"Input filename");
}

PreferencesXmlReader::~PreferencesXmlReader() = default;

WString PreferencesXmlReader::toString() const { return u"PreferencesXmlReader{filename='" + filename + u"'}"; }

void PreferencesXmlReader::importPreferences() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::PreferencesXmlReader::importPreferences");
    const AutoLock<Lock> guard(lock);
    try {
        impl->importText(readText());
    } catch (const NorqXmlException& e) {
        impl->fail(u"> has invalid XML format.", e);
    }
}

WString PreferencesXmlReader::readText() const {
    std::string bytes;
    try {
        LockedFile file;
        file.open(File(filename), LockedFile::Read, nullptr);
        if (File(filename).getLength() > MAX_FILE_SIZE)
            throw NorqXmlException(u"The file is too large.");
        bytes = file.read()->toString();
    } catch (const NorqInterruptedException&) { // the parser refuses the empty text
    } catch (const NorqIllegalStateException&) {
    }
    // The test goes as far as the first zero, where the parser will refuse the text.
    const std::size_t zero = std::min(bytes.find('\0'), bytes.size());
    WString text;
    if (!Utf8Utils::isUtf8String(bytes) ||
        !norq_std_internal::decodeUtf8(std::string_view(bytes).substr(0, zero), text))
        impl->fail(u"> is not in UTF-8 format.");
    if (zero < bytes.size())
        text += u'\0';
    if (text.starts_with(BYTE_ORDER_MARK))
        text.erase(0, 1);
    std::erase_if(text, [](WChar unit) { return unit == u'\r' || unit == u'\n'; });
    return text;
}

} // namespace norq_std
