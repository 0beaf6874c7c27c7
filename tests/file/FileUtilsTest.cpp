#include "file/FileUtils.h"
#include "base/EncodingUtils.h"
#include "base/ErrorUtils.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "file/SFilePath.h"
#include "file/SmartFileHandle.h"
#include "stream/ByteArray.h"
#include "stream/ByteBuffer.h"
#include "support/DebugCapture.h"
#include "support/Files.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace norq_std;
using NorqStd::SDirPath;
using NorqStd::SFilePath;
using NorqStd::SWString;
using norqstd_test::at;
using norqstd_test::got;
using norqstd_test::inChild;
using norqstd_test::put;
using norqstd_test::wide;
namespace fs = std::filesystem;

namespace {

using WholeFiles = norqstd_test::NothingLeft;

std::string copyFailure(const File& source, const File& target) {
    try {
        FileUtils::copyFile(source, target);
        return {};
    } catch (const NorqException& failure) {
        const WString text = failure.getMessage();
        return EncodingUtils::convertUnicodeToUtf8(text.substr(0, text.find_first_of(u":(")));
    }
}

TEST_F(WholeFiles, AreWrittenAppendedReadAndCompared) {
    const WString name = wide(folder() / "file");
    const WString other = wide(folder() / "other");
    const std::string bytes("a\0b\r\n\xFF", 6);
    EXPECT_TRUE(FileUtils::writeFileContent(name, ByteArray(std::string(100, 'x'))));
    EXPECT_TRUE(FileUtils::writeFileContent(name, ByteArray(bytes)));
    EXPECT_EQ(got(folder() / "file"), bytes);
    const auto buffer = ByteBuffer::allocate(8);
    buffer->put(reinterpret_cast<const unsigned char*>("12345678"), 8);
    buffer->setPosition(2);
    buffer->setLimit(5);
    EXPECT_TRUE(FileUtils::appendFileContent(name, *buffer));
    EXPECT_EQ(buffer->getPosition(), 2);
    EXPECT_EQ(FileUtils::getFileContent(name)->toString(), bytes + "345");
    EXPECT_EQ(FileUtils::getFileSize(name), 9u);
    EXPECT_TRUE(FileUtils::writeFileContent(other, *buffer));
    EXPECT_TRUE(FileUtils::appendFileContent(other, ByteArray(std::string("!"))));
    const auto read = FileUtils::getFileContentBuffer(other);
    EXPECT_EQ(read->getPosition(), 0);
    EXPECT_EQ(read->getLimit(), 4);
    EXPECT_EQ(std::string(read->array(), read->array() + 4), "345!");
    EXPECT_FALSE(FileUtils::compareFileContents(name, other));
    FileUtils::copyFile(File(name), File(other));
    EXPECT_TRUE(FileUtils::compareFileContents(name, other));

    EXPECT_TRUE(FileUtils::writeFileContent(name, ByteArray()));
    EXPECT_EQ(FileUtils::getFileContent(name)->getLength(), 0);
    EXPECT_EQ(FileUtils::getFileContentBuffer(name)->getLimit(), 0);
    EXPECT_TRUE(FileUtils::isFileExist(name));
}

TEST_F(WholeFiles, ThatCannotBeReadOrWrittenAreTold) {
    ASSERT_EQ(mkfifo((folder() / "pipe").c_str(), 0600), 0);
    put(folder() / "large", "");
    fs::resize_file(folder() / "large", 0x8000'0000);
    norqstd_test::DebugCapture debug;
    for (const char* name : {"missing", ".", "large", "missing/x"}) {
        EXPECT_EQ(FileUtils::getFileContent(wide(folder() / name)), nullptr) << name;
        EXPECT_EQ(FileUtils::getFileContentBuffer(wide(folder() / name)), nullptr) << name;
        EXPECT_FALSE(FileUtils::compareFileContents(wide(folder() / name), wide(folder() / name))) << name;
    }
    EXPECT_GT(debug.count(u"File handle value is NULL."), 0u);
    EXPECT_GT(debug.count(u"File size value -1 is below minimum of 0."), 0u);
    EXPECT_EQ(FileUtils::getFileContent(wide(folder() / "pipe"))->getLength(), 0) << "nobody waits for a writer";
    for (const char* name : {".", "missing/x", "pipe"})
        EXPECT_FALSE(FileUtils::writeFileContent(wide(folder() / name), ByteArray(1))) << name;
    debug.clear();
    EXPECT_FALSE(FileUtils::isFileExist(u""));
    EXPECT_EQ(FileUtils::getFileSize(u""), 0u);
    EXPECT_EQ(FileUtils::getFileContent(u""), nullptr);
    EXPECT_FALSE(FileUtils::appendFileContent(u"", ByteArray(1)));
    EXPECT_EQ(debug.count(u"Filename value is empty."), 4u);
    EXPECT_FALSE(FileUtils::compareFileContents(u"x", u""));
    EXPECT_EQ(debug.count(u"Second filename value is empty."), 1u);
    EXPECT_THROW(FileUtils::getFileContent(u"a<b"), NorqIllegalArgumentException);
}

TEST_F(WholeFiles, AreNotCopiedOverWhatMustStay) {
    put(folder() / "source", "bytes");
    fs::create_hard_link(folder() / "source", folder() / "same");
    fs::create_symlink("source", folder() / "link");
    const File source = at(folder() / "source");
    EXPECT_EQ(copyFailure(at(folder()), source), "Source file ");
    EXPECT_EQ(copyFailure(at(folder() / "missing"), source), "Source file ");
    EXPECT_EQ(copyFailure(source, at(folder())), "Destination file is a directory");
    EXPECT_EQ(copyFailure(source, at(folder() / "no/such")), "Parent directory for destination file does not exist");
    for (const char* name : {"source", "same", "link"})
        EXPECT_EQ(copyFailure(source, at(folder() / name)), "Source file and destination file are the same");
    EXPECT_EQ(got(folder() / "source"), "bytes");
    fs::create_symlink("made", folder() / "dangling");
    EXPECT_EQ(copyFailure(source, at(folder() / "dangling")), "");
    EXPECT_EQ(got(folder() / "made"), "bytes");
}

/// What is left of files for whose new content there is no room: 0, or the number of the first fault.
int fillUp(const WString& folder, const WString& source) {
    const ByteArray large(1'000'000);
    const WString name = File(folder, u"file").getPath();
    const File fresh(folder, u"fresh");
    if (FileUtils::writeFileContent(fresh.getPath(), large) || fresh.exists())
        return 1;
    if (copyFailure(File(source), fresh) != "Unable to write to file" || fresh.exists())
        return 2;
    if (!FileUtils::writeFileContent(name, ByteArray(std::string("old"))))
        return 3;
    if (FileUtils::writeFileContent(name, large) || FileUtils::appendFileContent(name, large))
        return 4;
    if (copyFailure(File(source), File(name)) != "Unable to write to file")
        return 5;
    const auto content = FileUtils::getFileContent(name);
    if (!content || content->toString() != "old")
        return 6;
    return FileUtils::writeFileContent(name, ByteArray(std::string("newer"))) ? 0 : 7;
}

TEST_F(WholeFiles, AreNotHalfWrittenBeyondTheLimitOfTheProcess) {
    put(folder() / "source", std::string(1'000'000, 'x'));
    EXPECT_EQ(inChild([&] {
                  const struct rlimit limit { 100'000, 100'000 };
                  signal(SIGXFSZ, SIG_IGN);
                  return setrlimit(RLIMIT_FSIZE, &limit) != 0 ? 100 : fillUp(wide(folder()), wide(folder() / "source"));
              }),
              0);
}

TEST_F(WholeFiles, AreNotHalfWrittenOnAFullDisk) {
    constexpr int NotAllowed = 101;
    put(folder() / "source", std::string(1'000'000, 'x'));
    fs::create_directory(folder() / "disk");
    const int result = inChild([&] {
        if (unshare(CLONE_NEWNS | (geteuid() == 0 ? 0 : CLONE_NEWUSER)) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", (folder() / "disk").c_str(), "tmpfs", 0, "size=128k") != 0)
            return NotAllowed;
        return fillUp(wide(folder() / "disk"), wide(folder() / "source"));
    });
    // Where no disk may be mounted, the limit of the process above is the proof.
    EXPECT_TRUE(result == 0 || result == NotAllowed) << result;
}

TEST(Newlines, BecomeOneKind) {
    const struct {
        const WChar* text;
        const WChar* newline;
        const WChar* result;
    } rows[] = {
        {u"a\nb\rc\r\nd", u"\r\n", u"a\r\nb\r\nc\r\nd"},
        {u"a\nb\rc\r\nd", u"\n", u"a\nb\nc\nd"},
        {u"a\nb\rc\r\nd", u"\r", u"a\rb\rc\rd"},
        {u"\r\r\n\n", u"\n", u"\n\n\n"},
        {u"\r\n\r", u"<br>", u"<br><br>"},
        {u"none", u"\n", u"none"},
        {u"", u"\n", u""},
        {u"a\r\n", u"", u"a"},
    };
    for (const auto& row : rows) {
        WString text = row.text;
        FileUtils::normalizeNewlines(text, row.newline);
        EXPECT_EQ(text, row.result) << fs::path(row.text);
    }
    EXPECT_EQ(FileUtils::normalizeNewlinesCopy(ByteArray(std::string("\xE4\r\n")), u"\n", u"windows-1252")->toString(),
              "\xE4\n");
}

TEST_F(WholeFiles, AreOpenForTheirScope) {
    const WString path = wide(folder() / "file");
    {
        const SmartFileHandle<int> made(path, O_WRONLY | O_CREAT, 0600);
        ASSERT_TRUE(made.isOpen());
        EXPECT_EQ(write(made.get(), "abc", 3), 3);
        EXPECT_NE(fcntl(made.get(), F_GETFD) & FD_CLOEXEC, 0);
        const SmartFileHandle<std::FILE*> stream(path, u"rb");
        ASSERT_TRUE(stream.isOpen());
        EXPECT_EQ(std::fgetc(stream.get()), 'a');
    }
    EXPECT_EQ(fs::status(folder() / "file").permissions(), fs::perms(0600));
    EXPECT_FALSE(SmartFileHandle<std::FILE*>(wide(folder() / "missing"), u"rb").isOpen());
    EXPECT_EQ(ErrorUtils::getLastError(), 2);
    EXPECT_FALSE(SmartFileHandle<int>(u"", O_RDWR).isOpen());
    EXPECT_THROW(SmartFileHandle<int>(path, 0), NorqIllegalArgumentException);
}

TEST(LegacyPaths, AreTakenApart) {
    const struct {
        const WChar* path;
        const WChar* directory;
        const WChar* suffix;
        const WChar* base;
        const WChar* suffixOfName;
    } rows[] = {
        {u"dir\\a.txt", u"dir", u"txt", u"a", u"txt"},
        {u"dir\\a.txt", u"dir", nullptr, u"a.txt", u"txt"},
        {u"dir\\a.txt", u"dir", u"", u"a.txt", u"txt"},
        {u"dir\\a.txt", u"dir", u"bak", u"dir\\a.txt", u"txt"},
        {u"txt\\a", u"txt", u"txt", u"txt\\a", u""},
        {u"dir\\txt", u"dir", u"txt", u"", u""},
        {u"a.txt", u".", u"txt", u"a.txt", u"txt"},
        {u"\\a", u"", u"", u"a", u""},
        {u"", u".", u"x", u".", u""},
        {u".", u".", nullptr, u".", u""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(fs::path(row.path));
        const SFilePath path(row.path, u'\\');
        EXPECT_EQ(path.Dirname(), SWString(row.directory));
        EXPECT_EQ(path.Basename(row.suffix), SWString(row.base));
        EXPECT_EQ(path.Suffixname(), SWString(row.suffixOfName));
    }
    EXPECT_EQ(SFilePath::getFilename(u"a\\b"), SWString(u"b"));
    EXPECT_EQ(SFilePath::getDirectory(u"a\\b"), SWString(u"a\\"));
    EXPECT_EQ(SFilePath::getDirectory(u"b"), SWString(u".\\"));
}

TEST(LegacyPaths, AreJoinedWithTheirSeparator) {
    SFilePath path(".", '/');
    EXPECT_TRUE(path.IsEmpty());
    path += SFilePath(u"a", u':');
    path += u"b";
    path.Append("\x80");
    EXPECT_EQ(path, SWString(u"a:b:\u20AC"));
    EXPECT_EQ(path.Length(), 5u);
    path += path;
    EXPECT_EQ(path, SWString(u"a:b:\u20AC:a:b:\u20AC"));
    path = u"x";
    EXPECT_EQ(path + WString(u"y"), SWString(u"x:y"));
    EXPECT_EQ(SDirPath() + "a" + SWString(u"b"), SWString(u"a\\b"));
}

TEST_F(WholeFiles, LegacyDirectoriesAreMade) {
    const SDirPath made(wide(folder()) + u"\\a\\b\u00E9\\c");
    EXPECT_FALSE(made.Exists());
    EXPECT_TRUE(made.CreatePath());
    EXPECT_TRUE(made.Exists());
    EXPECT_TRUE(fs::is_directory(folder() / "a/b\xC3\xA9/c"));
    EXPECT_TRUE(made.CreatePath());
    EXPECT_TRUE(SDirPath(u"C:" + wide(folder()) + u"\\x\\y\\").CreatePath())
        << "a separator at the end, a drive in front";
    EXPECT_TRUE(SDirPath(SFilePath(wide(folder() / "p/q"), '/')).CreatePath());
    EXPECT_TRUE(fs::is_directory(folder() / "p/q"));
    put(folder() / "file", "");
    EXPECT_FALSE(SDirPath(wide(folder()) + u"\\file\\below").CreatePath());
    EXPECT_TRUE(SDirPath().CreatePath());
}

} // namespace
