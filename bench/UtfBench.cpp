// UTF-8 to and from UTF-16: ours, ICU's C interface into a string of the right size, ICU's string class, and utfcpp.
// Every row makes a new string of the standard library (ICU's class one of its own) from a string that is there.

#include "base/UtfUtils.h"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>
#include <utf8.h>

#include <random>
#include <string>
#include <vector>

namespace {

struct Script {
    const char* name;
    std::vector<std::string> words;
};

const Script SCRIPTS[] = {
    {"ascii",
     {"the", "quick", "brown", "fox", "jumps", "over", "a", "lazy", "dog", "12345", "times,", "then", "it", "sleeps."}},
    {"german", {"Zwölf",  "Boxkämpfer", "jagen",  "Viktor",   "quer",      "über",  "den",    "großen",
                "Sylter", "Deich,",     "und",    "ein",      "Fußgänger", "grüßt", "schöne", "Mädchen.",
                "in",     "der",        "Straße", "zwischen", "Bäumen",    "am",    "Morgen"}},
    {"russian", {"Съешь",  "же",       "ещё",   "этих",   "мягких",  "французских",
                 "булок,", "да",       "выпей", "чаю;",   "широкая", "электрификация",
                 "южных",  "губерний", "даст",  "мощный", "толчок",  "и",
                 "в",      "на"}},
    {"chinese",
     {"天地玄黃", "宇宙洪荒", "日月盈昃,", "辰宿列張。", "寒來暑往", "秋收冬藏", "閏餘成歲", "律呂調陽", "雲騰致雨",
      "露結為霜"}},
    {"emoji", {"😀😃😄", "😁😆", "🚀", "🌍🌕", "hello", "👩🚒🎉", "👍🏽", "ok", "🤖🧪🔬", "naïve"}},
};

struct Size {
    const char* name;
    std::size_t bytes;
};

constexpr Size SIZES[] = {{"100B", 100}, {"1KB", 1024}, {"30KB", 30720}};

/// Words in random order, so that no branch predictor learns the text by heart; as many whole characters as fit.
std::string textOf(const std::vector<std::string>& words, std::size_t bytes) {
    std::minstd_rand random(1);
    std::string text;
    while (text.size() <= bytes)
        text.append(words[random() % words.size()]).append(" ");
    while ((static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80)
        --bytes;
    text.resize(bytes);
    return text;
}

std::u16string icuFromUtf8(const std::string& text) {
    std::u16string result(text.size(), 0);
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8(result.data(), static_cast<std::int32_t>(result.size()), &length, text.data(),
                  static_cast<std::int32_t>(text.size()), &error);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

std::string icuToUtf8(const std::u16string& text) {
    std::string result(text.size() * 3, 0);
    std::int32_t length = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8(result.data(), static_cast<std::int32_t>(result.size()), &length, text.data(),
                static_cast<std::int32_t>(text.size()), &error);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

icu::UnicodeString icuClassFromUtf8(const std::string& text) { return icu::UnicodeString::fromUTF8(text); }

std::string icuClassToUtf8(const std::u16string& text) {
    std::string result;
    icu::UnicodeString(false, text.data(), static_cast<std::int32_t>(text.size())).toUTF8String(result);
    return result;
}

template <class Source, class Conversion>
void add(const std::string& topic, const char* who, const Source& text, std::size_t bytes, Conversion conversion) {
    benchmark::RegisterBenchmark((topic + "/" + who).c_str(), [text, bytes, conversion](benchmark::State& state) {
        for (auto _ : state) {
            auto result = conversion(text);
            benchmark::DoNotOptimize(result);
        }
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
    });
}

} // namespace

int main(int argc, char** argv) {
    for (const Script& script : SCRIPTS) {
        for (const Size& size : SIZES) {
            const std::string suffix = std::string("/") + script.name + "/" + size.name;
            const std::string narrow = textOf(script.words, size.bytes);
            const std::u16string wide = icuFromUtf8(narrow);
            if (norq_std::UtfUtils::utf8ToUtf16(narrow) != wide || norq_std::UtfUtils::utf16ToUtf8(wide) != narrow)
                return 1;

            const std::string in = "utf8_to_utf16" + suffix;
            add(in, "ours", narrow, narrow.size(),
                [](const std::string& t) { return norq_std::UtfUtils::utf8ToUtf16(t); });
            add(in, "icu", narrow, narrow.size(), icuFromUtf8);
            add(in, "icu_class", narrow, narrow.size(), icuClassFromUtf8);
            add(in, "utfcpp", narrow, narrow.size(), [](const std::string& t) { return utf8::utf8to16(t); });

            const std::string out = "utf16_to_utf8" + suffix;
            add(out, "ours", wide, narrow.size(),
                [](const std::u16string& t) { return norq_std::UtfUtils::utf16ToUtf8(t); });
            add(out, "icu", wide, narrow.size(), icuToUtf8);
            add(out, "icu_class", wide, narrow.size(), icuClassToUtf8);
            add(out, "utfcpp", wide, narrow.size(), [](const std::u16string& t) { return utf8::utf16to8(t); });
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
