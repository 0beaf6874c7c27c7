#include "file/LockedFile.h"
#include "concurrency/Event.h"
#include "exception/NorqException.h"
#include "stream/ByteArray.h"
#include "support/Actor.h"
#include "support/Files.h"
#include "support/NothingLeft.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>

using namespace norq_std;
using norqstd_test::at;
using norqstd_test::got;
using norqstd_test::put;

extern char** environ;

namespace {

constexpr const char* HoldSwitch = "--hold";

/// Another program that holds a file until it is told to let go, or killed.
class Holder {
public:
    Holder(const std::string& path, LockedFile::AccessType access) {
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        std::vector<std::string> words = {"holder", HoldSwitch, path, std::to_string(access)};
        char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
        if (posix_spawn(&child, "/proc/self/exe", &actions, nullptr, arguments, environ) != 0)
            child = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(in[0]);
        close(out[1]);
        release = in[1];
        char answer = 0;
        holds = read(out[0], &answer, 1) == 1 && answer == 'y';
        close(out[0]);
    }
    ~Holder() { letGo(); }

    void letGo() {
        if (release >= 0)
            close(release);
        release = -1;
        if (child > 0)
            waitpid(child, nullptr, 0);
        child = -1;
    }
    void die() {
        kill(child, SIGKILL);
        letGo();
    }

    bool holds = false;

private:
    pid_t child = -1;
    int release = -1;
};

int hold(const char* path, const char* access) {
    LockedFile file;
    try {
        file.open(at(path), static_cast<LockedFile::AccessType>(std::atoi(access)), nullptr);
        char end = 0;
        return write(STDOUT_FILENO, "y", 1) == 1 && read(STDIN_FILENO, &end, 1) == 0 ? 0 : 1;
    } catch (const NorqIOException& failure) {
        return failure.getErrNum() == 32 ? 2 : 1;
    }
}

class HeldFile : public norqstd_test::NothingLeft {
protected:
    HeldFile() { put(path(), "content"); }

    std::string path() { return (folder() / "file").string(); }
    std::int32_t refusal(LockedFile::AccessType access, const std::shared_ptr<Waitable>& waitObject = nullptr) {
        try {
            LockedFile file;
            file.open(at(path()), access, waitObject);
            return 0;
        } catch (const NorqIOException& failure) {
            return failure.getErrNum();
        }
    }
};

constexpr std::int32_t SharingViolation = 32;

TEST_F(HeldFile, IsSharedByReadersAndHeldAloneByWriters) {
    const bool sharing[3][3] = {{true, false, false}, {false, false, false}, {false, false, false}};
    for (const auto first : {LockedFile::Read, LockedFile::Append, LockedFile::Overwrite}) {
        put(path(), "content");
        Holder holder(path(), first);
        ASSERT_TRUE(holder.holds);
        for (const auto second : {LockedFile::Read, LockedFile::Append, LockedFile::Overwrite}) {
            EXPECT_EQ(refusal(second), sharing[first][second] ? 0 : SharingViolation) << first << ' ' << second;
            EXPECT_EQ(Holder(path(), second).holds, sharing[first][second]);
        }
        EXPECT_EQ(got(path()), first == LockedFile::Overwrite ? "" : "content") << "a refused writer empties nothing";
    }
    LockedFile mine;
    mine.open(at(path()), LockedFile::Append, nullptr);
    EXPECT_FALSE(Holder(path(), LockedFile::Read).holds);
    EXPECT_EQ(refusal(LockedFile::Read), SharingViolation) << "within the process too";
    mine.close();
    EXPECT_TRUE(Holder(path(), LockedFile::Read).holds);
}

TEST_F(HeldFile, IsWaitedForUntilItIsFree) {
    const auto never = std::make_shared<Event>(false, false);
    for (const bool killed : {false, true}) {
        Holder holder(path(), LockedFile::Append);
        ASSERT_TRUE(holder.holds);
        norqstd_test::Actor waiting;
        auto opened = waiting.begin([&] { EXPECT_EQ(refusal(LockedFile::Overwrite, never), 0); });
        EXPECT_FALSE(norqstd_test::isReady(opened));
        killed ? holder.die() : holder.letGo();
        EXPECT_TRUE(norqstd_test::becomesReady(opened));
        opened.get();
    }
}

TEST_F(HeldFile, IsGivenUpWhenTheWaitObjectIsSignaled) {
    const auto stop = std::make_shared<Event>(false, true);
    {
        const Holder holder(path(), LockedFile::Read);
        LockedFile file;
        EXPECT_THROW(file.open(at(path()), LockedFile::Append, stop), NorqInterruptedException);
        EXPECT_FALSE(file.isOpen());
    }
    EXPECT_EQ(refusal(LockedFile::Append, stop), 0) << "nobody asks the object of a free file";
    std::filesystem::remove(path());
    EXPECT_EQ(refusal(LockedFile::Read, std::make_shared<Event>(false, false)), 2) << "only a held file is waited for";
}

TEST_F(HeldFile, IsTheOneThatHasThePath) {
    // Two programs take turns in one file while it is replaced again and again: each line must follow the one before.
    const std::size_t turns = norqstd_test::rounds(300);
    const auto add = [&] {
        const auto never = std::make_shared<Event>(false, false);
        for (std::size_t turn = 0; turn < turns; ++turn) {
            LockedFile file;
            file.open(at(path()), LockedFile::Append, never);
            const std::string number = got(path());
            const std::string next = std::to_string(std::stoi(number) + 1);
            const std::string beside = path() + "." + std::to_string(getpid());
            put(beside, next);
            std::filesystem::rename(beside, path());
        }
        return 0;
    };
    put(path(), "0");
    const pid_t other = fork();
    if (other == 0)
        _exit(add());
    add();
    int status = -1;
    ASSERT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(got(path()), std::to_string(2 * turns));
}

TEST_F(HeldFile, IsReadAndWritten) {
    LockedFile file;
    EXPECT_THROW(file.read(), NorqIllegalStateException);
    EXPECT_THROW(file.write(ByteArray(1)), NorqIllegalStateException);
    EXPECT_THROW(file.flush(), NorqIllegalStateException);
    EXPECT_NO_THROW(file.close());

    file.open(at(path()), LockedFile::Append, nullptr);
    file.write(ByteArray(std::string(" and more")));
    file.flush();
    EXPECT_EQ(file.toString(), u"LockedFile{accessType='Append'}");
    file.open(at(path()), LockedFile::Read, nullptr);
    EXPECT_EQ(file.read()->toString(), "content and more");
    EXPECT_EQ(file.read()->toString(), std::string(16, '\0')) << "nothing is left behind the position";
    EXPECT_THROW(file.write(ByteArray(1)), NorqIOException);
    file.open(at(path()), LockedFile::Overwrite, nullptr);
    EXPECT_EQ(file.read()->getLength(), 0);
    EXPECT_THROW(file.open(File(), LockedFile::Read, nullptr), NorqIOException) << "a directory";
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.getAccessType(), LockedFile::Overwrite);
    file.open(at(folder() / "new"), LockedFile::Append, nullptr);
    EXPECT_EQ(std::filesystem::file_size(folder() / "new"), 0u);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && argv[1] == std::string_view(HoldSwitch))
        return hold(argv[2], argv[3]);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
