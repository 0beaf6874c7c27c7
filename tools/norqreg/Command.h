#pragma once

#include "Failure.h"
#include "Text.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace norqreg {

struct Option {
    const char* name;
    const char* value; ///< what it takes, as the help calls it; null for a switch
    const char* help;
};

struct Invocation;

/// What an argument is, for whoever completes it.
enum class Argument : std::uint8_t { KEY, NAME, VALUE, FILE, FOLDER, ANY };

/// One of the words behind the program's name. Everything that is told about a command comes from here.
struct Command {
    const char* name;
    const char* synopsis; ///< its arguments
    const char* summary;  ///< one line
    const char* details;  ///< more lines, may be empty
    std::vector<Option> options;
    std::vector<Argument> arguments; ///< the most it takes; the last kind again and again where it takes any number
    std::size_t leastArguments;
    bool takesMore; ///< any number of arguments
    ExitStatus (*run)(const Invocation&);
};

/// A command with what was given to it.
struct Invocation {
    const Command& command;
    std::vector<WString> arguments;
    std::map<std::string, WString, std::less<>> options; ///< those that were given, a switch with an empty value

    bool has(std::string_view option) const { return options.find(option) != options.end(); }
    std::optional<WString> argument(std::size_t index) const {
        return index < arguments.size() ? std::optional(arguments[index]) : std::nullopt;
    }
    /// The number that was given to an option. Throws `Failure` for anything but 0 to 2^31 - 1.
    std::optional<std::int32_t> number(std::string_view option) const;
};

/// In the order of the help.
const std::vector<Command>& commands();
/// Null if there is none of that name.
const Command* findCommand(std::string_view name);

std::string helpOfProgram();
std::string helpOf(const Command& command);

/// Throws `Failure` (`WRONG_USAGE`).
Invocation parse(const Command& command, const std::vector<std::string>& words);

// The commands.
ExitStatus get(const Invocation& invocation);
ExitStatus set(const Invocation& invocation);
ExitStatus remove(const Invocation& invocation);
ExitStatus list(const Invocation& invocation);
ExitStatus tree(const Invocation& invocation);
ExitStatus exportKey(const Invocation& invocation);
ExitStatus importFile(const Invocation& invocation);
ExitStatus watch(const Invocation& invocation);
ExitStatus addJvms(const Invocation& invocation);
/// For the shell's completion: what may stand in the place of the last of the words behind the program's name.
ExitStatus complete(const std::vector<std::string>& words);

} // namespace norqreg
