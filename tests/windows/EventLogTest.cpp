#include "platform/EventLog.h"
#include "windows/LogDaemon.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

using norq_std_internal::platform::EventSource;
using norq_std_internal::platform::EventType;
using norqstd_test::EventLogTest;
using norqstd_test::LogDaemon;

namespace {

const std::string Replacement = "\xEF\xBF\xBD";

struct Text {
    std::u16string wide;
    std::string narrow;
};

std::vector<Text> texts() {
    return {{u"plain", "plain"},
            {u"", ""},
            {u"two\r\nlines\n", "two\r\nlines\n"},
            {u"a=b\nPRIORITY=0", "a=b\nPRIORITY=0"},
            {u"\U0001F600 \u00E9 \u20AC", "\xF0\x9F\x98\x80 \xC3\xA9 \xE2\x82\xAC"},
            {{u'x', 0xD83D, u'y', 0xDE00}, "x" + Replacement + "y" + Replacement},
            {{u'x', 0xD83D}, "x" + Replacement},
            {std::u16string(1, u'\0') + u"z", std::string(1, '\0') + "z"}};
}

TEST_F(EventLogTest, JournalReceivesTextsAsTheyAre) {
    LogDaemon journal(journalPath);
    const auto source = EventSource::open(u"agent");
    ASSERT_TRUE(source);
    std::vector<Text> all = texts();
    all.push_back({std::u16string(3 << 20, u'\u20AC') + u"\nend", {}}); // too long for a datagram
    for (int i = 0; i < 3 << 20; ++i)
        all.back().narrow += "\xE2\x82\xAC";
    all.back().narrow += "\nend";
    for (const Text& text : all) {
        ASSERT_TRUE(source->report(EventType::Warning, 0x80000003, 0, text.wide));
        const auto fields = journal.nextEntry();
        const std::map<std::string, std::string> expected{{"MESSAGE", text.narrow},
                                                          {"PRIORITY", "4"},
                                                          {"SYSLOG_IDENTIFIER", "agent"},
                                                          {"NORQ_EVENT_ID", "0x80000003"}};
        EXPECT_TRUE(fields == expected) << text.narrow.substr(0, 80);
        EXPECT_EQ(journal.inMemory, text.narrow.size() > (1 << 20));
    }
    ASSERT_TRUE(source->report(EventType::Error, 2, 7, u"x"));
    EXPECT_EQ(journal.nextEntry()["NORQ_EVENT_CATEGORY"], "7");
}

TEST_F(EventLogTest, SyslogReceivesLinesWhereNoJournalListens) {
    LogDaemon syslog(syslogPath);
    const auto source = EventSource::open(u"agent");
    ASSERT_TRUE(source);
    const std::string behind = " agent[" + std::to_string(::getpid()) + "]: ";
    for (const Text& text : texts()) {
        ASSERT_TRUE(source->report(EventType::Error, 0xC0000005, 0, text.wide));
        const std::string line = syslog.next();
        std::string expected = text.narrow;
        std::replace(expected.begin(), expected.end(), '\0', ' ');
        ASSERT_GE(line.size(), 19U);
        EXPECT_EQ(line.substr(0, 4), "<11>"); // user, error
        std::tm time{};
        EXPECT_EQ(::strptime(line.c_str() + 4, "%b %d %H:%M:%S", &time), line.c_str() + 19) << line;
        EXPECT_EQ(line.substr(19), behind + expected);
    }
    ASSERT_TRUE(source->report(EventType::Information, 1, 0, std::u16string(1 << 20, u'\u20AC')));
    const std::string cut = syslog.next();
    const std::size_t textAt = cut.find(behind) + behind.size();
    EXPECT_GT(cut.size(), 16U << 10);
    EXPECT_EQ((cut.size() - textAt) % 3, 0U) << "cut within a character";
    EXPECT_EQ(cut.substr(cut.size() - 3), "\xE2\x82\xAC");
}

TEST_F(EventLogTest, FollowsTheJournalThroughARestart) {
    auto journal = std::make_unique<LogDaemon>(journalPath);
    const auto source = EventSource::open(u"agent");
    ASSERT_TRUE(source);
    journal.reset();
    EXPECT_FALSE(source->report(EventType::Error, 1, 0, u"to nobody"));
    {
        LogDaemon syslog(syslogPath);
        EXPECT_TRUE(source->report(EventType::Error, 1, 0, u"to syslog"));
        EXPECT_TRUE(syslog.next().ends_with("to syslog"));
    }
    std::filesystem::remove(journalPath);
    journal = std::make_unique<LogDaemon>(journalPath);
    EXPECT_TRUE(source->report(EventType::Error, 1, 0, u"back"));
    EXPECT_EQ(journal->nextEntry()["MESSAGE"], "back");
}

// A daemon that takes nothing costs its second, and never the program.
TEST_F(EventLogTest, GivesUpOnADaemonThatIsStuck) {
    const LogDaemon journal(journalPath);
    const auto source = EventSource::open(u"agent");
    ASSERT_TRUE(source);
    bool taken = true;
    for (int i = 0; i < 100'000 && taken; ++i)
        taken = source->report(EventType::Information, 1, 0, std::u16string(1000, u'x'));
    EXPECT_FALSE(taken);
}

} // namespace
