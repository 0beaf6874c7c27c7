// list, tree.

#include "Command.h"
#include "Output.h"
#include "Store.h"

#include "base/JsonArray.h"
#include "base/JsonString.h"
#include "exception/NorqException.h"

#include <utility>

namespace norqreg {
namespace {

using norq_std::JsonArray;
using norq_std::JsonObject;

constexpr std::int32_t BOTTOMLESS = 1 << 30;
constexpr const char* STEP = "    ";

const KeyPath HIVES[] = {{Hive::CURRENT_USER, {}}, {Hive::LOCAL_MACHINE, {}}};

std::shared_ptr<JsonArray> toJson(const std::vector<WString>& names) {
    auto json = std::make_shared<JsonArray>();
    for (const WString& name : names)
        json->add(std::make_shared<norq_std::JsonString>(name));
    return json;
}

/// Goes down with a list of its own and not by recursion: keys may lie deep. Gives each key to `enter`, and `leave`s it
/// when all below it were given. A key that goes away meanwhile is passed over.
template <class Enter, class Leave>
void walk(const KeyPath& top, std::int32_t depth, const Enter& enter, const Leave& leave) {
    struct Level {
        KeyPath path;
        std::vector<WString> below;
        std::size_t next = 0;
    };
    std::vector<Level> levels;
    const auto open = [&](const KeyPath& path) {
        const Key key(path);
        auto below = levels.size() < static_cast<std::size_t>(depth) ? key.keys() : std::vector<WString>();
        enter(key, levels.size());
        levels.push_back({path, std::move(below)});
    };
    open(top);
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next == level.below.size()) {
            leave();
            levels.pop_back();
            continue;
        }
        const KeyPath path = level.path.child(level.below[level.next++]);
        try {
            open(path);
        } catch (const Failure&) {
        }
    }
}

void printTree(const KeyPath& top, std::int32_t depth) {
    const auto enter = [&](const Key& key, std::size_t level) {
        std::string indent;
        for (std::size_t i = 0; i < level; ++i)
            indent += STEP;
        const bool isTop = level == 0;
        printLine(indent + readable(isTop ? key.getPath().toText() : key.getPath().leaf()) + "\\");
        for (const auto& value : key.values())
            printLine(indent + STEP + describe(value));
    };
    walk(top, depth, enter, [] {});
}

std::shared_ptr<JsonObject> treeToJson(const KeyPath& top, std::int32_t depth) {
    std::vector<std::shared_ptr<JsonObject>> open;
    std::shared_ptr<JsonObject> whole;
    const auto enter = [&](const Key& key, std::size_t level) {
        auto json = std::make_shared<JsonObject>();
        if (level == 0)
            json->putString(u"key", key.getPath().toText());
        json->putString(u"name", key.getPath().leaf());
        json->put(u"values", valuesToJson(key.values()));
        json->put(u"keys", std::make_shared<JsonArray>());
        if (open.empty())
            whole = json;
        else
            open.back()->getArray(u"keys")->add(json);
        open.push_back(json);
    };
    walk(top, depth, enter, [&] { open.pop_back(); });
    return whole;
}

/// The hives that can be read, where none is named.
std::vector<KeyPath> topsOf(const Invocation& invocation) {
    if (const auto key = invocation.argument(0))
        return {KeyPath::parse(*key)};
    std::vector<KeyPath> tops;
    for (const KeyPath& hive : HIVES)
        if (Key::exists(hive))
            tops.push_back(hive);
    return tops;
}

} // namespace

ExitStatus list(const Invocation& invocation) {
    const bool isJson = invocation.has("--json");
    JsonObject json;
    if (!invocation.argument(0)) {
        std::vector<WString> names;
        for (const KeyPath& hive : HIVES)
            names.push_back(nameOf(hive.hive));
        json.put(u"keys", toJson(names));
        for (const WString& name : names)
            if (!isJson)
                printLine(readable(name) + "\\");
    } else {
        const Key key(KeyPath::parse(*invocation.argument(0)));
        const auto names = key.keys();
        const auto values = key.values();
        json.putString(u"key", key.getPath().toText());
        json.put(u"keys", toJson(names));
        json.put(u"values", valuesToJson(values));
        for (const WString& name : names)
            if (!isJson)
                printLine(readable(name) + "\\");
        for (const auto& value : values)
            if (!isJson)
                printLine(describe(value));
    }
    if (isJson)
        printLine(jsonLine(json));
    return DONE;
}

ExitStatus tree(const Invocation& invocation) {
    const std::int32_t depth = invocation.number("--depth").value_or(BOTTOMLESS);
    for (const KeyPath& top : topsOf(invocation)) {
        if (invocation.has("--json"))
            printLine(jsonLine(*treeToJson(top, depth)));
        else
            printTree(top, depth);
    }
    return DONE;
}

} // namespace norqreg
