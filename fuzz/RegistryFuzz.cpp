// The registry's store. The first byte of an input chooses: operations on names and values, compared with a model in
// memory; or a sound database with bytes of the input written over it, or over its log, which may be refused in any way
// but must not do any harm.

#include "platform/Registry.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
namespace platform = norq_std_internal::platform;
using norq_std::HKey;
using norq_std::HKEY_CURRENT_USER;

constexpr std::uint32_t Everything = norq_std::KEY_ALL_ACCESS;

/// Each twice, in two cases or as the same.
constexpr char16_t Units[][2] = {{u'a', u'A'}, {u'z', u'Z'},     {u'ä', u'Ä'},     {u'σ', u'ς'},
                                 {u'ß', u'ß'}, {0xD801, 0xD801}, {0xDC28, 0xDC00}, {u' ', u' '}};

void check(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "%s differs from the model\n", what);
    std::abort();
}

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : at(data)
        , end(data + size) {}

    bool empty() const { return at == end; }
    std::uint8_t byte() { return at == end ? std::uint8_t{0} : *at++; }
    std::string bytes(std::size_t count) {
        std::string text;
        while (count-- > 0 && at != end)
            text += static_cast<char>(*at++);
        return text;
    }
    /// A name and what the model finds it by. The case of a half of a pair depends on the other half, so that halves
    /// come in pairs of one case or alone with a blank behind them.
    std::pair<std::u16string, std::u16string> name() {
        std::pair<std::u16string, std::u16string> result;
        for (int length = 1 + byte() % 3; length > 0; --length) {
            const std::uint8_t choice = byte();
            const std::size_t index = choice % std::size(Units);
            if (index == 5 && (choice & 0x40) != 0) {
                const bool upper = (choice & 0x80) != 0;
                result.first += {char16_t{0xD801}, upper ? char16_t{0xDC00} : char16_t{0xDC28}};
                result.second += {char16_t{0xD801}, char16_t{0xDC28}};
            } else if (index == 5 || index == 6) {
                result.first += {u' ', Units[index][0], u' '};
                result.second += {u' ', Units[index][0], u' '};
            } else {
                result.first += Units[index][choice >> 7];
                result.second += Units[index][0];
            }
        }
        return result;
    }

private:
    const std::uint8_t* at;
    const std::uint8_t* end;
};

const fs::path& folder() {
    static const fs::path path = [] {
        std::string name = (fs::exists("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string()) +
                           std::string("/norqstd-fuzz-XXXXXX");
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        setenv("NORQSTD_REGISTRY_USER", name.c_str(), 1);
        setenv("NORQSTD_REGISTRY_SYNC", "off", 1);
        std::atexit([] {
            platform::closeRegistryHives();
            std::error_code ignored;
            fs::remove_all(folder(), ignored);
        });
        return fs::path(name);
    }();
    return path;
}

void clear() {
    HKey root = 0;
    std::vector<std::u16string> names;
    check(platform::openRegistryKey(HKEY_CURRENT_USER, u"", Everything, root) == 0, "the root");
    check(platform::listRegistryKeys(root, names) == 0, "a listing");
    for (const std::u16string& name : names)
        check(platform::deleteRegistryTree(HKEY_CURRENT_USER, name) == 0, "a removal");
    platform::closeRegistryKey(root);
}

// ---- operations

struct ModelValue {
    std::u16string name;
    platform::RegistryValue value;
};
struct ModelKey {
    std::u16string name;
    std::map<std::u16string, ModelKey> keys;
    std::map<std::u16string, ModelValue> values;
};

struct Path {
    std::u16string text;
    std::vector<std::pair<std::u16string, std::u16string>> names;
};

Path pathFrom(Input& input) {
    Path path;
    for (int depth = 1 + input.byte() % 3; depth > 0; --depth) {
        path.names.push_back(input.name());
        path.text += (path.text.empty() ? u"" : u"\\") + path.names.back().first;
    }
    return path;
}

ModelKey* find(ModelKey& root, const Path& path) {
    ModelKey* key = &root;
    for (const auto& [name, folded] : path.names) {
        const auto next = key->keys.find(folded);
        if (next == key->keys.end())
            return nullptr;
        key = &next->second;
    }
    return key;
}

void create(ModelKey& root, const Path& path) {
    const bool was = find(root, path) != nullptr;
    HKey key = 0;
    bool existed = !was;
    check(platform::createRegistryKey(HKEY_CURRENT_USER, path.text, Everything, key, existed) == 0, "a creation");
    check(existed == was, "what existed");
    platform::closeRegistryKey(key);
    ModelKey* made = &root;
    for (const auto& [name, folded] : path.names) {
        made = &made->keys[folded];
        if (made->name.empty())
            made->name = name;
    }
}

void remove(ModelKey& root, const Path& path) {
    const bool was = find(root, path) != nullptr;
    check(platform::deleteRegistryTree(HKEY_CURRENT_USER, path.text) == (was ? 0 : 2), "a removal");
    Path parent = path;
    parent.names.pop_back();
    if (was)
        find(root, parent)->keys.erase(path.names.back().second);
}

void compare(HKey key, ModelKey& model) {
    std::vector<std::u16string> names;
    std::vector<platform::RegistryEntry> entries;
    check(platform::listRegistryKeys(key, names) == 0 && names.size() == model.keys.size(), "a listing of keys");
    check(platform::listRegistryValues(key, entries) == 0 && entries.size() == model.values.size(),
          "a listing of values");
    for (auto& [folded, below] : model.keys) {
        bool found = false;
        for (const std::u16string& name : names)
            found = found || name == below.name;
        check(found, "the name of a key");
    }
    for (auto& [folded, value] : model.values) {
        platform::RegistryValue read;
        check(platform::getRegistryValue(key, folded, read) == 0 && read == value.value, "a value");
        bool found = false;
        for (const platform::RegistryEntry& entry : entries)
            found = found || (entry.name == value.name && entry.value == value.value);
        check(found, "a listed value");
    }
}

void use(ModelKey& root, const Path& path, Input& input) {
    ModelKey* const model = find(root, path);
    HKey key = 0;
    check(platform::openRegistryKey(HKEY_CURRENT_USER, path.text, Everything, key) == (model != nullptr ? 0 : 2),
          "an opening");
    if (model == nullptr)
        return;
    for (int steps = input.byte() % 4; steps > 0; --steps) {
        const auto [name, folded] = input.name();
        const std::uint8_t choice = input.byte();
        if (choice < 64) {
            const bool was = model->values.erase(folded) > 0;
            check(platform::deleteRegistryValue(key, name) == (was ? 0 : 2), "a removal of a value");
            continue;
        }
        const std::uint32_t type = choice % 3 == 0 ? norq_std::REG_SZ : choice % 3 == 1 ? norq_std::REG_DWORD : choice;
        std::string bytes = input.bytes(input.byte() % 24);
        if (choice >= 192)
            bytes.append(2, '\0');
        check(platform::setRegistryValue(key, name, type, bytes) == 0, "a writing");
        model->values.try_emplace(folded, ModelValue{name, {}}).first->second.value = {type, bytes};
    }
    compare(key, *model);
    platform::closeRegistryKey(key);
}

void runOperations(Input& input) {
    clear();
    ModelKey root;
    for (int steps = 0; steps < 40 && !input.empty(); ++steps) {
        const std::uint8_t choice = input.byte();
        const Path path = pathFrom(input);
        if (choice < 80)
            create(root, path);
        else if (choice < 110)
            remove(root, path);
        else if (choice < 114)
            platform::closeRegistryHives();
        else
            use(root, path, input);
    }
}

// ---- hostile files

std::string content(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void overwrite(std::string& image, Input& input) {
    while (!input.empty() && !image.empty()) {
        const std::size_t place = (std::size_t{input.byte()} << 8 | input.byte()) * (input.byte() % 4 == 0 ? 1 : 7);
        const std::string bytes = input.bytes(1 + input.byte() % 8);
        if (place < image.size())
            image.replace(place, std::min(bytes.size(), image.size() - place), bytes);
    }
}

void runHostile(Input& input, bool log) {
    static const auto sound = [] {
        clear();
        HKey key = 0;
        bool existed = false;
        for (const char16_t* path : {u"a\\b", u"a\\c", u"d"}) {
            if (platform::createRegistryKey(HKEY_CURRENT_USER, path, Everything, key, existed) != 0)
                std::abort();
            for (const char16_t* name : {u"x", u"y", u"z"})
                if (platform::setRegistryValue(key, name, norq_std::REG_DWORD, "1234") != 0)
                    std::abort();
            platform::closeRegistryKey(key);
        }
        platform::closeRegistryHives();
        return std::pair(content(folder() / "user.db"), content(folder() / "user.db-wal"));
    }();
    platform::closeRegistryHives();
    auto [database, journal] = sound;
    overwrite(log ? journal : database, input);
    fs::remove(folder() / "user.db-shm");
    std::ofstream(folder() / "user.db", std::ios::binary) << database;
    std::ofstream(folder() / "user.db-wal", std::ios::binary) << journal;
    HKey key = 0;
    bool existed = false;
    std::vector<std::u16string> names;
    std::vector<platform::RegistryEntry> entries;
    platform::RegistryValue value;
    for (const char16_t* path : {u"", u"a", u"a\\b", u"d"}) {
        if (platform::openRegistryKey(HKEY_CURRENT_USER, path, Everything, key) != 0)
            continue;
        static_cast<void>(platform::listRegistryKeys(key, names));
        static_cast<void>(platform::listRegistryValues(key, entries));
        static_cast<void>(platform::getRegistryValue(key, u"x", value));
        static_cast<void>(platform::setRegistryValue(key, u"new", norq_std::REG_SZ, "t\0\0"));
        static_cast<void>(platform::deleteRegistryValue(key, u"y"));
        platform::closeRegistryKey(key);
    }
    static_cast<void>(platform::deleteRegistryTree(HKEY_CURRENT_USER, u"a"));
    if (platform::createRegistryKey(HKEY_CURRENT_USER, u"e\\f", Everything, key, existed) == 0)
        platform::closeRegistryKey(key);
    platform::closeRegistryHives();
    for (const char* suffix : {"", "-wal", "-shm", "-changes"})
        fs::remove(folder().string() + "/user.db" + suffix);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    folder();
    Input input(data, size);
    const std::uint8_t choice = input.byte();
    if (choice % 4 == 3)
        runHostile(input, (choice & 4) != 0);
    else
        runOperations(input);
    return 0;
}
