#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace NorqStd {

/// Encoding of a narrow constructor argument of `SWString`.
enum CodeType : int {
    CODE_MBCS = 1,   ///< the code page given beside it; every value that is not named here acts the same
    CODE_UTF8 = 3,   ///< UTF-8
    CODE_BASE64 = 4, ///< Base64 of text in code page 0
};

/// The wide string of the older interfaces: a standard wide string with narrow views of itself.
///
/// New code uses `norq_std::WString` and converts where text leaves the process. A narrow view (`mb_str`, `utf8_str`,
/// `base64_str`) is a pointer into the string object; it is valid until the next view is taken or the object dies, and
/// it does not follow later changes of the text. Taking a view writes to the object: two threads may not take views of
/// one string at once. Copying and moving concern the wide text alone.
///
/// No operation throws for bad input. Code page 0 is windows-1252; characters without a place in a code page become
/// `?`.
class NORQSTD_EXPORT SWString : public norq_std::WString {
    using WChar = norq_std::WChar;
    using WString = norq_std::WString;

public:
    SWString();
    SWString(const SWString& text);
    SWString(SWString&& text) noexcept;
    SWString(const WString& text);
    SWString(WString&& text) noexcept;
    SWString(const WString& text, size_type position, size_type length = npos);
    SWString(const WChar* text);
    SWString(const WChar* text, size_type length);
    SWString(size_type count, WChar unit);
    template <std::input_iterator Iterator>
    SWString(Iterator first, Iterator last)
        : WString(first, last) {}
    SWString(std::initializer_list<WChar> units);
    SWString(WChar unit);
    /// The unit of the byte's value.
    SWString(char byte);

    /// Narrow text up to its first zero byte, or its first `length` bytes up to a zero byte among them. Text that
    /// cannot be read gives the empty string.
    SWString(const char* text, CodeType codeType = CODE_MBCS, std::uint32_t codePage = 0);
    SWString(const char* text, std::size_t length, CodeType codeType = CODE_MBCS, std::uint32_t codePage = 0);

    virtual ~SWString();

    SWString& operator=(const SWString& text);
    SWString& operator=(SWString&& text) noexcept;
    SWString& operator=(const WString& text);
    SWString& operator=(WString&& text) noexcept;
    SWString& operator=(const WChar* text);
    SWString& operator=(WChar unit);
    SWString& operator=(std::initializer_list<WChar> units);
    /// As `assign(text, 0)`.
    SWString& operator=(const char* text);

    SWString& operator+=(const WString& text) { return append(text); }
    SWString& operator+=(const WChar* text) { return append(text); }
    SWString& operator+=(WChar unit) { return append(unit); }
    SWString& operator+=(std::initializer_list<WChar> units) { return append(units); }

    SWString operator+(const WString& text) const;
    SWString operator+(const WChar* text) const;
    SWString operator+(WChar unit) const;

    /// Narrow text in a code page, converted first.
    SWString& append(const char* text, std::uint32_t codePage = 0);
    SWString& assign(const char* text, std::uint32_t codePage = 0);
    SWString& insert(size_type position, const char* text, std::uint32_t codePage = 0);
    SWString& replace(size_type position, size_type count, const char* text, std::uint32_t codePage = 0);

    SWString& append(WChar unit);
    SWString& append(std::initializer_list<WChar> units);
    SWString& assign(std::initializer_list<WChar> units);
    iterator insert(const_iterator position, std::initializer_list<WChar> units);
    SWString& replace(const_iterator first, const_iterator last, std::initializer_list<WChar> units);

    /// Every overload of the standard string; those that return the string return this one. The argument may be (part
    /// of) the string itself.
    template <class... Arguments>
    requires requires(WString& text, Arguments&&... a) { text.append(std::forward<Arguments>(a)...); }
    SWString& append(Arguments&&... arguments) {
        WString::append(std::forward<Arguments>(arguments)...);
        return *this;
    }
    template <class... Arguments>
    requires requires(WString& text, Arguments&&... a) { text.assign(std::forward<Arguments>(a)...); }
    SWString& assign(Arguments&&... arguments) {
        WString::assign(std::forward<Arguments>(arguments)...);
        return *this;
    }
    template <class... Arguments>
    requires requires(WString& text, Arguments&&... a) { text.insert(std::forward<Arguments>(a)...); }
    decltype(auto) insert(Arguments&&... arguments) {
        using Result = decltype(WString::insert(std::forward<Arguments>(arguments)...));
        if constexpr (std::is_same_v<Result, WString&>) {
            WString::insert(std::forward<Arguments>(arguments)...);
            return static_cast<SWString&>(*this);
        } else {
            return WString::insert(std::forward<Arguments>(arguments)...);
        }
    }
    template <class... Arguments>
    requires requires(WString& text, Arguments&&... a) { text.replace(std::forward<Arguments>(a)...); }
    SWString& replace(Arguments&&... arguments) {
        WString::replace(std::forward<Arguments>(arguments)...);
        return *this;
    }

    /// Compare the bytes of `mb_str(0)`: they take a view.
    bool operator==(const char* text) const;
    bool operator!=(const char* text) const { return !(*this == text); }

    /// By code unit, each text up to its first zero unit.
    bool operator<(const SWString& other) const;

    /// The wide text.
    const WChar* t_str() const { return c_str(); }
    const char* mb_str(std::uint32_t codePage = 0) const;
    const char* utf8_str() const;
    /// Base64 of the text in code page 0.
    const char* base64_str() const;

    /// Read narrow text, or its first `length` bytes. Returns false, and leaves the string as it was, if there are
    /// bytes but nothing can be read from them.
    bool SetUTF8(const char* text);
    bool SetUTF8(const char* text, std::size_t length);
    bool SetBase64(const char* text);
    bool SetBase64(const char* text, std::size_t length);

    /// Change each unit in place, as `norq_std::WideChar` does.
    SWString& ToUpper();
    SWString& ToLower();

    /// The decimal number behind leading white space, as far as it goes; 0 if there is none, and the nearest number
    /// that the type can hold if it is too large.
    int ToInt() const;
    std::int32_t ToLong() const;

    /// Removes trailing white space in place.
    SWString& TrimString();

private:
    const char* view(std::string text) const;

    const std::unique_ptr<std::string> scratch = std::make_unique<std::string>(); // the last narrow view
};

} // namespace NorqStd
