#include "config/Configuration.h"

#include "config/ConfigurationChangeEvent.h"
#include "config/ConfigurationVisitor.h"
#include "exception/NorqException.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using norq_std::Configuration;
using norq_std::ConfigurationChangeEvent;
using norq_std::ConfigurationElement;
using norq_std::ConfigurationSection;
using norq_std::File;
using norq_std::NorqIllegalArgumentException;
using norq_std::WString;
using Names = std::list<WString>;

/// The lines of a configuration, one text each.
class Lines : public norq_std::ConfigurationVisitor {
public:
    explicit Lines(const Configuration& configuration) { configuration.visit(*this); }

    void visitElement(const ConfigurationElement& element) override {
        all.push_back(element.isEmpty()     ? u""
                      : element.isComment() ? u"#" + element.getComment()
                                            : element.getKey() + u"=" + element.getValue());
    }
    void visitSection(const ConfigurationSection& section) override { all.push_back(u"[" + section.getName() + u"]"); }

    std::vector<WString> all;
};

std::vector<WString> linesOf(const Configuration& configuration) { return Lines(configuration).all; }

template <class F>
WString messageOf(F call) {
    try {
        call();
    } catch (const NorqIllegalArgumentException& failure) {
        return failure.getMessage();
    }
    return u"nothing was thrown";
}

class Derived : public Configuration {
public:
    using Configuration::getSection;
    const ConfigurationSection& find(const WString& name) const { return getSection(name); }
};

TEST(ConfigurationElementTest, IsWhatItsTextsSay) {
    ConfigurationElement element;
    EXPECT_TRUE(element.isEmpty() && element.isComment() && !element.isKeyValue());
    element = ConfigurationElement(u" a comment ");
    EXPECT_TRUE(!element.isEmpty() && element.isComment());
    EXPECT_EQ(u" a comment ", element.getComment());
    element = ConfigurationElement(u" \tkey\u00A0", u"  value \r\n");
    EXPECT_TRUE(element.isKeyValue() && !element.isComment() && !element.isEmpty());
    EXPECT_EQ(u"ConfigurationElement{key='key',value='  value',comment=''}", element.toString());
    element.setKey(u" ");
    element.setValue(u" ");
    EXPECT_TRUE(element.isEmpty());

    const norqstd_test::DebugCapture log;
    EXPECT_EQ(u"key value is empty.", messageOf([] { ConfigurationElement(u" \t ", u"x"); }));
    EXPECT_EQ(1u, log.count(u"key value is empty."));
}

TEST(ConfigurationTest, StartsWithTheDefaultSectionAndKeepsIt) {
    Configuration configuration;
    EXPECT_EQ(Names{u""}, configuration.getSectionNames());
    configuration.appendElement(ConfigurationElement(u"note"), Configuration::defaultSection);
    configuration.setValue(u"a", u"1", u" ");
    configuration.setValue(u"b", u"2", u"other");
    EXPECT_TRUE(configuration.removeSection(u""));
    EXPECT_EQ((std::vector<WString>{u"[]", u"[other]", u"b=2"}), linesOf(configuration));
    EXPECT_TRUE(configuration.removeSection(u" other "));
    EXPECT_FALSE(configuration.removeSection(u"other"));
    configuration.setValue(u"c", u"3", u"x");
    configuration.clear();
    EXPECT_EQ(std::vector<WString>{u"[]"}, linesOf(configuration));
    EXPECT_EQ(u"Configuration{}", configuration.toString());
}

TEST(ConfigurationTest, SetsInPlaceAndComparesTrimmedNamesExactly) {
    Configuration configuration;
    configuration.setValue(u" a ", u"  two blanks  ", u" s ");
    configuration.appendElement(ConfigurationElement(), u"s");
    configuration.setValue(u"b", u"2", u"s");
    configuration.setValue(u"a", u"changed", u"s\t");
    configuration.appendElement(ConfigurationElement(u"b", u" 3"), u"s");
    EXPECT_EQ((std::vector<WString>{u"[]", u"[s]", u"a=changed", u"", u"b= 3"}), linesOf(configuration));
    EXPECT_EQ(u"changed", configuration.getValue(u"\na ", u" s"));
    EXPECT_EQ(u"", configuration.getValue(u"A", u"s"));
    EXPECT_EQ(u"", configuration.getValue(u"a", u"S"));
    EXPECT_EQ(u"", configuration.getValue(u"", u"s"));
    EXPECT_FALSE(configuration.containsKey(u"", u"s"));
    EXPECT_FALSE(configuration.removeKeyValue(u"", u"s"));
    EXPECT_TRUE(configuration.removeKeyValue(u" a", u"s"));
    EXPECT_FALSE(configuration.removeKeyValue(u"a", u"s"));
    EXPECT_EQ((std::vector<WString>{u"[]", u"[s]", u"", u"b= 3"}), linesOf(configuration));
    configuration.setValue(u"a", u"again", u"s");
    EXPECT_EQ((Names{u"b", u"a"}), configuration.getKeys(u"s"));
    EXPECT_EQ((Names{u" 3", u"again"}), configuration.getValues(u"s"));
}

TEST(ConfigurationTest, AsksWithoutMakingSections) {
    Configuration configuration;
    EXPECT_EQ(u"", configuration.getValue(u"a", u"s"));
    EXPECT_TRUE(configuration.getKeys(u"s").empty() && configuration.getValues(u"s").empty());
    EXPECT_FALSE(configuration.containsKey(u"a", u"s") || configuration.removeKeyValue(u"a", u"s"));
    EXPECT_FALSE(configuration.containsSection(u"s"));
    const norqstd_test::DebugCapture log;
    EXPECT_EQ(u"key value is empty.", messageOf([&] { configuration.setValue(u"", u"1", u"s"); }));
    EXPECT_EQ(u"key value is empty.", messageOf([&] { configuration.setValue(u" \n", u"1", u"s"); }));
    EXPECT_EQ(2u, log.count(u"key value is empty."));
    EXPECT_EQ(Names{u""}, configuration.getSectionNames());

    Derived derived;
    EXPECT_EQ(u"Unable to find section named s", messageOf([&] { derived.find(u" s "); }));
    derived.getSection(u" s ").setValue(u"a", u"1");
    EXPECT_EQ(u"ConfigurationSection{name='s'}", derived.find(u"s").toString());
    EXPECT_EQ(u"key value is empty.", messageOf([&] { derived.getSection(u"s").setValue(u" ", u"1"); }));
    EXPECT_EQ(1u, derived.getSection(u"s").getSize());
}

TEST(ConfigurationTest, MergesASectionOfTheSameName) {
    ConfigurationSection section(u" s ");
    section.appendElement(ConfigurationElement(u"first"));
    section.setValue(u"a", u"1");
    section.setValue(u"b", u"2");
    Configuration configuration;
    configuration.addSection(section);
    configuration.setValue(u"x", u"9", u"last");
    ConfigurationSection other(u"s");
    other.setValue(u"c", u"3");
    other.setValue(u"a", u"one");
    other.appendElement(ConfigurationElement());
    configuration.addSection(other);
    EXPECT_EQ((std::vector<WString>{u"[]", u"[s]", u"#first", u"a=one", u"b=2", u"c=3", u"", u"[last]", u"x=9"}),
              linesOf(configuration));
    EXPECT_EQ(u"1", section.getValue(u"a"));

    section.appendElements(section);
    EXPECT_EQ(4u, section.getSize());
    section.clear();
    EXPECT_TRUE(section.getSize() == 0 && section.getName() == u"s" && !section.contains(u"a"));
}

TEST(ConfigurationTest, CopiesAreDeep) {
    ConfigurationSection section(u"s");
    section.appendElement(ConfigurationElement());
    section.setValue(u"a longer key than a string holds itself", u"1");
    ConfigurationSection copy(section);
    copy.setValue(u"a longer key than a string holds itself", u"2");
    copy.setValue(u"b", u"3");
    EXPECT_EQ(u"1", section.getValue(u"a longer key than a string holds itself"));
    EXPECT_TRUE(copy.removeKeyValue(u"a longer key than a string holds itself"));
    EXPECT_TRUE(section.contains(u"a longer key than a string holds itself"));
    section = copy;
    section = *&section;
    EXPECT_TRUE(section.getKeys() == Names{u"b"} && section.getValue(u"b") == u"3" && section.getSize() == 2);

    Configuration configuration;
    configuration.addSection(section);
    std::list<ConfigurationSection> copies = configuration.copySections();
    copies.back().setValue(u"b", u"4");
    EXPECT_EQ(u"3", configuration.getValue(u"b", u"s"));

    // An element whose key was changed by the caller is looked up by the new one.
    ConfigurationElement renamed(u"x", u"5");
    renamed.setKey(u"b");
    section.appendElement(renamed);
    EXPECT_TRUE(section.getValue(u"b") == u"5" && section.getSize() == 2);
}

TEST(ConfigurationSectionTest, HoldsManyLinesThroughRandomChanges) {
    std::mt19937 random(5);
    ConfigurationSection section(u"s");
    std::list<std::pair<WString, WString>> expected; // a comment has no key
    const auto find = [&](const WString& key) {
        return std::find_if(expected.begin(), expected.end(), [&](const auto& line) { return line.first == key; });
    };
    for (int step = 0; step < 20'000; ++step) {
        const unsigned keys = step / 5000 % 2 == 0 ? 300 : 3000; // the list grows and shrinks
        const auto number = random() % keys;
        // From a single unit on, so that a line may be shorter than what it leaves behind when it moves.
        const WString key = WString(1, static_cast<char16_t>((number < 90 ? u'!' : u'\u0100') + number)) +
                            WString(number % 50 == 0 ? 400 : number % 10, u'e');
        // Units of one byte and of two, mixed too, and lengths around what a byte counts.
        WString text(random() % 16 == 0 ? 240 + random() % 40 : random() % 40, u"v\xFF\u0100\u4E2D"[random() % 4]);
        if (!text.empty())
            text[random() % text.size()] = u"w\xFE\u0101"[random() % 3];
        const auto present = find(key);
        if (random() % 8 == 0) {
            section.appendElement(ConfigurationElement(text));
            expected.emplace_back(WString(), text);
        } else if (random() % 8 < 3) {
            ASSERT_EQ(present != expected.end(), section.removeKeyValue(key));
            if (present != expected.end())
                expected.erase(present);
        } else {
            section.setValue(key, text);
            if (present == expected.end())
                expected.emplace_back(key, text);
            else
                present->second = text;
            ASSERT_EQ(text, section.getValue(key));
        }
        ASSERT_EQ(expected.size(), section.getSize());
    }
    Configuration configuration;
    configuration.addSection(section);
    std::vector<WString> lines{u"[]", u"[s]"};
    for (const auto& [key, text] : expected)
        lines.push_back(!key.empty() ? key + u"=" + text : text.empty() ? text : u"#" + text);
    EXPECT_EQ(lines, linesOf(configuration));
}

TEST(ConfigurationTest, FindsItsSectionsThroughRandomChanges) {
    std::mt19937 random(6);
    Configuration configuration;
    std::list<WString> expected{WString()};
    for (int step = 0; step < 5000; ++step) {
        const WString name =
            u"s" + WString(1, static_cast<char16_t>(u'!' + random() % (step < 2500 ? 12 : 300))) + u"e";
        const auto present = std::find(expected.begin(), expected.end(), name);
        if (random() % 2 == 0) {
            ASSERT_EQ(present != expected.end(), configuration.removeSection(name));
            if (present != expected.end())
                expected.erase(present);
        } else {
            configuration.setValue(u"k", name, name);
            if (present == expected.end())
                expected.push_back(name);
            ASSERT_EQ(name, configuration.getValue(u"k", name));
        }
        ASSERT_EQ(expected, configuration.getSectionNames());
    }
}

TEST(ConfigurationTest, IsSharedByThreads) {
    Configuration configuration;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([&configuration, own = WString(1, static_cast<char16_t>(u'a' + number))] {
            for (int i = 0; i < 300; ++i) {
                configuration.setValue(own, u"long enough to need space of its own", u"shared");
                configuration.setValue(u"common", own, own);
                configuration.copySections();
                configuration.getValue(own, u"shared");
                configuration.removeSection(own);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(4u, configuration.getKeys(u"shared").size());
    EXPECT_EQ((Names{u"", u"shared"}), configuration.getSectionNames());
}

TEST(ConfigurationChangeEventTest, TellsWhatHappened) {
    const ConfigurationChangeEvent event(File(u"C:\\a.cfg"), ConfigurationChangeEvent::Removed, u"s", u"k", u"v");
    EXPECT_EQ(u"ConfigurationChangeEvent{path='C:\\a.cfg',event='Removed',section='s',key='k',value='v'}",
              event.toString());
    EXPECT_EQ(u"Invalid value for configuration change type enumeration.", messageOf([] {
                  ConfigurationChangeEvent(File(), static_cast<ConfigurationChangeEvent::ChangeType>(3), u"", u"", u"");
              }));
}

} // namespace
