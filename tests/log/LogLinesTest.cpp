// The road of a line into the library's own rings: the same bytes as by an event, in one order, without an allocation.

#include "base/LogMacros.h"
#include "concurrency/TimeUtils.h"
#include "internal/LogTimeText.h"
#include "log/CompressedRollingFileAppender.h"
#include "log/DebugFileFilter.h"
#include "log/LogFileFilter.h"
#include "log/LoggerBase.h"
#include "log/NorqLogLayout.h"
#include "support/Files.h"
#include "support/NothingLeft.h"
#include "system/Paths.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <new>
#include <sstream>
#include <thread>

using namespace norq_std;
using norqstd_test::got;
using norqstd_test::put;
namespace fs = std::filesystem;

namespace {

thread_local std::size_t allocations = 0;

/// What is not exactly one of the library's appenders is handed events.
class OwnRing : public RollingFileAppender {
public:
    explicit OwnRing(const Properties& properties) { setupInstance(properties); }
};

class LogLinesTest : public norqstd_test::NothingLeft {
protected:
    static std::shared_ptr<ILogAppender> add(LoggerBase& logger, std::shared_ptr<ILogAppender> ring, bool debug) {
        if (debug)
            ring->setFilter(std::make_shared<DebugFileFilter>());
        else
            ring->setFilter(std::make_shared<LogFileFilter>());
        ring->setLayout(std::make_shared<NorqLogLayout>(debug));
        logger.addAppender(ring);
        return ring;
    }
    Configurable::Properties at(const std::string& name) {
        return {{u"path", norqstd_test::wide(folder() / name)}, {u"files", u"9"}, {u"always_open", u"true"}};
    }
    /// The lines of a ring in order, without headers and padding.
    std::vector<std::string> linesOf(const std::string& name) {
        std::string text;
        for (int i = 1; fs::exists(folder() / (name + "000" + std::to_string(i) + ".log")); ++i)
            text += got(folder() / (name + "000" + std::to_string(i) + ".log"));
        std::vector<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            line.erase(0, line.find_first_not_of(' '));
            if (!line.starts_with("VERSION INFO: ") && !line.empty())
                lines.push_back(line);
        }
        return lines;
    }
};

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

TEST_F(LogLinesTest, aRingHasTheBytesThatItsEventsGive) {
    const WString messages[] = {
        u"plain",
        u"ended\n",
        u"",
        u"f\u00fcnf \u20ac, \u0416 and \U0001F600",
        u"seven..",
        u"eight...",
        u"sixteen units...",
        u"\u00e4 in the last of seventeen",
        WString(5000, u'x') + u"\u2026",
        WString(u"cut\0here", 8),
    };
    for (const bool debug : {false, true}) {
        LoggerBase logger;
        const std::string name = debug ? "debug" : "plain";
        const auto ring =
            add(logger, std::shared_ptr<ILogAppender>(RollingFileAppender().newInstance(at(name + ".log"))), debug);
        const auto own = add(logger, std::make_shared<OwnRing>(at(name + "own.log")), debug);
        for (const WString& message : messages)
            for (const LogEventPriority priority : {TRACE, INFO, FATAL})
                for (const WString& file : {WString(), WString(u"F\u00fc.cpp")}) {
                    logger.log(priority, u"ns::f", message, u"m", file.empty() ? u"ID1" : u"", 77, file, 12);
                    logger.log(priority, u"", message, u"m", {}, LogEvent::NO_THREAD, file, 0);
                }
        const std::vector<std::string> lines = linesOf(name);
        EXPECT_EQ(lines, linesOf(name + "own"));
        EXPECT_GT(lines.size(), debug ? 100u : 70u);
    }
}

TEST_F(LogLinesTest, aLineHasItsOwnTimeWhateverAnAppenderLogsBefore) {
    class Talker : public ILogAppender {
    public:
        explicit Talker(LoggerBase& target)
            : ILogAppender(std::make_shared<DebugFileFilter>(), nullptr)
            , logger(target) {}
        Talker* newInstance(const Properties&) const override { return nullptr; }
        LogEvent::Time outer{};

    protected:
        void localAppend(const LogEvent& event) override {
            if (event.message != u"outer")
                return;
            outer = event.time;
            const std::uint64_t now = TimeUtils::getCurrentTimeMs();
            while (TimeUtils::getCurrentTimeMs() == now) {
            }
            logger.log(INFO, u"f", u"nested", u"m", {}, 1, u"F", 1);
        }
        void localAppend(const WString&) override {}

    private:
        LoggerBase& logger;
    };
    LoggerBase logger;
    const auto talker = std::make_shared<Talker>(logger);
    logger.addAppender(talker);
    add(logger, std::shared_ptr<ILogAppender>(RollingFileAppender().newInstance(at("own.log"))), false);
    logger.log(INFO, u"f", u"outer", u"m", {}, 1, u"F", 1);
    const std::vector<std::string> lines = linesOf("own");
    ASSERT_EQ(lines.size(), 2u);
    norq_std_internal::LogTimeText text;
    EXPECT_TRUE(lines[1].starts_with(text.of(talker->outer.seconds, talker->outer.milliseconds))) << lines[1];
}

TEST_F(LogLinesTest, manyThreadsWriteTwoRingsInOneOrder) {
    constexpr int THREADS = 8, LINES = 3000;
    LoggerBase logger;
    add(logger, std::shared_ptr<ILogAppender>(RollingFileAppender().newInstance(at("plain.log"))), false);
    add(logger, std::shared_ptr<ILogAppender>(RollingFileAppender().newInstance(at("debug.log"))), true);
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([&logger, t] {
            for (int i = 0; i < LINES; ++i)
                logger.log(i % 3 == 0 ? DEBUG : INFO, u"f", WString(90, u'.'), u"m", {}, static_cast<std::uint64_t>(t),
                           u"F", static_cast<std::uint32_t>(i + 1));
        });
    for (std::thread& thread : threads)
        thread.join();

    std::map<unsigned, unsigned> last;
    std::vector<std::string> ofPlain;
    std::string time;
    for (const std::string& line : linesOf("debug")) {
        unsigned thread = 0, number = 0;
        char priority[8];
        ASSERT_EQ(std::sscanf(line.c_str() + 24, "%7s [0x%x] F[%u]", priority, &thread, &number), 3) << line;
        EXPECT_EQ(number, ++last[thread]);
        EXPECT_LE(time, line.substr(0, 23));
        time = line.substr(0, 23);
        if (priority == std::string("INFO"))
            ofPlain.push_back(time + " INFO F[" + std::to_string(number) + "] " + std::string(90, '.'));
    }
    EXPECT_EQ(last.size(), std::size_t{THREADS});
    for (const auto& [thread, number] : last)
        EXPECT_EQ(number, static_cast<unsigned>(LINES)) << thread;
    EXPECT_EQ(ofPlain, linesOf("plain"));
}

TEST_F(LogLinesTest, aStatementAllocatesNothing) {
    put(folder() / "steady.cfg", "[Debug Log]\nThreshold=DEBUG\n[Log Appenders]\n"
                                 "appender.plain.class=norq_std.CompressedRollingFileAppender\n"
                                 "appender.plain.filter=norq_std.LogFileFilter\n"
                                 "appender.plain.layout=norq_std.NorqLogLayout\nappender.plain.size=10 MB\n"
                                 "appender.debug.class=norq_std.RollingFileAppender\n"
                                 "appender.debug.filter=norq_std.DebugFileFilter\n"
                                 "appender.debug.layout=norq_std.NorqLogLayout\nappender.debug.layout.debug=true\n"
                                 "appender.debug.size=10 MB\n");
    const int counted = norqstd_test::inChild([this] {
        Paths::getInstance()->setPath(u"System Config Path Key", norqstd_test::wide(folder()));
        Paths::getInstance()->setPath(u"System Log Path Key", norqstd_test::wide(folder()));
        StaticLog::initInstance(u"steady");
        const auto statements = [] {
            for (int i = 0; i < 1000; ++i) {
                NORQ_LOG(INFO, u"ns::f", u"Request %d of <%ls> took %u ms, %s.", i, u"host-17", 88u, u"as \u00fcsual");
                NORQ_LOG(DEBUG, u"ns::f", u"%d", i);
                NORQ_LOG_FUNCTION_CALL(u"ns::g");
            }
        };
        statements();
        allocations = 0;
        statements();
        return allocations == 0 ? 0 : 1;
    });
    EXPECT_EQ(counted, 0);
    EXPECT_EQ(linesOf("steady").size(), 2000u);
}
