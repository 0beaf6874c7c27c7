// A command line for the registry: a table of commands, each in the file of its concern.

#include "Command.h"
#include "Output.h"

#include "exception/NorqException.h"
#include "internal/ConvertUTF.h"

#include <cstdio>
#include <exception>

namespace norqreg {
namespace {

constexpr std::uint32_t LONGEST_TEXT = 256 * 1024 * 1024; // a whole hive as JSON

ExitStatus run(const std::vector<std::string>& words) {
    if (words.empty())
        throw Failure(WRONG_USAGE, "no command; see norqreg --help");
    const std::string& name = words.front();
    const std::vector<std::string> rest(words.begin() + 1, words.end());
    if (name == "--help" || name == "--version") {
        print(name == "--version" ? "norqreg " NORQREG_VERSION "\n" : helpOfProgram());
        return DONE;
    }
    if (name == "complete")
        return complete(rest);
    const Command* const command = findCommand(name);
    if (command == nullptr)
        throw Failure(WRONG_USAGE, "there is no command '" + name + "'; see norqreg --help");
    const Invocation invocation = parse(*command, rest);
    if (!invocation.has("--help"))
        return command->run(invocation);
    print(helpOf(*command));
    return DONE;
}

ExitStatus tell(ExitStatus status, const std::string& message) {
    std::fflush(stdout); // what was found before comes first
    std::fprintf(stderr, "norqreg: %s\n", message.c_str());
    return status;
}

/// For a number of the system's that no exception of its own stands for.
ExitStatus statusOf(std::int32_t error) {
    switch (error) {
    case 2: // no such file, or folder
    case 3:
        return NOT_FOUND;
    case 5: // access denied, write protected
    case 19:
        return ACCESS_DENIED;
    default:
        return FAILED;
    }
}

ExitStatus runGuarded(const std::vector<std::string>& words) {
    norq_std_internal::ConvertUTF::setMaxStringSize(LONGEST_TEXT);
    try {
        const ExitStatus status = run(words);
        flushOutput();
        return status;
    } catch (const Failure& failure) {
        return tell(failure.getStatus(), failure.what());
    } catch (const norq_std::NorqObjectNotFoundException& failure) {
        return tell(NOT_FOUND, narrow(failure.getMessage()));
    } catch (const norq_std::NorqAccessException& failure) {
        return tell(ACCESS_DENIED, narrow(failure.getMessage()));
    } catch (const norq_std::NorqInvalidPreferencesFormatException& failure) {
        return tell(UNSOUND, narrow(failure.getMessage()));
    } catch (const norq_std::NorqException& failure) {
        return tell(statusOf(failure.getErrNum()), narrow(failure.getMessage()));
    } catch (const std::exception& failure) {
        return tell(FAILED, failure.what());
    }
}

} // namespace
} // namespace norqreg

int main(int argc, char** argv) { return norqreg::runGuarded({argv + (argc > 0 ? 1 : 0), argv + argc}); }
