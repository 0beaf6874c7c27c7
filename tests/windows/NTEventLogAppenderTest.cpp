#include "windows/NTEventLogAppender.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "log/DebugFileFilter.h"
#include "log/LogEvent.h"
#include "log/NorqLogLayout.h"
#include "support/Rerun.h"
#include "system/Paths.h"
#include "windows/LogDaemon.h"
#include "windows/NTEventLogWrapper.h"
#include "windows/NorqRegistry.h"

#include <array>
#include <fstream>
#include <map>
#include <memory>

using namespace norq_std;
using norq_std_internal::NTEventLogWrapper;
using norqstd_test::LogDaemon;
using norqstd_test::Rerun;

namespace {

using NTEventLogAppenderTest = norqstd_test::EventLogTest;

TEST_F(NTEventLogAppenderTest, ReportsEventsByPriority) {
    struct Row {
        LogEventPriority priority;
        const char* syslogPriority;
        const char* identifier;
    };
    constexpr std::array<Row, 6> Rows{{{WARN, "4", "0x80000003"},
                                       {ERROR, "3", "0x80000004"},
                                       {FATAL, "3", "0xC0000005"},
                                       {INFO, "6", "0x40000002"},
                                       {DUMP, "6", "0x40000002"},
                                       {static_cast<LogEventPriority>(99), "6", "0x40000002"}}};
    LogDaemon journal(journalPath);
    std::unique_ptr<NTEventLogAppender> made(NTEventLogAppender().newInstance({{u"sourceName", u"agent"}}));
    NTEventLogAppender appender(*made);
    made.reset(); // the copy keeps the source
    appender.setFilter(std::make_shared<DebugFileFilter>());
    for (const Row& row : Rows) {
        LogEvent event(row.priority);
        event.errorId = u"STD0001";
        event.message = u"said";
        event.function = u"somewhere";
        appender.append(event);
        auto fields = journal.nextEntry();
        EXPECT_EQ(fields["PRIORITY"], row.syslogPriority);
        EXPECT_EQ(fields["NORQ_EVENT_ID"], row.identifier);
        EXPECT_EQ(fields["MESSAGE"], "STD0001 said");
        EXPECT_EQ(fields["SYSLOG_IDENTIFIER"], "agent");
    }
    LogEvent plain(INFO);
    plain.message = u"m";
    appender.append(plain);
    EXPECT_EQ(journal.nextEntry()["MESSAGE"], " m");

    appender.setLayout(std::make_shared<NorqLogLayout>());
    appender.append(plain);
    EXPECT_TRUE(journal.isEmpty());

    NTEventLogAppender unmade;
    unmade.setFilter(std::make_shared<DebugFileFilter>());
    unmade.append(plain);
    EXPECT_TRUE(journal.isEmpty());
}

TEST_F(NTEventLogAppenderTest, WritesTheRegistryEntryOfItsSource) {
    const LogDaemon journal(journalPath);
    const WString key = u"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\agent";
    using Values = std::map<WString, WString>;
    const auto values = [&key] {
        NorqRegistry registry;
        registry.openKey(HKEY_LOCAL_MACHINE, key, KEY_READ);
        const auto all = registry.getKeyValues();
        return Values(all.begin(), all.end());
    };
    EXPECT_FALSE(NTEventLogWrapper::eventLogEntryExists(u"agent"));
    Paths::getInstance()->setPath(u"System Executable Path Key", u"C:\\opt\\.\\agent");
    { const NTEventLogWrapper wrapper(u"agent"); }
    const Values plain{{u"EventMessageFile", u"C:\\opt\\agent\\NorqStd.dll"}, {u"TypesSupported", u"7"}};
    EXPECT_TRUE(NTEventLogWrapper::eventLogEntryExists(u"agent")); // it stays
    EXPECT_EQ(values(), plain);
    NTEventLogWrapper::createEventLogEntry(u"agent", u"m", u"", 3);
    NTEventLogWrapper::createEventLogEntry(u"agent", u"m", u"c", 0);
    EXPECT_EQ(values(), (Values{{u"EventMessageFile", u"m"}, {u"TypesSupported", u"7"}}));
    NTEventLogWrapper::createEventLogEntry(u"agent", u"m", u"c", 3);
    EXPECT_EQ(values().size(), 4U);
    EXPECT_EQ(values()[u"CategoryMessageFile"], u"c");
    EXPECT_EQ(values()[u"CategoryCount"], u"3");
    NTEventLogWrapper::createEventLogEntry(u"agent");
    EXPECT_EQ(values()[u"EventMessageFile"], plain.at(u"EventMessageFile")); // over what stood there
}

TEST_F(NTEventLogAppenderTest, ShowsTheInsertedTextForEachIdentifier) {
    std::map<std::uint32_t, WString> messages;
    for (const auto& [identifier, text] : NTEventLogWrapper::getMessages())
        messages[identifier] = text;
    const WString text = u"%1\r\n";
    EXPECT_EQ(messages,
              (std::map<std::uint32_t, WString>{
                  {0, text}, {0x40000002, text}, {0x80000003, text}, {0x80000004, text}, {0xC0000005, text}}));
}

// In processes of their own: the log starts once, and where the hives lie is read once.
TEST_F(NTEventLogAppenderTest, SaysWhyItCannotBeMade) {
    if (!Rerun::inside()) {
        EXPECT_EQ(Rerun("NTEventLogAppenderTest.SaysWhyItCannotBeMade").errors(), "");
        return;
    }
    const auto messageOf = [] {
        try {
            delete NTEventLogAppender().newInstance({});
        } catch (const NorqIOException& e) {
            return e.getMessage();
        }
        return WString(u"made");
    };
    EXPECT_EQ(messageOf().substr(0, 34), u"Error registering event source: 2:");
    ::setenv("NORQSTD_REGISTRY_MACHINE", "/proc/none", 1);
    EXPECT_EQ(messageOf().substr(0, 56), u"Unable to create event log entry.: Create registry key <");
    EXPECT_FALSE(NTEventLogWrapper::eventLogEntryExists(u"agent"));
}

TEST_F(NTEventLogAppenderTest, IsMadeFromTheConfigurationOfTheLog) {
    if (!Rerun::inside()) {
        EXPECT_EQ(Rerun("NTEventLogAppenderTest.IsMadeFromTheConfigurationOfTheLog").errors(), "");
        return;
    }
    LogDaemon journal(journalPath);
    std::ofstream(folder() / "agent.cfg") << "[Log Appenders]\n"
                                             "appender.a.class=norq_std.NTEventLogAppender\n"
                                             "appender.a.filter=norq_std.LogFileFilter\n"
                                             "appender.a.layout=NULL\n"
                                             "appender.b.class=norq_std.NTEventLogAppender\n"
                                             "appender.b.filter=norq_std.LogFileFilter\n"
                                             "appender.b.sourceName=other\n"
                                             "appender.c.class=norq_std.NTEventLogAppender\n"
                                             "appender.c.filter=norq_std.LogFileFilter\n"
                                             "appender.c.layout=norq_std.NorqLogLayout\n";
    Paths::getInstance()->setPath(u"System Config Path Key", folder().u16string());
    StaticLog::initInstance(u"agent");
    NORQ_LOG(ERROR, u"f", u"said");
    for (const char* source : {"agent", "other"}) { // and the third, with a layout, nothing
        auto fields = journal.nextEntry();
        EXPECT_EQ(fields["MESSAGE"], " said");
        EXPECT_EQ(fields["SYSLOG_IDENTIFIER"], source);
    }
    EXPECT_TRUE(journal.isEmpty());
}

} // namespace
