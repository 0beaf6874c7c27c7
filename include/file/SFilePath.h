#pragma once

#include "base/Export.h"
#include "base/SWString.h"
#include "base/WString.h"

#include <cstddef>

namespace NorqStd {

class SDirPath;

/// The path of the older interfaces: a string whose parts are divided by a separator of its own.
///
/// Nothing is checked and nothing is looked up; new code uses `norq_std::File`. A path is empty if it has no text, and
/// if its text is ".". Ownership and threads as for `SWString`.
class NORQSTD_EXPORT SFilePath : public SWString {
    using WChar = norq_std::WChar;
    using WString = norq_std::WString;

public:
    /// Narrow text is in code page 0; a narrow separator is the unit of the byte's value.
    SFilePath(const char* text, WChar separator);
    SFilePath(const char* text, char separator);
    SFilePath(const WString& text, WChar separator);
    SFilePath(const WString& text, char separator);
    SFilePath(const SFilePath& other) = default;
    ~SFilePath() override;

    SFilePath& operator=(const SFilePath& other) = default;
    /// These keep the separator.
    SFilePath& operator=(const WString& text);
    SFilePath& operator=(const WChar* text);
    SFilePath& operator=(const char* text);

    bool IsEmpty() const;
    /// In units.
    std::size_t Length() const { return size(); }
    WChar Separator() const { return separator; }

    /// Put the other's text behind this one and a separator. An empty path takes the other's text, and the separator of
    /// an `SFilePath`.
    SFilePath& Append(const SFilePath& other);
    SFilePath& Append(const WString& other);
    SFilePath& Append(const WChar* other);
    SFilePath& Append(const char* other);
    template <class Other>
    SFilePath& operator+=(const Other& other) {
        return Append(other);
    }
    SFilePath operator+(const SFilePath& other) const { return joined(other); }
    SFilePath operator+(const WString& other) const { return joined(other); }
    SFilePath operator+(WString&& other) const { return joined(other); }
    SFilePath operator+(const WChar* other) const { return joined(other); }
    SFilePath operator+(const char* other) const { return joined(other); }

    /// The text before the last separator, "." if there is none.
    SDirPath Dirname() const;
    /// The text behind the last separator; with a suffix, up to one unit before the suffix's last occurrence, so that
    /// "dir\a.txt" with "txt" gives "a". The whole text if it holds no separator, or if the suffix is not in the name;
    /// "." for an empty path.
    SWString Basename(const WChar* suffix = nullptr) const;
    /// The text behind the last ".", else empty.
    SWString Suffixname() const;

    /// `Basename`, and `Dirname` with a separator behind it, of a path whose separator is "\".
    static SWString getFilename(const WString& path);
    static SWString getDirectory(const WString& path);

private:
    template <class Other>
    SFilePath joined(const Other& other) const {
        SFilePath path(*this);
        path.Append(other);
        return path;
    }

    WChar separator;
};

/// The same, of a directory that may be looked for and made. The narrow view in code page 0 is what the system is asked
/// for: a character that the code page lacks counts as its best fit.
class NORQSTD_EXPORT SDirPath : public SFilePath {
    using WChar = norq_std::WChar;
    using WString = norq_std::WString;

public:
    /// The separator is "\" where none is given.
    SDirPath();
    SDirPath(const SFilePath& path);
    SDirPath(const WString& text);
    SDirPath(const SDirPath& other) = default;
    ~SDirPath() override;

    SDirPath& operator=(const SDirPath& other) = default;
    SDirPath& operator=(const char* text);
    SDirPath& operator=(const WChar* text);

    bool Exists() const;
    /// Makes the directory and those above it. True if it is there in the end, and for the empty path.
    bool CreatePath() const;
};

} // namespace NorqStd
