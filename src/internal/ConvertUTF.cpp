// One engine for the six conversions. A converter writes between two pointers and stops at the end of its source or at
// the first fault; the frame around it finds the source's end, chooses the buffer and settles the limit. The room that
// a converter is given is the lesser of the limit and of what the source can need at the worst, so want of room always
// means the limit. Each converter runs along its common road while there is room to read and write a few units more
// than it uses, and takes the exact road of single checks near the ends and at everything that looks odd.

#include "internal/ConvertUTF.h"

#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "internal/AsciiRuns.h"
#include "internal/CharacterSink.h"
#include "internal/UnicodeUnits.h"
#include "internal/UtfRuns.h"
#include "pattern/Singleton.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace norq_std_internal {

using norq_std::WChar;
using norq_std::WString;

namespace {

constexpr const WChar* EXHAUSTED = u"Source string is exhausted.";
constexpr const WChar* ILLEGAL = u"Source string is illegal.";
constexpr const WChar* TOO_LONG = u"Converted string is too long.";

/// What a converter returns: the message of its fault, or null at the end of the source.
using Fault = const WChar*;

constexpr std::size_t LOCAL_BUFFER_BYTES = 4096;
constexpr std::size_t SLACK = 32; ///< units that the common road likes to have behind a text
constexpr std::uint32_t REPLACEMENT = 0xFFFD;
template <class Unit>
std::size_t room(const Unit* from, const Unit* to) {
    return static_cast<std::size_t>(to - from);
}

// ---- writing one character ----

bool put(std::uint32_t value, char16_t*& out, const char16_t* outEnd) {
    if (room<char16_t>(out, outEnd) < (value < 0x10000 ? 1U : 2U))
        return false;
    if (value < 0x10000)
        *out++ = static_cast<char16_t>(value);
    else
        putSurrogates(value, out);
    return true;
}

bool put(std::uint32_t value, char32_t*& out, const char32_t* outEnd) {
    if (out == outEnd)
        return false;
    *out++ = value;
    return true;
}

bool put(std::uint32_t value, unsigned char*& out, const unsigned char* outEnd) {
    constexpr std::uint32_t MARKS[] = {0x00, 0xC0, 0xE0, 0xF0};
    const std::size_t following = value < 0x80 ? 0 : value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
    if (room<unsigned char>(out, outEnd) <= following)
        return false;
    for (std::size_t i = following; i > 0; --i, value >>= 6)
        out[i] = static_cast<unsigned char>(0x80 | (value & 0x3F));
    out[0] = static_cast<unsigned char>(MARKS[following] | value);
    out += following + 1;
    return true;
}

// ---- from UTF-8

std::size_t trailingBytes(unsigned char lead) {
    return lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : lead < 0xF8 ? 3 : lead < 0xFC ? 4 : 5;
}

std::uint32_t decodeLegal(const unsigned char* in, std::size_t trailing) {
    constexpr std::uint32_t LEAD_BITS[] = {0x7F, 0x1F, 0x0F, 0x07};
    std::uint32_t value = in[0] & LEAD_BITS[trailing];
    for (std::size_t i = 1; i <= trailing; ++i)
        value = value << 6 | (in[i] & 0x3FU);
    return value;
}

template <bool (*IsLegal)(const unsigned char*, int), class Unit>
Fault utf8ToUnits(const unsigned char* in, const unsigned char* end, Unit*& out, Unit* outEnd) {
    while (in != end) {
        if constexpr (sizeof(Unit) == sizeof(char16_t))
            decodeRuns({in, end}, {out, outEnd});
        if (in == end)
            break;
        const std::size_t trailing = trailingBytes(*in);
        // A lead byte that asks for more than three begins nothing legal, however the text goes on.
        if (trailing <= 3 && room(in, end) <= trailing)
            return EXHAUSTED;
        if (!IsLegal(in, static_cast<int>(trailing) + 1))
            return ILLEGAL;
        if (!put(decodeLegal(in, trailing), out, outEnd))
            return TOO_LONG;
        in += trailing + 1;
    }
    return nullptr;
}

// ---- from UTF-16

/// The value at `in`, which moves behind it; a fault leaves it where it is.
Fault readUtf16(const char16_t*& in, const char16_t* end, bool strict, std::uint32_t& value) {
    value = *in;
    if (isHighSurrogate(value)) {
        if (end - in < 2)
            return EXHAUSTED;
        if (isLowSurrogate(in[1])) {
            value = combineSurrogates(value, in[1]);
            ++in;
        } else if (strict) {
            return ILLEGAL;
        }
    } else if (strict && isLowSurrogate(value)) {
        return ILLEGAL;
    }
    ++in;
    return nullptr;
}

Fault utf16ToUtf8Units(const char16_t* in, const char16_t* end, bool strict, unsigned char*& out,
                       unsigned char* outEnd) {
    while (in != end) {
        encodeRuns({in, end}, {out, outEnd});
        if (in == end)
            break;
        std::uint32_t value = 0;
        if (const Fault fault = readUtf16(in, end, strict, value))
            return fault;
        if (!put(value, out, outEnd))
            return TOO_LONG;
    }
    return nullptr;
}

Fault utf16ToUtf32Units(const char16_t* in, const char16_t* end, bool strict, char32_t*& out, char32_t* outEnd) {
    while (in != end) {
        std::uint32_t value = 0;
        if (const Fault fault = readUtf16(in, end, strict, value))
            return fault;
        if (!put(value, out, outEnd))
            return TOO_LONG;
    }
    return nullptr;
}

// ---- from UTF-32

Fault utf32ToUtf8Units(const char32_t* in, const char32_t* end, bool strict, unsigned char*& out,
                       unsigned char* outEnd) {
    for (; in != end; ++in) {
        const std::uint32_t value = *in;
        if (strict && (isSurrogate(value) || value >= UNICODE_END))
            return ILLEGAL;
        if (!put(value < UNICODE_END ? value : REPLACEMENT, out, outEnd))
            return TOO_LONG;
    }
    return nullptr;
}

Fault utf32ToUtf16Units(const char32_t* in, const char32_t* end, bool strict, char16_t*& out, char16_t* outEnd) {
    for (; in != end; ++in) {
        if (out == outEnd)
            return TOO_LONG;
        const std::uint32_t value = *in;
        const bool bad = isSurrogate(value) || value >= UNICODE_END;
        if (strict && bad)
            return ILLEGAL;
        if (!put(bad ? REPLACEMENT : value, out, outEnd))
            return TOO_LONG;
    }
    return nullptr;
}

// ---- the frame ----

template <class Result>
struct UnitOf {
    using Type = typename Result::value_type;
};
template <>
struct UnitOf<std::string> {
    using Type = unsigned char;
};

/// Runs `converter(source, end, out, outEnd)` over a terminated source whose units need at most `worst` units each.
template <class Result, class Source, class Converter>
Result frame(const Source* source, std::size_t worst, std::uint32_t limit,
             const ConvertUTF::ExceptionStrategy& strategy, Converter converter) {
    using Unit = typename UnitOf<Result>::Type;
    const Source* const end = findTerminator(source);
    const auto most = static_cast<std::uint32_t>(std::min<std::size_t>(room(source, end) * worst + SLACK, limit));

    Unit local[LOCAL_BUFFER_BYTES / sizeof(Unit)];
    std::optional<CharacterSink<Unit>> sink;
    Unit* begin = local;
    if (most > std::size(local) || limit == 0) [[unlikely]]
        begin = &sink.emplace(most, limit)[0];

    Unit* out = begin;
    if (const Fault fault = converter(source, end, out, begin + most)) [[unlikely]]
        strategy.raise(fault);
    const std::size_t count = std::min<std::size_t>(room(begin, out), limit - 1); // the terminator's slot
    return Result(reinterpret_cast<const typename Result::value_type*>(begin), count);
}

} // namespace

// ---- the class ----

constinit const ConvertUTF::ExceptionStrategy ConvertUTF::EXCEPT;
constinit const ConvertUTF::NoExceptionStrategy ConvertUTF::NO_EXCEPT;
constinit std::atomic<std::uint32_t> ConvertUTF::maxStringSize{DEFAULT_MAX_STRING_SIZE};

void ConvertUTF::ExceptionStrategy::raise(const WChar* message) const {
    throw norq_std::NorqIllegalArgumentException(WString(message));
}

void ConvertUTF::NoExceptionStrategy::raise(const WChar*) const {}

bool ConvertUTF::isLegalUTF8(const unsigned char* bytes, int length) {
    if (length < 1 || length > 4)
        return false;
    for (int i = 2; i < length; ++i)
        if (!isContinuation(bytes[i]))
            return false;
    const unsigned char lead = bytes[0];
    if (length >= 2) {
        const unsigned char least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
        const unsigned char most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
        if (bytes[1] < least || bytes[1] > most)
            return false;
    }
    return lead < 0x80 || (lead >= 0xC2 && lead <= 0xF4);
}

class ConvertUTF::convertLock : public norq_std::Singleton<convertLock> {
public:
    norq_std::Lock& getLock() { return lock; }

private:
    friend class norq_std::Singleton<convertLock>;

    convertLock() = default;

    static const WChar* getSingletonName() { return u"convertLock"; }

    norq_std::Lock lock;
};

std::uint32_t ConvertUTF::getMaxStringSize() {
    const norq_std::AutoLock<norq_std::Lock> hold(convertLock::getInstance().getLock());
    return maxStringSize.load(std::memory_order_relaxed);
}

void ConvertUTF::setMaxStringSize(std::uint32_t size) {
    const norq_std::AutoLock<norq_std::Lock> hold(convertLock::getInstance().getLock());
    maxStringSize.store(size, std::memory_order_relaxed);
}

WString ConvertUTF::utf8ToUtf16(const unsigned char* source, bool, const ExceptionStrategy& strategy) {
    return frame<WString>(
        source, 1, maxStringSize.load(std::memory_order_relaxed), strategy,
        [](auto in, auto end, auto& out, auto outEnd) { return utf8ToUnits<isLegalUTF8>(in, end, out, outEnd); });
}

std::string ConvertUTF::utf16ToUtf8(const WChar* source, bool strict, const ExceptionStrategy& strategy) {
    return frame<std::string>(
        source, 3, maxStringSize.load(std::memory_order_relaxed), strategy,
        [strict](auto in, auto end, auto& out, auto outEnd) { return utf16ToUtf8Units(in, end, strict, out, outEnd); });
}

std::string ConvertUTF::utf32ToUtf8(const char32_t* source, bool strict, const ExceptionStrategy& strategy) {
    return frame<std::string>(
        source, 4, maxStringSize.load(std::memory_order_relaxed), strategy,
        [strict](auto in, auto end, auto& out, auto outEnd) { return utf32ToUtf8Units(in, end, strict, out, outEnd); });
}

WString ConvertUTF::utf32ToUtf16(const char32_t* source, bool strict, const ExceptionStrategy& strategy) {
    return frame<WString>(source, 2, maxStringSize.load(std::memory_order_relaxed), strategy,
                          [strict](auto in, auto end, auto& out, auto outEnd) {
                              return utf32ToUtf16Units(in, end, strict, out, outEnd);
                          });
}

std::u32string ConvertUTF::utf8ToUtf32(const unsigned char* source, bool, const ExceptionStrategy& strategy) {
    return frame<std::u32string>(
        source, 1, maxStringSize.load(std::memory_order_relaxed), strategy,
        [](auto in, auto end, auto& out, auto outEnd) { return utf8ToUnits<isLegalUTF8>(in, end, out, outEnd); });
}

std::u32string ConvertUTF::utf16ToUtf32(const WChar* source, bool strict, const ExceptionStrategy& strategy) {
    return frame<std::u32string>(source, 1, maxStringSize.load(std::memory_order_relaxed), strategy,
                                 [strict](auto in, auto end, auto& out, auto outEnd) {
                                     return utf16ToUtf32Units(in, end, strict, out, outEnd);
                                 });
}

} // namespace norq_std_internal
