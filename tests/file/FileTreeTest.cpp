#include "exception/NorqException.h"
#include "file/DirectoryFilter.h"
#include "file/File.h"
#include "file/FileSystemInfo.h"
#include "file/WildcardFileFilter.h"
#include "support/DebugCapture.h"
#include "support/Files.h"
#include "support/Limits.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <set>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

using namespace norq_std;
using norqstd_test::at;
using norqstd_test::DebugCapture;
using norqstd_test::inChild;
using norqstd_test::put;
namespace fs = std::filesystem;

namespace {

using FileTree = norqstd_test::NothingLeft;

TEST_F(FileTree, TellsWhatIsThere) {
    put(folder() / "file", "12345");
    put(folder() / ".hidden", "");
    fs::create_symlink("file", folder() / "link");
    fs::create_symlink("nothing", folder() / "dangling");
    fs::create_symlink("loop", folder() / "loop");
    ASSERT_EQ(mkfifo((folder() / "pipe").c_str(), 0600), 0);
    const struct {
        const char* name;
        bool exists, directory, file, hidden;
        std::uint64_t length;
    } rows[] = {
        {"file", true, false, true, false, 5},     {"link", true, false, true, false, 5},
        {".", true, true, false, false, 0},        {"nothing", false, false, false, false, 0},
        {".hidden", true, false, true, true, 0},   {"dangling", false, false, false, false, 0},
        {"loop", false, false, false, false, 0},   {"pipe", true, false, true, false, 0},
        {"file/x", false, false, false, false, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const File file = at(folder() / row.name);
        EXPECT_EQ(file.exists(), row.exists);
        EXPECT_EQ(file.isDirectory(), row.directory);
        EXPECT_EQ(file.isFile(), row.file);
        EXPECT_EQ(file.isHidden(), row.hidden);
        EXPECT_EQ(file.getLength(), row.length);
        EXPECT_EQ(file.canRead(), row.exists);
        EXPECT_EQ(file.canWrite(), row.exists);
        EXPECT_EQ(file.getLastModificationTime() > 0, row.exists);
    }
    for (const WChar* nowhere : {u"D:\\", u"\\\\host\\share", u"C:\\a\\D:\\x", u"\xD800"}) {
        const File file(nowhere);
        EXPECT_FALSE(file.exists() || file.touch() || file.mkdir() || file.remove() || file.rmdirs());
        EXPECT_TRUE(file.list().empty());
    }
    fs::resize_file(folder() / "file", 5'000'000'000);
    EXPECT_EQ(at(folder() / "file").getLength(), 5'000'000'000u);
}

TEST_F(FileTree, TouchesAndTellsTimes) {
    const auto now = [] {
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
                .count());
    };
    constexpr std::uint64_t ClockTick = 20; // the kernel stamps files with the time of its last tick
    const std::uint64_t start = now() - ClockTick;
    const File file = at(folder() / "new");
    EXPECT_TRUE(file.touch());
    EXPECT_TRUE(file.isFile());
    put(folder() / "new", "kept");
    const struct timespec old[] = {{1000, 0}, {1000, 5'000'000}};
    ASSERT_EQ(utimensat(AT_FDCWD, (folder() / "new").c_str(), old, 0), 0);
    EXPECT_EQ(file.getLastModificationTime(), 1'000'005u);
    EXPECT_TRUE(file.touch());
    EXPECT_GE(file.getLastModificationTime(), start);
    EXPECT_LE(file.getLastModificationTime(), now());
    EXPECT_EQ(file.getLength(), 4u);
    const std::uint64_t born = file.getCreationTime();
    EXPECT_TRUE(born == 0 || (born >= start && born <= now())) << born;
    EXPECT_FALSE(at(folder()).touch());
    EXPECT_FALSE(at(folder() / "no/such").touch());
}

TEST_F(FileTree, MakesAndRemovesDirectories) {
    const File top = at(folder() / "top");
    EXPECT_FALSE((top + u"below").mkdir());
    EXPECT_TRUE(top.mkdir());
    EXPECT_FALSE(top.mkdir());
    EXPECT_FALSE(top.mkdirs());

    WString path = top.getCanonicalPath();
    while (path.size() + 2 <= File::maxPathSize - 2)
        path += u"\\d";
    EXPECT_TRUE(File(path).mkdirs());
    EXPECT_TRUE(File(path).isDirectory());
    EXPECT_FALSE(File(path).mkdirs());
    EXPECT_THROW(File(path) + u"dd", NorqIllegalArgumentException);

    put(folder() / "plain", "");
    EXPECT_FALSE(at(folder() / "plain/a/b").mkdirs());
    EXPECT_FALSE(top.remove()) << "it is not empty";
    EXPECT_TRUE(top.rmdirs());
    EXPECT_FALSE(top.exists());
    EXPECT_FALSE(top.rmdirs());
    EXPECT_TRUE(at(folder() / "plain").rmdirs());
}

TEST_F(FileTree, RenamesAndRemovesEntries) {
    put(folder() / "a", "a");
    put(folder() / "b", "b");
    fs::create_symlink("nothing", folder() / "dangling");
    fs::create_directory_symlink(".", folder() / "link");
    EXPECT_TRUE(at(folder() / "a").renameTo(at(folder() / "b")));
    EXPECT_EQ(norqstd_test::got(folder() / "b"), "a");
    {
        DebugCapture debug;
        EXPECT_FALSE(at(folder() / "a").renameTo(at(folder() / "c")));
        EXPECT_EQ(debug.count(u"Caught exception renaming file from("), 1u);
        EXPECT_FALSE(at(folder() / "a").remove());
        EXPECT_EQ(debug.lines().size(), 1u) << "what is missing is no failure";
    }
    EXPECT_TRUE(at(folder() / "dangling").remove());
    EXPECT_TRUE(at(folder() / "link").remove());
    EXPECT_TRUE(at(folder() / "b").remove());
    EXPECT_TRUE(fs::is_empty(folder()));
}

TEST_F(FileTree, NeverLeavesTheTreeThatItRemovesOrMeasures) {
    fs::create_directories(folder() / "outside");
    put(folder() / "outside/kept", std::string(1000, 'x'));
    fs::create_directories(folder() / "tree/a/b");
    put(folder() / "tree/a/b/file", "12345");
    put(folder() / "tree/a/odd:name\xFF.", "678");
    fs::create_directory_symlink("../../..", folder() / "tree/a/b/loop");
    fs::create_directory_symlink("../outside", folder() / "tree/out");
    fs::create_symlink("../outside/kept", folder() / "tree/kept");
    fs::create_directory_symlink("tree", folder() / "root link");

    for (const char* name : {"tree", "root link"}) {
        FileSystemInfo info(at(folder() / name));
        const FileSystemInfo copy = info;
        EXPECT_EQ(info.getDiskUsage(), 0u);
        info.refresh();
        EXPECT_EQ(copy.getDiskUsage(), 8u);
        EXPECT_GT(copy.getDiskSpace(), 0u);
        EXPECT_TRUE(info.toString().starts_with(u"FileSystemInfo{directory='\\"));
    }
    FileSystemInfo missing(at(folder() / "missing"));
    EXPECT_THROW(missing.refresh(), NorqIOException);

    EXPECT_TRUE(at(folder() / "root link").rmdirs());
    EXPECT_TRUE(fs::exists(folder() / "tree")) << "the link goes, and nothing else";
    EXPECT_TRUE(at(folder() / "tree").rmdirs());
    EXPECT_FALSE(fs::exists(folder() / "tree"));
    EXPECT_EQ(fs::file_size(folder() / "outside/kept"), 1000u);
}

TEST_F(FileTree, ListsWhatCanStandInAPath) {
    const std::set<std::string> listed = {"plain",        "a:b", " lead", ".rc", "\xC3\xA9\xF0\x9F\x98\x80",
                                          "\xEF\xBF\xBD", "c:d"};
    const std::set<std::string> leftOut = {"back\\slash", "abc:d", "c:",      "tab\there",    "dot.",        "space ",
                                           "bad\xFFutf8", "star*", "quote\"", "\xED\xA0\x80", "nbsp\xC2\xA0"};
    for (const auto* names : {&listed, &leftOut})
        for (const std::string& name : *names)
            put(folder() / name, name);
    DebugCapture debug;
    const File directory = at(folder());
    EXPECT_EQ(directory.list().size(), listed.size());
    EXPECT_EQ(debug.count(u"Left out 11 names in directory("), 1u);
    for (const File& file : directory.listFiles()) {
        EXPECT_TRUE(listed.contains(fs::path(file.getName()).string()));
        EXPECT_GT(file.getLength(), 0u) << "the path leads back to the file";
    }
    debug.clear();
    EXPECT_TRUE(at(folder() / "plain").list().empty());
    EXPECT_EQ(debug.count(u"Caught exception listing the files for directory("), 1u);

    put(folder() / std::string(250, 'x'), "");
    EXPECT_EQ(directory.list().size(), listed.size() + 1);
    EXPECT_EQ(directory.listFiles().size(), listed.size());
    EXPECT_TRUE(directory.rmdirs());
}

TEST_F(FileTree, ListsManyEntries) {
    const std::size_t count = norqstd_test::rounds(100'000);
    for (std::size_t i = 0; i < count; ++i)
        put(folder() / ("entry " + std::to_string(i)), "");
    const auto names = at(folder()).list();
    EXPECT_EQ(names.size(), count);
    EXPECT_EQ(std::set<WString>(names.begin(), names.end()).size(), count);
    EXPECT_TRUE(at(folder()).rmdirs());
}

TEST_F(FileTree, AgreesAboutARealTree) {
    std::size_t files = 0;
    for (const File& file : File(u"/usr/share/doc").listFiles(DirectoryFilter())) {
        const fs::path path = "/usr/share/doc/" + fs::path(file.getName()).string();
        const auto names = file.list();
        std::set<std::string> mine;
        std::transform(names.begin(), names.end(), std::inserter(mine, mine.end()),
                       [](const WString& name) { return fs::path(name).string(); });
        std::set<std::string> theirs;
        for (const auto& entry : fs::directory_iterator(path))
            theirs.insert(entry.path().filename().string());
        EXPECT_EQ(mine, theirs) << path;
        files += mine.size();
    }
    EXPECT_GT(files, 0u);
}

TEST_F(FileTree, RespectsTheRightsOfTheProcess) {
    fs::create_directory(folder() / "closed");
    put(folder() / "closed/file", "x");
    put(folder() / "unreadable", "x");
    fs::permissions(folder(), fs::perms(0755));
    fs::permissions(folder() / "unreadable", fs::perms(0));
    fs::permissions(folder() / "closed", fs::perms(0));
    const WString path = norqstd_test::wide(folder());
    EXPECT_EQ(inChild([&] {
                  constexpr uid_t Nobody = 65534;
                  if (geteuid() == 0 && setuid(Nobody) != 0)
                      return 1;
                  const File unreadable(path, u"unreadable");
                  const File closed(path, u"closed");
                  if (!unreadable.exists() || unreadable.canRead() || unreadable.canWrite())
                      return 2;
                  if (!closed.isDirectory() || !closed.list().empty() || (closed + u"file").exists())
                      return 3;
                  if ((closed + u"file").remove() || closed.rmdirs() || (closed + u"new").touch())
                      return 4;
                  FileSystemInfo info{File(path)};
                  info.refresh();
                  return info.getDiskUsage() == 1 ? 0 : 5;
              }),
              0);
    fs::permissions(folder() / "closed", fs::perms(0700));
}

TEST(FileFilters, MatchByTheirRules) {
    const struct {
        const WChar* pattern;
        const WChar* name;
        bool accepted;
    } rows[] = {
        {u"*.txt", u"A.TXT", true},
        {u"*.txt", u"a.txt.bak", false},
        {u"*.txt", u".txt", true},
        {u"a?c", u"abc", true},
        {u"a?c", u"ac", false},
        {u"a?", u"a", false},
        {u"*", u"x", true},
        {u"**", u"x", false},
        {u"a*", u"a", true},
        {u"a*?", u"abc", false},
        {u"a*b*c", u"a1b2c", true},
        {u"a*b*b", u"abab", false},
        {u"a*b?", u"abxb1", true},
        {u"?*", u"x", true},
        {u"?", u"xy", false},
        {u"*b", u"abc", false},
        {u"\u00C4*", u"\u00E4x", true},
        {u"abc", u"abcd", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(WildcardFileFilter(row.pattern).accept(File(u"C:\\dir", row.name)), row.accepted)
            << fs::path(row.pattern) << ' ' << fs::path(row.name);
    EXPECT_THROW(WildcardFileFilter(u""), NorqIllegalArgumentException);
    EXPECT_TRUE(DirectoryFilter().accept(File(u"C:\\")));
}

} // namespace
