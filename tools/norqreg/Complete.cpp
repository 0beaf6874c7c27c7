// What the shell's completion asks.

#include "Command.h"
#include "Output.h"
#include "Store.h"

#include "exception/NorqException.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace norqreg {
namespace {

/// Collects what begins as the word does; names of the registry without regard to case.
class Candidates {
public:
    explicit Candidates(std::string itsWord)
        : word(std::move(itsWord)) {}
    void add(const std::string& candidate) {
        if (candidate.starts_with(word))
            found.push_back(candidate);
    }
    void addName(const WString& name, const std::string& inFront, const WString& begin, const std::string& behind) {
        if (isSameName(name.substr(0, begin.size()), begin))
            found.push_back(inFront + narrow(name) + behind);
    }
    void print() const {
        for (const std::string& candidate : found)
            if (candidate.find('\n') == std::string::npos)
                printLine(candidate);
    }
    const std::string& getWord() const { return word; }

private:
    const std::string word;
    std::vector<std::string> found;
};

/// With the slash that the word has already; a key with keys below it ends in one.
void addKeys(Candidates& candidates) {
    const std::string& word = candidates.getWord();
    const std::size_t last = word.find_last_of("/\\");
    if (last == std::string::npos) {
        for (const char* const hive : {"HKCU/", "HKLM/"})
            candidates.addName(widen(hive), "", widen(word), "");
        return;
    }
    const KeyPath parent = KeyPath::parse(widen(word.substr(0, last)));
    for (const WString& name : Key(parent).keys()) {
        const bool hasBelow = !Key(parent.child(name)).keys().empty();
        candidates.addName(name, word.substr(0, last + 1), widen(word.substr(last + 1)),
                           hasBelow ? std::string(1, word[last]) : "");
    }
}

void addValues(Candidates& candidates, Argument kind, const std::vector<std::string>& arguments) {
    const Key key(KeyPath::parse(widen(arguments[0])));
    for (const auto& [name, text] : key.values()) {
        if (kind == Argument::NAME)
            candidates.addName(name, "", widen(candidates.getWord()), "");
        else if (isSameName(name, widen(arguments[1])))
            candidates.add(narrow(text));
    }
}

/// The words in front of the last one that are arguments; nothing if the last one is the value of an option.
std::optional<std::vector<std::string>> argumentsBefore(const Command& command, const std::vector<std::string>& words) {
    std::vector<std::string> arguments;
    bool isValue = false;
    for (std::size_t i = 1; i + 1 < words.size(); ++i) {
        if (std::exchange(isValue, false))
            continue;
        if (!words[i].starts_with("-"))
            arguments.push_back(words[i]);
        for (const Option& option : command.options)
            isValue = isValue || (words[i] == option.name && option.value != nullptr);
    }
    return isValue ? std::nullopt : std::optional(arguments);
}

ExitStatus completeArgument(Candidates& candidates, const Command& command, const std::vector<std::string>& words) {
    const auto arguments = argumentsBefore(command, words);
    if (!arguments || (!command.takesMore && arguments->size() >= command.arguments.size()))
        return DONE;
    const Argument kind = command.arguments[std::min(arguments->size(), command.arguments.size() - 1)];
    if (kind == Argument::FILE || kind == Argument::FOLDER)
        return NOT_FOUND;
    if (kind == Argument::KEY)
        addKeys(candidates);
    else
        addValues(candidates, kind, *arguments);
    return DONE;
}

} // namespace

ExitStatus complete(const std::vector<std::string>& words) {
    if (words.empty())
        return DONE;
    Candidates candidates(words.back());
    ExitStatus status = DONE;
    try {
        const Command* const command = words.size() > 1 ? findCommand(words[0]) : nullptr;
        if (words.size() == 1) {
            for (const Command& each : commands())
                candidates.add(each.name);
            for (const char* const option : {"--help", "--version"})
                candidates.add(option);
        } else if (command != nullptr && words.back().starts_with("-")) {
            for (const Option& option : command->options)
                candidates.add(option.name);
            candidates.add("--help");
        } else if (command != nullptr) {
            status = completeArgument(candidates, *command, words);
        }
    } catch (const Failure&) { // a word that is no key yet
    } catch (const norq_std::NorqException&) {
    }
    candidates.print();
    return status;
}

} // namespace norqreg
