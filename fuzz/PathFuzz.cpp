// The path parser: whatever text comes, a File is refused with the one exception or holds valid elements that its text
// gives again; the canonical path is a fixed point from a root, and never leads outside of it below.

#include "exception/NorqException.h"
#include "file/File.h"
#include "platform/FileSystem.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

namespace {

using norq_std::File;
using norq_std::WChar;
using norq_std::WString;

class Parts : public File {
public:
    using File::parsePath;
};

void check(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

bool isSeparator(WChar unit) { return unit == u'/' || unit == u'\\'; }

bool isRoot(const WString& element) {
    return element == u"\\\\" || (element.size() == 3 && ((element[0] | 32) >= u'a' && (element[0] | 32) <= u'z') &&
                                  element.compare(1, 2, u":\\") == 0);
}

bool isSpace(WChar unit) {
    constexpr std::u16string_view Spaces = u" \t\n\v\f\r\u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006"
                                           u"\u2007\u2008\u2009\u200A\u2028\u2029\u202F\u205F\u3000";
    return Spaces.find(unit) != std::u16string_view::npos;
}

bool isValid(const File::PathList& elements) {
    std::size_t sum = 0;
    for (const WString& element : elements) {
        sum += element.size() + 1;
        if (isRoot(element) || element == u"." || element == u"..")
            continue;
        for (std::size_t at = 0; at < element.size(); ++at)
            if (element[at] < 32 || WString(u"*?<>|\"").find(element[at]) != WString::npos ||
                (element[at] == u':' && at > 1))
                return false;
        if (element.back() == u'.' || isSpace(element.back()))
            return false;
    }
    return sum <= 260;
}

std::optional<File> fileOf(const WString& text) {
    try {
        return File(text);
    } catch (const norq_std::NorqIllegalArgumentException&) {
        return std::nullopt;
    }
}

void checkCanonical(const File& file, const WString& text) {
    const WString canonical = file.getCanonicalPath();
    const auto elements = Parts::parsePath(canonical);
    check(!elements.empty() && isRoot(elements.front()), "a canonical path starts at a root");
    check(elements.front().front() < u'a' || elements.front().front() > u'z', "its drive is upper case");
    for (const WString& element : elements)
        check(element != u"." && element != u"..", "it has no dots");
    const bool odd =
        text.size() > 1 && isSeparator(text[0]) && isSeparator(text[1]) && text.compare(0, 2, u"\\\\") != 0;
    check(odd || File(canonical).getCanonicalPath() == canonical, "it is its own canonical path");
    check(file == File(canonical) || odd, "and equal to the path");
    const std::string native = norq_std_internal::platform::nativePath(canonical);
    check(native.empty() ||
              (native.front() == '/' && (native + '/').find("//", 1) == std::string::npos &&
               (native + '/').find("/../") == std::string::npos && native.find('\0') == std::string::npos) ||
              native == "/",
          "below it is an absolute path without detours");
    file.exists();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    WString text;
    if (data[0] % 2 == 0) {
        text.assign(data + 1, data + size);
    } else {
        text.resize((size - 1) / 2);
        std::memcpy(text.data(), data + 1, text.size() * 2);
    }
    const auto parsed = Parts::parsePath(text);
    const auto taken = fileOf(text);
    check(taken.has_value() == isValid(parsed), taken ? "an invalid path was taken" : "a valid path was refused");
    if (!taken)
        return 0;
    auto again = Parts::parsePath(taken->getPath());
    if (!again.empty() && again.front() == u"\\")
        again.front() = parsed.front(); // which of the separators it was is not kept
    check(again == parsed, "the path's text gives other elements");
    try {
        const WString parent = taken->getParent();
        check(parent.size() <= taken->getPath().size(), "a parent is no longer than the path");
        checkCanonical(*taken, text);
    } catch (const norq_std::NorqIllegalArgumentException&) {
        auto absolute = Parts::parsePath(File::getWorkingDirectory().getPath());
        absolute.insert(absolute.end(), parsed.begin(), parsed.end());
        check(!isValid(absolute), "only a path too long below the working directory has no absolute one");
    }
    return 0;
}
