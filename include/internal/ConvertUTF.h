#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace norq_std_internal {

/// The six conversions between UTF-8, UTF-16 and UTF-32, strict or lenient, loud or silent.
///
/// For text that is to be converted whatever it holds, `norq_std::UtfUtils` is the shorter way. Use this class where
/// bad text must be told from good: with `EXCEPT` the first fault throws `NorqIllegalArgumentException`, with
/// `NO_EXCEPT` the result is the text before the fault. The faults are
///
/// - "Source string is exhausted." a UTF-8 sequence or a high surrogate runs past the end of the source;
/// - "Source string is illegal."   bytes that are not UTF-8; when strict, a surrogate without its half or a value above
///                                 0x10FFFF as well;
/// - "Converted string is too long." the result would pass the limit.
///
/// Where it is not strict, a lone surrogate passes as a unit of its own (three bytes in UTF-8), and a UTF-32 value that
/// cannot be written becomes U+FFFD. A source ends at its first zero unit.
///
/// The limit counts units of the target with the terminator, so a result is always shorter than the limit: of a text
/// that needs exactly as many units the last one is dropped without a report, even if it is half of a pair. A limit of
/// 0 makes every conversion throw `NorqBufferOverflowException`. A conversion reads the limit once, when it starts.
///
/// Any thread may call; conversions hold no lock while they run.
class NORQSTD_EXPORT ConvertUTF {
public:
    /// What becomes of a fault: this strategy throws it.
    class NORQSTD_EXPORT ExceptionStrategy {
    public:
        virtual void raise(const norq_std::WChar* message) const;
    };

    /// Keeps silent, so that the conversion ends with what it has.
    class NORQSTD_EXPORT NoExceptionStrategy : public ExceptionStrategy {
    public:
        void raise(const norq_std::WChar* message) const override;
    };

    class convertLock;

    /// The limit at the start of the process, in units of the target encoding.
    static constexpr std::uint32_t DEFAULT_MAX_STRING_SIZE = 32768;
    static const ExceptionStrategy EXCEPT;
    static const NoExceptionStrategy NO_EXCEPT;

    static std::uint32_t getMaxStringSize();
    static void setMaxStringSize(std::uint32_t size);

    static norq_std::WString utf8ToUtf16(const unsigned char* source, bool strict, const ExceptionStrategy& strategy);
    static std::string utf16ToUtf8(const norq_std::WChar* source, bool strict, const ExceptionStrategy& strategy);
    static std::string utf32ToUtf8(const char32_t* source, bool strict, const ExceptionStrategy& strategy);
    static norq_std::WString utf32ToUtf16(const char32_t* source, bool strict, const ExceptionStrategy& strategy);
    static std::u32string utf8ToUtf32(const unsigned char* source, bool strict, const ExceptionStrategy& strategy);
    static std::u32string utf16ToUtf32(const norq_std::WChar* source, bool strict, const ExceptionStrategy& strategy);

private:
    ConvertUTF() = default;

    static bool isLegalUTF8(const unsigned char* bytes, int length);

    // Written under the lock; conversions read it without.
    static std::atomic<std::uint32_t> maxStringSize;
};

} // namespace norq_std_internal
