// Preferences in files beside GLib's key files and QSettings in its ini format, on files of the same 100 keys: reading
// and changing a random key in memory, and changing one and bringing the file to its place, which all three do by
// replacing it whole; in memory (/dev/shm) and on the disk of the temporary folder. Then the time from a put and flush
// in one process to the listener in another, beside bare calls that do the same: write, rename, inotify, read.
#include "prefs/FilePreferencesFactory.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeListener.h"
#include "prefs/Preferences.h"

#include "base/UtfUtils.h"

#include <QSettings>
#include <benchmark/benchmark.h>
#include <glib.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <csignal>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using norq_std::Preferences;
using norq_std::WString;

constexpr std::size_t KEYS = 100;

WString widen(const std::string& text) { return norq_std::UtfUtils::utf8ToUtf16(text); }
std::string keyOf(std::size_t number) { return "component.setting" + std::to_string(number); }
std::string valueOf(std::size_t number) { return "value of setting " + std::to_string(number); }

std::int64_t now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void demand(bool condition) {
    if (!condition)
        std::abort();
}

/// A place for files, and the tree that lies in it.
struct Place {
    std::string name;
    fs::path folder;
    std::shared_ptr<Preferences> root;
};

/// The texts of an implementation's own kind, and the order in which they are used.
template <class Text, class Make>
struct Texts {
    explicit Texts(Make make) {
        std::mt19937 random(1);
        for (std::size_t i = 0; i < 1024; ++i) {
            const std::size_t number = random() % KEYS;
            keys.push_back(make(keyOf(number)));
            values.push_back(make(valueOf(number + (i % 2) * KEYS)));
        }
    }
    const Text& key() { return keys[position = (position + 1) % keys.size()]; }
    const Text& value() const { return values[position]; }

    std::vector<Text> keys;
    std::vector<Text> values;
    std::size_t position = 0;
};

// Each implementation: what reads a random key, what changes one, and what brings the file to its place.

class Ours {
public:
    explicit Ours(const Place& place)
        : node(place.root->node(u"ours")) {
        for (std::size_t i = 0; i < KEYS; ++i)
            node->put(widen(keyOf(i)), widen(valueOf(i)));
        node->flush();
    }
    void get() { benchmark::DoNotOptimize(node->get(texts.key(), none)); }
    void put() {
        const WString& key = texts.key();
        node->put(key, texts.value());
    }
    void flush() { node->flush(); }

private:
    const std::shared_ptr<Preferences> node;
    const WString none;
    Texts<WString, decltype(&widen)> texts{&widen};
};

class Glib {
public:
    explicit Glib(const Place& place)
        : path(place.folder / "glib.ini")
        , file(g_key_file_new()) {
        for (std::size_t i = 0; i < KEYS; ++i)
            g_key_file_set_string(file, "general", keyOf(i).c_str(), valueOf(i).c_str());
    }
    ~Glib() { g_key_file_free(file); }
    Glib(const Glib&) = delete;
    Glib& operator=(const Glib&) = delete;
    void get() { g_free(g_key_file_get_string(file, "general", texts.key().c_str(), nullptr)); }
    void put() {
        const std::string& key = texts.key();
        g_key_file_set_string(file, "general", key.c_str(), texts.value().c_str());
    }
    void flush() { demand(g_key_file_save_to_file(file, path.c_str(), nullptr)); }

private:
    static std::string same(const std::string& text) { return text; }

    const std::string path;
    GKeyFile* const file;
    Texts<std::string, decltype(&same)> texts{&same};
};

class QtSettings {
public:
    explicit QtSettings(const Place& place)
        : settings(QString::fromStdString((place.folder / "qt.ini").string()), QSettings::IniFormat) {
        for (std::size_t i = 0; i < KEYS; ++i)
            settings.setValue(QString::fromStdString(keyOf(i)), QString::fromStdString(valueOf(i)));
        settings.sync();
    }
    void get() { benchmark::DoNotOptimize(settings.value(texts.key()).toString()); }
    void put() {
        const QString& key = texts.key();
        settings.setValue(key, texts.value());
    }
    void flush() {
        settings.sync();
        demand(settings.status() == QSettings::NoError);
    }

private:
    QSettings settings;
    Texts<QString, decltype(&QString::fromStdString)> texts{&QString::fromStdString};
};

template <class Implementation>
void addRows(const Place& place, const std::string& implementation) {
    const auto add = [&](const std::string& topic, auto step) {
        return benchmark::RegisterBenchmark((topic + "/" + implementation).c_str(),
                                            [&place, step](benchmark::State& state) {
                                                Implementation subject(place);
                                                for (auto _ : state)
                                                    step(subject);
                                            });
    };
    if (place.name == "memory") {
        add("prefs_file/get", [](Implementation& subject) { subject.get(); });
        add("prefs_file/put", [](Implementation& subject) { subject.put(); });
    }
    add("prefs_file/put_flush/" + place.name, [](Implementation& subject) {
        subject.put();
        subject.flush();
    })->UseRealTime(); // which the disk takes
}

// ---- from process to process

/// Tells the time at which it was called to a pipe.
class Clock : public norq_std::PreferenceChangeListener {
public:
    void preferenceChange(const std::shared_ptr<norq_std::PreferenceChangeEvent>&) override { tell(); }
    static void tell() {
        const std::int64_t time = now();
        demand(write(STDOUT_FILENO, &time, sizeof time) == sizeof time);
    }
};

/// The other process: --listen FOLDER, or --inotify FOLDER.
int listen(const std::string& role, const std::string& folder) {
    if (role == "--listen") {
        setenv("USERPROFILE", folder.c_str(), 1);
        norq_std::FilePreferencesFactory().userRoot()->node(u"told")->addPreferenceChangeListener(
            std::make_shared<Clock>());
        Clock::tell();
        for (;;)
            pause();
    }
    const int watch = inotify_init1(IN_CLOEXEC);
    demand(watch >= 0 && inotify_add_watch(watch, folder.c_str(), IN_MOVED_TO) >= 0);
    Clock::tell();
    for (char buffer[4096]; read(watch, buffer, sizeof buffer) > 0;) {
        const int file = open((folder + "/bare").c_str(), O_RDONLY | O_CLOEXEC);
        demand(file >= 0 && read(file, buffer, sizeof buffer) > 0);
        close(file);
        Clock::tell();
    }
    return EXIT_FAILURE;
}

class OtherProcess {
public:
    OtherProcess(const std::string& role, const std::string& folder) {
        int ends[2];
        demand(pipe(ends) == 0);
        process = fork();
        if (process == 0) {
            dup2(ends[1], STDOUT_FILENO);
            execl("/proc/self/exe", "norqstd-bench-prefs", role.c_str(), folder.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        times = ends[0];
        next(); // it is ready
    }
    ~OtherProcess() {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        close(times);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    std::int64_t next() const {
        std::int64_t time = 0;
        demand(read(times, &time, sizeof time) == sizeof time);
        return time;
    }

private:
    pid_t process = -1;
    int times = -1;
};

void replaceBare(const std::string& folder, std::int64_t number) {
    const std::string text = "key=" + std::to_string(number) + "\n";
    const std::string temporary = folder + "/new";
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    demand(file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
           fdatasync(file) == 0 && close(file) == 0 && rename(temporary.c_str(), (folder + "/bare").c_str()) == 0);
}

template <class Change>
void timeToListener(benchmark::State& state, const OtherProcess& other, Change change) {
    std::vector<double> seconds;
    std::int64_t number = 0;
    for (auto _ : state) {
        const std::int64_t begin = now();
        change(++number);
        seconds.push_back(static_cast<double>(other.next() - begin) * 1e-9);
        state.SetIterationTime(seconds.back());
    }
    std::sort(seconds.begin(), seconds.end());
    state.counters["p50_ms"] = seconds[seconds.size() / 2] * 1e3;
    state.counters["p99_ms"] = seconds[seconds.size() * 99 / 100] * 1e3;
}

void addLatency(const Place& place) {
    const std::string topic = "prefs_file/put_flush_to_listener/" + place.name;
    benchmark::RegisterBenchmark((topic + "/ours").c_str(), [&place](benchmark::State& state) {
        const auto node = place.root->node(u"told");
        const OtherProcess other("--listen", place.folder.string());
        std::int64_t begin = now(); // no value of an earlier run comes again
        timeToListener(state, other, [&](std::int64_t number) {
            node->putLongLong(u"key", begin + number);
            node->flush();
        });
    })->UseManualTime();
    benchmark::RegisterBenchmark((topic + "/bare_inotify").c_str(), [&place](benchmark::State& state) {
        const OtherProcess other("--inotify", place.folder.string());
        timeToListener(state, other, [&](std::int64_t number) { replaceBare(place.folder.string(), number); });
    })->UseManualTime();
}

fs::path makeFolder(const fs::path& where) {
    std::string name =
        ((fs::is_directory(where) ? where : fs::temp_directory_path()) / "norqstd-prefs-XXXXXX").string();
    demand(mkdtemp(name.data()) != nullptr);
    return name;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && (argv[1] == std::string("--listen") || argv[1] == std::string("--inotify")))
        return listen(argv[1], argv[2]);
    Place memory{"memory", makeFolder("/dev/shm"), nullptr};
    Place disk{"disk", makeFolder(fs::temp_directory_path()), nullptr};
    setenv("USERPROFILE", memory.folder.c_str(), 1);
    setenv("NORQSTD_PREFS_SYSTEM_ROOT", disk.folder.c_str(), 1);
    memory.root = norq_std::FilePreferencesFactory().userRoot();
    disk.root = norq_std::FilePreferencesFactory().systemRoot();
    for (const Place* place : {&memory, &disk}) {
        addRows<Ours>(*place, "ours");
        addRows<Glib>(*place, "glib");
        addRows<QtSettings>(*place, "qsettings");
        addLatency(*place);
    }
    benchmark::Initialize(&argc, argv);
    const bool understood = !benchmark::ReportUnrecognizedArguments(argc, argv);
    if (understood)
        benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    for (const Place* place : {&memory, &disk})
        fs::remove_all(place->folder);
    return understood ? 0 : 1;
}
