#include "base/JsonArray.h"
#include "base/JsonLiteral.h"
#include "base/JsonNumber.h"
#include "base/JsonObject.h"
#include "base/JsonString.h"
#include "base/JsonUtil.h"
#include "exception/NorqException.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <locale>
#include <random>
#include <string>

namespace norq_std {
namespace {

WString printed(double number) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%.17g", number);
    return WString(text, text + length);
}

class OwnValue : public JsonString {
public:
    WString toJsonString() const override { return u"own"; }
};

TEST(JsonString, EscapesEightUnitsAndNoOthers) {
    WString all;
    for (unsigned unit = 0; unit < 0x100; ++unit)
        all.push_back(static_cast<WChar>(unit));
    WString expected;
    for (const WChar unit : all) {
        const std::size_t at = WString(u"\b\t\n\f\r\"/\\").find(unit);
        if (at != WString::npos)
            expected += {u'\\', WString(u"btnfr\"/\\")[at]};
        else
            expected += unit;
    }
    EXPECT_EQ(JsonString::escape(all), expected);
    EXPECT_EQ(JsonString::unescape(expected), all);
    EXPECT_EQ(JsonString(all).toJsonString(), u"\"" + expected + u"\"");
    EXPECT_EQ(JsonString::escape(WString(5000, u'/')).size(), 10000U);
}

TEST(JsonString, EscapesAtEveryPlaceOfEveryShortLength) {
    for (std::size_t length = 1; length <= 20; ++length)
        for (std::size_t place = 0; place < length; ++place) {
            WString text(length, u'x');
            text[place] = u'"';
            JsonObject object;
            object.putString(text, text);
            const WString written = u"\"" + text.insert(place, u"\\") + u"\"";
            EXPECT_EQ(object.toJsonString(), u"{" + written + u":" + written + u"}");
        }
}

TEST(JsonString, UnescapesEveryFormAndDropsALoneBackslashAtTheEnd) {
    EXPECT_EQ(JsonString::unescape(u"plain \" quote"), u"plain \" quote");
    EXPECT_EQ(JsonString::unescape(u"\\uD83d\\uDE00\\u0041x\\"), u"\U0001F600Ax");
    EXPECT_EQ(JsonString::unescape(u"\\\\n"), u"\\n");
    EXPECT_THROW(JsonString::unescape(u"\\u004"), NorqIllegalArgumentException);
    EXPECT_THROW(JsonString(static_cast<const WChar*>(nullptr)), NorqIllegalArgumentException);
}

TEST(JsonNumber, WritesWhatPrintfWritesWithSeventeenDigits) {
    const double rows[] = {0.1,
                           1,
                           -0.0,
                           0.5,
                           1e16,
                           1e17,
                           99999999999999990.0,
                           123456789012345680.0,
                           1e-3,
                           9.999e-4,
                           1e-5,
                           1e22,
                           1e23,
                           2e-308,
                           5e-324,
                           1.7976931348623157e308,
                           4503599627370495.5,
                           0.001953125,
                           9.9999999999999982,
                           99999.999999999985,
                           0.30000000000000004,
                           1099511627776.0009765625};
    for (const double number : rows) {
        EXPECT_EQ(JsonNumber::toString(number), printed(number));
        EXPECT_EQ(JsonNumber::toString(-number), printed(-number));
    }
    std::mt19937_64 random(20);
    for (int i = 0; i < 200000; ++i) {
        // Every bit pattern, and fractions around 1 where the short way is taken.
        const double number =
            i % 2 == 0 ? std::bit_cast<double>(random())
                       : std::ldexp(static_cast<double>(random() >> (random() % 64)), -static_cast<int>(random() % 70));
        if (!std::isfinite(number))
            continue;
        ASSERT_EQ(JsonNumber::toString(number), printed(number));
        ASSERT_EQ(JsonNumber::fromString(printed(number)), number);
    }
}

TEST(JsonNumber, ReadsTheNearestDoubleOfUpToTwentyDigits) {
    const auto read = [](const std::string& text) {
        return JsonNumber::fromString(WString(text.begin(), text.end())) - std::strtod(text.c_str(), nullptr);
    };
    // Exact ties, to the even neighbour below and above, and just beside them.
    for (const char* text :
         {"9007199254740993", "9007199254740995", "9007199254740992.5", "4503599627370496.5", "4503599627370497.5",
          "450359962737049.65625", "18014398509481990.01", "9999999999999999999", "18446744073709551615",
          "0.9007199254740993", "1.000000000000000111"})
        EXPECT_EQ(read(text), 0) << text;
    std::mt19937_64 random(21);
    for (int i = 0; i < 100000; ++i) {
        std::string text = std::to_string(random() >> (random() % 20));
        text.insert(random() % text.size(), ".");
        ASSERT_EQ(read(text), 0) << text;
    }
}

TEST(JsonNumber, NamesWhatIsNotFinite) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(JsonNumber::toString(infinity), u"infinity");
    EXPECT_EQ(JsonNumber::toString(-infinity), u"-infinity");
    EXPECT_EQ(JsonNumber::toString(std::copysign(nan, 1.0)), u"nan");
    EXPECT_EQ(JsonNumber::toString(std::copysign(nan, -1.0)), u"-nan");
    EXPECT_EQ(JsonNumber::fromString(u"-INFINITY"), -infinity);
    EXPECT_TRUE(std::isnan(JsonNumber::fromString(u"NaN")));
}

TEST(JsonNumber, ReadsWhatTheConversionAcceptsAndNoMore) {
    const struct {
        WString text;
        double number;
    } rows[] = {{u"+1", 1},
                {u"1.", 1},
                {u".5", 0.5},
                {u"-.5", -0.5},
                {u"1E+5", 1e5},
                {u"00.1", 0.1},
                {u"1e-999", 0},
                {u"+.5e1", 5},
                {u"9007199254740993", 9007199254740992.0},
                {u"0.1", 0.1},
                {u"1e22", 1e22},
                {u"123456789.123456789123456789", 123456789.123456789123456789},
                {u"-0.00000000000000000000001", -1e-23},
                {u"+0." + WString(70, u'1'), 1.0 / 9},
                {u"+1e-99999999999999999999", 0},
                {WString(400, u'1') + u"e-900", 0},
                {u"0." + WString(400, u'0') + u"1e+5", 0},
                {u"0." + WString(400, u'0') + u"1E+390", 1e-11}};
    for (const auto& row : rows)
        EXPECT_EQ(JsonNumber::fromString(row.text), row.number) << testing::PrintToString(row.text);
    for (const WString& text : std::initializer_list<WString>{
             u"", u"+", u"-", u".", u"1e", u"1 ", u" 1", u"-+1", u"++1", u"1..2", u"1,0", u"0x10", u"1e999", u"nan(",
             u"+-1", u"1e+99999999999999999999", u"0." + WString(400, u'0') + u"1e+800", WString(400, u'1') + u"e-5",
             WString(70, u'1') + u",5"})
        EXPECT_THROW(JsonNumber::fromString(text), NorqIllegalArgumentException) << testing::PrintToString(text);
    EXPECT_THROW(JsonNumber::fromString(WString(u"1\0", 2)), NorqIllegalArgumentException);
}

TEST(JsonNumber, DoesNotDependOnTheGlobalLocale) {
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale(), new Comma));
    const struct Restore {
        ~Restore() { std::locale::global(locale); }
        const std::locale& locale;
    } restore{before};
    EXPECT_EQ(JsonNumber::fromString(u"+1.5"), 1.5);
    EXPECT_EQ(JsonNumber::fromString(u"+1.234"), 1.234);
    EXPECT_EQ(JsonUtil::parseJson(u"[0." + WString(70, u'1') + u"]")->toJsonString(), u"[0.1111111111111111]");
    for (const WString text : {u"1,5", u"+1,5", u"+1.234,5"})
        EXPECT_THROW(JsonNumber::fromString(text), NorqIllegalArgumentException) << testing::PrintToString(text);
    EXPECT_EQ(JsonNumber::toString(-1234.5), u"-1234.5");
}

TEST(JsonObject, GivesTheDefaultForWhatIsAbsentNullOrOfAnotherKind) {
    JsonObject object;
    object.putString(u"text", u"1");
    object.putDouble(u"pi", -3.99);
    object.putBoolean(u"yes", true);
    object.put(u"null", JsonLiteral::Null);
    object.put(u"empty", nullptr);
    object.put(u"array", std::make_shared<JsonArray>());
    object.put(u"object", std::make_shared<JsonObject>());

    EXPECT_EQ(object.getInteger(u"pi", 7), -3);
    EXPECT_EQ(object.getLongLong(u"pi", 7), -3);
    EXPECT_EQ(object.getDouble(u"pi", 7), -3.99);
    EXPECT_EQ(object.getString(u"text", u"d"), u"1");
    EXPECT_TRUE(object.getBoolean(u"yes", false));
    EXPECT_FALSE(object.getBoolean(u"null", true));
    EXPECT_NE(object.getArray(u"array"), nullptr);
    EXPECT_NE(object.getObject(u"object"), nullptr);
    for (const WString key : {u"absent", u"empty", u"yes"}) {
        EXPECT_EQ(object.getInteger(key, 7), 7);
        EXPECT_EQ(object.getLongLong(key, 7), 7);
        EXPECT_EQ(object.getDouble(key, 7), 7);
        EXPECT_EQ(object.getString(key, u"d"), u"d");
        EXPECT_EQ(object.getArray(key), nullptr);
        EXPECT_EQ(object.getObject(key), nullptr);
    }
    EXPECT_EQ(object.getInteger(u"text", 7), 7);
    EXPECT_TRUE(object.getBoolean(u"text", true));
    EXPECT_TRUE(object.contains(u"empty"));
    EXPECT_FALSE(object.contains(u"absent"));
    EXPECT_EQ(object.get(u"empty"), nullptr);
}

TEST(JsonObject, IntegersOutsideTheirRangeTakeItsNearestEnd) {
    JsonObject object;
    object.putLongLong(u"most", std::numeric_limits<std::int64_t>::max());
    object.putDouble(u"least", -1e300);
    object.putDouble(u"none", std::nan(""));
    EXPECT_EQ(object.getInteger(u"most", 0), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(object.getLongLong(u"most", 0), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(object.getInteger(u"least", 0), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(object.getLongLong(u"least", 0), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(object.getLongLong(u"none", 1), 0);
}

TEST(JsonObject, WritesKeysInOrderOfUnitsAndNullPointersAsNull) {
    const auto object = std::make_shared<JsonObject>();
    object->putInteger(u"b", 7);
    object->putDouble(u"a/", 0.5);
    object->put(u"\uffff", nullptr);
    object->putString(u"\U0001F600", u"x");
    object->put(u"z", std::make_shared<OwnValue>());
    EXPECT_EQ(object->toJsonString(), u"{\"a\\/\":0.5,\"b\":7,\"z\":own,\"\U0001F600\":\"x\",\"\uffff\":null}");

    JsonObject all;
    all.putBoolean(u"b", false);
    all.putAll(object);
    all.putAll(nullptr);
    EXPECT_EQ(all.size(), 5U);
    EXPECT_EQ(all.getInteger(u"b", 0), 7);
    all.erase(all.begin());
    EXPECT_EQ(all.begin()->first, u"b");
}

TEST(JsonArray, KeepsTheOrderOfInsertion) {
    JsonArray array;
    array.addLongLong(1LL << 53);
    array.addInteger(-1);
    array.addDouble(0.25);
    array.addString(u"\"");
    array.add(JsonLiteral::True);
    array.add(nullptr);
    EXPECT_EQ(array.toJsonString(), u"[9007199254740992,-1,0.25,\"\\\"\",true,null]");
    array.erase(array.begin());
    EXPECT_EQ(array.size(), 5U);
    array.clear();
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(array.toJsonString(), u"[]");
}

// Uses the literals before main and after the test program's own statics are gone.
struct AtStartAndExit {
    AtStartAndExit()
        : atStart(JsonLiteral::True->toJsonString()) {}
    ~AtStartAndExit() {
        if (JsonLiteral::Null->toJsonString() != u"null")
            std::abort();
    }
    WString atStart;
} const atStartAndExit;

TEST(JsonLiteral, ServesDuringStartUpAndExit) {
    EXPECT_EQ(atStartAndExit.atStart, u"true");
    EXPECT_TRUE(*JsonLiteral::True == *JsonLiteral::True);
    EXPECT_FALSE(*JsonLiteral::False == *JsonLiteral::Null);
}

} // namespace
} // namespace norq_std
