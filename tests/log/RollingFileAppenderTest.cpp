#include "exception/NorqException.h"
#include "log/CompressedRollingFileAppender.h"
#include "log/DebugFileFilter.h"
#include "log/LogEvent.h"
#include "log/LogFileFilter.h"
#include "log/LoggerBase.h"
#include "log/NorqLogLayout.h"
#include "support/Actor.h"
#include "support/NothingLeft.h"
#include "system/Paths.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace norq_std;
using norqstd_test::eventually;
namespace fs = std::filesystem;

namespace {

class RollingFileAppenderTest : public norqstd_test::NothingLeft {
protected:
    void SetUp() override { Paths::getInstance()->setPath(u"System Log Path Key", folder().u16string()); }

    /// An appender as the log makes it, ready for lines.
    template <class Appender>
    std::shared_ptr<Appender> make(const Configurable::Properties& properties) {
        std::shared_ptr<Appender> appender(Appender().newInstance(properties));
        appender->setFilter(std::make_shared<LogFileFilter>());
        appender->setLayout(std::make_shared<NorqLogLayout>());
        return appender;
    }
    static void append(ILogAppender& appender, const WString& message) {
        LogEvent event(INFO);
        event.message = message;
        appender.append(event);
    }

    std::string content(const fs::path& path) const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    static std::string unpacked(const fs::path& path) {
        std::FILE* const pipe = popen(("gzip -dc '" + path.string() + "'").c_str(), "r");
        std::string text;
        std::array<char, 65536> block;
        while (const std::size_t length = std::fread(block.data(), 1, block.size(), pipe))
            text.append(block.data(), length);
        EXPECT_EQ(pclose(pipe), 0) << path;
        return text;
    }
    std::size_t count(const char* extension) {
        std::size_t files = 0;
        for (const auto& entry : fs::directory_iterator(folder()))
            files += entry.path().extension() == extension ? 1 : 0;
        return files;
    }
};

/// What stands behind the time, without header and padding.
std::string messagesIn(const std::string& text) {
    std::string messages;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::size_t begin = text.find(" INFO ", at);
        if (begin < end)
            messages += text.substr(begin + 6, end - begin - 5);
        at = end + 1;
    }
    return messages;
}

} // namespace

TEST_F(RollingFileAppenderTest, propertiesHaveDefaultsAndLimits) {
    const auto plain = make<RollingFileAppender>({{u"path", u"\"quoted.log\""}, {u"size", u"1"}, {u"files", u"0"}});
    EXPECT_EQ(plain->getMaximumSize(), 1048576u);
    EXPECT_EQ(plain->getMaximumFiles(), 1u);
    EXPECT_TRUE(fs::exists(folder() / "quoted0001.log"));
    plain->setProperty(u"size", u"2 MB");
    plain->setProperty(u"files", u"7");
    plain->setProperty(u"always_open", u"true");
    EXPECT_EQ(plain->getMaximumSize(), 2097152u);
    EXPECT_EQ(plain->getMaximumFiles(), 7u);
    EXPECT_TRUE(plain->getAlwaysOpen());
    const auto absolute = make<RollingFileAppender>({{u"path", (folder() / "deep" / "er" / "own.log").u16string()}});
    EXPECT_TRUE(fs::exists(folder() / "deep" / "er" / "own0001.log"));
    EXPECT_THROW(make<RollingFileAppender>({{u"path", u"nodot"}}), NorqIllegalArgumentException);
}

TEST_F(RollingFileAppenderTest, theRingUnpackedInOrderIsWhatWasLogged) {
    const auto appender =
        make<CompressedRollingFileAppender>({{u"path", u"ring.log"}, {u"size", u"1MB"}, {u"files", u"9"}});
    std::string logged;
    for (int i = 0; i < 40000; ++i) {
        const std::string message = "line " + std::to_string(i) + std::string(80, static_cast<char>('a' + i % 26));
        append(*appender, WString(message.begin(), message.end()));
        logged += message + '\n';
    }
    ASSERT_TRUE(eventually([&] { return count(".gz") == 4 && count(".log") == 1 && count(".tmp") == 0; }));
    std::string found;
    for (const char* name : {"ring0001.log.gz", "ring0002.log.gz", "ring0003.log.gz", "ring0004.log.gz"}) {
        const std::string text = unpacked(folder() / name);
        EXPECT_EQ(text.size(), 1048576u) << name;
        found += messagesIn(text);
    }
    found += messagesIn(content(folder() / "ring0005.log"));
    EXPECT_TRUE(found == logged);
}

TEST_F(RollingFileAppenderTest, withOneFileNothingIsCompressed) {
    const auto appender =
        make<CompressedRollingFileAppender>({{u"path", u"one.log"}, {u"size", u"1MB"}, {u"files", u"1"}});
    for (int i = 0; i < 12000; ++i)
        append(*appender, WString(200, u'x'));
    EXPECT_EQ(count(".log"), 1u);
    EXPECT_EQ(count(".gz") + count(".tmp"), 0u);
}

TEST_F(RollingFileAppenderTest, whatCannotBeWrittenIsLostAndLoggingComesBackWithTheSpace) {
    const auto appender = make<RollingFileAppender>({{u"path", u"full.log"}, {u"size", u"1MB"}, {u"files", u"3"}});
    // A limit of the process on the size of files fails writes as a full disk does, and needs no rights.
    struct sigaction ignore {};
    struct sigaction before {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, &before);
    rlimit usual{};
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit low{200'000, usual.rlim_max};
    setrlimit(RLIMIT_FSIZE, &low);
    for (int i = 0; i < 3000; ++i)
        append(*appender, u"line " + WString(200, u'x'));
    append(*appender, u"lost" + WString(1000, u'x'));
    setrlimit(RLIMIT_FSIZE, &usual);
    append(*appender, u"back");
    sigaction(SIGXFSZ, &before, nullptr);
    const std::string text = content(folder() / "full0001.log");
    EXPECT_TRUE(text.ends_with(" INFO back\n"));
    EXPECT_EQ(text.find("lost"), std::string::npos);
    for (std::size_t at = text.find("INFO line"); at != std::string::npos; at = text.find("INFO line", at + 1))
        ASSERT_EQ(text.substr(at + 10, 201), std::string(200, 'x') + "\n") << "a torn line";
}

TEST_F(RollingFileAppenderTest, aFullDiskNeitherStopsTheProcessNorKeepsTheLogAway) {
    // The small disk is mounted in a child, whose mounts are its own.
    const pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", folder().c_str(), "tmpfs", 0, "size=3500k") != 0)
            _exit(2);
        int result = 1;
        {
            const auto appender =
                make<CompressedRollingFileAppender>({{u"path", u"full.log"}, {u"size", u"1MB"}, {u"files", u"9"}});
            // Text that does not compress fills the disk.
            std::uint64_t random = 88172645463325252;
            WString noise;
            for (int i = 0; i < 200'000; ++i) {
                noise.clear();
                for (int k = 0; k < 25; ++k) {
                    random ^= random << 13;
                    random ^= random >> 7;
                    random ^= random << 17;
                    noise += static_cast<WChar>(u'A' + random % 57);
                }
                append(*appender, noise);
            }
            for (const auto& entry : fs::directory_iterator(folder()))
                if (entry.path().filename().string().find("0001") != std::string::npos)
                    fs::remove(entry.path()); // the operator makes room
            if (eventually([&] {
                    append(*appender, u"logging is back");
                    for (const auto& entry : fs::directory_iterator(folder()))
                        if (entry.path().extension() == ".log" &&
                            content(entry.path()).find("INFO logging is back\n") != std::string::npos)
                            return true;
                    return false;
                }))
                result = 0;
        }
        _exit(result);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2)
        std::cout << "left out: this process may not mount a small disk; the limit on file sizes stands for it\n";
    else
        EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(RollingFileAppenderTest, anAppenderThatDiesStopsItsCompressionAndLosesNoFile) {
    for (int round = 0; round < 3; ++round) {
        const auto appender =
            make<CompressedRollingFileAppender>({{u"path", u"die.log"}, {u"size", u"1MB"}, {u"files", u"50"}});
        for (int i = 0; i < 60000; ++i)
            append(*appender, u"round and round " + WString(80, u'y'));
    }
    std::string found;
    for (const auto& entry : fs::directory_iterator(folder())) {
        const std::string type = entry.path().extension().string();
        EXPECT_NE(type, ".part");
        if (type == ".gz")
            found += messagesIn(unpacked(entry.path()));
        else if (type != ".idx")
            found += messagesIn(content(entry.path()));
    }
    EXPECT_EQ(found.size(), 180'000 * (16 + 80 + 1u));
}
