#include "library/NorqLibrary.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "support/NothingLeft.h"
#include "system/NorqSystem.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>

using namespace norq_std;
namespace fs = std::filesystem;

namespace {

class NorqLibraryTest : public norqstd_test::NothingLeft {
protected:
    void SetUp() override {
        for (const char* name : {"first", "second", "third"})
            fs::create_directory(folder() / name);
    }
    void TearDown() override {
        NorqSystem::getInstance().setProperties({});
        NorqSystem::getInstance().putEnv(u"LIB", oldLib);
        NothingLeft::TearDown();
    }

    fs::path in(const char* place, const char* name) { return folder() / place / name; }
    void putLibrary(const fs::path& path) { fs::copy_file(PLAIN_LIBRARY, path); }
    void putRubbish(const fs::path& path) { std::ofstream(path) << "no library"; }

    const WString oldLib = NorqSystem::getInstance().getEnv(u"LIB");
};

WString wide(const fs::path& path) { return path.u16string(); }

int answerOf(const NorqLibrary& library) { return library.getSymbol<int (*)()>(u"norqTestAnswer")(); }

template <class Exception>
std::unique_ptr<Exception> failureOf(const std::function<void()>& load) {
    try {
        load();
    } catch (const Exception& e) {
        EXPECT_EQ(typeid(e), typeid(Exception)) << "the very class, not one derived from it";
        return std::make_unique<Exception>(e);
    }
    return nullptr;
}

} // namespace

TEST_F(NorqLibraryTest, thePropertyComesBeforeTheWorkingDirectoryAndTheEnvironment) {
    putLibrary(in("first", "libanswer.so"));
    putRubbish(in("second", "libanswer.so"));
    NorqSystem::getInstance().setProperty(u"Ext_Library_Path",
                                          u";a<b>;" + wide(folder() / "third") + u";;" + wide(folder() / "first"));
    const File before = File::getWorkingDirectory();
    File::setWorkingDirectory(File(wide(folder() / "second")));
    const NorqLibrary library(u"answer");
    EXPECT_EQ(library.getPath(), File(wide(in("first", "libanswer.so"))).getCanonicalPath());
    EXPECT_EQ(library.toString(), u"NorqLibrary{path='" + library.getPath() + u"'}");
    EXPECT_EQ(answerOf(library), 42);
    NorqSystem::getInstance().setProperties({});
    putLibrary(in("third", "answer"));
    NorqSystem::getInstance().putEnv(u"LIB", u"/nowhere:" + wide(folder() / "third"));
    EXPECT_EQ(answerOf(NorqLibrary(u"answer")), 42) << "a library that does not load does not end the search";
    File::setWorkingDirectory(before);
}

TEST_F(NorqLibraryTest, aNameMayStandForEachFormOfAFileButNotForADirectory) {
    NorqSystem::getInstance().setProperty(u"Ext_Library_Path", wide(folder() / "first"));
    fs::create_directory(in("first", "libodd.so"));
    putLibrary(in("first", "odd.so"));
    EXPECT_EQ(NorqLibrary(u"odd").getPath(), File(wide(in("first", "odd.so"))).getCanonicalPath());
    putLibrary(in("first", "odd.so.7"));
    EXPECT_EQ(NorqLibrary(u"odd.so.7").getPath(), File(wide(in("first", "odd.so.7"))).getCanonicalPath());
}

TEST_F(NorqLibraryTest, whatCannotBeLoadedIsToldWithItsReason) {
    NorqSystem::getInstance().setProperty(u"Ext_Library_Path", wide(folder() / "first"));
    const auto nowhere = failureOf<NorqIllegalArgumentException>([] { NorqLibrary(u"no-such-library"); });
    ASSERT_TRUE(nowhere);
    EXPECT_EQ(nowhere->getMessage(), u"Unable to locate library <no-such-library>");

    putRubbish(in("first", "libbad.so"));
    const auto bad = failureOf<NorqUnknownException>([] { NorqLibrary(u"bad"); });
    ASSERT_TRUE(bad);
    EXPECT_TRUE(bad->getMessage().starts_with(u"Unable to locate library <bad>: Unable to open library <"));
    const std::unique_ptr<NorqException> cause(bad->getNestedException());
    ASSERT_TRUE(cause);
    EXPECT_EQ(cause->getErrNum(), 193);

    const File needy(wide(fs::path(NEEDY_LIBRARY)));
    const auto missing = failureOf<NorqUnknownException>([&] { const NorqLibrary library(needy); });
    ASSERT_TRUE(missing);
    EXPECT_NE(missing->getMessage().find(u"norqstd-test-missing"), WString::npos);

    const File absent(wide(folder() / "absent.so"));
    const auto noFile = failureOf<NorqIllegalArgumentException>([&] { const NorqLibrary library(absent); });
    ASSERT_TRUE(noFile);
    EXPECT_EQ(noFile->getMessage(), u"Library file does not exist <" + absent.toString() + u">");
}

TEST_F(NorqLibraryTest, aSymbolIsThereAsLongAsTheLibrary) {
    const NorqLibrary library((File(wide(fs::path(PLAIN_LIBRARY)))));
    const auto missing =
        failureOf<NorqIllegalArgumentException>([&] { library.getSymbol<int (*)()>(u"norqTestNothing"); });
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->getMessage(), u"Symbol not found <norqTestNothing>");
    EXPECT_EQ(answerOf(library), 42);
}
