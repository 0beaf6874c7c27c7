#pragma once

#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeListener.h"
#include "prefs/RegistryPreferences.h"
#include "support/FileCalls.h"
#include "support/Files.h"
#include "support/Rerun.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace norqstd_test {

/// Reports each call as "key=value".
class Heard : public norq_std::PreferenceChangeListener, public Reports {
public:
    void preferenceChange(const std::shared_ptr<norq_std::PreferenceChangeEvent>& event) override {
        reportAndRun(norq_std::UtfUtils::utf16ToUtf8(event->getKey() + u"=" + event->getNewValue()));
    }
};

/// Another process that runs `body` once it is told to. Made before anything that the test does with threads.
class OtherProcess {
public:
    template <class Body>
    explicit OtherProcess(const Body& body) {
        int ends[2] = {-1, -1};
        if (::pipe(ends) != 0)
            return;
        process = ::fork();
        if (process == 0) {
            ::close(ends[1]);
            char go = 0;
            const bool told = ::read(ends[0], &go, 1) == 1;
            _exit(told ? body() : 0);
        }
        ::close(ends[0]);
        door = ends[1];
    }
    ~OtherProcess() {
        if (process > 0)
            finish();
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    void go() const { EXPECT_EQ(::write(door, "g", 1), 1); }
    void kill() const { ::kill(process, SIGKILL); }
    /// The result of the body, below 0 if it died.
    int finish() {
        ::close(door);
        int status = 0;
        ::waitpid(std::exchange(process, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    int run() {
        go();
        return finish();
    }

private:
    pid_t process = -1;
    int door = -1;
};

/// The hives of this program lie in a temporary folder, and each test has a node of its own in the user's.
class RegistryTest : public testing::Test {
protected:
    static void SetUpTestSuite() { hives(); }

    void SetUp() override {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        name = wide(test->name());
        node = user()->node(name);
    }
    void TearDown() override {
        if (!Rerun::inside() && user()->nodeExists(name))
            user()->node(name)->removeNode();
    }

    static std::shared_ptr<norq_std::Preferences> user() { return norq_std::RegistryPreferences::getUserRoot(); }

    static const std::filesystem::path& hives() {
        static const Folder folder;
        return folder.path;
    }

    norq_std::WString name;
    std::shared_ptr<norq_std::Preferences> node;

private:
    struct Folder {
        Folder() {
            std::string made = (std::filesystem::temp_directory_path() / "norqstd-hives-XXXXXX").string();
            path = ::mkdtemp(made.data());
            ::setenv("NORQSTD_REGISTRY_USER", (path / "user").c_str(), Rerun::inside() ? 0 : 1);
            ::setenv("NORQSTD_REGISTRY_MACHINE", (path / "machine").c_str(), 1);
        }
        ~Folder() {
            if (::getpid() == owner)
                std::filesystem::remove_all(path);
        }
        std::filesystem::path path;
        const pid_t owner = ::getpid();
    };
};

} // namespace norqstd_test
