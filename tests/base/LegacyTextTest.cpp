#include "base/LegacyText.h"

#include "platform/Error.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

using norq_std::WString;
using NorqStd::SWString;

/// A buffer of the caller's with a guard behind what it may be given.
template <class Unit, std::size_t Size>
struct Guarded {
    std::array<Unit, Size + 2> units;
    Guarded() { units.fill('#'); }
    Unit* get() { return units.data(); }
    bool isIntact() const { return units[Size] == '#' && units[Size + 1] == '#'; }
    std::basic_string<Unit> text() const { return units.data(); }
};

TEST(LegacyTextTest, FieldsCountFromOne) {
    EXPECT_EQ(1, NorqStd::NbrDelimFields(u"", u';'));
    EXPECT_EQ(3, NorqStd::NbrDelimFields(u";a;", u';'));
    const struct {
        std::int32_t number;
        const char16_t* field;
    } cases[] = {{-3, u"a"}, {0, u"a"}, {1, u"a"}, {2, u""}, {3, u"bc"}, {4, u""}, {5, u""}};
    for (const auto& [number, field] : cases) {
        SWString out(u"old");
        EXPECT_EQ(WString(field).size(),
                  static_cast<std::size_t>(NorqStd::GetDelimField(out, u"a;;bc;", number, u';')));
        EXPECT_EQ(field, WString(out)) << number;
    }
    SWString text(u"a;b");
    EXPECT_EQ(1, NorqStd::GetDelimField(text, text, 2, u';'));
    EXPECT_EQ(u"b", WString(text));
}

TEST(LegacyTextTest, NarrowFieldsStayWithinTheirBuffers) {
    Guarded<char, 4> out;
    EXPECT_EQ(2, NorqStd::GetDelimField(out.get(), 4, "x;\x80z;long text", 2, ';'));
    EXPECT_EQ("\x80z", out.text());
    EXPECT_EQ(3, NorqStd::GetDelimField(out.get(), 4, "x;\x80z;long text", 3, ';'));
    EXPECT_EQ("lon", out.text());
    EXPECT_TRUE(out.isIntact());
    EXPECT_EQ(1, NorqStd::GetDelimField(out.get(), 4, "a\xE4z", 2, '\xE4'));
    EXPECT_EQ(0, NorqStd::GetDelimField(out.get(), 4, nullptr, 1, ';'));
    EXPECT_EQ("", out.text());
    out.units[0] = '#';
    EXPECT_EQ(0, NorqStd::GetDelimField(out.get(), 0, "a", 1, ';'));
    EXPECT_EQ('#', out.units[0]);
}

TEST(LegacyTextTest, PositionsCountFromOne) {
    const struct {
        std::uint32_t position, length;
        std::int32_t result;
        std::string field;
    } cases[] = {{1, 2, 1, "ab"}, {3, 9, 1, "c"}, {3, 0xFFFFFFFF, 1, "c"}, {0, 1, 0, ""}, {0xFFFFFFFF, 1, 0, ""},
                 {4, 1, 0, ""},   {1, 0, 0, ""}};
    for (const auto& [position, length, result, field] : cases) {
        SWString wide(u"old");
        EXPECT_EQ(result, NorqStd::GetPosField(wide, u"abc", position, length));
        EXPECT_EQ(WString(field.begin(), field.end()), WString(wide));
        Guarded<char, 4> narrow;
        EXPECT_EQ(result, NorqStd::GetPosField(narrow.get(), "abc", position, length));
        EXPECT_EQ(field, narrow.text());
        EXPECT_TRUE(narrow.isIntact());
    }
    char inPlace[] = "abcdef";
    EXPECT_EQ(1, NorqStd::GetPosField(inPlace, inPlace, 2, 4));
    EXPECT_STREQ("bcde", inPlace);
    EXPECT_EQ(0, NorqStd::GetPosField(inPlace, nullptr, 1, 1));
}

TEST(LegacyTextTest, RangesSetEntriesAndCount) {
    const struct {
        const char16_t* text;
        std::vector<std::int32_t> set;
        std::int32_t count;
    } cases[] = {
        {u"1,3,5-7", {1, 3, 5, 6, 7}, 7}, // 1, 3, 5, 7 and once more 5, 6, 7
        {u"12", {}, 0},
        {u"-3", {0, 1, 2, 3}, 5},
        {u"8-99999999999", {8, 9, 10}, 4},
        {u"99999999999-3", {3}, 1},
        {u"7-5", {5, 7}, 2},
        {u"2 - 4", {2, 3, 4}, 5},
        {u"2-4-5", {2, 3, 4, 5}, 8},
        {u"7-2-3,5", {2, 3, 5, 7}, 6}, // the range that runs backwards is dropped, the next begins at its end
        {u"x1y", {1}, 1},
        {u"", {}, 0},
    };
    for (const auto& [text, set, count] : cases) {
        std::array<std::int32_t, 12> entries;
        entries.fill(9);
        EXPECT_EQ(count, NorqStd::RangeStrToIntArr(text, entries.data(), 10)) << SWString(text).utf8_str();
        std::array<std::int32_t, 12> expected{};
        expected[11] = 9;
        for (const std::int32_t index : set)
            expected[static_cast<std::size_t>(index)] = 1;
        EXPECT_EQ(expected, entries) << SWString(text).utf8_str();
    }
    std::int32_t untouched = 9;
    EXPECT_EQ(0, NorqStd::RangeStrToIntArr(u"0", &untouched, -1));
    EXPECT_EQ(9, untouched);
}

TEST(LegacyTextTest, TrimsAtTheEnd) {
    char narrow[] = " a b \t\r\n\xA0";
    NorqStd::TrimString(narrow);
    EXPECT_STREQ(" a b", narrow);
    char16_t wide[] = u" a\u3000\u00A0";
    NorqStd::TrimString(wide);
    EXPECT_EQ(u" a", WString(wide));
    SWString text(u" \n");
    NorqStd::TrimString(text);
    EXPECT_EQ(u"", WString(text));
    char empty[] = "";
    NorqStd::TrimString(empty);
    NorqStd::TrimString(static_cast<char*>(nullptr));
    NorqStd::TrimString(static_cast<char16_t*>(nullptr));
}

TEST(LegacyTextTest, ShowsNumbersErrorsAndBuffers) {
    EXPECT_EQ(u"-2147483648", WString(NorqStd::Num2Str(INT32_MIN)));
    EXPECT_EQ(u"E0005", WString(NorqStd::printErr(5, "E")));
    EXPECT_EQ(u"E9999", WString(NorqStd::printErr(9999, u"E")));
    EXPECT_EQ(u"E10000", WString(NorqStd::printErr(10000, u"E")));
    EXPECT_EQ(u"-1", WString(NorqStd::printErr(-1, u"")));
    norq_std_internal::platform::setLastError(norq_std_internal::platform::FileNotFound);
    EXPECT_EQ(u"No such file or directory", WString(NorqStd::printLastErr()));

    EXPECT_EQ(u"61 ff 0 \"a..\"", WString(NorqStd::BufferDump("a\xFF\0", 3, 16)));
    EXPECT_EQ(u"141 \"a\"", WString(NorqStd::BufferDump("a", 1, 8)));
    EXPECT_EQ(u"97 255 \"a.\"", WString(NorqStd::BufferDump("a\xFF", 2, 7)));
    EXPECT_EQ(u"61 ac 9 d8   \"a\u20AC..\"", WString(NorqStd::BufferDump(u"a\u20AC\t\xD8D8", 4, 16)));
    EXPECT_EQ(u"\"\"", WString(NorqStd::BufferDump("a", 0, 16)));
    EXPECT_EQ(u"\"\"", WString(NorqStd::BufferDump(u"a", -1, 16)));
}

TEST(LegacyTextTest, FormatsTextsOfAnyLength) {
    EXPECT_EQ(u"7 long x", WString(NorqStd::sprintfString(u"%ld %ls %c", 7, u"long", u'x')));
    SWString text(u">");
    const WString long20000(20000, u'x');
    NorqStd::sprintfStringAppend(text, u"%ls", long20000.c_str());
    EXPECT_EQ(u">" + long20000, WString(text));
    EXPECT_EQ(20000U, NorqStd::sprintfString(u"%*d", 20000, 1).size());
    EXPECT_EQ(3000001U, NorqStd::sprintfString("%3000000d\n", 1).size());
    EXPECT_EQ(20302U, NorqStd::sprintfString("%*.0f|", 20301, 1e300).size());
}

TEST(LegacyTextTest, NarrowFormatsAreInCodePageZero) {
    EXPECT_EQ(u"\u20AC 5 \u20ACx \u00E4 \u20AC",
              WString(NorqStd::sprintfString("\x80 %ld %s %S %C", 5, "\x80x", u"\u00E4", u'\u20AC')));
    EXPECT_EQ(u"\u20AC?|\u20AC|ab", WString(NorqStd::sprintfString("%ls|%c|%.2s", u"\u20AC\u4E00", 0x80, "abc")));
    EXPECT_EQ(u"\u00C3\u00A4", WString(NorqStd::sprintfString("%s", "\xC3\xA4"))); // no UTF-8 here
    EXPECT_EQ(u"x", WString(NorqStd::sprintfString("%hs%c", "x", 0)));
}

TEST(LegacyTextTest, RefusedFormatsLeaveTheTargetAlone) {
    SWString text(u"a");
    std::int32_t written = 5;
    NorqStd::sprintfStringAppend(text, u"b%n", &written);
    NorqStd::sprintfStringAppend(text, "b%n", &written);
    NorqStd::sprintfStringAppend(text, "b%");
    NorqStd::sprintfStringAppend(text, "b%y");
    NorqStd::sprintfStringAppend(text, static_cast<const char16_t*>(nullptr));
    NorqStd::sprintfStringAppend(text, static_cast<const char*>(nullptr));
    EXPECT_EQ(u"a", WString(text));
    EXPECT_EQ(5, written);
}

template <class Unit>
std::string optionsOf(const std::vector<const Unit*>& argv, const Unit* known) {
    NorqStd::OptionIndex = 1;
    std::string result;
    for (;;) {
        const Unit* value = nullptr;
        const std::int32_t option =
            NorqStd::GetOption(static_cast<std::int32_t>(argv.size()), argv.data(), known, &value);
        if (option == 0)
            return result;
        result += option == 1 ? "1" : option == 65535 ? "!" : std::string(1, static_cast<char>(option));
        if (value != nullptr)
            result += '=' + std::string(value, value + std::char_traits<Unit>::length(value));
        result += std::to_string(NorqStd::OptionIndex) + ' ';
    }
}

TEST(LegacyTextTest, ReadsOptions) {
    EXPECT_EQ(
        "a2 b=val3 b=next5 1=plain6 b7 /=x8 !=-q9 !=-10 !=/\t11 b12 ",
        optionsOf<char>({"p", "-a", "/bval", "-b", "next", "plain", "-b", "//x", "-q", "-", "/\t", "-b"}, "ab:/:"));
    EXPECT_EQ("a=1\x32 !=-\xB5\x33 1=4 ", optionsOf<char16_t>({u"p", u"-a1", u"-\u00B5", u""}, u"a:"));
    EXPECT_EQ("", optionsOf<char>({"p"}, "a"));
    EXPECT_EQ(2, NorqStd::OptionIndex);
}

} // namespace
