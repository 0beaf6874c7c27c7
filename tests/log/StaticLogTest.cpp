// The log of a process starts once: each of these tests runs in a process of its own.

#include "base/LogMacros.h"
#include "base/StringUtils.h"
#include "config/ConfigurationChangeEvent.h"
#include "config/ConfigurationListener.h"
#include "exception/NorqException.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/Rerun.h"
#include "system/NorqSystem.h"
#include "system/Paths.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace norq_std;
using norqstd_test::eventually;
namespace fs = std::filesystem;

namespace {

class StaticLogTest : public testing::Test {
protected:
    void SetUp() override {
        if (!norqstd_test::Rerun::inside()) {
            const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
            const norqstd_test::Rerun run(std::string(test->test_suite_name()) + "." + test->name());
            EXPECT_EQ(run.errors(), "");
            return;
        }
        std::string name = (fs::temp_directory_path() / "norqstd-log-XXXXXX").string();
        folder = mkdtemp(name.data());
        fs::create_directory(folder / "config");
        Paths::getInstance()->setPath(u"System Config Path Key", (folder / "config").u16string());
        Paths::getInstance()->setPath(u"System Log Path Key", (folder / "log").u16string());
    }
    void TearDown() override {
        if (!folder.empty())
            fs::remove_all(folder);
    }
    bool inside() const { return !folder.empty(); }

    /// In one step, as editors do.
    void configure(const std::string& text) {
        std::ofstream(folder / "config" / "new", std::ios::binary) << text;
        fs::rename(folder / "config" / "new", folder / "config" / "agent.cfg");
    }
    std::string content(const std::string& name) const {
        std::ifstream file(folder / "log" / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    bool exists(const std::string& name) const { return fs::exists(folder / "log" / name); }

    fs::path folder;
};

std::string appender(const std::string& name, const std::string& rest,
                     const std::string& type = "norq_std.RollingFileAppender") {
    const std::string key = "appender." + name + ".";
    std::string text = key + "class=" + type + "\n" + key + "filter=norq_std.LogFileFilter\n" + key +
                       "layout=norq_std.NorqLogLayout\n";
    std::string line;
    for (std::istringstream lines(rest); std::getline(lines, line);)
        text += key + line + "\n";
    return text;
}

const std::string debugAppender = "appender.debug.class=norq_std.RollingFileAppender\n"
                                  "appender.debug.filter=norq_std.DebugFileFilter\n"
                                  "appender.debug.layout=norq_std.NorqLogLayout\n"
                                  "appender.debug.layout.debug=true\n";

void log(LogEventPriority priority, const WString& text) {
    ContextLogMessage::log(priority, u"test::f", u"test", u"", 1, u"f.cpp", 7, u"%ls", text.c_str());
}

} // namespace

TEST_F(StaticLogTest, linesGoWhereTheConfigurationSaysAndTheThresholdIsFollowed) {
    if (!inside())
        return;
    configure("[Debug Log]\nThreshold=WARN\n[Log Appenders]\n" + appender("plain", "size=10 MB\nfiles=3") +
              debugAppender);
    EXPECT_THROW(StaticLog::getConfigPath(), NorqIllegalStateException);
    StaticLog::initInstance(u"agent");
    StaticLog::initInstance(u"other");
    EXPECT_EQ(StaticLog::getModuleName(), u"agent");
    EXPECT_TRUE(StaticLog::getConfigPath().ends_with(u"config\\agent.cfg"));
    EXPECT_EQ(StaticLog::getThreshold(), WARN);
    EXPECT_FALSE(StaticLog::isThresholdOn(INFO));
    log(ERROR, u"trouble \u20AC");
    EXPECT_TRUE(content("agent0001.log").starts_with("VERSION INFO: "));
    EXPECT_TRUE(content("agent0001.log").ends_with(" ERROR f.cpp[7] trouble \x80\n"));
    EXPECT_FALSE(exists("agent0001.dbg")) << "a debug file that nothing would be written to";

    configure("[Debug Log]\nThreshold=DEBUG\n[Log Appenders]\n" + appender("plain", "size=10 MB\nfiles=3") +
              debugAppender);
    ASSERT_TRUE(eventually([&] { return exists("agent0001.dbg") && StaticLog::isThresholdOn(DEBUG); }));
    EXPECT_TRUE(eventually([&] { return content("agent0001.log").find("DEBUG") != std::string::npos; }))
        << "the change itself is reported";
    ASSERT_TRUE(eventually([&] {
        log(DEBUG, u"detail");
        return content("agent0001.dbg").ends_with("f.cpp[7] test::f: detail\n");
    }));
    EXPECT_EQ(content("agent0001.log").find("detail"), std::string::npos);

    configure("[Log Appenders]\n");
    ASSERT_TRUE(eventually([&] { return StaticLog::getThreshold() == INFO; }));
    const auto debugSize = [&] { return fs::file_size(folder / "log" / "agent0001.dbg"); };
    ASSERT_TRUE(eventually([&] {
        const auto before = debugSize();
        log(DEBUG, u"unheard");
        return debugSize() == before;
    }));
}

TEST_F(StaticLogTest, everyMistakeCostsItselfAloneAndIsTold) {
    if (!inside())
        return;
    norqstd_test::DebugCapture told;
    std::ofstream(folder / "config" / "notafolder") << "x";
    configure(
        "\xFF\xFE\x01 no section\n[Debug Log]\nThreshold=loud\n"
        "[Log Appenders]\nmodules=no-such-module, ,nor-this\n"
        "appender.=x\nappender.nodot=x\nappender..class=x\n" +
        appender("good", "path=good.log\nsize=many\nfiles=-3") + "appender.noclass.filter=norq_std.LogFileFilter\n" +
        appender("unknown", "", "norq_std.Nobody") +
        "appender.nofilter.class=norq_std.RollingFileAppender\n"
        "appender.nullfilter.class=norq_std.RollingFileAppender\nappender.nullfilter.filter=NULL\n"
        "appender.badfilter.class=norq_std.RollingFileAppender\nappender.badfilter.filter=norq_std.NorqLogLayout\n" +
        appender("badpath", "path=a<b.log") + appender("nodotpath", "path=nodot") +
        appender("nofolder", "path=" + (folder / "config" / "notafolder" / "x.log").string()) +
        appender("cyclic", "path={Log Appenders,appender.cyclic.path}"));
    StaticLog::initInstance(u"agent");
    EXPECT_EQ(StaticLog::getThreshold(), INFO);
    log(INFO, u"all the same");
    EXPECT_TRUE(content("good0001.log").ends_with(" INFO f.cpp[7] all the same\n"));
    for (const char16_t* line :
         {u"Unable to load no-such-module: <Unable to locate library <no-such-module>>", u"Unable to load nor-this: <",
          u"Unable to load appender noclass: Appender class name cannot be empty.",
          u"Unable to load appender unknown: Could not find class for name: norq_std.Nobody",
          u"Unable to load appender nofilter: Filter cannot be NULL!",
          u"Unable to load appender nullfilter: Filter cannot be NULL!",
          u"Unable to load appender badfilter: Could not find class for name: norq_std.NorqLogLayout",
          u"Unable to load appender badpath: Path contains invalid characters.",
          u"Unable to load appender nodotpath: Invalid value for filename.", u"Unable to load appender nofolder: "})
        EXPECT_EQ(told.count(line), 1u) << std::string(line, line + std::u16string_view(line).size());
}

TEST_F(StaticLogTest, withoutAnAppenderOrAFileLinesStayOnTheDebuggerChannel) {
    if (!inside())
        return;
    norqstd_test::DebugCapture told;
    configure("[Debug Log]\nThreshold=ERROR\n");
    StaticLog::initInstance(u"agent");
    EXPECT_EQ(told.count(u"Logging was not initialized because no appenders were found."), 1u);
    EXPECT_EQ(StaticLog::getThreshold(), ERROR);
    EXPECT_TRUE(StaticLog::isThresholdOn(DEBUG));
    log(INFO, u"somewhere");
    EXPECT_EQ(told.count(u"INFO : somewhere"), 1u);
}

TEST_F(StaticLogTest, anAliasIsFollowed) {
    if (!inside())
        return;
    class Listener : public ConfigurationListener {
    public:
        void onConfigChange(const ConfigurationChangeEvent& event) override {
            if (event.getKey() == u"done")
                heard = true;
        }
        std::atomic<bool> heard{false};
    };
    const auto text = [](const std::string& size, const std::string& done) {
        return "[Sizes]\nbig=" + size + "\ndone=" + done + "\n[Log Appenders]\n" +
               appender("plain", "size={ Sizes , big }\nfiles=2");
    };
    configure(text("2 MB", "no"));
    StaticLog::initInstance(u"agent");
    const auto listener = std::make_shared<Listener>();
    StaticLog::addConfigurationListener(listener);
    log(INFO, u"x");
    EXPECT_NE(content("agent0001.log").find("Max file size <2097152>."), std::string::npos);
    configure(text("3 MB", "yes"));
    ASSERT_TRUE(eventually([&] { return listener->heard.load(); }));
    StaticLog::removeConfigurationListener(listener);
    EXPECT_NE(content("agent0001.log").find("3145728"), std::string::npos) << "the new size is reported";
}

TEST_F(StaticLogTest, aModuleBringsAnAppenderClass) {
    if (!inside())
        return;
    NorqSystem::getInstance().setProperty(u"Ext_Library_Path", fs::path(APPENDER_MODULE_FOLDER).u16string());
    configure("[Log Appenders]\nmodules=norqstd-test-appender\n" +
              appender("own", "target=" + (folder / "own.txt").string(), "test.ModuleAppender"));
    StaticLog::initInstance(u"agent");
    log(WARN, u"through the module");
    std::ifstream file(folder / "own.txt");
    std::string line;
    std::getline(file, line);
    EXPECT_TRUE(line.ends_with(" WARN f.cpp[7] through the module")) << line;
}

TEST_F(StaticLogTest, noLineIsLostOrTornWhileEverythingChanges) {
    if (!inside())
        return;
    const auto text = [](int round) {
        return "[Debug Log]\nThreshold=" + std::string(round % 2 == 0 ? "DEBUG" : "WARN") +
               "\n[Sizes]\nbig=" + std::to_string(1 + round % 3) + " MB\n[Log Appenders]\n" +
               appender("plain", "size={Sizes,big}\nfiles=" + std::to_string(500 + round % 7)) + debugAppender +
               "appender.debug.always_open=" + (round % 4 == 0 ? "true\n" : "false\n");
    };
    configure(text(0));
    StaticLog::initInstance(u"agent");
    constexpr int threads = 8;
    const int lines = static_cast<int>(norqstd_test::rounds(4000));
    std::atomic<int> running{threads};
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t)
        writers.emplace_back([&, t] {
            for (int i = 0; i < lines; ++i)
                log(FATAL, StringUtils::format(u"line %d of %d %ls", i, t, WString(100, u'x')));
            --running;
        });
    for (int round = 1; running > 0; ++round)
        configure(text(round));
    for (std::thread& writer : writers)
        writer.join();
    configure("[Debug Log]\nThreshold=ERROR\n[Log Appenders]\n" + appender("plain", "size=3 MB\nfiles=506") +
              debugAppender);
    ASSERT_TRUE(eventually([] { return StaticLog::getThreshold() == ERROR; })); // and the files stay as they are
    std::set<std::string> seen;
    for (const auto& entry : fs::directory_iterator(folder / "log")) {
        if (entry.path().extension() != ".log")
            continue;
        std::ifstream file(entry.path(), std::ios::binary);
        for (std::string line; std::getline(file, line);)
            if (const auto at = line.find("FATAL f.cpp[7] line "); at != std::string::npos) {
                EXPECT_EQ(at, 24u) << line;
                EXPECT_TRUE(line.ends_with(" " + std::string(100, 'x'))) << line;
                EXPECT_TRUE(seen.insert(line.substr(at)).second) << "written twice: " << line;
            }
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(threads * lines));
}
