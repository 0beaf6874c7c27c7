// Export and import of preferences as XML, beside Xerces-C's bare DOM parser on the same file, with 1,000 to 100,000
// keys, 100 in each node. The tree lies in memory, and so do the files (/dev/shm) where there is such a place: a row
// measures the exchange and not a store. An import puts into an empty tree, whose making is not measured. The counter
// `per_key` shows that time grows with the keys and not faster. The rows of the file backend, which writes a node's
// file at each of its entries, have no peer; they are there to tell what that costs.
#include "MemoryTree.h"

#include "prefs/Preferences.h"

#include <benchmark/benchmark.h>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace {

using norq_std::Preferences;
using norq_std::WString;
using norqstd_test::MemoryTree;

constexpr int KEYS_OF_A_NODE = 100;

WString widen(const std::string& text) { return WString(text.begin(), text.end()); }

class Folder {
public:
    Folder() {
        const char* const memory = "/dev/shm";
        std::filesystem::path parent = std::filesystem::temp_directory_path();
        if (std::filesystem::is_directory(memory))
            parent = memory;
        std::string name = (parent / "norqstd-bench-XXXXXX").string();
        path = mkdtemp(name.data());
    }
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::filesystem::path path;
};

void fill(Preferences& root, int keys) {
    for (int i = 0; i < keys; ++i) {
        const std::string number = std::to_string(i);
        root.node(widen("service/node" + std::to_string(i / KEYS_OF_A_NODE)))
            ->put(widen("key." + number), widen("a value of usual length, number " + number));
    }
}

/// The file of an export of this many keys.
std::string exported(const Folder& folder, int keys) {
    const std::string file = folder.path / ("export" + std::to_string(keys));
    if (!std::filesystem::exists(file)) {
        const MemoryTree tree;
        fill(*tree.user, keys);
        tree.user->exportSubtree(widen(file));
    }
    return file;
}

void count(benchmark::State& state, int keys) {
    state.counters["per_key"] =
        benchmark::Counter(keys, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void exportOurs(benchmark::State& state, const Folder& folder, int keys) {
    const MemoryTree tree;
    fill(*tree.user, keys);
    const WString file = widen((folder.path / "out").string());
    for (auto _ : state)
        tree.user->exportSubtree(file);
    count(state, keys);
}

void importOurs(benchmark::State& state, const Folder& folder, int keys) {
    const WString file = widen(exported(folder, keys));
    auto tree = std::make_unique<MemoryTree>();
    for (auto _ : state) {
        Preferences::importPreferences(file);
        state.PauseTiming();
        tree.reset();
        tree = std::make_unique<MemoryTree>();
        state.ResumeTiming();
    }
    count(state, keys);
}

void parseBare(benchmark::State& state, const Folder& folder, int keys) {
    const std::string file = exported(folder, keys);
    for (auto _ : state) {
        xercesc::XercesDOMParser parser;
        parser.setValidationScheme(xercesc::XercesDOMParser::Val_Never);
        parser.setLoadExternalDTD(false);
        parser.parse(file.c_str());
        benchmark::DoNotOptimize(parser.getDocument()->getDocumentElement());
    }
    count(state, keys);
}

/// Into a store, of keys that all are in one node.
void importToStore(benchmark::State& state, const Folder& folder, const WString& factory, int keys) {
    const std::string file = folder.path / ("node" + std::to_string(keys));
    {
        const MemoryTree tree;
        for (int i = 0; i < keys; ++i)
            tree.user->node(u"bench/node")->put(widen("key." + std::to_string(i)), u"a value of usual length");
        tree.user->exportSubtree(widen(file));
    }
    norq_std::NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", factory);
    for (auto _ : state) {
        Preferences::importPreferences(widen(file));
        state.PauseTiming();
        Preferences::userRoot()->node(u"bench")->removeNode();
        state.ResumeTiming();
    }
    count(state, keys);
}

} // namespace

int main(int argc, char** argv) {
    xercesc::XMLPlatformUtils::Initialize();
    const Folder folder;
    setenv("USERPROFILE", folder.path.c_str(), 1); // where files keep the user's tree
    setenv("NORQSTD_REGISTRY_USER", folder.path.c_str(), 1);
    const auto add = [](const std::string& name, std::function<void(benchmark::State&)> row) {
        benchmark::RegisterBenchmark(name.c_str(), std::move(row))->Unit(benchmark::kMillisecond);
    };
    for (const int keys : {1000, 10'000, 100'000}) {
        const std::string size = "/" + std::to_string(keys) + "_keys/";
        for (const char* way : {"export", "import"})
            add(std::string("prefs_xml/") + way + size + "xerces_dom",
                [&folder, keys](benchmark::State& state) { parseBare(state, folder, keys); });
        add("prefs_xml/export" + size + "ours",
            [&folder, keys](benchmark::State& state) { exportOurs(state, folder, keys); });
        add("prefs_xml/import" + size + "ours",
            [&folder, keys](benchmark::State& state) { importOurs(state, folder, keys); });
    }
    for (const auto& [name, factory] :
         {std::pair<std::string, WString>("files", u"norq_std.FilePreferencesFactory"),
          std::pair<std::string, WString>("registry", u"norq_std.RegistryPreferencesFactory")})
        for (const int keys : {100, 1000})
            add("prefs_xml/import_to_" + name + "/" + std::to_string(keys) + "_keys/ours",
                [&folder, factory = factory, keys](benchmark::State& state) {
                    importToStore(state, folder, factory, keys);
                });
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
