#include "file/LegacyFile.h"

#include "base/WString.h"
#include "support/DebugCapture.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;
using norq_std::WString;
using NorqStd::SWString;

class LegacyFileTest : public norqstd_test::NothingLeft {
protected:
    fs::path write(const std::string& name, const std::string& content) {
        std::ofstream(folder() / name, std::ios::binary) << content;
        return folder() / name;
    }
    static std::string read(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    static SWString wide(const fs::path& path) { return path.u16string(); }
};

using Lines = std::vector<std::pair<std::int32_t, std::string>>;

Lines linesOf(const fs::path& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(path.c_str(), "rb"), std::fclose);
    Lines lines;
    SWString line(u"old");
    do {
        const std::int32_t result = NorqStd::SWSfgets(line, stream.get());
        lines.emplace_back(result, line.mb_str());
    } while (lines.back().first != 0 || !lines.back().second.empty());
    return lines;
}

TEST_F(LegacyFileTest, ReadsLinesOfAnyLength) {
    const std::string chunk(255, 'x');
    EXPECT_EQ((Lines{{0, ""}}), linesOf(write("empty", "")));
    EXPECT_EQ((Lines{{1, "a\r\n"}, {1, "\n"}, {1, "\x80z"}, {0, ""}}), linesOf(write("short", "a\r\n\n\x80z")));
    EXPECT_EQ((Lines{{1, chunk + chunk + "y\n"}, {1, "z"}, {0, ""}}), linesOf(write("long", chunk + chunk + "y\nz")));
    EXPECT_EQ((Lines{{0, chunk}, {0, ""}}), linesOf(write("chunk", chunk))); // read, and yet the end
    EXPECT_EQ((Lines{{1, "ac\n"}, {0, ""}}), linesOf(write("zero", "a\0"s + std::string(253, 'b') + "c\n")));
}

TEST_F(LegacyFileTest, CopiesWholeFiles) {
    for (const std::size_t size : {0U, 1U, 1024U, 5000U}) {
        const auto source = write("source", std::string(size, 'x'));
        write("target", std::string(9000, 'y'));
        EXPECT_TRUE(NorqStd::FileCopy(wide(source), wide(folder() / "target")));
        EXPECT_EQ(read(source), read(folder() / "target"));
    }
    const auto source = write("source", "abc");
    fs::create_symlink(source, folder() / "link");
    EXPECT_TRUE(NorqStd::FileCopy(wide(source), wide(folder() / "link"))); // onto itself
    EXPECT_EQ("abc", read(source));
    EXPECT_FALSE(NorqStd::FileCopy(wide(folder() / "missing"), wide(folder() / "new")));
    EXPECT_FALSE(fs::exists(folder() / "new"));
    EXPECT_FALSE(NorqStd::FileCopy(wide(source), wide(folder())));
}

TEST_F(LegacyFileTest, LeavesNoPartOfACopyBehind) {
    const auto source = write("source", std::string(5000, 'x'));
    rlimit before{};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
    const rlimit small{2000, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    const bool copied = NorqStd::FileCopy(wide(source), wide(folder() / "target"));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(copied);
    EXPECT_FALSE(fs::exists(folder() / "target"));
}

TEST_F(LegacyFileTest, FindsFilesAlsoByPattern) {
    write("Some File.txt", "");
    EXPECT_TRUE(NorqStd::FileExist(wide(folder())));
    for (const char* found : {"Some File.txt", "*", "some*", "*.TXT", "S??e*F*t", "*e*e*t", "*file.txt*"})
        EXPECT_TRUE(NorqStd::FileExist(wide(folder() / found))) << found;
    for (const char* missing : {"some", "*.tx", "?", "*ee*", "S?File*", "no/*"})
        EXPECT_FALSE(NorqStd::FileExist(wide(folder() / missing))) << missing;
    EXPECT_FALSE(NorqStd::FileExist(u""));
    EXPECT_FALSE(NorqStd::FileExist(WString(1, u'\xD800')));
}

TEST_F(LegacyFileTest, MovesTheSourceOverTheTarget) {
    const auto target = folder() / "target";
    EXPECT_EQ(0, NorqStd::CopyOver(wide(write("source", "new")), wide(target)));
    EXPECT_EQ("new", read(target));
    EXPECT_EQ(0, NorqStd::CopyOver(wide(write("source", "newer")), wide(target)));
    EXPECT_EQ("newer", read(target));
    EXPECT_FALSE(fs::exists(folder() / "source"));
    EXPECT_EQ(0, NorqStd::CopyOver(wide(target), wide(target)));
    EXPECT_EQ("newer", read(target));
}

TEST_F(LegacyFileTest, RemovesTheSourceOfWhatCannotBeReplaced) {
    const auto readOnly = write("readonly", "old");
    fs::permissions(readOnly, fs::perms::owner_read);
    for (const auto& target : {readOnly, folder()}) {
        const auto source = write("source", "new");
        norqstd_test::DebugCapture log;
        EXPECT_EQ(1, NorqStd::CopyOver(wide(source), wide(target)));
        EXPECT_FALSE(fs::exists(source));
        EXPECT_EQ(1U, log.count(WString(u"File [") + target.u16string() +
                                u"] is a directory or read-only, deleting file [" + source.u16string() + u"]"));
        EXPECT_EQ(1U, log.count(WString(u"Could not copy file [") + source.u16string() + u"] to ["));
    }
    EXPECT_EQ("old", read(readOnly));
    EXPECT_EQ(1, NorqStd::CopyOver(wide(folder() / "missing"), wide(folder() / "target")));
}

/// A place on another file system, so that renaming cannot succeed; not every machine has one.
TEST_F(LegacyFileTest, CopiesWhereRenamingFails) {
    const fs::path other = fs::path("/dev/shm") / folder().filename();
    std::error_code error;
    if (!fs::create_directory(other, error))
        return;
    for (const std::size_t size : {1U, 511U, 513U, 5000U, 512U, 1024U, 0U}) {
        const auto source = write("source", std::string(size, 'x'));
        std::ofstream(other / "target") << "old and longer";
        fs::rename(source, other / "probe", error);
        if (!error)
            break; // one file system after all
        const bool whole = size % 512 != 0;
        EXPECT_EQ(whole ? 0 : 1, NorqStd::CopyOver(wide(source), wide(other / "target"))) << size;
        EXPECT_EQ(std::string(size, 'x'), read(other / "target"));
        EXPECT_EQ(whole ? 0U : size, fs::file_size(source));
    }
    fs::remove_all(other);
}

TEST(LegacyPathTest, SplitsPathsWithinTheirBuffers) {
    const struct {
        std::string path, directory, name;
    } cases[] = {{"", ".", "."},
                 {"a", ".", "a"},
                 {"a\\b", "a", "b"},
                 {"c:\\dir\\x.txt", "c:\\dir", "x.txt"},
                 {"\x80\\\xE4", "\x80", "\xE4"},
                 {"a\\", "a", ""}};
    for (const auto& [path, directory, name] : cases) {
        const std::size_t room = std::max<std::size_t>(path.size() + 1, 2);
        std::array<char, 32> out;
        out.fill('#');
        NorqStd::DirName(out.data(), path.c_str());
        EXPECT_EQ(directory, out.data());
        EXPECT_EQ('#', out[room]);
        NorqStd::BaseName(out.data(), path.c_str());
        EXPECT_EQ(name, out.data());
        EXPECT_EQ('#', out[room]);
    }
    char16_t wide[] = u"dir\\name";
    NorqStd::BaseName(wide, wide);
    EXPECT_EQ(u"name", WString(wide));
    NorqStd::DirName(wide, u"dir\\name");
    EXPECT_EQ(u"dir", WString(wide));
    NorqStd::DirName(wide, nullptr);
    EXPECT_EQ(u".", WString(wide));
}

} // namespace
