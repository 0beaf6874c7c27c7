#include "file/File.h"

#include "exception/NorqException.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace norq_std;

namespace {

/// Opens what subclasses may use.
class Parts : public File {
public:
    using File::parsePath;
    static WString join(const PathList& list) { return generatePathString(list.begin(), list.end()); }
};

std::string narrow(const WString& text) { return std::string(text.begin(), text.end()); }

std::string refusal(const WString& path) {
    try {
        const File file(path);
        return {};
    } catch (const NorqIllegalArgumentException& failure) {
        return narrow(failure.getMessage());
    }
}

TEST(FilePath, ParsesIntoElementsAndWritesThemBack) {
    const struct {
        const WChar* path;
        File::PathList elements;
        const WChar* text;
    } rows[] = {
        {u"", {}, u""},
        {u"x", {u"x"}, u"x"},
        {u"C:\\a\\\\b\\", {u"C:\\", u"a", u"b"}, u"C:\\a\\b"},
        {u"C:", {u"C:"}, u"C:"},
        {u"c:/", {u"c:\\"}, u"c:\\"},
        {u"C:/a/D:/b", {u"C:\\", u"a", u"D:\\", u"b"}, u"C:\\a\\D:\\\\b"},
        {u"\\", {u"\\"}, u"\\"},
        {u"/a", {u"/", u"a"}, u"\\a"},
        {u"\\\\host\\share", {u"\\\\", u"host", u"share"}, u"\\\\host\\share"},
        {u"//host", {u"//", u"host"}, u"//\\host"},
        {u"\\/host", {u"\\/", u"host"}, u"\\/\\host"},
        {u"///a", {u"//", u"a"}, u"//\\a"},
        {u"1:\\a", {u"1:", u"a"}, u"1:\\a"},
        {u"a/./../b", {u"a", u".", u"..", u"b"}, u"a\\.\\..\\b"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(narrow(row.path));
        EXPECT_EQ(Parts::parsePath(row.path), row.elements);
        EXPECT_EQ(File(row.path).getPath(), row.text);
    }
    EXPECT_EQ(Parts::join({u"C:\\", u"\\", u"/", u"a", u"\\"}), u"C:\\\\a\\");
}

TEST(FilePath, RefusesWhatIsNoPath) {
    const std::string characters = "Path contains invalid characters.";
    const std::string ending = "Path ends with '.' or whitespace.";
    for (const WChar unit : std::u16string_view(u"*?<>|\"\x1F\n"))
        EXPECT_EQ(refusal(WString(u"a") + unit + u"b"), characters) << static_cast<int>(unit);
    EXPECT_EQ(refusal(WString(u"a\0b", 3)), characters);
    EXPECT_EQ(refusal(u"abc:d"), characters);
    EXPECT_EQ(refusal(u"a:b"), "");
    EXPECT_EQ(refusal(u":b"), "");
    EXPECT_EQ(refusal(u"C:\\a."), ending);
    EXPECT_EQ(refusal(u"C:\\a.\\b"), ending);
    EXPECT_EQ(refusal(u"..."), ending);
    EXPECT_EQ(refusal(u"a \\b"), ending);
    EXPECT_EQ(refusal(u"a\u3000"), ending);
    EXPECT_EQ(refusal(u"C:\\a\\.."), "");

    // 4 for the root, and each element its length and one.
    const std::string length = "Path length exceeded maximum path length.";
    EXPECT_EQ(refusal(u"C:\\" + WString(255, u'x')), "");
    EXPECT_EQ(refusal(u"C:\\" + WString(256, u'x')), length);
    EXPECT_EQ(refusal(u"C:\\" + WString(253, u'x') + u"\\y"), "");
    EXPECT_EQ(refusal(u"C:\\" + WString(254, u'x') + u"\\y"), length);
    EXPECT_THROW(File(u"C:\\" + WString(255, u'x')) + u"y", NorqIllegalArgumentException);

    EXPECT_NO_THROW(File::assertFilenameIsValid(u""));
    EXPECT_THROW(File::assertFilenameIsValid(u"a/b"), NorqIllegalArgumentException);
    EXPECT_THROW(File::assertFilenameIsValid(u"a."), NorqIllegalArgumentException);
}

TEST(FilePath, JoinsParentAndChild) {
    EXPECT_EQ(File(u"", u"\\a").getPath(), u"\\a");
    EXPECT_EQ(File(u"a", u"\\b/c").getPath(), u"a\\b\\c");
    EXPECT_EQ(File(File(), u"b").getPath(), u"b");
    EXPECT_EQ(File(File(u"C:\\"), u"").getPath(), u"C:\\");
    EXPECT_EQ((File(u"a") + u"C:\\b").getPath(), u"a\\C:\\\\b");
    EXPECT_EQ((File(u"a") + u"\\\\b").getPath(), u"a\\\\\\\\b");
}

TEST(FilePath, AnswersNameAndParent) {
    const struct {
        const WChar* path;
        const WChar* name;
        const WChar* parent;
        bool absolute;
        bool root;
    } rows[] = {
        {u"x", u"x", u"", false, false},     {u"x\\y", u"y", u"x", false, false},
        {u"\\a", u"a", u"\\", false, false}, {u"\\", u"", u"\\", false, true},
        {u"C:\\", u"", u"C:\\", true, true}, {u"C:\\a", u"a", u"C:\\", true, false},
        {u"\\\\", u"", u"\\\\", true, true}, {u"\\\\h\\s", u"s", u"\\\\h", true, false},
        {u"C:", u"C:", u"", false, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(narrow(row.path));
        const File file(row.path);
        EXPECT_EQ(file.getName(), row.name);
        EXPECT_EQ(file.getParent(), row.parent);
        EXPECT_EQ(file.getParentFile().getPath(), row.parent);
        EXPECT_EQ(file.isAbsolute(), row.absolute);
        EXPECT_EQ(file.isRootDirectory(), row.root);
    }
    EXPECT_EQ(File(u"").getName(), u"");
    EXPECT_EQ(File(u"a/b").toString(), u"File{path='a\\b'}");
}

class FileInDirectory : public norqstd_test::NothingLeft {
protected:
    FileInDirectory() { File::setWorkingDirectory(File(folder().u16string())); }
    ~FileInDirectory() override { File::setWorkingDirectory(before); }

    const File before = File::getWorkingDirectory();
};

TEST_F(FileInDirectory, CanonicalPathsAreFormedOfTheText) {
    const WString here = File::getWorkingDirectory().getPath();
    EXPECT_EQ(here.substr(0, 3), u"C:\\");
    EXPECT_EQ(File::getRootDirectory().getPath(), u"C:\\");
    const struct {
        WString path;
        WString canonical;
    } rows[] = {
        {u"c:\\x\\..\\y", u"C:\\y"},
        {u"", here},
        {u".", here},
        {u"a\\.\\b\\..", here + u"\\a"},
        {u"/Var/Log", u"C:\\Var\\Log"},
        {u"\\\\host\\a\\..\\b", u"\\\\host\\b"},
        {u"C:\\..", u"C:\\"},
        {u"C:\\..\\..\\x", u"C:\\x"},
        {u"\\..", u"C:\\"},
        {u"C:\\a\\..\\..\\..\\b\\..", u"C:\\"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(narrow(row.path));
        EXPECT_EQ(File(row.path).getCanonicalPath(), row.canonical);
        EXPECT_EQ(File(row.path).getCanonicalFile().getPath(), row.canonical);
    }
    EXPECT_TRUE(File(u"C:/A") == File(u"c:\\a"));
    EXPECT_TRUE(File(u"C:\\\u00C4\u0416") == File(u"C:\\\u00E4\u0436"));
    EXPECT_TRUE(File(u"a") == File(here, u"b/../A"));
    EXPECT_TRUE(File(u"C:\\a") != File(u"C:\\a\\b"));
}

TEST_F(FileInDirectory, OutlivesItsWorkingDirectory) {
    ASSERT_TRUE(File(u"gone").mkdir());
    File::setWorkingDirectory(File(u"gone"));
    ASSERT_TRUE(std::filesystem::remove(folder() / "gone"));
    EXPECT_THROW(File::getWorkingDirectory(), NorqIOException);
    EXPECT_THROW(File(u"x").getCanonicalPath(), NorqIOException);
    EXPECT_FALSE(File(u"x").exists());
    EXPECT_FALSE(File(u"x").touch());
    EXPECT_FALSE(File(u"x").mkdirs());
    EXPECT_TRUE(File(u"").list().empty());
    EXPECT_EQ(File(u"x").getLength(), 0u);
    EXPECT_FALSE(File(u"x") == File(u"y"));
    EXPECT_TRUE(File(u"C:\\").exists());
    EXPECT_THROW(File::setWorkingDirectory(File(u"C:\\no such")), NorqIllegalArgumentException);
}

} // namespace
