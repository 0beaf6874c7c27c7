// Any bytes as a file of preferences: it is read or refused by the one exception; what was read lies within the limits,
// reads the same again, and comes back through an export as far as the format can express it.
#include "MemoryTree.h"

#include "exception/NorqException.h"
#include "prefs/Preferences.h"
#include "prefs/PreferencesXmlReader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace norq_std;
using norqstd_test::MemoryTree;

void require(bool holds) {
    if (!holds)
        std::abort();
}

const std::string& file() {
    static const std::string path = [] {
        std::string folder = (std::filesystem::temp_directory_path() / "norqstd-fuzz-XXXXXX").string();
        require(mkdtemp(folder.data()) != nullptr);
        static const struct Cleaner {
            explicit Cleaner(std::string made)
                : folder(std::move(made)) {}
            ~Cleaner() { std::filesystem::remove_all(folder); }
            std::string folder;
        } cleaner(folder);
        return folder + "/p.xml";
    }();
    return path;
}

WString wideFile() { return WString(file().begin(), file().end()); }

bool import() {
    try {
        Preferences::importPreferences(wideFile());
        return true;
    } catch (const NorqInvalidPreferencesFormatException&) {
        return false;
    }
}

struct Tree {
    std::vector<WString> texts; // paths, keys and values
    bool isPlain = true;        // whether the format carries them
};

void list(const std::shared_ptr<Preferences>& node, std::size_t depth, Tree& tree) {
    const auto add = [&tree](const WString& text) {
        tree.texts.push_back(text);
        tree.isPlain = tree.isPlain && std::all_of(text.begin(), text.end(), [](WChar unit) {
                           return unit >= u' ' && unit != u'"' && unit != u'&' && unit != u'<' && unit < 0xD800;
                       });
    };
    require(depth <= PreferencesXmlReader::MAX_DEPTH);
    add(node->absolutePath());
    for (const WString& key : node->keys()) {
        const WString value = node->get(key, u"");
        require(!key.empty() && key.size() <= Preferences::MAX_PREF_KEY_LENGTH &&
                value.size() <= Preferences::MAX_PREF_VALUE_LENGTH);
        add(key);
        add(value);
    }
    for (const auto& child : std::static_pointer_cast<norqstd_test::MemoryPreferences>(node)->cachedChildren())
        list(child, depth + 1, tree);
}

Tree listed(const MemoryTree& tree) {
    Tree all;
    list(tree.user, 0, all);
    list(tree.system, 0, all);
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::ofstream(file(), std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<long>(size));
    const MemoryTree tree;
    const bool isRead = import();
    const Tree first = listed(tree);
    require(import() == isRead);
    require(listed(tree).texts == first.texts);
    if (!first.isPlain)
        return 0;
    tree.user->exportSubtree(wideFile());
    const MemoryTree other;
    require(import());
    tree.system->exportSubtree(wideFile());
    require(import());
    require(listed(other).texts == first.texts);
    return 0;
}
