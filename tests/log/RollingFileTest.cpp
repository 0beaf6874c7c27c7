#include "log/RollingFile.h"
#include "config/ConfigurationFile.h"
#include "exception/NorqException.h"
#include "log/RollingFileHeader.h"
#include "log/WindowsVersionInfoHeader.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

using namespace norq_std;
namespace fs = std::filesystem;

namespace {

class Observer : public RollingFileObserver {
public:
    void onCloseNotify(const File& file) override {
        closed.push_back(file.getName());
        if (reopened != nullptr)
            reopened->open(); // as an appender does with a line that is logged now
        throw NorqIOException(u"an observer fails");
    }
    std::vector<WString> closed;
    RollingFile* reopened = nullptr;
};

class Header : public RollingFileHeader {
public:
    explicit Header(std::string headerText)
        : text(std::move(headerText)) {}
    Header* newInstance(const Properties&) const override { return new Header(text); }

protected:
    void writeHeader(RollingFile& file) override {
        file.write(reinterpret_cast<const unsigned char*>(text.data()), 0, static_cast<std::uint32_t>(text.size()));
    }

private:
    const std::string text;
};

class RollingFileTest : public norqstd_test::NothingLeft {
protected:
    void SetUp() override {
        ring.addObserver(observer);
        start(ring);
    }
    void TearDown() override {
        ring.close();
        NothingLeft::TearDown();
    }

    void start(RollingFile& file) {
        file.setFilePath(File((folder() / "server.log").u16string()));
        file.setMaximumFiles(3);
        file.setMaximumSize(20);
        file.open();
    }
    static void write(RollingFile& file, const std::string& text) {
        file.write(reinterpret_cast<const unsigned char*>(text.data()), 0, static_cast<std::uint32_t>(text.size()));
    }
    void write(const std::string& text) { write(ring, text); }

    std::string content(const char* name) const {
        std::ifstream file(folderPath() / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    const fs::path& folderPath() const { return const_cast<RollingFileTest*>(this)->folder(); }
    bool exists(const char* name) const { return fs::exists(folderPath() / name); }
    void put(const char* name, const std::string& text) { std::ofstream(folder() / name, std::ios::binary) << text; }
    WString current(const RollingFile& file) const { return File(file.getFilePath()).getName(); }

    std::shared_ptr<Observer> observer = std::make_shared<Observer>();
    RollingFile ring;
};

template <class Exception>
WString messageOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Exception& e) {
        return e.getMessage();
    }
    return u"nothing thrown";
}

} // namespace

TEST_F(RollingFileTest, filesAreFilledWithBlanksAndFollowEachOtherRoundTheRing) {
    EXPECT_EQ(content("server_log.idx"), "#NorqLog - DO NOT EDIT\r\nIndexOfLastLog=1\r\n");
    write("0123456789");
    write("abcdefghij"); // exactly full: stays
    EXPECT_FALSE(exists("server0002.log"));
    write("second");
    EXPECT_EQ(content("server0001.log"), "0123456789abcdefghij");
    write("fifteen-letters");
    EXPECT_EQ(content("server0002.log"), "second              ");
    write("last of the ring");
    EXPECT_EQ(current(ring), u"server0001.log");
    EXPECT_EQ(content("server0001.log"), "last of the ring");
    EXPECT_EQ(observer->closed, (std::vector<WString>{u"server0001.log", u"server0002.log", u"server0003.log"}));
}

TEST_F(RollingFileTest, nobodyReopensTheFileThatARollHasFinished) {
    observer->reopened = &ring;
    write("01234567890123456789");
    write("next");
    observer->reopened = nullptr;
    EXPECT_EQ(content("server0001.log"), "01234567890123456789");
    EXPECT_EQ(content("server0002.log"), "next");
}

TEST_F(RollingFileTest, aRestartGoesOnInTheCurrentFileAndBeginsAFullOneAgain) {
    write("0123456789abcdefghij");
    write("second");
    RollingFile again;
    start(again);
    EXPECT_EQ(current(again), u"server0002.log");
    write(again, " goes on");
    again.close();
    EXPECT_EQ(content("server0002.log"), "second goes on");

    put("server0002.log", std::string(25, 'x'));
    RollingFile third;
    start(third);
    EXPECT_EQ(current(third), u"server0002.log");
    EXPECT_EQ(content("server0002.log"), "");
}

TEST_F(RollingFileTest, theIndexFileIsTakenAsItIsFound) {
    const auto indexAfterRoll = [&](const char* index) {
        index == nullptr ? void(fs::remove(folder() / "server_log.idx")) : put("server_log.idx", index);
        ring.setFilePath(File((folder() / "server.log").u16string()));
        return current(ring);
    };
    EXPECT_EQ(indexAfterRoll("IndexOfLastLog=7\n"), u"server0007.log");
    EXPECT_EQ(indexAfterRoll("IndexOfLastLog=12345\n"), u"server12345.log");
    EXPECT_EQ(indexAfterRoll("IndexOfLastLog=seven\n"), u"server0001.log");
    EXPECT_EQ(indexAfterRoll("IndexOf"), u"server0001.log");
    EXPECT_EQ(indexAfterRoll(""), u"server0001.log");
    EXPECT_EQ(indexAfterRoll(nullptr), u"server0001.log");
}

TEST_F(RollingFileTest, aSecondWriterThatMovedTheIndexIsFollowed) {
    put("server_log.idx", "IndexOfLastLog=3\n");
    write("0123456789abcdefghij");
    write("next");
    EXPECT_EQ(current(ring), u"server0003.log");
    EXPECT_EQ(content("server_log.idx"), "IndexOfLastLog=3\n") << "the other's number is not written again";

    fs::remove(folder() / "server_log.idx");
    write("0123456789abcdefghij");
    EXPECT_EQ(current(ring), u"server0000.log");
    write("next");
    EXPECT_EQ(current(ring), u"server0001.log");
}

TEST_F(RollingFileTest, refusedWritesLeaveTheFileAsItIs) {
    write("text");
    EXPECT_EQ(messageOf<NorqIllegalArgumentException>([&] { write(std::string(21, 'x')); }),
              u"Number of bytes to write <21> exceeds maximum file size <20>.");
    EXPECT_EQ(messageOf<NorqIllegalArgumentException>([&] { ring.write(nullptr, 0, 1); }), u"Buffer cannot be null.");
    EXPECT_EQ(content("server0001.log"), "text");
    ring.setMaximumSize(0);
    EXPECT_EQ(messageOf<NorqIllegalArgumentException>([&] { write("x"); }),
              u"Number of bytes to write <1> exceeds maximum file size <0>.");
    ring.setMaximumSize(0xFFFFFFFF);
    EXPECT_EQ(ring.getMaximumSize(), 0x7FFFFFFFu);
    ring.close();
    EXPECT_EQ(messageOf<NorqIllegalStateException>([&] { write("x"); }), u"File must be open first.");
    EXPECT_EQ(messageOf<NorqIllegalArgumentException>([&] { ring.setFilePath(File(u"nodot")); }),
              u"Invalid value for filename.");
    fs::create_directory(folder() / "folder.log");
    EXPECT_EQ(
        messageOf<NorqIllegalArgumentException>([&] { ring.setFilePath(File((folder() / "folder.log").u16string())); }),
        u"Invalid value for filename.");
    EXPECT_EQ(messageOf<NorqIOException>([] { RollingFile().open(); }),
              u"Current path is invalid or has not been set.");
}

TEST_F(RollingFileTest, aSmallerLimitRollsAtOnce) {
    write("0123456789abcde");
    ring.setMaximumSize(10);
    EXPECT_EQ(current(ring), u"server0002.log");
    EXPECT_EQ(content("server0001.log"), "0123456789abcde") << "a file above the limit is not padded";
    EXPECT_EQ(ring.toString(), u"RollingFile{path='" + File(ring.getFilePath()).getParent() +
                                   u"\\server.log',index='2',maxSize='10',maxFiles='3'}");
}

TEST_F(RollingFileTest, headersOpenEachFileAndAFailingOneStopsNothing) {
    const auto large = std::make_shared<Header>(std::string(21, 'h'));
    const auto small = std::make_shared<Header>("head:");
    ring.addHeader(large);
    ring.addHeader(small);
    ring.addHeader(small);
    ring.addHeader(nullptr);
    write("0123456789abcdefghij");
    write("text");
    EXPECT_EQ(content("server0002.log"), "head:text");
    ring.removeHeader(small);
    EXPECT_FALSE(ring.hasHeader(small));
    EXPECT_TRUE(ring.hasHeader(large));
}

TEST_F(RollingFileTest, theVersionHeaderTellsWhatRuns) {
    ring.setMaximumSize(1 << 20);
    ring.addHeader(std::make_shared<WindowsVersionInfoHeader>());
    ring.close();
    ring.open();
    const std::string text = content("server0001.log");
    EXPECT_TRUE(text.starts_with("VERSION INFO: Environment: Platform <"));
    for (const char* part :
         {"\nVERSION INFO: Environment: Working Dir: <C:\\", "\nVERSION INFO: Environment: Hostname <",
          "\nVERSION INFO: Environment: Current time <", "\nVERSION INFO: Debug threshold <DEBUG>.\n",
          "\nVERSION INFO: Max file size <1048576>.\n", "\nVERSION INFO: Max file count <3>.\n",
          ": Product <NorqStd> Version <", "VERSION INFO: Module: norqstd-test-log: Product <Invalid filename> "})
        EXPECT_NE(text.find(part), std::string::npos) << part;
    EXPECT_TRUE(text.ends_with(".\n"));
}

TEST_F(RollingFileTest, aFileThatAnOperatorRemovesOrRenamesCostsNothingButItself) {
    fs::rename(folder() / "server0001.log", folder() / "kept.log");
    write("0123456789");
    EXPECT_EQ(content("kept.log"), "0123456789");
    fs::remove(folder() / "kept.log");
    write("abcdefghij");
    write("next");
    EXPECT_EQ(content("server0002.log"), "next");
}
