// Configurations beside SimpleIni, GLib's key files and Boost's property tree, on the same files: loading, saving, and
// a random look-up and change, with 1,000 to 100,000 keys in one section and in 100. The files lie in memory (/dev/shm)
// where there is such a place, so that a row measures the library and not the disk. A loading row includes the release
// of what was loaded before. The counter `per_key` of loading and saving shows that time grows with the keys and not
// faster.
#include "config/ConfigurationFile.h"
#include "config/IniConfigurationSerializer.h"
#include "file/File.h"

#define SI_CONVERT_ICU // as its package is built
#include <SimpleIni.h>
#include <benchmark/benchmark.h>
#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <glib.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using boost::property_tree::ptree;
using norq_std::ConfigurationFile;
using norq_std::File;
using norq_std::WString;

WString widen(const std::string& text) { return WString(text.begin(), text.end()); }

/// A key as an implementation asks for it.
template <class Text>
struct Entry {
    Text section;
    Text key;
};

/// A file of settings as programs have them.
class Document {
public:
    Document(const std::filesystem::path& folder, std::size_t keys, std::size_t sections)
        : count(keys)
        , file((folder / std::to_string(keys)).string().append("-").append(std::to_string(sections)))
        , perSection(keys / sections) {
        std::ofstream out(file);
        Entry<std::string> entry;
        for (std::size_t i = 0; i < keys; ++i) {
            setEntry(i, entry);
            if (i % perSection == 0)
                out << '[' << entry.section << "]\n";
            out << entry.key << "=value of setting " << i << '\n';
        }
    }

    /// Calls `visit` with a key drawn at random, each with the same chance, for as long as the benchmark shall run.
    /// `prepare` gives a key the form in which the implementation wants it, a batch at a time and outside the measured
    /// time. So the text that is asked for is in the near cache, as with a caller who just made it, no store of such
    /// texts competes with the configuration for the caches, and a row measures the look-up alone.
    template <class Form, class Visit>
    void ask(benchmark::State& state, void (*prepare)(const Entry<std::string>&, Form&), Visit visit) {
        std::vector<Form> batch(BATCH);
        Entry<std::string> entry;
        std::uniform_int_distribution<std::size_t> draw(0, count - 1);
        while (state.KeepRunningBatch(BATCH)) {
            state.PauseTiming();
            for (Form& prepared : batch) {
                setEntry(draw(random), entry);
                prepare(entry, prepared);
            }
            state.ResumeTiming();
            for (const Form& prepared : batch)
                visit(prepared);
        }
    }

    const std::size_t count;
    const std::string file;

private:
    static constexpr benchmark::IterationCount BATCH = 500;

    void setEntry(std::size_t number, Entry<std::string>& entry) const {
        entry.section.assign("section ").append(std::to_string(number / perSection));
        entry.key.assign("component.setting").append(std::to_string(number));
    }

    const std::size_t perSection;
    std::minstd_rand random{1};
};

void asNarrow(const Entry<std::string>& entry, Entry<std::string>& narrow) { narrow = entry; }
void asWide(const Entry<std::string>& entry, Entry<WString>& wide) {
    wide.section.assign(entry.section.begin(), entry.section.end());
    wide.key.assign(entry.key.begin(), entry.key.end());
}
void asPath(const Entry<std::string>& entry, ptree::path_type& path) {
    path = {entry.section + '\1' + entry.key, '\1'};
}

struct FreeKeyFile {
    void operator()(GKeyFile* keyFile) const { g_key_file_free(keyFile); }
};
using KeyFile = std::unique_ptr<GKeyFile, FreeKeyFile>;

KeyFile loadKeyFile(const std::string& file) {
    KeyFile keyFile(g_key_file_new());
    if (!g_key_file_load_from_file(keyFile.get(), file.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr))
        std::abort();
    return keyFile;
}

std::unique_ptr<CSimpleIniCaseA> loadSimpleIni(const std::string& file) {
    auto ini = std::make_unique<CSimpleIniCaseA>();
    if (ini->LoadFile(file.c_str()) != SI_OK)
        std::abort();
    return ini;
}

ptree loadTree(const std::string& file) {
    ptree tree;
    boost::property_tree::read_ini(file, tree);
    return tree;
}

std::unique_ptr<ConfigurationFile> openOurs(const std::string& file) {
    return std::make_unique<ConfigurationFile>(File(widen(file)), nullptr);
}
std::unique_ptr<ConfigurationFile> loadOurs(const std::string& file) {
    auto ours = openOurs(file);
    ours->load();
    return ours;
}

const char* alternate() {
    static bool turn = false;
    return (turn = !turn) ? "one value or" : "another value";
}

using Body = std::function<void(Document&, benchmark::State&)>;

void addRow(const std::string& name, Document& document, bool perKey, const Body& body) {
    benchmark::RegisterBenchmark(name.c_str(), [&document, perKey, body](benchmark::State& state) {
        body(document, state);
        if (perKey)
            state.counters["per_key"] =
                benchmark::Counter(static_cast<double>(document.count),
                                   benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    });
}

void addLoad(const std::string& topic, Document& document) {
    addRow(topic + "/ours", document, true, [](Document& d, benchmark::State& state) {
        const auto ours = openOurs(d.file);
        for (auto _ : state)
            ours->load();
    });
    addRow(topic + "/simpleini", document, true, [](Document& d, benchmark::State& state) {
        for (auto _ : state)
            loadSimpleIni(d.file);
    });
    addRow(topic + "/glib", document, true, [](Document& d, benchmark::State& state) {
        for (auto _ : state)
            loadKeyFile(d.file);
    });
    addRow(topic + "/property_tree", document, true, [](Document& d, benchmark::State& state) {
        for (auto _ : state)
            loadTree(d.file);
    });
}

void addLookUp(const std::string& topic, Document& document) {
    addRow(topic + "/ours", document, false, [](Document& d, benchmark::State& state) {
        const auto ours = loadOurs(d.file);
        d.ask(state, asWide,
              [&](const Entry<WString>& entry) { benchmark::DoNotOptimize(ours->getValue(entry.key, entry.section)); });
    });
    addRow(topic + "/simpleini", document, false, [](Document& d, benchmark::State& state) {
        const auto ini = loadSimpleIni(d.file);
        d.ask(state, asNarrow, [&](const Entry<std::string>& entry) {
            benchmark::DoNotOptimize(ini->GetValue(entry.section.c_str(), entry.key.c_str()));
        });
    });
    addRow(topic + "/glib", document, false, [](Document& d, benchmark::State& state) {
        const KeyFile keyFile = loadKeyFile(d.file);
        d.ask(state, asNarrow, [&](const Entry<std::string>& entry) {
            g_free(g_key_file_get_value(keyFile.get(), entry.section.c_str(), entry.key.c_str(), nullptr));
        });
    });
    addRow(topic + "/property_tree", document, false, [](Document& d, benchmark::State& state) {
        const ptree tree = loadTree(d.file);
        d.ask(state, asPath,
              [&](const ptree::path_type& path) { benchmark::DoNotOptimize(tree.get<std::string>(path)); });
    });
}

void addSet(const std::string& topic, Document& document) {
    addRow(topic + "/ours", document, false, [](Document& d, benchmark::State& state) {
        const auto ours = loadOurs(d.file);
        const WString values[] = {u"one value or", u"another value"};
        std::size_t turn = 0;
        d.ask(state, asWide,
              [&](const Entry<WString>& entry) { ours->setValue(entry.key, values[turn ^= 1], entry.section); });
    });
    addRow(topic + "/simpleini", document, false, [](Document& d, benchmark::State& state) {
        const auto ini = loadSimpleIni(d.file);
        d.ask(state, asNarrow, [&](const Entry<std::string>& entry) {
            ini->SetValue(entry.section.c_str(), entry.key.c_str(), alternate());
        });
    });
    addRow(topic + "/glib", document, false, [](Document& d, benchmark::State& state) {
        const KeyFile keyFile = loadKeyFile(d.file);
        d.ask(state, asNarrow, [&](const Entry<std::string>& entry) {
            g_key_file_set_value(keyFile.get(), entry.section.c_str(), entry.key.c_str(), alternate());
        });
    });
    addRow(topic + "/property_tree", document, false, [](Document& d, benchmark::State& state) {
        ptree tree = loadTree(d.file);
        d.ask(state, asPath, [&](const ptree::path_type& path) { tree.put(path, alternate()); });
    });
}

void addSave(const std::string& topic, Document& document) {
    addRow(topic + "/ours", document, true, [](Document& d, benchmark::State& state) {
        const auto ours = loadOurs(d.file);
        ours->setPath(File(widen(d.file + ".saved")));
        for (auto _ : state)
            ours->save();
    });
    addRow(topic + "/simpleini", document, true, [](Document& d, benchmark::State& state) {
        const auto ini = loadSimpleIni(d.file);
        for (auto _ : state)
            ini->SaveFile((d.file + ".saved").c_str());
    });
    addRow(topic + "/glib", document, true, [](Document& d, benchmark::State& state) {
        const KeyFile keyFile = loadKeyFile(d.file);
        for (auto _ : state)
            g_key_file_save_to_file(keyFile.get(), (d.file + ".saved").c_str(), nullptr);
    });
    addRow(topic + "/property_tree", document, true, [](Document& d, benchmark::State& state) {
        const ptree tree = loadTree(d.file);
        for (auto _ : state)
            boost::property_tree::write_ini(d.file + ".saved", tree);
    });
}

std::filesystem::path makeFolder() {
    const std::filesystem::path memory = "/dev/shm";
    std::string name = ((std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path()) /
                        "norqstd-bench-config-XXXXXX")
                           .string();
    if (mkdtemp(name.data()) == nullptr)
        std::abort();
    return name;
}

} // namespace

int main(int argc, char** argv) {
    const std::filesystem::path folder = makeFolder();
    std::vector<std::unique_ptr<Document>> documents;
    for (const std::size_t sections : {1, 100})
        for (const std::size_t keys : {1'000, 10'000, 100'000}) {
            documents.push_back(std::make_unique<Document>(folder, keys, sections));
            const std::string shape =
                std::string(sections == 1 ? "/1_section/" : "/100_sections/").append(std::to_string(keys / 1000)) +
                "K_keys";
            addLoad("config_load" + shape, *documents.back());
            addLookUp("config_look_up" + shape, *documents.back());
            addSet("config_set" + shape, *documents.back());
            addSave("config_save" + shape, *documents.back());
        }
    benchmark::Initialize(&argc, argv);
    const bool understood = !benchmark::ReportUnrecognizedArguments(argc, argv);
    if (understood)
        benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(folder);
    return understood ? 0 : 1;
}
