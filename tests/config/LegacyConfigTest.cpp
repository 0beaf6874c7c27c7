#include "config/LegacyConfig.h"

#include "support/DebugCapture.h"
#include "support/NothingLeft.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace NorqStd;
using norq_std::WString;

class LegacyConfigTest : public norqstd_test::NothingLeft {
protected:
    ~LegacyConfigTest() override { CfgSetFilePath(u"%ls", u""); }

    std::string native() { return (folder() / "a.ini").string(); }
    SWString path() { return native().c_str(); }
    void write(const std::string& content) { std::ofstream(native(), std::ios::binary) << content; }
    std::string read() {
        std::ifstream in(native(), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::size_t entries() {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder()), {}));
    }
    std::string get(const char* section, const char* key) {
        SWString value;
        const std::int32_t length = GetConfigString(value, path(), section, key, "none");
        EXPECT_EQ(static_cast<std::int32_t>(value.size()), length);
        return value.mb_str();
    }
};

constexpr const char* SAMPLE = "loose=0\n[one]  \r\n\nkey=1\nkeyed=2\n key=3\nspaced =4\nnumber=-12abc\ntext=abc\n"
                               "[two]\nkey=second\n[one]\nkey=third\n";

TEST_F(LegacyConfigTest, FindsEntriesInTheFirstSectionOfTheName) {
    write(SAMPLE);
    EXPECT_EQ("1", get("one", "key"));
    EXPECT_EQ("2", get("one", "keyed"));
    EXPECT_EQ("none", get("one", "spaced"));
    EXPECT_EQ("4", get("one", "spaced "));
    EXPECT_EQ("second", get("two", "key"));
    EXPECT_EQ("none", get("two", "keyed"));
    EXPECT_EQ("none", get("Two", "key"));
    EXPECT_EQ(-12, GetConfigInt(path(), "one", "number", 5));
    EXPECT_EQ(0, GetConfigInt(path(), "one", "text", 5));
    EXPECT_EQ(5, GetConfigInt(path(), "one", "missing", 5));

    char value[4] = "xxx";
    EXPECT_EQ(6, GetConfigString(value, 4, native().c_str(), "two", "key", "", 0));
    EXPECT_STREQ("sec", value);
    EXPECT_EQ(6, GetConfigString(value, 0, native().c_str(), "two", "key", "", 0));
    EXPECT_STREQ("sec", value);

    SWString name;
    SWString text;
    EXPECT_EQ(1, FetchConfigVals(name, path(), "one", text, 3));
    EXPECT_TRUE(name == u"spaced " && text == u"4");
    EXPECT_EQ(0, FetchConfigVals(name, path(), "two", text, 1));
    EXPECT_EQ(0, FetchConfigVals(name, path(), "two", text, -1));

    const norqstd_test::DebugCapture log;
    GetConfigString(text, path(), "three", "key", "", 1);
    GetConfigString(text, path(), "two", "x", "", 1);
    GetConfigString(text, path() + u".missing", "two", "x", "", 1);
    EXPECT_EQ(1u, log.count(u"Couldn't find Section:three\n"));
    EXPECT_EQ(1u, log.count(u"Couldn't find Entry:x\n"));
    EXPECT_EQ(1u, log.count(u".missing):2\n"));
}

TEST_F(LegacyConfigTest, ListsSectionsAndLines) {
    write(SAMPLE);
    std::vector<SWString> list;
    EXPECT_EQ(3, GetConfigSectionList(list, path()));
    EXPECT_EQ((std::vector<SWString>{u"one", u"two", u"one"}), list);
    EXPECT_EQ(1, GetConfigStringList(list, path(), "two"));
    EXPECT_EQ(std::vector<SWString>{u"key=second"}, list);
    EXPECT_EQ(0, GetConfigStringList(list, path(), "x"));
    EXPECT_EQ(-1, GetConfigStringList(list, path() + u".missing", "x"));
    EXPECT_EQ(-1, GetConfigSectionList(list, path() + u".missing"));

    EXPECT_EQ(0, OpenConfigStringList(path(), "x"));
    EXPECT_EQ(1, OpenConfigStringList(path(), "one"));
    EXPECT_EQ(1, OpenConfigStringList(path(), "one")); // in place of the first
    SWString line;
    char narrow[5];
    EXPECT_TRUE(FetchConfigStringList(line) == 1 && line.empty());
    EXPECT_TRUE(FetchConfigStringList(line) == 1 && line == u"key=1");
    EXPECT_EQ(1, FetchConfigStringList(narrow, sizeof narrow));
    EXPECT_STREQ("keye", narrow);
    int rest = 0;
    while (FetchConfigStringList(line) == 1)
        ++rest;
    EXPECT_EQ(4, rest);
    EXPECT_EQ(0, FetchConfigStringList(line));
    OpenConfigStringList(path(), "two");
    EXPECT_EQ(1, CloseConfigStringList());
    EXPECT_EQ(1, CloseConfigStringList());
}

struct Change {
    const char* before;
    std::int32_t (*call)(const SWString& path);
    const char* after;
};

TEST_F(LegacyConfigTest, ChangesOneSectionAndTrimsTheRest) {
    const auto put = [](const SWString& p) { return PutConfigString(p, "s", "k", "v"); };
    const auto drop = [](const SWString& p) { return DeleteConfigEntry(p, "s", "k"); };
    const auto add = [](const SWString& p) { return PutConfigStringList(p, "s", "line"); };
    const auto dropLine = [](const SWString& p) { return DeleteConfigLine(p, "s", "line \t"); };
    const auto empty = [](const SWString& p) { return DelConfigSectionValues(p, "s"); };
    const auto remove = [](const SWString& p) { return DelConfigSection(p, "s"); };
    const auto number = [](const SWString& p) { return PutConfigInt(p, "s", "k", -7); };
    const Change changes[] = {
        {"", put, "[s]\nk=v\n"},
        {"[s] \nk=1\nx\n\nk=2\n[t]\nk=3", put, "[s]\nk=v\nx\n\nk=v\n[t]\nk=3\n"},
        {"[s]\nkk=1\n\n[t]\n", put, "[s]\nkk=1\n\nk=v\n[t]\n"},
        {"[s]\nkk=1", put, "[s]\nkk=1\nk=v\n"},
        {"k=1 \r\n[t]\n", put, "k=1\n[t]\n[s]\nk=v\n"},
        {"[s]\n[s]\n", number, "[s]\nk=-7\n[s]\n"},
        {"[s]\nk=1\n\nkk=2\nk=3\n[t]\nk=4\n", drop, "[s]\n\nkk=2\n[t]\nk=4\n"},
        {"[t]\nk=4\n", drop, "[t]\nk=4\n"},
        {"[s]\na\n\n[t]\n", add, "[s]\na\n\nline\n[t]\n"},
        {"[s]\nline\n", add, "[s]\nline\nline\n"},
        {"[t]\n", add, "[t]\n[s]\nline\n"},
        {"line\n[s]\nline\n\nline  \n line\n[t]\nline\n", dropLine, "line\n[s]\n\n line\n[t]\nline\n"},
        {"a\n[s]\nb\n\n[t]\n[s]\nc\n", empty, "a\n[s]\n[t]\n[s]\nc\n"},
        {"a\n[s]\nb\n\n[t]\n[s]\nc\n", remove, "a\n[t]\n[s]\nc\n"},
        {"\x80\xE4 \n[t]", remove, "\x80\xE4\n[t]\n"},
    };
    for (const Change& change : changes) {
        write(change.before);
        EXPECT_EQ(1, change.call(path())) << change.before;
        EXPECT_EQ(change.after, read()) << change.before;
    }
    EXPECT_EQ(1u, entries());
}

TEST_F(LegacyConfigTest, MakesAMissingFileWhereThereIsSomethingToWrite) {
    EXPECT_EQ(1, DelConfigSection(path(), "s"));
    EXPECT_EQ(1, DelConfigSectionValues(path(), "s"));
    EXPECT_EQ(0u, entries());
    EXPECT_EQ(1, DeleteConfigEntry(path(), "s", "k"));
    EXPECT_TRUE(entries() == 1 && read().empty());
    std::filesystem::remove(native());
    EXPECT_EQ(1, PutConfigString(path(), "s", "k", "v"));
    EXPECT_EQ("[s]\nk=v\n", read());
    EXPECT_EQ(0, PutConfigString(path() + u"\\below\\x", "s", "k", "v"));
    EXPECT_EQ(0, PutConfigString((folder() / "none" / "x").string().c_str(), "s", "k", "v"));
}

TEST_F(LegacyConfigTest, LosesNothingItCannotReadOrWrite) {
    const std::string line(255 * 3, 'x');
    write("[s]\n" + line); // a last line that reads as the end
    EXPECT_EQ(1, PutConfigString(path(), "t", "k", "v"));
    EXPECT_EQ("[s]\n" + line + "\n[t]\nk=v\n", read());
    write(std::string("a\n\0b\nc\n", 7)); // a line that reads as nothing
    EXPECT_EQ(1, DeleteConfigEntry(path(), "s", "k"));
    EXPECT_EQ("a\n\nc\n", read());

    ASSERT_EQ(0, chmod(native().c_str(), 0640));
    EXPECT_EQ(1, PutConfigString(path(), "s", "k", std::string(9000, 'y').c_str()));
    struct stat status {};
    ASSERT_EQ(0, stat(native().c_str(), &status));
    EXPECT_EQ(0100640u, status.st_mode);
    const std::string before = read();
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    const rlimit limit{5000, old.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::int32_t result = PutConfigString(path(), "s", "l", "v");
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(0, result);
    EXPECT_EQ(before, read());
    EXPECT_EQ(0, DeleteConfigEntry(folder().string().c_str(), "s", "k"));
    EXPECT_EQ(1u, entries());
}

TEST_F(LegacyConfigTest, RemembersTheFirstPath) {
    write("[s]\nk=v\n");
    EXPECT_STREQ("", CfgGetFilePath());
    EXPECT_EQ("v", get("s", "k"));
    EXPECT_EQ(path(), WCfgGetFilePath());
    SWString value;
    GetConfigString(value, "", "s", "k", "");
    EXPECT_EQ(u"v", value);
    GetConfigString(value, path() + u".other", "s", "k", "");
    EXPECT_EQ(path(), CfgGetFilePath());
    CfgSetFilePath("%s/%d", "dir", 5);
    EXPECT_STREQ("dir/5", CfgGetFilePath());
    CfgSetFilePath(SFilePath(u"C:\\x", u'\\'));
    EXPECT_EQ(WString(u"C:\\x"), WCfgGetFilePath());
    EXPECT_EQ(0, OpenConfigStringList("", "s"));
}

} // namespace
