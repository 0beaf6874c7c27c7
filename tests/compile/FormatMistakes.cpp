// One mistake a macro: each must be refused, and without any the file must compile.
#include "base/StringUtils.h"

#include <vector>

namespace norq_std {

enum class Colour : std::uint8_t { Red };

WString allThatFits(const WString& wide, const std::string& narrow, const void* pointer) {
    constexpr std::u16string_view view = u"view";
    const WChar* none = nullptr;
    WString text = StringUtils::format(u"%d %u%% %x", -1, 2U, Colour::Red);
    StringUtils::formatAppend(text, u"plain");
    StringUtils::formatAppend(text, u"%ls %s %s %s %hs %S %hs", wide, view, none, u"literal", narrow, "literal",
                              narrow.c_str());
    StringUtils::formatAppend(text, u"%*.*f %Lg %e", 8, 2, 1.5, 1.5L, 1.5F);
    StringUtils::formatAppend(text, u"%c %C %hc %p %d %zu", u'x', 'y', 'z', pointer, true, wide.size());
    StringUtils::formatAppend(text, u"%I64d %lld %ld", std::int64_t{1}, 1LL, 1L);
    return text;
}

WString mistake([[maybe_unused]] const WString& wide, [[maybe_unused]] const std::string& narrow,
                [[maybe_unused]] const WChar* format) {
#if defined(COUNT_TOO_FEW)
    return StringUtils::format(u"%d %d", 1);
#elif defined(COUNT_TOO_MANY)
    return StringUtils::format(u"%d", 1, 2);
#elif defined(COUNT_STAR)
    return StringUtils::format(u"%*d", 1);
#elif defined(DOUBLE_AS_INTEGER)
    return StringUtils::format(u"%d", 1.0);
#elif defined(INTEGER_AS_TEXT)
    return StringUtils::format(u"%ls", 1);
#elif defined(NARROW_AS_WIDE)
    return StringUtils::format(u"%s", narrow);
#elif defined(WIDE_AS_NARROW)
    return StringUtils::format(u"%hs", wide);
#elif defined(TEXT_AS_POINTER)
    return StringUtils::format(u"%p", wide);
#elif defined(DOUBLE_AS_WIDTH)
    return StringUtils::format(u"%*d", 1.0, 1);
#elif defined(WRITE_BACK)
    int written;
    return StringUtils::format(u"%n", &written);
#elif defined(TRUNCATED)
    return StringUtils::format(u"%-5", 1);
#elif defined(UNKNOWN)
    return StringUtils::format(u"%y", 1);
#elif defined(LENGTH)
    return StringUtils::format(u"%Ld", 1);
#elif defined(UNSUPPORTED)
    return StringUtils::format(u"%d", std::vector<int>());
#elif defined(RUN_TIME_FORMAT)
    return StringUtils::format(format);
#else
    return {};
#endif
}

} // namespace norq_std
