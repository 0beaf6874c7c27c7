// add-jvms.

#include "Command.h"
#include "JavaRuntimes.h"
#include "Output.h"
#include "Store.h"

#include "base/JsonArray.h"

#include <algorithm>
#include <set>
#include <system_error>

namespace norqreg {
namespace {

namespace fs = std::filesystem;

// Where the JVM bridge looks: a key for each version.
const KeyPath RUNTIMES{Hive::LOCAL_MACHINE, u"SOFTWARE\\JavaSoft\\Java Runtime Environment"};
constexpr const WChar* HOME = u"JavaHome";
constexpr const WChar* LIBRARY = u"RuntimeLib";

/// What is told of a runtime.
struct Entry {
    std::string version;
    WString home;
    WString machine; ///< path of libjvm.so
    const char* state;
};

WString valueOf(const KeyPath& path, const WString& name) {
    try {
        return Key(path).get(name);
    } catch (const Failure& failure) {
        if (failure.getStatus() != NOT_FOUND)
            throw;
        return {};
    }
}

void registerRuntime(const KeyPath& path, const Entry& entry) {
    const auto key = Key::make(path);
    key->get().setStrValue(HOME, entry.home);
    key->get().setStrValue(LIBRARY, entry.machine);
}

/// Registers what is new, unless it is to write nothing. Of two of one version the first counts.
std::vector<Entry> registerAll(const std::vector<JavaRuntime>& runtimes, bool isDry) {
    std::vector<Entry> entries;
    std::set<std::string> versions;
    for (const JavaRuntime& runtime : runtimes) {
        Entry entry{runtime.version, widen(runtime.home.string()), widen(runtime.machine.string()), "left out"};
        const KeyPath path = RUNTIMES.child(widen(runtime.version));
        if (versions.insert(runtime.version).second) {
            const WString home = valueOf(path, HOME);
            const bool isSame = home == entry.home && valueOf(path, LIBRARY) == entry.machine;
            entry.state = isSame ? "unchanged" : home.empty() ? "added" : "changed";
            if (!isSame && !isDry)
                registerRuntime(path, entry);
        }
        entries.push_back(std::move(entry));
    }
    return entries;
}

/// Those that are registered and whose library is not there, or that have another version by now.
std::vector<Entry> pruneAll(bool isDry) {
    std::vector<Entry> entries;
    if (!Key::exists(RUNTIMES))
        return entries;
    for (const WString& version : Key(RUNTIMES).keys()) {
        const KeyPath path = RUNTIMES.child(version);
        Entry entry{narrow(version), valueOf(path, HOME), valueOf(path, LIBRARY), "removed"};
        const auto there = findJavaRuntimes({narrow(entry.home)});
        const auto isIt = [&](const JavaRuntime& each) {
            return each.version == entry.version && each.machine == fs::path(narrow(entry.machine));
        };
        if (std::any_of(there.begin(), there.end(), isIt))
            continue;
        if (!isDry)
            norq_std::NorqRegistry().deleteKey(handleOf(path.hive), path.path);
        entries.push_back(std::move(entry));
    }
    return entries;
}

void print(const std::vector<Entry>& entries, bool isJson) {
    auto list = std::make_shared<norq_std::JsonArray>();
    for (const Entry& entry : entries) {
        auto json = std::make_shared<norq_std::JsonObject>();
        json->putString(u"version", widen(entry.version));
        json->putString(u"javaHome", entry.home);
        json->putString(u"runtimeLib", entry.machine);
        json->putString(u"state", widen(entry.state));
        list->add(json);
        if (!isJson)
            printLine(readable(widen(entry.version)) + ": " + readable(entry.home) + " " + entry.state);
    }
    norq_std::JsonObject whole;
    whole.put(u"runtimes", list);
    if (isJson)
        printLine(jsonLine(whole));
}

} // namespace

ExitStatus addJvms(const Invocation& invocation) {
    std::vector<fs::path> places = usualJavaPlaces();
    for (const WString& folder : invocation.arguments)
        places.emplace_back(narrow(folder));
    const auto runtimes = findJavaRuntimes(places);
    const bool isDry = invocation.has("--dry-run");
    std::vector<Entry> entries = registerAll(runtimes, isDry);
    if (invocation.has("--prune"))
        for (Entry& entry : pruneAll(isDry))
            entries.push_back(std::move(entry));
    print(entries, invocation.has("--json"));
    if (runtimes.empty())
        throw Failure(NOT_FOUND, "there is no Java runtime here");
    return DONE;
}

} // namespace norqreg
