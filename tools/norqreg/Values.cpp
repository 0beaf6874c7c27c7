// get, set, delete.

#include "Command.h"
#include "Output.h"
#include "Store.h"

#include <charconv>
#include <system_error>

namespace norqreg {
namespace {

// What a value can be read back from.
constexpr std::size_t LONGEST_NAME = 80;
constexpr std::size_t LONGEST_TEXT = 8192;

void checkLength(const char* what, const WString& text, std::size_t longest) {
    if (text.size() > longest)
        throw Failure(WRONG_USAGE, std::string("the ") + what + " is " + std::to_string(text.size()) +
                                       " units long, which is more than " + std::to_string(longest));
}

void checkName(const WString& name) {
    if (name.empty())
        throw Failure(WRONG_USAGE, "the name of a value is empty");
    checkLength("name", name, LONGEST_NAME);
}

std::int32_t parseInt(const WString& text) {
    const std::string digits = narrow(text);
    std::int32_t value = 0;
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (digits.empty() || parsed.ec != std::errc() || parsed.ptr != digits.data() + digits.size())
        throw Failure(WRONG_USAGE, "'" + digits + "' is not a whole number of 32 bits");
    return value;
}

void deleteKey(const KeyPath& path, bool isRecursive) {
    if (path.isHive())
        throw Failure(WRONG_USAGE, "a hive cannot be deleted");
    const std::size_t below = Key(path).keys().size();
    if (below > 0 && !isRecursive)
        throw Failure(WRONG_USAGE, path.toReadable() + " has keys below it (" + std::to_string(below) +
                                       "); --recursive deletes them too");
    norq_std::NorqRegistry().deleteKey(handleOf(path.hive), path.path);
}

} // namespace

ExitStatus get(const Invocation& invocation) {
    const Key key(KeyPath::parse(invocation.arguments[0]));
    const auto name = invocation.argument(1);
    if (name)
        checkName(*name);
    if (invocation.has("--json")) {
        norq_std::JsonObject json;
        json.putString(u"key", key.getPath().toText());
        if (name) {
            json.putString(u"name", *name);
            json.putString(u"value", key.get(*name));
        } else {
            json.put(u"values", valuesToJson(key.values()));
        }
        printLine(jsonLine(json));
    } else if (name) {
        printLine(narrow(key.get(*name)));
    } else {
        for (const auto& value : key.values())
            printLine(describe(value));
    }
    return DONE;
}

ExitStatus set(const Invocation& invocation) {
    const KeyPath path = KeyPath::parse(invocation.arguments[0]);
    const auto name = invocation.argument(1);
    const auto text = invocation.argument(2);
    if (name && !text)
        throw Failure(WRONG_USAGE, "the value is missing; see norqreg set --help");
    if (!name) {
        Key::make(path);
        return DONE;
    }
    checkName(*name);
    checkLength("value", *text, LONGEST_TEXT);
    if (invocation.has("--int")) {
        const std::int32_t number = parseInt(*text);
        Key::make(path)->get().setIntValue(*name, number);
    } else {
        Key::make(path)->get().setStrValue(*name, *text);
    }
    return DONE;
}

ExitStatus remove(const Invocation& invocation) {
    const KeyPath path = KeyPath::parse(invocation.arguments[0]);
    const auto name = invocation.argument(1);
    if (!name) {
        deleteKey(path, invocation.has("--recursive"));
        return DONE;
    }
    checkName(*name);
    Key(path, norq_std::KEY_WRITE).remove(*name);
    return DONE;
}

} // namespace norqreg
