#include "Command.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>
#include <limits>
#include <system_error>

namespace norqreg {
namespace {

constexpr Option HELP{"--help", nullptr, "tells this"};
constexpr Option JSON{"--json", nullptr, "one line of JSON"};

std::vector<Command> commandsOfValues() {
    using enum Argument;
    return {
        {"get",
         "KEY [NAME]",
         "Prints a value, or all values of a key.",
         "With NAME the value as it is and a line feed, else a line NAME = VALUE for each.",
         {JSON},
         {KEY, NAME},
         1,
         false,
         get},
        {"set",
         "KEY [NAME VALUE]",
         "Sets a value, and makes the key where it is not there.",
         "Without NAME and VALUE it makes the key alone.",
         {{"--int", nullptr, "VALUE is a number of 32 bits and stored as such, else as text"}},
         {KEY, NAME, VALUE},
         1,
         false,
         set},
        {"delete",
         "KEY [NAME]",
         "Deletes a value, or a key with its values.",
         "",
         {{"--recursive", nullptr, "the key may have keys below it, which go too"}},
         {KEY, NAME},
         1,
         false,
         remove},
        {"list",
         "[KEY]",
         "Lists the keys below a key, and its values.",
         "Keys end in a backslash. Without KEY it lists the hives.",
         {JSON},
         {KEY},
         0,
         false,
         list},
        {"tree",
         "[KEY]",
         "Prints a key with all that is below it.",
         "Without KEY both hives.",
         {JSON, {"--depth", "N", "goes down N levels, and no further"}},
         {KEY},
         0,
         false,
         tree},
    };
}

std::vector<Command> commandsOfKeys() {
    using enum Argument;
    return {
        {"export",
         "KEY FILE",
         "Writes a key, and all below it, to an XML file.",
         "The format has no escapes. What it could not give back is named, and then nothing is written.",
         {{"--force", nullptr, "writes it nevertheless"}, {"--node", nullptr, "the key alone, nothing below it"}},
         {KEY, FILE},
         2,
         false,
         exportKey},
        {"import",
         "FILE",
         "Adds what an XML file holds.",
         "Keys that are missing are made, values of the same name replaced; nothing is deleted.",
         {},
         {FILE},
         1,
         false,
         importFile},
        {"watch",
         "KEY",
         "Prints each change of the values of a key, when it happens.",
         "A line KEY: NAME = VALUE, or KEY: NAME deleted, for each; until it is interrupted.",
         {{"--subtree", nullptr, "of the keys below it too, and of those that are made later"},
          {"--count", "N", "ends after N changes"},
          {"--timeout", "MS", "ends after MS milliseconds, with status 6 if --count was given"},
          {"--json", nullptr, "a line of JSON for each change"}},
         {KEY},
         1,
         false,
         watch},
        {"add-jvms",
         "[FOLDER...]",
         "Registers the Java runtimes of this machine for the JVM bridge.",
         "Looks below /usr/lib/jvm, at JAVA_HOME, at the java of PATH, and at each FOLDER.",
         {JSON,
          {"--dry-run", nullptr, "registers nothing"},
          {"--prune", nullptr, "unregisters those that are not there any more"}},
         {FOLDER},
         0,
         true,
         addJvms},
    };
}

std::string columns(const std::vector<std::pair<std::string, std::string>>& rows) {
    std::size_t width = 0;
    for (const auto& [left, right] : rows)
        width = std::max(width, left.size());
    std::string text;
    for (const auto& [left, right] : rows)
        text.append("  ").append(left).append(width - left.size() + 2, ' ').append(right).append("\n");
    return text;
}

bool isOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

[[noreturn]] void failUsage(const Command& command, const std::string& what) {
    throw Failure(WRONG_USAGE, what + "; see norqreg " + command.name + " --help");
}

const Option& optionOf(const Command& command, std::string_view name) {
    if (name == HELP.name)
        return HELP;
    for (const Option& option : command.options)
        if (name == option.name)
            return option;
    failUsage(command, "unknown option '" + std::string(name) + "'");
}

} // namespace

std::optional<std::int32_t> Invocation::number(std::string_view option) const {
    const auto found = options.find(option);
    if (found == options.end())
        return std::nullopt;
    const std::string text = narrow(found->second);
    std::int32_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || value < 0)
        failUsage(command, std::string(option) + " takes a number, not '" + text + "'");
    return value;
}

const std::vector<Command>& commands() {
    static const std::vector<Command> all = [] {
        std::vector<Command> both = commandsOfValues();
        std::ranges::move(commandsOfKeys(), std::back_inserter(both));
        return both;
    }();
    return all;
}

const Command* findCommand(std::string_view name) {
    const auto& all = commands();
    const auto found = std::find_if(all.begin(), all.end(), [&](const Command& each) { return each.name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::string helpOfProgram() {
    std::vector<std::pair<std::string, std::string>> rows;
    for (const Command& command : commands())
        rows.emplace_back(std::string(command.name) + " " + command.synopsis, command.summary);
    return "Usage: norqreg COMMAND [OPTION...] [ARGUMENT...]\n\nLooks at the registry, changes it, and tells of "
           "changes.\n\n" +
           columns(rows) +
           "\nA KEY is HKEY_CURRENT_USER or HKEY_LOCAL_MACHINE, or HKCU or HKLM, and names behind backslashes or\n"
           "slashes: HKCU/Software/X. norqreg COMMAND --help tells more of a command, norqreg --version which this "
           "is;\n"
           "the manual is norqreg(1).\n\n"
           "Exit status: 0 done, 1 not found, 2 wrong usage, 3 access denied, 4 the store, a file or the output\n"
           "failed, 5 unsound data, 6 a watch timed out.\n";
}

std::string helpOf(const Command& command) {
    std::vector<std::pair<std::string, std::string>> rows;
    for (const Option& option : command.options)
        rows.emplace_back(std::string(option.name) + (option.value ? std::string(" ") + option.value : ""),
                          option.help);
    rows.emplace_back(HELP.name, HELP.help);
    std::string text = std::string("Usage: norqreg ") + command.name + " [OPTION...] " + command.synopsis + "\n\n" +
                       command.summary + "\n";
    if (*command.details != '\0')
        text += std::string(command.details) + "\n";
    return text + "\n" + columns(rows);
}

Invocation parse(const Command& command, const std::vector<std::string>& words) {
    Invocation invocation{command, {}, {}};
    bool onlyArguments = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (onlyArguments || !isOption(word)) {
            invocation.arguments.push_back(widen(word));
            continue;
        }
        if (word == "--") {
            onlyArguments = true;
            continue;
        }
        const auto equals = word.find('=');
        const Option& option = optionOf(command, std::string_view(word).substr(0, equals));
        WString value;
        if (option.value == nullptr && equals != std::string::npos)
            failUsage(command, std::string("option '") + option.name + "' takes no value");
        if (option.value != nullptr && equals != std::string::npos)
            value = widen(std::string_view(word).substr(equals + 1));
        else if (option.value != nullptr && ++i == words.size())
            failUsage(command, std::string("option '") + option.name + "' needs a value");
        else if (option.value != nullptr)
            value = widen(words[i]);
        invocation.options[option.name] = value;
    }
    if (invocation.has(HELP.name))
        return invocation;
    if (invocation.arguments.size() < command.leastArguments)
        failUsage(command, "an argument is missing");
    if (!command.takesMore && invocation.arguments.size() > command.arguments.size())
        failUsage(command, "there is an argument too many");
    return invocation;
}

} // namespace norqreg
