// Finding an installed Java runtime.

#include "base/EncodingUtils.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "jni/JVM.h"
#include "prefs/Preferences.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <initializer_list>
#include <string>

namespace norq_std {

namespace {

using Version = JVM::JVMVersion;

constexpr std::int32_t ExactMatch = 5;

/// As a stream extracts it: white space, a sign, digits, whatever follows. The nearest number for one out of range.
std::int32_t number(const WString& piece) {
    const std::string text = EncodingUtils::convertUnicodeToUtf8(piece);
    const char* begin = text.data() + std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const char* const end = text.data() + text.size();
    if (end - begin > 1 && *begin == '+' && begin[1] != '-')
        ++begin;
    std::int32_t value = 0;
    if (std::from_chars(begin, end, value).ec == std::errc::result_out_of_range)
        return *begin == '-' ? INT32_MIN : INT32_MAX;
    return value;
}

/// Takes the piece before the first of the separators off the text, and the separator, which it returns; 0 for none.
WChar takePiece(WString& text, const WChar* separators, WString& piece) {
    const std::size_t at = text.find_first_of(separators);
    piece = text.substr(0, at);
    if (at == WString::npos)
        return 0;
    const WChar separator = text[at];
    text.erase(0, at + 1);
    return separator;
}

/// Whether it is no lower in any place, which is no ordering: each of two may lack that.
bool isAtLeast(const Version& a, const Version& b) {
    return a.major >= b.major && a.minor >= b.minor && a.micro >= b.micro && a.update >= b.update &&
           a.qualifier >= b.qualifier;
}

/// How many places agree before the first that does not.
std::int32_t matchLevel(const Version& a, const Version& b) {
    std::int32_t level = 0;
    for (const bool same : {a.major == b.major, a.minor == b.minor, a.micro == b.micro, a.update == b.update,
                            a.qualifier == b.qualifier}) {
        if (!same)
            break;
        ++level;
    }
    return level;
}

} // namespace

JVM::JVMVersion JVM::getJVMVersion(const WString& text) {
    JVMVersion version;
    WString rest = text;
    WString piece;
    WChar separator = takePiece(rest, u".", piece);
    version.major = number(piece);
    if (separator == 0 || rest.empty())
        return version;
    separator = takePiece(rest, u".", piece);
    version.minor = number(piece);
    if (separator == 0 || rest.empty())
        return version;
    separator = takePiece(rest, u"_-", piece);
    version.micro = number(piece);
    if (separator == 0)
        return version;
    if (separator == u'_') {
        separator = takePiece(rest, u"-", piece);
        version.update = number(piece);
        if (separator == 0)
            return version;
    }
    version.qualifier = rest;
    return version;
}

std::vector<JVM::JVMInfo> JVM::getInstalledJVMs() {
    constexpr const WChar* PATH = u"SOFTWARE\\JavaSoft\\Java Runtime Environment";
    std::vector<JVMInfo> installed;
    try {
        const std::shared_ptr<Preferences> root = Preferences::systemRoot();
        if (!root->nodeExists(PATH))
            return installed;
        const std::shared_ptr<Preferences> runtimes = root->node(PATH);
        for (const WString& version : runtimes->childrenNames()) {
            const std::shared_ptr<Preferences> runtime = runtimes->node(version);
            installed.push_back({version, runtime->get(u"JavaHome", u""), runtime->get(u"RuntimeLib", u"")});
        }
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::JVM::getInstalledJVMs", u"Unable to iterate installed JVMS: %ls", e.getMessage());
    }
    return installed;
}

JVM::JVMInfo JVM::getBestMatchedJVM(const WString& desiredText) {
    const JVMVersion desired = getJVMVersion(desiredText);
    JVMVersion best;
    std::int32_t bestLevel = 0;
    JVMInfo result;
    for (const JVMInfo& info : getInstalledJVMs()) {
        const JVMVersion candidate = getJVMVersion(info.version);
        const std::int32_t level = matchLevel(candidate, desired);
        if (level > bestLevel || (level == bestLevel && !isAtLeast(best, candidate))) {
            best = candidate;
            bestLevel = level;
            result = info;
        }
        if (bestLevel == ExactMatch)
            break;
    }
    if (best.major == 0)
        throw NorqIllegalArgumentException(u"No version found!");
    if (!isAtLeast(best, desired))
        throw NorqIllegalArgumentException(u"Couldn't find valid version, desired: <" + desiredText +
                                           u"> Best Match: <" + result.version + u">.");
    return result;
}

} // namespace norq_std
