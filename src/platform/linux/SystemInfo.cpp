#include "platform/SystemInfo.h"

#include "platform/Error.h"
#include "platform/NarrowText.h"
#include "platform/linux/Environment.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <pwd.h>
#include <resolv.h>
#include <sstream>
#include <sys/utsname.h>
#include <unistd.h>
#include <vector>

namespace norq_std_internal::platform {
namespace {

constexpr std::size_t HostNameBytes = 512;
constexpr std::size_t FirstUserRecordBytes = 1024;
constexpr std::size_t LargestUserRecordBytes = 1 << 20;

std::string contentOf(const char* path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string behindFirstDot(std::string_view name) {
    const std::size_t dot = name.find('.');
    return dot == name.npos ? std::string() : std::string(name.substr(dot + 1));
}

/// A value of os-release: as in a shell, in quotes or bare.
std::string unquoted(std::string_view text) {
    std::string value;
    char quote = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quote == 0 && (c == '"' || c == '\''))
            quote = c;
        else if (c == quote)
            quote = 0;
        else if (c == '\\' && quote != '\'' && i + 1 < text.size())
            value += text[++i];
        else
            value += c;
    }
    return value;
}

std::string valueIn(std::string_view osRelease, std::string_view key) {
    std::istringstream lines{std::string(osRelease)};
    std::string value;
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(key) && line.substr(key.size()).starts_with('='))
            value = unquoted(std::string_view(line).substr(key.size() + 1));
    return value;
}

std::string homeInUserRecord() {
    for (std::size_t bytes = FirstUserRecordBytes; bytes <= LargestUserRecordBytes; bytes *= 2) {
        std::vector<char> buffer(bytes);
        passwd record{};
        passwd* found = nullptr;
        const int error = ::getpwuid_r(::getuid(), &record, buffer.data(), buffer.size(), &found);
        if (error != ERANGE)
            return found == nullptr || found->pw_dir == nullptr ? std::string() : std::string(found->pw_dir);
    }
    return {};
}

/// The resolver's first search domain, which is also what it takes from a `domain` line.
std::string resolverDomain() {
    struct __res_state state {};
    if (::res_ninit(&state) != 0)
        return {};
    const std::string domain = state.dnsrch[0] != nullptr ? state.dnsrch[0] : state.defdname;
    ::res_nclose(&state);
    return domain == "." ? std::string() : domain;
}

} // namespace

std::mutex& environmentMutex() {
    static std::mutex& mutex = *new std::mutex;
    return mutex;
}

bool environmentVariable(std::u16string_view name, std::u16string& value) {
    const std::string key = toUtf8(name);
    const std::lock_guard<std::mutex> guard(environmentMutex());
    const char* const found = std::getenv(key.c_str()); // NOLINT(concurrency-mt-unsafe): under the mutex
    if (found != nullptr)
        value = toWide(found);
    return found != nullptr;
}

bool putEnvironment(std::u16string_view assignment) {
    const std::string text = toUtf8(assignment);
    const std::size_t equals = text.find('=');
    if (equals == 0 || equals == text.npos) {
        setLastError(InvalidParameter);
        return false;
    }
    const std::string name = text.substr(0, equals);
    const char* const value = text.c_str() + equals + 1;
    const std::lock_guard<std::mutex> guard(environmentMutex());
    // NOLINTNEXTLINE(concurrency-mt-unsafe): under the mutex
    const int result = *value == '\0' ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value, 1);
    if (result == 0)
        return true;
    setLastErrorFromNative();
    return false;
}

std::u16string homeDirectory() {
    std::u16string home;
    if (!environmentVariable(u"HOME", home) || home.empty())
        home = toWide(homeInUserRecord());
    if (!home.starts_with(u'/'))
        return {};
    std::ranges::replace(home, u'/', u'\\');
    return u"C:" + home;
}

std::string hostName() {
    std::array<char, HostNameBytes> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0) {
        setLastErrorFromNative();
        return {};
    }
    return name.data();
}

bool dnsDomain(std::string& domain) {
    const std::string host = hostName();
    if (host.empty())
        return false;
    domain = behindFirstDot(host);
    if (domain.empty())
        domain = domainInHosts(contentOf("/etc/hosts"), host);
    if (domain.empty())
        domain = resolverDomain();
    return true;
}

std::string domainInHosts(std::string_view hosts, std::string_view host) {
    std::istringstream lines{std::string(hosts)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string address;
        words >> address;
        const std::vector<std::string> names{std::istream_iterator<std::string>(words), {}};
        if (std::ranges::find(names, host) == names.end())
            continue;
        if (std::string domain = behindFirstDot(names.front()); !domain.empty())
            return domain;
    }
    return {};
}

std::string distributionName(std::string_view osRelease) {
    std::string name = valueIn(osRelease, "PRETTY_NAME");
    if (!name.empty())
        return name;
    name = valueIn(osRelease, "NAME");
    const std::string version = valueIn(osRelease, "VERSION");
    return name.empty() || version.empty() ? name : name + ' ' + version;
}

std::string operatingSystemName() {
    std::string name = distributionName(contentOf("/etc/os-release"));
    if (name.empty())
        name = distributionName(contentOf("/usr/lib/os-release"));
    utsname kernel{};
    if (::uname(&kernel) == 0)
        name += (name.empty() ? "" : ", ") + std::string(kernel.sysname) + ' ' + kernel.release;
    return name;
}

} // namespace norq_std_internal::platform
