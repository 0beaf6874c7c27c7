#include "platform/ServiceManager.h"

#include "platform/Error.h"
#include "platform/NarrowText.h"
#include "platform/SystemInfo.h"
#include "platform/linux/Descriptor.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace norq_std_internal::platform {

using norq_std::WString;

namespace {

namespace fs = std::filesystem;

constexpr std::size_t LongestFileName = 255;
constexpr std::string_view SystemDirectory = "/etc/systemd/system";

bool isSystemScope() { return ::geteuid() == 0; }

std::string variable(std::u16string_view name) {
    WString value;
    return environmentVariable(name, value) ? toUtf8(value) : std::string();
}

/// Empty if there is none.
fs::path unitDirectory() {
    if (std::string named = variable(u"NORQSTD_UNIT_DIRECTORY"); !named.empty())
        return named;
    if (isSystemScope())
        return SystemDirectory;
    fs::path config = variable(u"XDG_CONFIG_HOME");
    if (config.empty() || config.is_relative()) {
        const std::string home = variable(u"HOME");
        if (home.empty())
            return {};
        config = fs::path(home) / ".config";
    }
    return config / "systemd" / "user";
}

std::string escaped(unsigned char byte) {
    char text[5];
    std::snprintf(static_cast<char*>(text), sizeof text, "\\x%02x", unsigned{byte});
    return static_cast<const char*>(text);
}

/// A name as systemd takes it: what it does not allow is escaped, as by systemd-escape(1), but for the dash and what is
/// to be kept.
std::string unitName(std::string_view name, std::string_view suffix, std::string_view kept = {}) {
    std::string unit;
    for (const char c : name) {
        const bool alphanumeric = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        const bool allowed = alphanumeric || c == ':' || c == '-' || c == '_' || (c == '.' && !unit.empty()) ||
                             kept.find(c) != kept.npos;
        if (allowed)
            unit += c;
        else
            unit += escaped(static_cast<unsigned char>(c));
    }
    return unit += suffix;
}

/// Empty if it is no name of a unit.
std::string_view unitSuffix(std::string_view name) {
    for (const std::string_view suffix : {".service", ".socket", ".target", ".mount", ".path", ".timer", ".device"})
        if (name.size() > suffix.size() && name.ends_with(suffix))
            return suffix;
    return {};
}

bool hasSpaceOrControl(std::string_view name) {
    return std::ranges::any_of(name, [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7f'; });
}

/// Empty if it cannot be one.
std::string dependencyUnit(std::string_view name) {
    if (name.starts_with('+'))
        return unitName(name.substr(1), ".target");
    const std::string_view suffix = unitSuffix(name);
    if (suffix.empty())
        return unitName(name, ".service");
    // It is written as the manager knows it: an escape in it is its own.
    return hasSpaceOrControl(name) ? std::string()
                                   : unitName(name.substr(0, name.size() - suffix.size()), suffix, "\\@");
}

bool dependencyUnits(const WString& dependencies, std::vector<std::string>& units) {
    for (std::size_t at = 0; at < dependencies.size();) {
        const std::size_t end = std::min(dependencies.find(u'\0', at), dependencies.size());
        if (end > at)
            units.push_back(dependencyUnit(toUtf8(std::u16string_view(dependencies).substr(at, end - at))));
        if (end > at && units.back().empty())
            return false;
        at = end + 1;
    }
    return true;
}

/// One line of text in which nothing is a specifier or a continuation.
std::string plainValue(std::string_view text) {
    std::string value;
    for (const char c : text) {
        const bool control = static_cast<unsigned char>(c) < ' ' || c == '\x7f';
        value += control ? ' ' : c;
        if (c == '%')
            value += '%';
    }
    return value += value.ends_with('\\') ? " " : "";
}

/// A word of a command line.
std::string commandWord(std::string_view text) {
    std::string value = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            value.append(1, '\\').append(1, c);
        else if (c == '%')
            value += "%%";
        else if (static_cast<unsigned char>(c) < ' ')
            value += escaped(static_cast<unsigned char>(c));
        else
            value += c;
    }
    return value += '"';
}

const char* startTarget() { return isSystemScope() ? "multi-user.target" : "default.target"; }

std::string unitText(const WString& name, const std::vector<std::string>& dependencies, const std::string& program) {
    std::string text = "[Unit]\nDescription=" + plainValue(toUtf8(name)) + "\n";
    for (const std::string& unit : dependencies)
        text.append("Requires=").append(unit).append("\nAfter=").append(unit).append("\n");
    text.append("\n[Service]\nType=notify\nExecStart=").append(commandWord(program)).append("\n");
    text.append("ExecReload=/bin/kill -HUP $MAINPID\n\n[Install]\nWantedBy=").append(startTarget()).append("\n");
    return text;
}

bool failsNatively(int error) {
    errno = error;
    setLastErrorFromNative();
    return false;
}

bool fails(std::int32_t error) {
    setLastError(error);
    return false;
}

/// The file of a service, and the link that starts it; false if there can be none.
struct Unit {
    bool find(const WString& service) {
        directory = unitDirectory();
        name = unitName(toUtf8(service), ".service");
        if (service.empty() || name.size() > LongestFileName || service.find(u'\0') != service.npos)
            return fails(InvalidName);
        if (directory.empty())
            return fails(PathNotFound);
        return true;
    }
    fs::path file() const { return directory / name; }
    fs::path link() const { return directory / (std::string(startTarget()) + ".wants") / name; }

    fs::path directory;
    std::string name;
};

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return ::fsync(descriptor) == 0;
}

/// Makes a file that is not there: whole, or not at all.
bool createWhole(const fs::path& path, std::string_view text) {
    std::string temporary = (path.parent_path() / ".norqstd-unit.XXXXXX").string();
    const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.valid())
        return failsNatively(errno);
    const bool done =
        writeAll(file.get(), text) && ::fchmod(file.get(), 0644) == 0 && ::link(temporary.c_str(), path.c_str()) == 0;
    const int error = errno;
    ::unlink(temporary.c_str());
    if (done)
        return true;
    return error == EEXIST ? fails(ServiceExists) : failsNatively(error);
}

bool programPath(std::string& path) {
    std::error_code error;
    path = fs::read_symlink("/proc/self/exe", error).string();
    if (error)
        return failsNatively(error.value());
    return ::access(path.c_str(), X_OK) == 0 || failsNatively(errno);
}

/// As `systemctl enable` does it.
bool enable(const Unit& unit) {
    std::error_code error;
    fs::create_directories(unit.link().parent_path(), error);
    if (!error) {
        fs::remove(unit.link(), error);
        fs::create_symlink(fs::absolute(unit.file()), unit.link(), error);
    }
    return !error || failsNatively(error.value());
}

/// As `systemctl disable` does it: whatever target wants or requires the unit.
void disable(const Unit& unit) {
    std::error_code error;
    for (fs::directory_iterator entry(unit.directory, error), end; !error && entry != end; entry.increment(error)) {
        const std::string extension = entry->path().extension().string();
        if (extension != ".wants" && extension != ".requires")
            continue;
        const fs::path link = entry->path() / unit.name;
        std::error_code ignored;
        if (fs::is_symlink(fs::symlink_status(link, ignored)))
            fs::remove(link, ignored);
    }
}

bool hasEntry(const fs::path& path) {
    struct stat ignored {};
    return ::lstat(path.c_str(), &ignored) == 0;
}

} // namespace

bool isServiceInstalled(const WString& name) {
    Unit unit;
    return unit.find(name) && (hasEntry(unit.file()) || fails(ServiceNotFound));
}

bool installService(const ServiceInstallation& service) {
    Unit unit;
    std::string program;
    if (!unit.find(service.name) || !programPath(program))
        return false;
    std::vector<std::string> dependencies;
    if (!dependencyUnits(service.dependencies, dependencies))
        return fails(InvalidName);
    std::error_code error;
    fs::create_directories(unit.directory, error);
    if (error)
        return failsNatively(error.value());
    if (!createWhole(unit.file(), unitText(service.name, dependencies, program)))
        return false;
    if (enable(unit))
        return true;
    const std::int32_t failure = lastError();
    ::unlink(unit.file().c_str());
    return fails(failure);
}

bool removeService(const WString& name) {
    Unit unit;
    if (!unit.find(name))
        return false;
    if (!hasEntry(unit.file()))
        return fails(ServiceNotFound);
    if (::unlink(unit.file().c_str()) != 0)
        return failsNatively(errno);
    disable(unit);
    return true;
}

} // namespace norq_std_internal::platform
