// The registry beside bare SQLite that does the same transaction on the same tables: one prepared statement, one
// connection, the same log and the same level of synchronization. In memory (a folder of shared memory), and on the
// disk of the temporary folder with a write that waits for it.

#include "platform/Registry.h"
#include "windows/NorqRegistry.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using namespace norq_std;
namespace fs = std::filesystem;
namespace platform = norq_std_internal::platform;

constexpr int Keys = 1000;
constexpr int ValuesOfKey = 10;

WString wide(int number) {
    const std::string text = std::to_string(number);
    return {text.begin(), text.end()};
}

/// A hive with ten thousand values, in a folder that goes with it.
class Hive {
public:
    Hive(const fs::path& parent, const char* synchronization) {
        std::string name = (parent / "norqstd-bench-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        folder = name;
        setenv("NORQSTD_REGISTRY_USER", folder.c_str(), 1);
        setenv("NORQSTD_REGISTRY_SYNC", "off", 1);
        fill();
        setenv("NORQSTD_REGISTRY_SYNC", synchronization, 1);
        platform::closeRegistryHives();
    }
    ~Hive() {
        platform::closeRegistryHives();
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    Hive(const Hive&) = delete;
    Hive& operator=(const Hive&) = delete;

    fs::path folder;

private:
    static void fill() {
        NorqRegistry registry;
        bool existed = false;
        for (int key = 0; key < Keys; ++key) {
            registry.createKey(existed, HKEY_CURRENT_USER, u"Software\\Bench\\" + wide(key), KEY_ALL_ACCESS, 0);
            for (int value = 0; value < ValuesOfKey; ++value)
                registry.setStrValue(u"Value " + wide(value), u"the text of a value, " + wide(value));
        }
    }
};

/// What a program would write that uses SQLite itself.
class Bare {
public:
    Bare(const fs::path& folder, const char* synchronization, const char* sql) {
        if (sqlite3_open((folder / "user.db").c_str(), &connection) != SQLITE_OK)
            std::abort();
        const std::string level = std::string("PRAGMA synchronous=") + synchronization;
        sqlite3_exec(connection, level.c_str(), nullptr, nullptr, nullptr);
        if (sqlite3_prepare_v2(connection, "SELECT id FROM key WHERE folded='500'", -1, &statement, nullptr) !=
                SQLITE_OK ||
            sqlite3_step(statement) != SQLITE_ROW)
            std::abort();
        key = sqlite3_column_int64(statement, 0);
        sqlite3_finalize(statement);
        if (sqlite3_prepare_v2(connection, sql, -1, &statement, nullptr) != SQLITE_OK)
            std::abort();
    }
    ~Bare() {
        sqlite3_finalize(statement);
        sqlite3_close(connection);
    }
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;

    sqlite3* connection = nullptr;
    sqlite3_stmt* statement = nullptr;
    std::int64_t key = 0; ///< of what the benchmarks use
};

const WString KeyPath = u"Software\\Bench\\500";
const WString ValueName = u"Value 5";

struct Setting {
    fs::path parent;
    const char* synchronization;
};

void getOurs(benchmark::State& state, const Setting& setting) {
    const Hive hive(setting.parent, setting.synchronization);
    NorqRegistry registry;
    registry.openKey(HKEY_CURRENT_USER, KeyPath, KEY_READ);
    for (auto _ : state)
        benchmark::DoNotOptimize(registry.getStrValue(ValueName));
}

void getBare(benchmark::State& state, const Setting& setting) {
    const Hive hive(setting.parent, setting.synchronization);
    Bare bare(hive.folder, setting.synchronization, "SELECT type,data FROM value WHERE key=?1 AND folded=?2");
    for (auto _ : state) {
        sqlite3_bind_int64(bare.statement, 1, bare.key);
        sqlite3_bind_text(bare.statement, 2, "value 5", -1, SQLITE_STATIC);
        if (sqlite3_step(bare.statement) != SQLITE_ROW)
            state.SkipWithError("no row");
        const auto* text = static_cast<const char16_t*>(sqlite3_column_text16(bare.statement, 1));
        benchmark::DoNotOptimize(WString(text == nullptr ? u"" : text));
        sqlite3_reset(bare.statement);
    }
}

/// With the opening of the key, as preferences do it.
void openAndGetOurs(benchmark::State& state, const Setting& setting) {
    const Hive hive(setting.parent, setting.synchronization);
    NorqRegistry registry;
    for (auto _ : state) {
        registry.openKey(HKEY_CURRENT_USER, KeyPath, KEY_READ);
        benchmark::DoNotOptimize(registry.getStrValue(ValueName));
        registry.closeKey();
    }
}

void putOurs(benchmark::State& state, const Setting& setting) {
    const Hive hive(setting.parent, setting.synchronization);
    NorqRegistry registry;
    registry.openKey(HKEY_CURRENT_USER, KeyPath, KEY_WRITE);
    int i = 0;
    for (auto _ : state)
        registry.setStrValue(ValueName, u"the text of a value, " + wide(++i % 10));
}

void openAndPutOurs(benchmark::State& state, const Setting& setting) {
    const Hive hive(setting.parent, setting.synchronization);
    NorqRegistry registry;
    int i = 0;
    for (auto _ : state) {
        registry.openKey(HKEY_CURRENT_USER, KeyPath, KEY_WRITE);
        registry.setStrValue(ValueName, u"the text of a value, " + wide(++i % 10));
        registry.closeKey();
    }
}

void putBare(benchmark::State& state, const Setting& setting) {
    const Hive hive(setting.parent, setting.synchronization);
    Bare bare(hive.folder, setting.synchronization,
              "INSERT INTO value(key,folded,name,changed,type,data) VALUES(?1,?2,?3,0,1,?4)"
              " ON CONFLICT(key,folded) DO UPDATE SET type=excluded.type,data=excluded.data");
    int i = 0;
    for (auto _ : state) {
        const WString text = u"the text of a value, " + wide(++i % 10);
        sqlite3_bind_int64(bare.statement, 1, bare.key);
        sqlite3_bind_text(bare.statement, 2, "value 5", -1, SQLITE_STATIC);
        sqlite3_bind_text(bare.statement, 3, "Value 5", -1, SQLITE_STATIC);
        sqlite3_bind_text16(bare.statement, 4, text.c_str(), -1, SQLITE_STATIC);
        if (sqlite3_step(bare.statement) != SQLITE_DONE)
            state.SkipWithError("not written");
        sqlite3_reset(bare.statement);
    }
}

} // namespace

int main(int argc, char** argv) {
    const Setting memory{fs::exists("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path(), "normal"};
    const Setting durable{fs::temp_directory_path(), "full"};
    const auto add = [](const std::string& topic, const char* who, auto function, const Setting& setting) {
        benchmark::RegisterBenchmark((topic + "/" + who).c_str(),
                                     [=](benchmark::State& state) { function(state, setting); });
    };
    for (const auto& [name, setting] : {std::pair{"memory", memory}, std::pair{"durable", durable}}) {
        const std::string topic = std::string("registry_store_get/") + name;
        add(topic, "ours", getOurs, setting);
        add(topic, "sqlite", getBare, setting);
        add(topic + ", opened each time", "ours", openAndGetOurs, setting);
        add(topic + ", opened each time", "sqlite", getBare, setting);
        const std::string put = std::string("registry_store_put/") + name;
        add(put, "ours", putOurs, setting);
        add(put, "sqlite", putBare, setting);
        add(put + ", opened each time", "ours", openAndPutOurs, setting);
        add(put + ", opened each time", "sqlite", putBare, setting);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
