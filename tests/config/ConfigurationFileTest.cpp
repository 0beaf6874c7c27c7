#include "config/ConfigurationFile.h"

#include "config/ConfigUtils.h"
#include "config/IniConfigurationSerializer.h"
#include "exception/NorqException.h"
#include "stream/ByteArray.h"
#include "support/NothingLeft.h"

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

using norq_std::ByteArray;
using norq_std::Configuration;
using norq_std::ConfigurationFile;
using norq_std::ConfigurationSerializer;
using norq_std::ConfigUtils;
using norq_std::File;
using norq_std::IniConfigurationSerializer;
using norq_std::LockedFile;
using norq_std::NorqIOException;
using norq_std::WString;

class ConfigurationFileTest : public norqstd_test::NothingLeft {
protected:
    std::string native(const std::string& name) { return (folder() / name).string(); }
    File file(const std::string& name) {
        const std::string path = native(name);
        return File(WString(path.begin(), path.end()));
    }
    void write(const std::string& name, const std::string& content) {
        std::ofstream(native(name), std::ios::binary) << content;
    }
    std::string read(const std::string& name) {
        std::ifstream in(native(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::size_t entries() {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder()), {}));
    }
    struct stat status(const std::string& name) {
        struct stat result {};
        EXPECT_EQ(0, lstat(native(name).c_str(), &result));
        return result;
    }
};

/// Runs the body in a process of its own; its result is the exit code.
template <class F>
int inChild(F body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    int state = 0;
    waitpid(child, &state, 0);
    return WIFEXITED(state) ? WEXITSTATUS(state) : -WTERMSIG(state);
}

TEST_F(ConfigurationFileTest, LoadsChangesAndSavesWithItsLayout) {
    write("a.cfg", "# head\n\n[s]\n key = 1\nother=2\n");
    ConfigurationFile config(file("a.cfg"), nullptr);
    config.setValue(u"gone", u"1", u"");
    config.load();
    EXPECT_FALSE(config.containsKey(u"gone", u""));
    EXPECT_EQ(u" 1", config.getValue(u"key", u"s"));
    EXPECT_EQ(u"\n", config.getLineSeparator());
    config.setValue(u"key", u"one", u"s");
    config.save();
    EXPECT_EQ("# head\n\n[s]\nkey=one\nother=2\n", read("a.cfg"));
    EXPECT_EQ(1u, entries());
    EXPECT_EQ(u"ConfigurationFile{path='" + file("a.cfg").getPath() + u"'}", config.toString());

    config.setPath(file("new/folder/b.cfg"));
    config.setLineSeparator(u"\r\n");
    config.removeSection(u"s");
    config.save();
    EXPECT_EQ("# head\r\n\r\n", read("new/folder/b.cfg"));
}

TEST_F(ConfigurationFileTest, ReportsWhatItCannotOpen) {
    ConfigurationFile config(file("missing.cfg"), nullptr);
    config.setValue(u"a", u"1", u"s");
    EXPECT_THROW(config.load(), NorqIOException);
    EXPECT_EQ(std::list<WString>{u""}, config.getSectionNames());

    write("plain", "");
    config.setValue(u"a", u"1", u"s");
    config.setPath(file("plain/below/x.cfg"));
    try {
        config.save();
        ADD_FAILURE() << "saved below a file";
    } catch (const NorqIOException& failure) {
        EXPECT_EQ(u"Unable to make necessary directories to save file with path: " +
                      file("plain/below").getAbsolutePath(),
                  failure.getMessage());
    }
    write("held.cfg", "a=0\n");
    config.setPath(file("held.cfg"));
    LockedFile holder;
    holder.open(file("held.cfg"), LockedFile::Read, nullptr);
    EXPECT_THROW(config.save(), NorqIOException);
    EXPECT_EQ("a=0\n", read("held.cfg"));
    EXPECT_EQ(u"1", config.getValue(u"a", u"s"));
    holder.close();
    config.save();
    EXPECT_EQ("[s]\r\na=1\r\n", read("held.cfg"));
    config.setSerializer(nullptr);
    EXPECT_THROW(config.save(), norq_std::NorqIllegalArgumentException);
    EXPECT_EQ(u"", config.getLineSeparator());
}

TEST_F(ConfigurationFileTest, SharesSerializersAsItIsTold) {
    const auto shared = std::make_shared<IniConfigurationSerializer>(u"UTF-8");
    ConfigurationFile config(shared);
    EXPECT_EQ(shared, config.getSerializer());
    EXPECT_EQ(ConfigurationFile::defaultSerializer, ConfigurationFile().getSerializer());
    config.setPath(File(u"x.cfg"));
    config.setLineSeparator(u"\n");
    config.setValue(u"a", u"1", u"s");
    const ConfigurationFile copy(config);
    EXPECT_EQ(u"1", copy.getValue(u"a", u"s"));
    EXPECT_EQ(u"", copy.getPath().getPath());
    EXPECT_TRUE(copy.getSerializer() != shared && copy.getSerializer()->getCharset() == u"UTF-8");
    EXPECT_EQ(u"", copy.getLineSeparator());
    const ConfigurationFile fromModel(static_cast<const Configuration&>(config));
    EXPECT_EQ(ConfigurationFile::defaultSerializer, fromModel.getSerializer());
    EXPECT_EQ(u"1", fromModel.getValue(u"a", u"s"));
    EXPECT_EQ(u"windows-1252", ConfigurationFile(File(), nullptr).getSerializer()->getCharset());
}

/// Keeps the configuration that it gave.
class CachingSerializer : public IniConfigurationSerializer {
public:
    CachingSerializer()
        : IniConfigurationSerializer(u"UTF-8") {}
    std::shared_ptr<Configuration> deserialize(const ByteArray& bytes) override {
        return cache = IniConfigurationSerializer::deserialize(bytes);
    }
    std::shared_ptr<Configuration> cache;
};

TEST_F(ConfigurationFileTest, LeavesASerializerWhatItKeeps) {
    write("a.cfg", "a=1\n");
    const auto serializer = std::make_shared<CachingSerializer>();
    ConfigurationFile config(file("a.cfg"), serializer);
    config.load();
    config.setValue(u"a", u"2", u"");
    EXPECT_EQ(u"1", serializer->cache->getValue(u"a", u""));
}

TEST_F(ConfigurationFileTest, KeepsThePermissionsLinksAndNamesOfTheFile) {
    write("a.cfg", "a=1\n");
    ASSERT_EQ(0, chmod(native("a.cfg").c_str(), 0640));
    ConfigurationFile config(file("a.cfg"), nullptr);
    config.load();
    config.setValue(u"b", u"2", u"");
    config.save();
    EXPECT_EQ(0100640u, status("a.cfg").st_mode);

    ASSERT_EQ(0, symlink("a.cfg", native("link.cfg").c_str()));
    ASSERT_EQ(0, link(native("a.cfg").c_str(), native("second.cfg").c_str()));
    for (const char* name : {"link.cfg", "second.cfg"}) {
        config.setPath(file(name));
        config.setValue(u"b", WString(1, static_cast<char16_t>(name[0])), u"");
        config.save();
        EXPECT_EQ("a=1\nb=" + std::string(1, name[0]) + "\n", read("a.cfg"));
    }
    EXPECT_TRUE(S_ISLNK(status("link.cfg").st_mode));
    EXPECT_EQ(2u, status("a.cfg").st_nlink);
    EXPECT_EQ(3u, entries());
}

TEST_F(ConfigurationFileTest, KeepsTheOldFileWhenTheNewOneCannotBeStored) {
    const std::string old = "[s]\na=" + std::string(3000, 'x') + "\n";
    write("a.cfg", old);
    write("names.cfg", old);
    ASSERT_EQ(0, link(native("names.cfg").c_str(), native("other name.cfg").c_str())); // is written in place
    const int result = inChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        setrlimit(RLIMIT_FSIZE, &limit);
        int failures = 0;
        for (const char* name : {"a.cfg", "names.cfg", "new.cfg"}) {
            ConfigurationFile config(file(name), nullptr);
            if (config.getPath().exists())
                config.load();
            config.setValue(u"b", WString(9000, u'y'), u"s");
            try {
                config.save();
            } catch (const NorqIOException&) {
                failures += config.getValue(u"b", u"s").size() == 9000 ? 1 : 0;
            }
        }
        return failures;
    });
    EXPECT_EQ(3, result);
    EXPECT_EQ(old, read("a.cfg"));
    EXPECT_EQ(old, read("names.cfg"));
    EXPECT_EQ(3u, entries());
}

TEST_F(ConfigurationFileTest, IsWholeForWhoeverReadsWhileItIsSavedAndItsWriterKilled) {
    const auto contentOf = [](char letter) { return "a=" + std::string(200'000, letter) + "\nlast=1\n"; };
    write("a.cfg", contentOf('x'));
    for (int round = 0; round < 20; ++round) {
        const pid_t writer = fork();
        if (writer == 0) {
            ConfigurationFile config(file("a.cfg"), nullptr);
            config.load();
            for (char16_t letter = u'x';; letter = letter == u'z' ? u'x' : static_cast<char16_t>(letter + 1)) {
                config.setValue(u"a", WString(200'000, letter), u"");
                try {
                    config.save();
                } catch (const NorqIOException&) { // the reader holds it
                }
            }
        }
        const ino_t first = status("a.cfg").st_ino;
        for (int reads = 0; reads < 20 || status("a.cfg").st_ino == first; ++reads) {
            const std::string now = read("a.cfg"); // without a lock
            ASSERT_EQ(contentOf(now[2]), now);
        }
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        const std::string left = read("a.cfg");
        ASSERT_EQ(contentOf(left[2]), left);
    }
}

TEST_F(ConfigurationFileTest, ListsLinesOfASectionWithoutAModel) {
    write("a.cfg", "x=1\n[list] more\n one \n#two\n\n[ list ]\nno\n[list\n[other]\nno\n[list]\nthree=3\n\n");
    EXPECT_EQ((std::vector<WString>{u"one", u"#two", u"", u"three=3", u""}),
              ConfigUtils::getConfigStringList(file("a.cfg"), u"list"));
    EXPECT_EQ(std::vector<WString>{u"no"}, ConfigUtils::getConfigStringList(file("a.cfg"), u" list "));
    EXPECT_TRUE(ConfigUtils::getConfigStringList(file("missing"), u"list").empty());
    EXPECT_EQ(
        (std::map<WString, WString>{{u"a.class", u"1"}, {u"b", u"2"}}),
        ConfigUtils::getTrimmedPrefixSubset(
            {{u"appender.", u"0"}, {u"appender.a.class", u"1"}, {u"appender.b", u"2"}, {u"x", u"3"}}, u"appender."));
}

} // namespace
