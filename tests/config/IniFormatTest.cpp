#include "config/Configuration.h"
#include "config/IniConfigurationSerializer.h"
#include "exception/NorqException.h"
#include "stream/ByteArray.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using norq_std::ByteArray;
using norq_std::Configuration;
using norq_std::ConfigurationSerializer;
using norq_std::IniConfigurationSerializer;
using norq_std::WString;

std::string roundTrip(const std::string& bytes, const WString& charset = ConfigurationSerializer::defaultCharset) {
    IniConfigurationSerializer serializer(charset);
    return serializer.serialize(*serializer.deserialize(ByteArray(bytes)))->toString();
}

struct Rewritten {
    const char* read;
    const char* written;
};

TEST(IniFormatTest, WritesBackWhatItRead) {
    const Rewritten cases[] = {
        {"", ""},
        {"a=1", "a=1\r\n"},
        {"a=1\nb=2\n", "a=1\nb=2\n"},
        {"a=1\r\nb=2\nc=3\rd=4", "a=1\r\nb=2\r\nc=3\r\nd=4\r\n"},
        {"a=1\rb=2\nc=3", "a=1\rb=2\rc=3\r"},
        {"a=1\n\n", "a=1\n\n"},
        {"\n\n\n", "\n\n\n"},
        {"\n \t", "\n"},
        {"\n \t\n", "\n\n"},
        {"  key = value  \n", "key= value\n"},
        {"a=b=c\n", "a=b=c\n"},
        {"a=b # c\n", "a=b # c\n"},
        {"a=\n", "a=\n"},
        {"#  two blanks \n", "#  two blanks\n"},
        {"#\n", "\n"},
        {"\\#x=1\n\\[x=1\n", "\\#x=1\n\\[x=1\n"},
        {"a#b[c=1\n", "a\\#b\\[c=1\n"},
        {"a\\=b\\\\=1\n", "a\\=b\\\\=1\n"},
        {"a\\b=c\n", "\n"},
        {"a\\b=c=1\n", "ab\\=c=1\n"},
        {"\\ x\\==1\n", "x\\\\==1\n"},
        {"no separator\n=no key\n", "\n\n"},
        {"a=1\n#c\na=2\n", "a=2\n#c\n"},
        {"[one] trailing\na=1\n[  two  ]\n[a]b]\n", "[one]\na=1\n[two]\n[a]b]\n"},
        {"[one]\na=1\n[two]\nb=2\n[one]\n\na=3\n", "[one]\na=3\n\n[two]\nb=2\n"},
        {"[one]\n[]\na=1\n[ ]\nb=2\n", "a=1\nb=2\n[one]\n"},
        {"a=1\n[not closed\nb=2\n", "a=1\nb=2\n"},
        {"a=\\n [x] \\\\\n", "a=\\n [x] \\\\\n"},
        {"caf\xE9=\x80\x81\n", "caf\xE9=\x80\x81\n"},
        {"a=1\nb=\0c", "a=1\nb=\n"}, // the text ends at its first zero byte
    };
    for (const Rewritten& c : cases) {
        EXPECT_EQ(c.written, roundTrip(c.read)) << c.read;
        EXPECT_EQ(c.written, roundTrip(c.written)) << c.read;
    }
}

TEST(IniFormatTest, FindsKeysByTheirUnescapedText) {
    IniConfigurationSerializer serializer(u"windows-1252");
    const auto read = serializer.deserialize(ByteArray(std::string("\\[a\\=b#=1\n[s]\nA=2\n\\\\=\t3")));
    EXPECT_EQ(u"1", read->getValue(u"[a=b#", u""));
    EXPECT_EQ(u"2", read->getValue(u"A", u"s"));
    EXPECT_EQ(u"\t3", read->getValue(u"\\", u"s"));
}

TEST(IniFormatTest, LosesNothingOfALongTextInAnyCharacterSet) {
    Configuration configuration;
    for (int i = 0; i < 3000; ++i) {
        WString key(u"\u20AC key ");
        for (int digits = i; digits > 0; digits /= 10)
            key += static_cast<char16_t>(u'0' + digits % 10);
        configuration.setValue(key, i % 7 == 0 ? WString(static_cast<std::size_t>(i), u'\u00E4') : u"\u201Cx\u201D",
                               u"s");
    }
    for (const char16_t* charset : {u"windows-1252", u"UTF-8", u"ISO-10646-UCS-2"}) {
        IniConfigurationSerializer serializer(charset);
        const auto bytes = serializer.serialize(configuration);
        const auto read = serializer.deserialize(*bytes);
        EXPECT_EQ(configuration.getValues(u"s"), read->getValues(u"s"));
        EXPECT_EQ(configuration.getKeys(u"s"), read->getKeys(u"s"));
        EXPECT_EQ(u"\r\n", serializer.getLineSeparator());
    }
}

TEST(IniFormatTest, WritesUtf8ThatEndsWhereTheTextEnds) {
    Configuration configuration;
    WString pairs;
    for (int i = 0; i < 20000; ++i)
        pairs += i % 3 == 0 ? u"\U0001F600" : u"a";
    configuration.setValue(u"pairs", pairs, u"");
    configuration.setValue(u"half", u"\xD83D", u"");
    configuration.setValue(u"zero", WString(u"a\0b", 3), u"");
    configuration.setValue(u"last", u"there", u"");
    IniConfigurationSerializer serializer(u"UTF-8");
    const auto read = serializer.deserialize(*serializer.serialize(configuration));
    EXPECT_EQ(pairs, read->getValue(u"pairs", u""));
    EXPECT_EQ(u"\uFFFD", read->getValue(u"half", u""));
    EXPECT_EQ(u"a\uFFFDb", read->getValue(u"zero", u""));
    EXPECT_EQ(u"there", read->getValue(u"last", u""));
    // What is not UTF-8 ends the text.
    EXPECT_EQ("a=\xC3\xA4\n", roundTrip("a=\xC3\xA4\nb=\xFF\nc=1\n", u"UTF-8").substr(0, 5));
    EXPECT_EQ("a=1\nb=\n", roundTrip("a=1\nb=\xFFx\nc=1\n", u"UTF-8"));
}

TEST(IniFormatTest, KeepsItsCharacterSetValid) {
    IniConfigurationSerializer serializer(u"UTF-8");
    for (const char16_t* name : {u"utf-8", u"", u"latin1"}) {
        try {
            serializer.setCharset(name);
            ADD_FAILURE() << "taken";
        } catch (const norq_std::NorqIllegalArgumentException& failure) {
            EXPECT_EQ(u"Charset " + WString(name) + u" is invalid.", failure.getMessage());
        }
        EXPECT_THROW(IniConfigurationSerializer{name}, norq_std::NorqIllegalArgumentException);
    }
    EXPECT_EQ(u"ConfigurationSerializer{charset='UTF-8'}", serializer.toString());
    serializer.setLineSeparator(u"\n");
    const std::unique_ptr<ConfigurationSerializer> other(serializer.newInstance());
    EXPECT_TRUE(other->getCharset() == u"UTF-8" && other->getLineSeparator().empty());
    EXPECT_EQ(u"\n", IniConfigurationSerializer(serializer).getLineSeparator());
    serializer.deserialize(ByteArray(std::string("a=1")));
    EXPECT_EQ(u"", serializer.getLineSeparator());
}

} // namespace
