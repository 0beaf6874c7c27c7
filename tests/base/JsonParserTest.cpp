#include "base/JsonArray.h"
#include "base/JsonLiteral.h"
#include "base/JsonNumber.h"
#include "base/JsonObject.h"
#include "base/JsonString.h"
#include "base/JsonUtil.h"
#include "exception/NorqException.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace norq_std {
namespace {

WString repeated(const WString& text, std::size_t count) {
    WString result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

TEST(JsonParser, WritesBackWhatItRead) {
    const struct {
        WString text;
        WString written;
    } rows[] = {
        {u"1 garbage", u"1"},
        {u" \t\r\n-0.5e1x", u"-5"},
        {u"-0", u"-0"},
        {u"007", u"7"},
        {u"1e-999", u"0"},
        {u"[]", u"[]"},
        {u"[1,]", u"[1]"},
        {u"[1 , [ [],{}] ,null\u00a0]tail", u"[1,[[],{}],null]"},
        {u"{}", u"{}"},
        {u"{\"b\":1, \"a\" : [true,false]\n}", u"{\"a\":[true,false],\"b\":1}"},
        {u"{\"k\":1,\"k\":{\"k\":2}}", u"{\"k\":{\"k\":2}}"},
        {u"\"abc", u"\"abc\""},
        {u"\"a\\", u"\"a\""},
        {u"\"a\\\"b\\\\\" \"", u"\"a\\\"b\\\\\""},
        {u"\"12345678\\\"90123456789\\u00e9\\ud83d\\ude00\"", u"\"12345678\\\"90123456789\u00e9\U0001F600\""},
        {WString(u"\"a\0b\x01\"", 6), WString(u"\"a\0b\x01\"", 6)},
        {u"{\"\":\"\"}", u"{\"\":\"\"}"},
    };
    for (const auto& row : rows) {
        const auto value = JsonUtil::parseJson(row.text);
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(value->toJsonString(), row.written);
    }
}

TEST(JsonParser, GivesNullForATextWithoutAValue) {
    EXPECT_EQ(JsonUtil::parseJson(u""), nullptr);
    EXPECT_EQ(JsonUtil::parseJson(u" \t\n "), nullptr);
}

TEST(JsonParser, NamesTheFaultOfABrokenText) {
    const struct {
        const WChar* text;
        const WChar* message;
    } rows[] = {
        {u"[ ]", u"Unknown literal specified"},
        {u"{\"a\":}", u"Unknown literal specified"},
        {u"tru", u"Unknown literal specified"},
        {u"trueish", u"Unknown literal specified"},
        {u"+1", u"Unknown literal specified"},
        {u"[1", u"Expected value. Pos: 2"},
        {u"[ ", u"Expected value. Pos: 2"},
        {u"{\"a", u"Expected value. Pos: 3"},
        {u"{\"a\":1 ", u"Expected value. Pos: 7"},
        {u"{\"a\":", u"Expected value. Pos: 5"},
        {u"[1 2]", u"',' or ']' expected"},
        {u"[1}", u"',' or ']' expected"},
        {u"{ }", u"Expected '\"'"},
        {u"{\"a\":1,}", u"Expected '\"'"},
        {u"{a:1}", u"Expected '\"'"},
        {u"{\"a\" 1}", u"Expected ':'"},
        {u"{\"a\":1]", u"',' or '}' expected"},
        {u"\"\\x\"", u"Unexpected character"},
        {u"\"\\u12\"", u"Unexpected end of string."},
        {u"\"\\u12g4\"", u"Expected hexadecimal digit."},
        {u"1-2", u"bad lexical cast: source type value could not be interpreted as target"},
        {u"1e999", u"bad lexical cast: source type value could not be interpreted as target"},
        {u"1\u0665", u"bad lexical cast: source type value could not be interpreted as target"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(WString(row.text)));
        try {
            JsonUtil::parseJson(row.text);
            ADD_FAILURE() << "was accepted";
        } catch (const NorqIllegalArgumentException& e) {
            EXPECT_EQ(e.getMessage(), row.message);
        }
    }
}

TEST(JsonParser, MissesTheUnitBehindABracketOrComma) {
    for (const WChar* text : {u"[", u"{", u"[1,", u"{\"a\":1,", u"[[[1,{"})
        EXPECT_THROW(JsonUtil::parseJson(text), std::out_of_range) << testing::PrintToString(WString(text));
}

TEST(JsonParser, RefusesEndlessNestingAndTakesTheDocumentedDepth) {
    EXPECT_THROW(JsonUtil::parseJson(WString(1000000, u'[')), NorqIllegalArgumentException);
    EXPECT_THROW(JsonUtil::parseJson(repeated(u"{\"a\":", 1000000)), NorqIllegalArgumentException);
    EXPECT_THROW(JsonUtil::parseJson(repeated(u"[{\"a\":", 1000000)), NorqIllegalArgumentException);

    const std::size_t depth = JsonUtil::maximumDepth;
    const WString deep = repeated(u"[{\"a\":", depth / 2 - 1) + u"[{}]" + repeated(u"}]", depth / 2 - 1);
    EXPECT_EQ(JsonUtil::parseJson(deep)->toJsonString(), deep);
    EXPECT_THROW(JsonUtil::parseJson(u"[" + deep + u"]"), NorqIllegalArgumentException);
}

TEST(JsonParser, DeepDocumentsBuiltByHandAreWrittenAndReleasedWithoutRecursion) {
    std::shared_ptr<JsonAware> value;
    const std::size_t depth = 1000000;
    for (std::size_t i = 0; i < depth; ++i) {
        auto array = std::make_shared<JsonArray>();
        array->add(value);
        value = std::move(array);
    }
    EXPECT_EQ(value->toJsonString(), WString(depth, u'[') + u"null" + WString(depth, u']'));
    const std::weak_ptr<JsonAware> inner = *std::static_pointer_cast<JsonArray>(value)->begin();
    value.reset();
    EXPECT_TRUE(inner.expired());
}

} // namespace
} // namespace norq_std
