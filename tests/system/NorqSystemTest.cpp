#include "system/NorqSystem.h"

#include "exception/NorqException.h"
#include "internal/WindowsVersionName.h"
#include "platform/SystemInfo.h"
#include "support/DebugCapture.h"
#include "system/Paths.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace platform = norq_std_internal::platform;
using norq_std::Class;
using norq_std::NorqAccessException;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqSystem;
using norq_std::Paths;
using norq_std::WString;
using norqstd_test::DebugCapture;

NorqSystem& norqSystem() { return NorqSystem::getInstance(); }

template <class Exception, class Action>
WString messageOf(Action action) {
    try {
        action();
        return u"nothing thrown";
    } catch (const Exception& e) {
        return e.getMessage();
    }
}

TEST(NorqSystemTest, KeepsPropertiesAndTellsThePreviousValue) {
    norqSystem().setProperties({});
    EXPECT_EQ(u"y", norqSystem().getProperty(u"x", u"y"));
    EXPECT_EQ(u"", norqSystem().setProperty(u"x", u"1"));
    EXPECT_EQ(u"1", norqSystem().setProperty(u"x", u"2"));
    EXPECT_EQ(u"2", norqSystem().getProperty(u"x", u"y"));

    const NorqSystem::Properties other{{u"a", u"b"}};
    norqSystem().setProperties(other);
    EXPECT_EQ(other, norqSystem().getProperties());
    norqSystem().setProperties({});
}

TEST(NorqSystemTest, RefusesEmptyNames) {
    const auto messageOfEmpty = messageOf<NorqIllegalArgumentException, void (*)()>;
    EXPECT_EQ(u"Environment variable name value is empty.", messageOfEmpty([] { norqSystem().getEnv(u""); }));
    EXPECT_EQ(u"Environment variable name value is empty.", messageOfEmpty([] { norqSystem().putEnv(u"", u"v"); }));
    EXPECT_EQ(u"Property key value is empty.", messageOfEmpty([] { norqSystem().getProperty(u"", u"y"); }));
    EXPECT_EQ(u"Property key value is empty.", messageOfEmpty([] { norqSystem().setProperty(u"", u"y"); }));
}

TEST(NorqSystemTest, ReadsAndWritesTheRealEnvironment) {
    EXPECT_EQ(u"", norqSystem().getEnv(u"NORQSTD_TEST_UNSET"));
    EXPECT_TRUE(norqSystem().putEnv(u"NORQSTD_TEST_VALUE", u"\u00e4=b \U0001F600"));
    EXPECT_STREQ("\xC3\xA4=b \xF0\x9F\x98\x80", std::getenv("NORQSTD_TEST_VALUE"));
    EXPECT_EQ(u"\u00e4=b \U0001F600", norqSystem().getEnv(u"NORQSTD_TEST_VALUE"));
    EXPECT_TRUE(norqSystem().putEnv(u"NORQSTD_TEST_VALUE", u""));
    EXPECT_EQ(nullptr, std::getenv("NORQSTD_TEST_VALUE"));
    EXPECT_FALSE(norqSystem().putEnv(u"=", u"v"));
}

TEST(NorqSystemTest, GivesTheHomeDirectoryForTheUserDirectory) {
    ASSERT_TRUE(norqSystem().putEnv(u"USERPROFILE", u"D:\\me"));
    EXPECT_EQ(u"D:\\me", norqSystem().getEnv(u"USERPROFILE"));
    ASSERT_TRUE(norqSystem().putEnv(u"USERPROFILE", u""));
    const WString home = norqSystem().getEnv(u"HOME");
    ASSERT_TRUE(norqSystem().putEnv(u"HOME", u"/home/some one"));
    EXPECT_EQ(u"C:\\home\\some one", norqSystem().getEnv(u"USERPROFILE"));
    ASSERT_TRUE(norqSystem().putEnv(u"HOME", u"")); // the user's record is asked
    EXPECT_TRUE(norqSystem().getEnv(u"USERPROFILE").starts_with(u"C:\\"));
    norqSystem().putEnv(u"HOME", home);
}

TEST(NorqSystemTest, ReadersAndWritersOfTheEnvironmentDoNotCollide) {
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop)
            norqSystem().getEnv(u"NORQSTD_TEST_GROWING0");
    });
    for (int i = 0; i < 500; ++i) {
        const std::string digits = std::to_string(i);
        norqSystem().putEnv(u"NORQSTD_TEST_GROWING" + WString(digits.begin(), digits.end()), u"v");
    }
    stop = true;
    reader.join();
    EXPECT_EQ(u"v", norqSystem().getEnv(u"NORQSTD_TEST_GROWING499"));
}

TEST(NorqSystemTest, NamesHostAndSystem) {
    char name[512] = {};
    ASSERT_EQ(0, gethostname(name, sizeof name - 1));
    const std::string host = name;
    EXPECT_EQ(WString(host.begin(), host.end()), NorqSystem::getHostName());
    EXPECT_NE(WString::npos, NorqSystem::getOperatingSystemName().find(u"Linux "));
    EXPECT_EQ(NorqSystem::OS_WINDOWS, NorqSystem::getOperatingSystemType());
    EXPECT_EQ(WString::npos, NorqSystem::getWindowsDomain().find(u' '));
    EXPECT_EQ(u"NorqSystem{}", norqSystem().toString());
}

TEST(NorqSystemTest, ReadsOsReleaseAndHosts) {
    EXPECT_EQ("Debian GNU/Linux 12 (bookworm)",
              platform::distributionName("NAME=x\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"));
    EXPECT_EQ("A \"b\" $c", platform::distributionName("PRETTY_NAME=\"A \\\"b\\\" \\$c\""));
    EXPECT_EQ("Plain 1.2", platform::distributionName("# NAME=no\nNAME=Plain\nVERSION='1.2'\nPRETTY_NAMEX=no"));
    EXPECT_EQ("", platform::distributionName("ID=void\n"));

    const char* const hosts = "127.0.0.1 localhost\n# 1.1.1.1 box.no.example box\n10.0.0.1\tbox\n"
                              "10.0.0.2 box.lab.example box # comment\n";
    EXPECT_EQ("lab.example", platform::domainInHosts(hosts, "box"));
    EXPECT_EQ("", platform::domainInHosts(hosts, "localhost"));
    EXPECT_EQ("", platform::domainInHosts("", "box"));
}

TEST(WindowsVersionNameTest, FollowsTheTable) {
    const struct {
        norq_std_internal::WindowsVersion version;
        const char16_t* name;
    } cases[] = {
        {{1, 4, 0, 0, 0, u"A"}, u"Windows 95 A"},
        {{1, 4, 10, 9, 0, u"SE"}, u"Windows 98 SE"},
        {{1, 4, 90, 0, 0, u""}, u"Windows Millenium "},
        {{1, 4, 5, 0, 0, u"A"}, u"Windows "},
        {{2, 4, 7, 1, 0, u"SP6"}, u"Windows NT SP6"},
        {{2, 5, 0, 1, 0, u""}, u"Windows 2000 "},
        {{2, 5, 1, 1, 0, u"SP2"}, u"Windows XP SP2"},
        {{2, 5, 2, 3, 0, u""}, u"Windows Server 2003 "},
        {{2, 5, 3, 1, 0, u"A"}, u"Windows "},
        {{2, 6, 0, 1, 0x202, u"SP1"}, u"Windows Vista (Home) SP1"},
        {{2, 6, 1, 1, 2, u""}, u"Windows 7 (Enterprise) "},
        {{2, 6, 2, 1, 0, u"x"}, u"Windows 8 (Business/Professional/Ultimate) x"},
        {{2, 6, 3, 1, 2, u"x"}, u"Windows Unknown Version(Enterprise) x"},
        {{2, 6, 0, 3, 2, u"x"}, u"Windows Server 2008x"},
        {{2, 6, 1, 2, 0, u""}, u"Windows Server 2008 R2"},
        {{2, 6, 2, 3, 0, u""}, u"Windows Server 2012"},
        {{2, 6, 3, 3, 0, u"x"}, u"Windows Server Unknown Versionx"},
        {{2, 10, 0, 1, 0, u"A"}, u"Windows "},
        {{3, 6, 0, 1, 0, u"A"}, u"Windows "},
    };
    for (const auto& [version, name] : cases)
        EXPECT_EQ(name, norq_std_internal::windowsVersionName(version));
}

/// A program's own paths.
class OtherPaths : public Paths {
public:
    WString getClassName() const override { return u"test.OtherPaths"; }
    WString getPath(const WString& key, const WString&) const override { return u"other:" + key; }
};

class PathsTest : public ::testing::Test {
protected:
    ~PathsTest() override {
        norqSystem().putEnv(u"default.Paths", u"");
        norqSystem().setProperties({});
    }
};

TEST_F(PathsTest, KeepsTheLastPathOfAKey) {
    const auto paths = Paths::getInstance();
    EXPECT_EQ(u"d", paths->getPath(u"PathsTest.key", u"d"));
    EXPECT_EQ(u"e", paths->getPath(u"PathsTest.key", u"e"));
    paths->setPath(u"PathsTest.key", u"1");
    Paths::getInstance()->setPath(u"PathsTest.key", u"2");
    EXPECT_EQ(u"2", paths->getPath(u"PathsTest.key", u"d"));
    EXPECT_EQ(u"Paths{}", paths->toString());
    for (const auto& action :
         {+[] { Paths::getInstance()->getPath(u"", u"d"); }, +[] { Paths::getInstance()->setPath(u"", u"d"); }})
        EXPECT_EQ(u"Path key value is empty.", messageOf<NorqIllegalArgumentException>(action));
}

TEST_F(PathsTest, TakesTheClassThatEnvironmentAndPropertyName) {
    Class::getInstance().registerClassNoEx(u"test.OtherPaths", std::make_shared<OtherPaths>());
    Paths::getInstance();
    DebugCapture log;
    Paths::getInstance();
    EXPECT_EQ(0U, log.count(u"STD0003"));
    norqSystem().setProperty(u"default.Paths", u"test.OtherPaths");
    EXPECT_EQ(u"other:k", Paths::getInstance()->getPath(u"k", u"d"));
    Paths::getInstance();
    EXPECT_EQ(1U, log.count(u"Using test.OtherPaths Paths."));

    norqSystem().putEnv(u"default.Paths", u"test.Missing"); // comes before the property and the default
    EXPECT_EQ(u"Unable to get Paths named <test.Missing>.",
              messageOf<NorqAccessException>([] { Paths::getInstance(); }));
    EXPECT_LE(1U, log.count(u"Unable to get Paths named <test.Missing>."));
    norqSystem().putEnv(u"default.Paths", u"norq_std.NorqLogLayout"); // registered, and no Paths
    EXPECT_THROW(Paths::getInstance(), NorqAccessException);

    norqSystem().putEnv(u"default.Paths", u"");
    norqSystem().setProperty(u"default.Paths", u"");
    EXPECT_EQ(u"norq_std.Paths", Paths::getInstance()->getClassName());
}

} // namespace
