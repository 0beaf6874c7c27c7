// Preferences in the registry beside bare SQLite, QSettings and GLib's key files, with a thousand keys in one node. All
// read what any process has written last, and have written when they return: QSettings synchronises each time, a key
// file is read and written anew. "memory" lies in /dev/shm and outlives the process; "disk" outlives the machine, as
// far as each implementation sees to that. Bare SQLite has the same settings and does one statement a reading, and one
// in a transaction of its own a writing.
//
// Then from a put in one process to the call of a listener in another, from its end on an idle machine, beside a bare
// commit of SQLite and inotify; and what a thousand monitored keys cost a process that does nothing for two seconds.

#include "base/UtfUtils.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeListener.h"
#include "prefs/RegistryPreferences.h"

#include <QSettings>
#include <benchmark/benchmark.h>
#include <glib.h>
#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using norq_std::Preferences;
using norq_std::RegistryPreferences;
using norq_std::WString;
using Clock = std::chrono::steady_clock; // the same in all processes

constexpr std::size_t Keys = 1000;
constexpr std::size_t Step = 617; // visits every key in an order that is not that of the names

std::string keyName(std::size_t i) { return "setting" + std::to_string(i); }
std::string textOf(std::size_t i) { return "what the setting has, number " + std::to_string(i); }

std::string folderIn(const fs::path& parent) {
    std::string path = (parent / "norqstd-bench-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr)
        std::abort();
    return path;
}

/// Where the files of this program lie.
struct Places {
    std::string memory = folderIn("/dev/shm");
    std::string disk = folderIn(fs::current_path());
};

void require(bool condition) {
    if (!condition)
        std::abort();
}

// ---- the implementations: get and put of the key with a number
// -------------------------------------------------------

class Ours {
public:
    Ours(const std::string&, bool durable) // the hives lie there already
        : node((durable ? RegistryPreferences::getSystemRoot() : RegistryPreferences::getUserRoot())->node(u"a/b")) {
        for (std::size_t i = 0; i < Keys; ++i)
            names.push_back(norq_std::UtfUtils::utf8ToUtf16(keyName(i)));
        for (int turn = 0; turn < 2; ++turn)
            texts.push_back(norq_std::UtfUtils::utf8ToUtf16(textOf(static_cast<std::size_t>(turn))));
    }
    bool get(std::size_t i) const { return node->get(names[i], absent) != absent; }
    void put(std::size_t i, std::size_t turn) const { node->put(names[i], texts[turn % 2]); }

private:
    const std::shared_ptr<Preferences> node;
    const WString absent = u"-";
    std::vector<WString> names;
    std::vector<WString> texts;
};

class Sqlite {
public:
    Sqlite(const std::string& folder, bool durable) {
        require(sqlite3_open((folder + "/bare.db").c_str(), &connection) == SQLITE_OK);
        run("PRAGMA journal_mode=WAL");
        run(durable ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
        run("CREATE TABLE IF NOT EXISTS key(id INTEGER PRIMARY KEY, path TEXT UNIQUE)");
        run("CREATE TABLE IF NOT EXISTS value(key INTEGER, name TEXT, data TEXT, PRIMARY KEY(key,name)) WITHOUT ROWID");
        run("INSERT OR IGNORE INTO key(path) VALUES('a/b')");
        prepare("SELECT data FROM value WHERE key=(SELECT id FROM key WHERE path='a/b') AND name=?1", getStatement);
        prepare("INSERT INTO value VALUES((SELECT id FROM key WHERE path='a/b'),?1,?2) "
                "ON CONFLICT DO UPDATE SET data=excluded.data",
                putStatement);
        prepare("BEGIN IMMEDIATE", begin);
        prepare("COMMIT", commit);
        for (std::size_t i = 0; i < Keys; ++i)
            names.push_back(keyName(i));
        texts = {textOf(0), textOf(1)};
    }
    ~Sqlite() {
        for (sqlite3_stmt* statement : {getStatement, putStatement, begin, commit})
            sqlite3_finalize(statement);
        sqlite3_close(connection);
    }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    bool get(std::size_t i) {
        bind(getStatement, 1, names[i]);
        const bool found = sqlite3_step(getStatement) == SQLITE_ROW;
        if (found)
            value.assign(reinterpret_cast<const char*>(sqlite3_column_text(getStatement, 0)));
        sqlite3_reset(getStatement);
        return found;
    }
    void put(std::size_t i, std::size_t turn) {
        step(begin);
        bind(putStatement, 1, names[i]);
        bind(putStatement, 2, texts[turn % 2]);
        step(putStatement);
        step(commit);
    }

private:
    void run(const char* sql) { require(sqlite3_exec(connection, sql, nullptr, nullptr, nullptr) == SQLITE_OK); }
    void prepare(const char* sql, sqlite3_stmt*& statement) {
        require(sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) == SQLITE_OK);
    }
    static void bind(sqlite3_stmt* statement, int at, const std::string& text) {
        sqlite3_bind_text(statement, at, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }
    static void step(sqlite3_stmt* statement) {
        require(sqlite3_step(statement) == SQLITE_DONE);
        sqlite3_reset(statement);
    }

    sqlite3* connection = nullptr;
    sqlite3_stmt* getStatement = nullptr;
    sqlite3_stmt* putStatement = nullptr;
    sqlite3_stmt* begin = nullptr;
    sqlite3_stmt* commit = nullptr;
    std::vector<std::string> names;
    std::vector<std::string> texts;
    std::string value;
};

class QtIni {
public:
    QtIni(const std::string& folder, bool)
        : settings(QString::fromStdString(folder + "/qt.ini"), QSettings::IniFormat) {
        for (std::size_t i = 0; i < Keys; ++i)
            names.push_back(QString::fromStdString("a/b/" + keyName(i)));
        texts = {QString::fromStdString(textOf(0)), QString::fromStdString(textOf(1))};
    }
    bool get(std::size_t i) {
        settings.sync();
        return !settings.value(names[i]).toString().isNull();
    }
    void put(std::size_t i, std::size_t turn) {
        settings.setValue(names[i], texts[turn % 2]);
        settings.sync();
    }

private:
    QSettings settings;
    std::vector<QString> names;
    std::vector<QString> texts;
};

class GKey {
public:
    GKey(const std::string& folder, bool)
        : path(folder + "/glib.ini") {
        for (std::size_t i = 0; i < Keys; ++i)
            names.push_back(keyName(i));
        texts = {textOf(0), textOf(1)};
    }
    ~GKey() { g_key_file_unref(file); }
    GKey(const GKey&) = delete;
    GKey& operator=(const GKey&) = delete;

    bool get(std::size_t i) {
        g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_NONE, nullptr);
        gchar* const text = g_key_file_get_string(file, "a/b", names[i].c_str(), nullptr);
        g_free(text);
        return text != nullptr;
    }
    void put(std::size_t i, std::size_t turn) {
        g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_NONE, nullptr);
        g_key_file_set_string(file, "a/b", names[i].c_str(), texts[turn % 2].c_str());
        require(g_key_file_save_to_file(file, path.c_str(), nullptr) != 0);
    }

private:
    const std::string path;
    GKeyFile* const file = g_key_file_new();
    std::vector<std::string> names;
    std::vector<std::string> texts;
};

template <class Store>
void getValues(benchmark::State& state, const std::string& folder, bool durable) {
    Store store(folder, durable);
    if (!store.get(Keys - 1))
        for (std::size_t i = 0; i < Keys; ++i)
            store.put(i, 0);
    std::size_t i = 0;
    for (auto _ : state) {
        if (!store.get(i))
            return state.SkipWithError("a key is lost");
        i = (i + Step) % Keys;
    }
}

template <class Store>
void putValues(benchmark::State& state, const std::string& folder, bool durable) {
    // Goes on where the last repetition ended: SQLite writes nothing for a text that is there already.
    static std::map<std::string, std::size_t> positions;
    std::size_t& n = positions[folder];
    Store store(folder, durable);
    for (auto _ : state) {
        store.put(n * Step % Keys, n / Keys + n); // another text than it has
        ++n;
    }
}

// ---- from one process to another
// -------------------------------------------------------------------------------------

/// A process that runs a step at each command, from a time on that it tells.
class Partner {
public:
    /// Before any thread is there.
    explicit Partner(const std::function<void()>& step) {
        std::array<int, 2> there{};
        std::array<int, 2> back{};
        require(::pipe(there.data()) == 0 && ::pipe(back.data()) == 0);
        process = ::fork();
        if (process == 0) {
            ::close(there[1]);
            char command = 0;
            while (::read(there[0], &command, 1) == 1) {
                const Clock::rep begin = Clock::now().time_since_epoch().count();
                step();
                require(::write(back[1], &begin, sizeof begin) == sizeof begin);
            }
            _exit(0);
        }
        ::close(there[0]);
        ::close(back[1]);
        commands = there[1];
        times = back[0];
    }
    ~Partner() {
        ::close(commands);
        ::close(times);
        ::waitpid(process, nullptr, 0);
    }
    Partner(const Partner&) = delete;
    Partner& operator=(const Partner&) = delete;

    void command() const { require(::write(commands, "x", 1) == 1); }
    Clock::time_point began() const {
        Clock::rep begin = 0;
        require(::read(times, &begin, sizeof begin) == sizeof begin);
        return Clock::time_point(Clock::duration(begin));
    }

private:
    pid_t process = -1;
    int commands = -1;
    int times = -1;
};

struct Listener : norq_std::PreferenceChangeListener {
    void preferenceChange(const std::shared_ptr<norq_std::PreferenceChangeEvent>&) override {
        at = Clock::now();
        told.release();
    }
    Clock::time_point at;
    std::binary_semaphore told{0};
};

void idle() { std::this_thread::sleep_for(std::chrono::milliseconds(2)); }

void setTime(benchmark::State& state, Clock::duration time) {
    state.SetIterationTime(std::chrono::duration<double>(time).count());
}

void putToListener(benchmark::State& state, const Partner& partner) {
    const auto node = RegistryPreferences::getUserRoot()->node(u"notified");
    const auto listener = std::make_shared<Listener>();
    node->addPreferenceChangeListener(listener);
    for (auto _ : state) {
        idle();
        partner.command();
        listener->told.acquire();
        setTime(state, listener->at - partner.began());
    }
    node->removePreferenceChangeListener(listener);
}

void commitToInotify(benchmark::State& state, const Partner& partner, const std::string& folder) {
    partner.command(); // from then on there is a log
    partner.began();
    const int instance = inotify_init1(IN_CLOEXEC);
    require(inotify_add_watch(instance, (folder + "/bare.db-wal").c_str(), IN_MODIFY) >= 0);
    std::array<char, 4096> events{};
    for (auto _ : state) {
        idle();
        partner.command();
        require(::read(instance, events.data(), events.size()) > 0);
        const Clock::time_point at = Clock::now();
        setTime(state, at - partner.began());
        pollfd more{instance, POLLIN, 0}; // a commit writes more than once
        while (::poll(&more, 1, 1) == 1)
            require(::read(instance, events.data(), events.size()) > 0);
    }
    ::close(instance);
}

// ---- doing nothing
// ---------------------------------------------------------------------------------------------------

Clock::duration processorTime() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto of = [](const timeval& time) {
        return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

/// The processor time of two idle seconds.
void idleWithKeys(benchmark::State& state, std::size_t keys) {
    const auto parent = RegistryPreferences::getUserRoot()->node(u"idle");
    const auto listener = std::make_shared<Listener>();
    std::vector<std::shared_ptr<Preferences>> nodes;
    for (std::size_t i = 0; i < keys; ++i) {
        nodes.push_back(parent->node(norq_std::UtfUtils::utf8ToUtf16(std::to_string(i))));
        nodes.back()->addPreferenceChangeListener(listener);
    }
    std::this_thread::sleep_for(std::chrono::seconds(3)); // what the making of the nodes entails is no idleness
    for (auto _ : state) {
        const Clock::duration before = processorTime();
        std::this_thread::sleep_for(std::chrono::seconds(2));
        setTime(state, processorTime() - before + std::chrono::nanoseconds(1));
    }
    for (const auto& node : nodes)
        node->removePreferenceChangeListener(listener);
}

/// A row that stands for a goal which is a time.
void limit(benchmark::State& state, Clock::duration time) {
    for (auto _ : state)
        setTime(state, time);
}

template <class Store>
void registerStore(const Places& places, const char* name) {
    const auto add = [name](const char* topic, auto body) {
        benchmark::RegisterBenchmark((std::string("registry_") + topic + '/' + name).c_str(), body)->UseRealTime();
    };
    add("get/memory", [&places](benchmark::State& state) { getValues<Store>(state, places.memory, false); });
    add("put/memory", [&places](benchmark::State& state) { putValues<Store>(state, places.memory, false); });
    add("put/disk", [&places](benchmark::State& state) { putValues<Store>(state, places.disk, true); });
}

} // namespace

int main(int argc, char** argv) {
    const Places places;
    setenv("NORQSTD_REGISTRY_USER", places.memory.c_str(), 1);
    setenv("NORQSTD_REGISTRY_MACHINE", places.disk.c_str(), 1);
    {
        const Partner putter(
            [n = 0]() mutable { RegistryPreferences::getUserRoot()->node(u"notified")->putInt(u"n", ++n); });
        const Partner committer([&places, store = std::shared_ptr<Sqlite>(), n = std::size_t{0}]() mutable {
            if (!store)
                store = std::make_shared<Sqlite>(places.memory, false);
            store->put(0, ++n);
        });
        RegistryPreferences::getUserRoot();
        setenv("NORQSTD_REGISTRY_SYNC", "full", 1); // for the hive that is opened now
        RegistryPreferences::getSystemRoot();
        unsetenv("NORQSTD_REGISTRY_SYNC");
        registerStore<Ours>(places, "ours");
        registerStore<Sqlite>(places, "sqlite");
        registerStore<QtIni>(places, "qsettings");
        registerStore<GKey>(places, "gkeyfile");
        const auto timed = [](const char* name, auto body) {
            return benchmark::RegisterBenchmark(name, body)->UseManualTime();
        };
        timed("registry_notify/ours", [&putter](benchmark::State& state) { putToListener(state, putter); });
        timed("registry_notify/sqlite_inotify",
              [&](benchmark::State& state) { commitToInotify(state, committer, places.memory); });
        timed("registry_notify/5 milliseconds",
              [](benchmark::State& state) { limit(state, std::chrono::milliseconds(5)); });
        timed("registry_idle/1000 keys/ours", [](benchmark::State& state) {
            idleWithKeys(state, Keys);
        })->Iterations(1);
        timed("registry_idle/1000 keys/a millisecond", [](benchmark::State& state) {
            limit(state, std::chrono::milliseconds(1));
        })->Iterations(1);
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
    }
    fs::remove_all(places.memory);
    fs::remove_all(places.disk);
    return 0;
}
