// A configuration that is followed while another process rewrites its file: norqstd-config-follower [seconds [seed]].
//
// The writer saves in place of others, renames new files over the old one, removes and makes it anew, and is killed at
// random moments. The follower reports what it hears and what it has. Every state of the file is whole in itself, so a
// half-read file, a lost event or a view that is not the file's ends the program with a report.

#include "config/ConfigurationFile.h"
#include "config/ConfigurationListener.h"
#include "config/NorqConfig.h"
#include "exception/NorqException.h"
#include "support/Limits.h"

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using norq_std::ConfigurationChangeEvent;
using norq_std::ConfigurationFile;
using norq_std::File;
using norq_std::NorqConfig;
using norq_std::NorqException;
using norq_std::WString;
using Clock = std::chrono::steady_clock;
using Random = std::mt19937_64;

constexpr int KEYS = 40; // of every whole state, next to those that come and go

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "config follower: %s\n", what.c_str());
    std::_Exit(1);
}

std::size_t pick(Random& random, std::size_t low, std::size_t high) {
    return std::uniform_int_distribution<std::size_t>(low, high)(random);
}

WString widen(const std::string& text) { return {text.begin(), text.end()}; }

File fileOf(const fs::path& path) { return File(widen(path.string())); }

/// A whole state: all keys have the value of one number, and as many keys come and go as the number says.
void fill(ConfigurationFile& config, std::size_t number) {
    const WString value = widen(std::to_string(number) + std::string(number % 200, '.'));
    config.clear();
    for (int i = 0; i < KEYS; ++i)
        config.setValue(u"key" + widen(std::to_string(i)), value, i % 2 == 0 ? u"even" : u"odd");
    for (std::size_t i = 0; i < number % 7; ++i)
        config.setValue(u"guest" + widen(std::to_string(i)), value, u"guests");
}

/// Writes states until it is killed.
[[noreturn]] void writeForever(const fs::path& path, std::uint64_t seed) {
    Random random(seed);
    const fs::path beside = path.string() + "." + std::to_string(getpid());
    for (;;) {
        ConfigurationFile config(fileOf(path), nullptr);
        fill(config, random() % 1'000'000);
        try {
            switch (pick(random, 0, 9)) {
            case 0:
                fs::remove(path);
                break;
            case 1:
            case 2:
            case 3:
                config.setPath(fileOf(beside));
                config.save();
                fs::rename(beside, path);
                break;
            default:
                config.save();
            }
        } catch (const NorqException&) { // somebody reads it at the moment
        }
        std::this_thread::sleep_for(std::chrono::microseconds(pick(random, 0, 3000)));
    }
}

using Content = std::map<std::pair<WString, WString>, WString>;

/// What events alone say the content is.
class Follower : public norq_std::ConfigurationListener {
public:
    void onConfigChange(const ConfigurationChangeEvent& event) override {
        const std::lock_guard guard(mutex);
        const std::pair key(event.getSection(), event.getKey());
        const bool known = content.contains(key);
        if (known != (event.getEventType() != ConfigurationChangeEvent::Added))
            fail("an event does not follow from those before it");
        if (event.getEventType() == ConfigurationChangeEvent::Removed)
            content.erase(key);
        else
            content[key] = event.getValue();
        ++count;
        changed.notify_all();
    }

    std::uint64_t events() {
        const std::lock_guard guard(mutex);
        return count;
    }
    /// Waits until the events add up to this content.
    void awaitContent(const Content& expected) {
        std::unique_lock guard(mutex);
        if (!changed.wait_for(guard, norqstd_test::longLimit(), [&] { return content == expected; }))
            fail("the final state was not told");
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    Content content;
    std::uint64_t count = 0;
};

/// Looks at what each reload brings, before anybody hears of it.
class WatchedConfig : public NorqConfig {
public:
    using NorqConfig::NorqConfig;
    ~WatchedConfig() override { endWatching(); }

    void onFileCreated(const File& file) override {
        check([&] { NorqConfig::onFileCreated(file); });
    }
    void onFileContentChange(const File& file) override {
        check([&] { NorqConfig::onFileContentChange(file); });
    }

    std::uint64_t reloads = 0;

private:
    template <class F>
    void check(F reload) {
        reload();
        requireWhole();
        ++reloads;
    }

    void requireWhole() const {
        WString value;
        std::size_t keys = 0;
        for (const WString& section : getSectionNames())
            for (const WString& found : getValues(section)) {
                if (++keys > 1 && found != value)
                    fail("two states were mixed");
                value = found;
            }
        const std::size_t number = std::strtoul(std::string(value.begin(), value.end()).c_str(), nullptr, 10);
        if (keys != 0 && (keys != KEYS + number % 7 || value.size() != std::to_string(number).size() + number % 200))
            fail("a half-read file was taken over");
    }
};

Content contentOf(const norq_std::Configuration& config) {
    Content content;
    for (const WString& section : config.getSectionNames())
        for (const WString& key : config.getKeys(section))
            content[{section, key}] = config.getValue(key, section);
    return content;
}

/// This program again, as the writer.
pid_t startWriter(const fs::path& path, std::uint64_t seed) {
    const std::string text = std::to_string(seed);
    const pid_t writer = fork();
    if (writer == 0) {
        execl("/proc/self/exe", "config-writer", "write", path.c_str(), text.c_str(), nullptr);
        _exit(127);
    }
    return writer;
}

void run(const fs::path& folder, std::chrono::seconds duration, Random& random) {
    const fs::path path = folder / "live.cfg";
    WatchedConfig config(fileOf(path).getPath());
    const auto follower = std::make_shared<Follower>();
    config.addConfigurationListener(follower);
    std::size_t killed = 0;
    for (const Clock::time_point end = Clock::now() + duration; Clock::now() < end; ++killed) {
        const pid_t writer = startWriter(path, random());
        std::this_thread::sleep_for(std::chrono::microseconds(pick(random, 0, 200'000)));
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);

        // Whatever it left, another writer can go on at once; every so often the follower gets time to be equal to it.
        if (killed % 8 == 7) {
            ConfigurationFile last(fileOf(path), nullptr);
            fill(last, 1'401'399 + 1'400 * killed); // larger than any that a writer left: size and time are looked at
            for (bool saved = false; !saved;)       // until the follower does not read it
                try {
                    last.save();
                    saved = true;
                } catch (const NorqException&) {
                    std::this_thread::yield();
                }
            follower->awaitContent(contentOf(last));
            if (contentOf(config) != contentOf(last))
                fail("the view is not the file's");
        }
    }
    std::printf("%zu writers were killed, %llu events were told\n", killed,
                static_cast<unsigned long long>(follower->events()));
    config.removeConfigurationListener(follower);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::string(argv[1]) == "write")
        writeForever(argv[2], std::strtoull(argv[3], nullptr, 10));
    const std::chrono::seconds duration(argc > 1 ? std::strtol(argv[1], nullptr, 10) : 5);
    Random random(argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()());
    std::string folder = (fs::temp_directory_path() / "norqstd-follower-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr)
        fail("no folder");
    run(folder, duration, random);
    fs::remove_all(folder);
}
