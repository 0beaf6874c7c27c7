#include "file/SFilePath.h"

#include "base/EncodingUtils.h"
#include "base/LogMacros.h"
#include "base/WideChar.h"
#include "platform/FileSystem.h"

namespace NorqStd {

namespace platform = norq_std_internal::platform;

using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr WChar DefaultSeparator = u'\\';

WChar widened(char separator) { return static_cast<unsigned char>(separator); }

/// The path as the system is asked for it. A drive alone means its root here.
WString systemPath(const SDirPath& path) {
    WString text = norq_std::EncodingUtils::convertMbcsToUnicode(path.mb_str(0), 0);
    if (text.size() == 2 && norq_std::WideChar::isAsciiAlpha(text[0]) && text[1] == u':')
        text += DefaultSeparator;
    return text;
}

} // namespace

SFilePath::SFilePath(const char* text, WChar pathSeparator)
    : SWString(text)
    , separator(pathSeparator) {}

SFilePath::SFilePath(const char* text, char pathSeparator)
    : SFilePath(text, widened(pathSeparator)) {}

SFilePath::SFilePath(const WString& text, WChar pathSeparator)
    : SWString(text)
    , separator(pathSeparator) {}

SFilePath::SFilePath(const WString& text, char pathSeparator)
    : SFilePath(text, widened(pathSeparator)) {}

SFilePath::~SFilePath() = default;

SFilePath& SFilePath::operator=(const WString& text) {
    SWString::operator=(text);
    return *this;
}

SFilePath& SFilePath::operator=(const WChar* text) {
    SWString::operator=(text);
    return *this;
}

SFilePath& SFilePath::operator=(const char* text) {
    SWString::operator=(text);
    return *this;
}

bool SFilePath::IsEmpty() const { return empty() || (size() == 1 && front() == u'.'); }

SFilePath& SFilePath::Append(const SFilePath& other) {
    if (IsEmpty())
        separator = other.separator;
    return Append(static_cast<const WString&>(other));
}

SFilePath& SFilePath::Append(const WString& other) {
    if (IsEmpty()) {
        assign(other);
    } else {
        const WString tail = separator + other; // which may be this text
        append(tail);
    }
    return *this;
}

SFilePath& SFilePath::Append(const WChar* other) { return Append(WString(other)); }

SFilePath& SFilePath::Append(const char* other) { return Append(static_cast<const WString&>(SWString(other))); }

SDirPath SFilePath::Dirname() const {
    const size_type last = rfind(separator);
    return SDirPath(last == npos ? WString(u".") : substr(0, last));
}

SWString SFilePath::Basename(const WChar* suffix) const {
    if (IsEmpty())
        return SWString(u".");
    const size_type last = rfind(separator);
    if (last == npos)
        return SWString(static_cast<const WString&>(*this));
    const size_type name = last + 1;
    if (suffix == nullptr || *suffix == 0)
        return SWString(substr(name));
    const size_type found = rfind(suffix);
    if (found == npos || found < name)
        return SWString(static_cast<const WString&>(*this));
    return SWString(found == name ? WString() : substr(name, found - 1 - name));
}

SWString SFilePath::Suffixname() const {
    const size_type last = rfind(u'.');
    return IsEmpty() || last == npos ? SWString() : SWString(substr(last + 1));
}

SWString SFilePath::getFilename(const WString& path) { return SFilePath(path, DefaultSeparator).Basename(); }

SWString SFilePath::getDirectory(const WString& path) {
    SWString text(static_cast<const WString&>(SFilePath(path, DefaultSeparator).Dirname()));
    text += DefaultSeparator;
    return text;
}

SDirPath::SDirPath()
    : SFilePath(WString(), DefaultSeparator) {}

SDirPath::SDirPath(const SFilePath& path)
    : SFilePath(path) {}

SDirPath::SDirPath(const WString& text)
    : SFilePath(text, DefaultSeparator) {}

SDirPath::~SDirPath() = default;

SDirPath& SDirPath::operator=(const char* text) {
    SFilePath::operator=(text);
    return *this;
}

SDirPath& SDirPath::operator=(const WChar* text) {
    SFilePath::operator=(text);
    return *this;
}

bool SDirPath::Exists() const { return platform::mayAccess(systemPath(*this), platform::Access::Exists); }

bool SDirPath::CreatePath() const {
    NORQ_LOG_FUNCTION_CALL(u"NorqStd::SDirPath::CreatePath");
    if (IsEmpty() || Exists())
        return true;
    const SDirPath parent(SFilePath(Dirname(), Separator()));
    if (!parent.CreatePath())
        return false;
    // It is there already if the text ends in a separator, or if somebody else was quicker.
    platform::FileStatus status;
    return platform::makeDirectory(systemPath(*this)) ||
           (platform::fileStatus(systemPath(*this), status) && status.isDirectory());
}

} // namespace NorqStd
