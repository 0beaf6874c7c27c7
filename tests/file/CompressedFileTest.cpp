#include "file/CompressedFile.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "stream/ByteArray.h"
#include "support/Files.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <random>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>

using namespace norq_std;
using norqstd_test::at;
using norqstd_test::got;
using norqstd_test::put;

namespace {

std::string output(const std::string& command) {
    std::FILE* const child = popen(command.c_str(), "r");
    std::string text;
    for (int c = std::fgetc(child); c != EOF; c = std::fgetc(child))
        text.push_back(static_cast<char>(c));
    return pclose(child) == 0 ? text : "failed: " + text;
}

std::string message(const std::function<void()>& action) {
    try {
        action();
        return {};
    } catch (const NorqException& failure) {
        const WString text = failure.getMessage();
        return {text.begin(), text.end()};
    }
}

/// Text that compresses, but not to nothing.
std::string sample(std::size_t size) {
    std::mt19937 random(7);
    std::string text;
    while (text.size() < size)
        text += "line " + std::to_string(random() % 1000) + "\n";
    text.resize(size);
    return text;
}

class GzipFile : public norqstd_test::NothingLeft {
protected:
    void TearDown() override {
        compressed.close();
        NothingLeft::TearDown();
    }
    std::string path() { return (folder() / "file.gz").string(); }
    File file() { return at(path()); }
    void write(const std::string& bytes) {
        compressed.open(file(), CompressedFile::Write);
        compressed.write(ByteArray(bytes));
        compressed.close();
    }
    std::string readAll(std::int32_t piece) {
        std::string all;
        while (!compressed.isEof())
            all += compressed.read(piece)->toString();
        return all;
    }

    CompressedFile compressed;
};

TEST_F(GzipFile, IsUnderstoodByGzipAndGzipsByUs) {
    const std::string text = sample(300'000);
    std::string sizes[4];
    for (const int level : {0, 1, 2, 3}) {
        for (const int strategy : {0, 1, 2}) {
            compressed.setCompressionLevel(static_cast<CompressedFile::CompressionLevel>(level));
            compressed.setCompressionStrategy(static_cast<CompressedFile::CompressionStrategy>(strategy));
            write(text);
            EXPECT_EQ(output("gzip -t " + path() + " 2>&1 && zcat " + path()), text) << level << strategy;
        }
        sizes[level] = got(path());
    }
    EXPECT_GT(sizes[1].size(), text.size()) << "the level None stores";
    compressed.setCompressionStrategy(CompressedFile::DefaultStrategy);
    compressed.setCompressionLevel(CompressedFile::Fastest);
    write(text);
    const std::size_t fastest = got(path()).size();
    compressed.setCompressionLevel(CompressedFile::Best);
    write(text);
    EXPECT_LT(got(path()).size(), fastest);

    put(folder() / "theirs", text);
    EXPECT_EQ(output("gzip -9c " + (folder() / "theirs").string() + " > " + path()), "");
    compressed.open(file(), CompressedFile::Read);
    EXPECT_EQ(compressed.read()->toString(), text);
    EXPECT_FALSE(compressed.isEof()) << "nothing has met the end yet";
    EXPECT_EQ(compressed.read(10)->getLength(), 0);
    EXPECT_TRUE(compressed.isEof());
    compressed.rewind();
    EXPECT_EQ(readAll(4097), text);
}

TEST_F(GzipFile, ReadsMembersAsOne) {
    compressed.open(file(), CompressedFile::Write);
    compressed.write(ByteArray(std::string("first ")));
    compressed.flush(CompressedFile::FinishFlush);
    compressed.write(ByteArray(std::string("second")));
    compressed.close();
    EXPECT_EQ(output("printf ' third' | gzip >> " + path() + " && gzip -t " + path() + " && zcat " + path()),
              "first second third");
    compressed.open(file(), CompressedFile::Read);
    EXPECT_EQ(compressed.read()->toString(), "first ") << "as many bytes as the last member has";
    EXPECT_EQ(readAll(1000), "second third");
}

TEST_F(GzipFile, FlushedDataCanBeRead) {
    compressed.open(file(), CompressedFile::Write);
    compressed.write(ByteArray(std::string("so far")));
    compressed.flush(CompressedFile::SyncFlush);
    EXPECT_EQ(output("zcat " + path() + " 2>/dev/null; true"), "so far");
    compressed.setCompressionLevel(CompressedFile::Best);
    compressed.write(ByteArray(std::string(" and on")));
    compressed.flush(CompressedFile::FullFlush);
    compressed.close();
    EXPECT_EQ(output("zcat " + path()), "so far and on");
}

TEST_F(GzipFile, ChecksItsStateAndArguments) {
    const std::string closed = "CompressedFile is not open.";
    EXPECT_EQ(message([&] { compressed.read(1); }), closed);
    EXPECT_EQ(message([&] { compressed.read(); }), closed);
    EXPECT_EQ(message([&] { compressed.write(ByteArray(1)); }), closed);
    EXPECT_EQ(message([&] { compressed.flush(CompressedFile::SyncFlush); }), closed);
    EXPECT_EQ(message([&] { static_cast<void>(compressed.isEof()); }), closed);
    EXPECT_EQ(message([&] { compressed.open(file(), CompressedFile::Read); }),
              "Error creating or opening compressed file: 2:No such file or directory");
    EXPECT_EQ(message([&] { compressed.open(at(folder()), CompressedFile::Read); }),
              "Error creating or opening compressed file: 5:Permission denied");
    EXPECT_EQ(message([&] { compressed.open(file(), static_cast<CompressedFile::AccessType>(2)); }),
              "Invalid accessType specified");

    compressed.setCompressionLevel(CompressedFile::Best);
    compressed.setCompressionStrategy(CompressedFile::Huffman);
    compressed.open(file(), CompressedFile::Write);
    EXPECT_EQ(message([&] { compressed.rewind(); }), "CompressedFile is not open for reading.");
    EXPECT_EQ(message([&] { compressed.write(ByteArray()); }).substr(0, 25), "Write file failed. Error:");
    EXPECT_EQ(compressed.toString(),
              u"CompressedFile{accessType='Write' compressionLevel='Best' compressionStrategy='Huffman'}");
    compressed.close();
    compressed.open(file(), CompressedFile::Read);
    EXPECT_EQ(message([&] { compressed.write(ByteArray(1)); }), "CompressedFile is not open for writing.");
    EXPECT_EQ(message([&] { compressed.read(1); }), "Read file failed. File is empty");
    EXPECT_EQ(message([&] { compressed.read(); }),
              "Number of bytes requested is less than 1. value 0 is below minimum of 1.");
    EXPECT_EQ(message([&] { compressed.setCompressionLevel(CompressedFile::None); }),
              "Unable to set compression level or strategy.");
    EXPECT_EQ(compressed.getCompressionLevel(), CompressedFile::Best);
}

TEST_F(GzipFile, TellsOfDamage) {
    const std::string text = sample(100'000);
    write(text);
    const std::string whole = got(path());
    std::string flipped = whole;
    flipped[flipped.size() / 2] = static_cast<char>(~flipped[flipped.size() / 2]);
    std::string sum = whole;
    sum[sum.size() - 8] = static_cast<char>(~sum[sum.size() - 8]);
    std::string size = whole;
    size.replace(size.size() - 4, 4, "\xFF\xFF\xFF\x7F");
    for (const std::string& bytes :
         {whole.substr(0, whole.size() / 2), whole.substr(0, whole.size() - 1), flipped, sum, size}) {
        put(path(), bytes);
        compressed.open(file(), CompressedFile::Read);
        EXPECT_EQ(message([&] { readAll(1 << 20); }), "Read file failed. Error: 13:Bad message");
    }
    EXPECT_EQ(message([&] {
                  compressed.open(file(), CompressedFile::Read);
                  compressed.read(); // of 2 GiB, if the last bytes were believed
              }),
              "Read file failed. Error: 13:Bad message");
    compressed.close();
}

TEST_F(GzipFile, TellsThatTheDiskIsFullAtTheLatestWhenItIsClosed) {
    EXPECT_EQ(norqstd_test::inChild([&] {
                  const struct rlimit limit { 1000, 1000 };
                  signal(SIGXFSZ, SIG_IGN);
                  if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
                      return 1;
                  const std::string failure = message([&] { write(sample(50'000)); });
                  return failure == "Error closing compressed file: 223:File too large" && !compressed.isOpen() ? 0 : 2;
              }),
              0);
}

} // namespace
