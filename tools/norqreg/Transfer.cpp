// export, import.

#include "Command.h"
#include "Output.h"
#include "Store.h"
#include "StrictPreferences.h"

#include "exception/NorqException.h"
#include "platform/TemporaryFile.h"
#include "prefs/Preferences.h"
#include "system/NorqSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace norqreg {
namespace {

namespace fs = std::filesystem;
using norq_std::Preferences;

/// Whatever the environment chooses for programs.
void useRegistry() {
    norq_std::NorqSystem::getInstance().putEnv(u"default.PreferencesFactory", u"norq_std.RegistryPreferencesFactory");
}

std::shared_ptr<Preferences> rootOf(Hive hive) {
    return hive == Hive::CURRENT_USER ? Preferences::userRoot() : Preferences::systemRoot();
}

/// What the format cannot hold of a text, in words; null if it can.
const char* faultOf(const WString& text) {
    for (const WChar unit : text) {
        if (unit == u'"' || unit == u'<' || unit == u'&')
            return "has a double quote, < or &";
        if (unit < u' ')
            return "has a line break or another control character";
        if ((unit >= 0xd800 && unit < 0xe000) || unit >= 0xfffe)
            return "has a character beyond the basic plane";
    }
    return nullptr;
}

const char* faultOfName(const WString& name) {
    if (name.empty())
        return "has no name";
    if (name.size() > static_cast<std::size_t>(Preferences::MAX_PREF_NAME_LENGTH))
        return "has a name that is too long";
    return faultOf(name);
}

/// Says on standard error what an export could not give back; how many faults there are.
class Inspection {
public:
    int inspect(const KeyPath& top, bool isDeep) {
        for (std::size_t begin = 0; begin < top.path.size();) {
            const std::size_t end = std::min(top.path.find(u'\\', begin), top.path.size());
            check("key", top, top.path.substr(begin, end - begin));
            begin = end + 1;
        }
        std::vector<KeyPath> waiting{top};
        while (!waiting.empty()) {
            const KeyPath path = waiting.back();
            waiting.pop_back();
            const Key key(path);
            inspectValues(key);
            if (!isDeep)
                break;
            for (const WString& name : key.keys()) {
                check("key", path.child(name), name);
                if (name.find(u'/') == WString::npos)
                    waiting.push_back(path.child(name));
            }
        }
        return faults;
    }

private:
    void inspectValues(const Key& key) {
        for (const auto& [name, text] : key.values()) {
            const char* fault = faultOfName(name);
            if (fault == nullptr)
                fault = text.empty() ? "is empty, or neither text nor number" : faultOf(text);
            if (fault != nullptr)
                report("value " + readableName(name) + " of " + key.getPath().toReadable(), fault);
        }
    }
    void check(const char* what, const KeyPath& path, const WString& name) {
        const char* const fault = name.find(u'/') != WString::npos ? "has a slash in its name" : faultOfName(name);
        if (fault != nullptr)
            report(std::string(what).append(1, ' ').append(path.toReadable()), fault);
    }
    void report(const std::string& what, const char* fault) {
        ++faults;
        std::fprintf(stderr, "norqreg: %s %s\n", what.c_str(), fault);
    }

    int faults = 0;
};

/// The key with its names as the registry has them. Throws `Failure` for one that is not there.
KeyPath asStored(const KeyPath& path) {
    const Key mustBeThere(path);
    KeyPath stored{path.hive, {}};
    for (std::size_t begin = 0; begin < path.path.size();) {
        const std::size_t end = std::min(path.path.find(u'\\', begin), path.path.size());
        const WString name = path.path.substr(begin, end - begin);
        const auto names = Key(stored).keys();
        const auto found =
            std::find_if(names.begin(), names.end(), [&](const WString& each) { return isSameName(each, name); });
        stored = stored.child(found == names.end() ? name : *found);
        begin = end + 1;
    }
    return stored;
}

[[noreturn]] void failFile(const fs::path& file, const std::error_code& error) {
    const ExitStatus status = error == std::errc::no_such_file_or_directory ? NOT_FOUND
                              : error == std::errc::permission_denied       ? ACCESS_DENIED
                                                                            : FAILED;
    throw Failure(status, file.string() + ": " + error.message());
}

/// Lets `write` make the file under another name, and then puts it in place: an export is there whole or not at all.
template <class Write>
void replaceFile(const fs::path& file, const Write& write) {
    std::error_code error;
    const auto status = fs::status(file, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) { // such as a pipe
        write(file);
        return;
    }
    const fs::path target = fs::weakly_canonical(file, error); // a link stays, and leads to the new file
    if (error)
        failFile(file, error);
    fs::create_directories(target.parent_path(), error);
    WString name = widen(target.string() + ".XXXXXX");
    std::FILE* const made = norq_std_internal::platform::createTemporaryFile(name, widen(target.string()));
    if (made == nullptr)
        failFile(target, {errno, std::generic_category()});
    std::fclose(made);
    const fs::path beside = narrow(name);
    try {
        write(beside);
    } catch (...) {
        fs::remove(beside, error);
        throw;
    }
    fs::rename(beside, target, error);
    if (!error)
        return;
    const std::error_code failure = error;
    fs::remove(beside, error);
    failFile(target, failure);
}

} // namespace

ExitStatus exportKey(const Invocation& invocation) {
    useRegistry();
    const KeyPath path = asStored(KeyPath::parse(invocation.arguments[0]));
    const fs::path file = narrow(invocation.arguments[1]);
    const bool isDeep = !invocation.has("--node");
    if (Inspection().inspect(path, isDeep) > 0 && !invocation.has("--force"))
        throw Failure(UNSOUND, "the format cannot hold that; nothing was written");
    WString node = path.path;
    std::replace(node.begin(), node.end(), u'\\', u'/');
    const auto preferences = rootOf(path.hive)->node(node);
    replaceFile(file, [&](const fs::path& target) {
        const WString name = widen(target.string());
        isDeep ? preferences->exportSubtree(name) : preferences->exportNode(name);
    });
    return DONE;
}

ExitStatus importFile(const Invocation& invocation) {
    const fs::path file = narrow(invocation.arguments[0]);
    if (!std::ifstream(file) || fs::is_directory(file))
        failFile(file, {fs::is_directory(file) ? EISDIR : errno, std::generic_category()});
    useStrictPreferences();
    Preferences::importPreferences(invocation.arguments[0]);
    return DONE;
}

} // namespace norqreg
