// logind tells of a change of any session, and not of which: the monitor compares the sessions with what they were. The
// locked screen alone is told by a message on the system's bus, with the session in the path of its object; where there
// is no bus, locking is not seen.

#include "platform/linux/SessionMonitor.h"

#include "platform/Error.h"
#include "platform/NarrowText.h"
#include "platform/Sessions.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include <pwd.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-login.h>
#include <unistd.h>

namespace norq_std_internal::platform {

using norq_std::WString;

namespace {

constexpr std::uint32_t CounterBit = 0x80000000;
constexpr std::string_view SessionPath = "/org/freedesktop/login1/session";

/// A text that libsystemd has allocated.
class Text {
public:
    Text() = default;
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    ~Text() { std::free(text); } // NOLINT(cppcoreguidelines-no-malloc): libsystemd allocates so
    char** place() { return &text; }
    std::string_view view() const { return text == nullptr ? std::string_view() : text; }

private:
    char* text = nullptr;
};

std::optional<std::uint32_t> numberOf(std::string_view session) {
    const bool counted = session.starts_with('c');
    if (counted)
        session.remove_prefix(1);
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(session.data(), session.data() + session.size(), number);
    if (session.empty() || error != std::errc() || end != session.data() + session.size() || number >= CounterBit)
        return std::nullopt;
    return counted ? number | CounterBit : number;
}

std::string nameOf(std::uint32_t number) {
    std::string name((number & CounterBit) != 0 ? 1 : 0, 'c');
    return name.append(std::to_string(number & ~CounterBit));
}

bool failsNatively(int result) {
    errno = -result;
    setLastErrorFromNative();
    return false;
}

bool userNameOf(uid_t user, WString& name) {
    std::vector<char> buffer(1024);
    for (;;) {
        passwd record{};
        passwd* found = nullptr;
        const int error = ::getpwuid_r(user, &record, buffer.data(), buffer.size(), &found);
        if (error == ERANGE) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (found == nullptr)
            return failsNatively(error == 0 ? -ESRCH : -error);
        name = toWide(record.pw_name);
        return true;
    }
}

/// Users of sessions that have ended, while that is being told.
class EndedSessions {
public:
    static EndedSessions& get() {
        static EndedSessions& instance = *new EndedSessions;
        return instance;
    }
    void set(std::map<std::uint32_t, uid_t> ended) {
        const std::lock_guard guard(mutex);
        users = std::move(ended);
    }
    std::optional<uid_t> userOf(std::uint32_t session) {
        const std::lock_guard guard(mutex);
        const auto found = users.find(session);
        return found == users.end() ? std::nullopt : std::optional(found->second);
    }

private:
    std::mutex mutex;
    std::map<std::uint32_t, uid_t> users;
};

bool fullUserName(std::uint32_t session, WString& name) {
    uid_t user = 0;
    if (const int result = ::sd_session_get_uid(nameOf(session).c_str(), &user); result < 0) {
        const auto ended = EndedSessions::get().userOf(session);
        if (!ended)
            return failsNatively(result);
        user = *ended;
    }
    return userNameOf(user, name);
}

struct Session {
    uid_t user = 0;
    bool remote = false;
    bool connected = false;
};
using Sessions = std::map<std::uint32_t, Session>;

/// What a session is now; none for one of a service or a greeter, or that is about to end.
std::optional<Session> currentSession(const std::string& name) {
    Text kind;
    Text phase;
    Text seat;
    Session session;
    if (::sd_session_get_class(name.c_str(), kind.place()) < 0 || kind.view() != "user" ||
        ::sd_session_get_uid(name.c_str(), &session.user) < 0 ||
        ::sd_session_get_state(name.c_str(), phase.place()) < 0 || phase.view() == "closing")
        return std::nullopt;
    session.remote = ::sd_session_is_remote(name.c_str()) > 0;
    const bool atSeat = ::sd_session_get_seat(name.c_str(), seat.place()) >= 0 && !seat.view().empty();
    session.connected = session.remote || (atSeat && ::sd_session_is_active(name.c_str()) > 0);
    return session;
}

Sessions currentSessions() {
    Sessions sessions;
    char** names = nullptr;
    const int count = ::sd_get_sessions(&names);
    for (int i = 0; i < count; ++i) {
        if (const auto number = numberOf(names[i]))
            if (const auto session = currentSession(names[i]))
                sessions.emplace(*number, *session);
        std::free(names[i]); // NOLINT(cppcoreguidelines-no-malloc): libsystemd allocates so
    }
    std::free(static_cast<void*>(names)); // NOLINT(cppcoreguidelines-no-malloc): libsystemd allocates so
    return sessions;
}

norq_std::SessionEvent connection(const Session& session, bool connects) {
    if (session.remote)
        return connects ? norq_std::SESSION_REMOTE_CONNECT : norq_std::SESSION_REMOTE_DISCONNECT;
    return connects ? norq_std::SESSION_CONSOLE_CONNECT : norq_std::SESSION_CONSOLE_DISCONNECT;
}

void appendDifference(const Sessions& before, const Sessions& now, std::vector<SessionChange>& changes) {
    for (const auto& [number, old] : before) {
        if (now.contains(number) && now.at(number).user == old.user)
            continue;
        if (old.connected)
            changes.push_back({connection(old, false), number});
        changes.push_back({norq_std::SESSION_LOGOFF, number});
    }
    for (const auto& [number, session] : now) {
        const auto old = before.find(number);
        const bool isNew = old == before.end() || old->second.user != session.user;
        if (isNew)
            changes.push_back({norq_std::SESSION_LOGON, number});
        if (const bool was = !isNew && old->second.connected; was != session.connected)
            changes.push_back({connection(session, session.connected), number});
    }
}

} // namespace

/// Owns the connections to the login manager and to the bus.
struct SessionMonitor::State {
    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        ::sd_login_monitor_unref(login);
        ::sd_bus_flush_close_unref(bus);
    }

    void openBus() {
        if (::sd_bus_open_system(&bus) < 0)
            return;
        const std::string match = "type='signal',sender='org.freedesktop.login1',member='PropertiesChanged',"
                                  "interface='org.freedesktop.DBus.Properties',path_namespace='" +
                                  std::string(SessionPath) + "'";
        if (::sd_bus_add_match_async(bus, nullptr, match.c_str(), &State::onProperties, nullptr, this) < 0)
            bus = ::sd_bus_flush_close_unref(bus);
    }

    void processBus() {
        int result = 0;
        while (bus != nullptr && (result = ::sd_bus_process(bus, nullptr)) > 0) {
        }
        if (result < 0)
            bus = ::sd_bus_flush_close_unref(bus);
    }

    static int onProperties(sd_bus_message* message, void* self, sd_bus_error*) {
        Text name;
        const char* path = ::sd_bus_message_get_path(message);
        if (path != nullptr && ::sd_bus_path_decode(path, SessionPath.data(), name.place()) > 0)
            if (const auto number = numberOf(name.view()))
                static_cast<State*>(self)->readProperties(message, *number);
        return 0;
    }

    void readProperties(sd_bus_message* message, std::uint32_t session) {
        const char* property = nullptr;
        if (::sd_bus_message_skip(message, "s") < 0 || ::sd_bus_message_enter_container(message, 'a', "{sv}") < 0)
            return;
        while (::sd_bus_message_enter_container(message, 'e', "sv") > 0) {
            if (::sd_bus_message_read(message, "s", &property) < 0)
                return;
            int locked = 0;
            if (std::string_view(property) != "LockedHint")
                ::sd_bus_message_skip(message, "v");
            else if (::sd_bus_message_read(message, "v", "b", &locked) >= 0)
                found.push_back({locked != 0 ? norq_std::SESSION_LOCK : norq_std::SESSION_UNLOCK, session});
            if (::sd_bus_message_exit_container(message) < 0)
                return;
        }
    }

    sd_login_monitor* login = nullptr;
    sd_bus* bus = nullptr;
    Sessions sessions;
    std::vector<SessionChange> found;
};

std::unique_ptr<SessionMonitor> SessionMonitor::open() {
    auto state = std::make_unique<State>();
    if (const int result = ::sd_login_monitor_new("session", &state->login); result < 0) {
        failsNatively(result);
        return nullptr;
    }
    state->openBus();
    state->sessions = currentSessions();
    return std::unique_ptr<SessionMonitor>(new SessionMonitor(std::move(state)));
}

SessionMonitor::SessionMonitor(std::unique_ptr<State> opened)
    : state(std::move(opened)) {}

SessionMonitor::~SessionMonitor() = default;

void SessionMonitor::appendDescriptors(std::vector<pollfd>& descriptors) const {
    const int events = ::sd_login_monitor_get_events(state->login);
    descriptors.push_back({::sd_login_monitor_get_fd(state->login), static_cast<short>(std::max(events, 0)), 0});
    if (state->bus != nullptr)
        descriptors.push_back(
            {::sd_bus_get_fd(state->bus), static_cast<short>(std::max(::sd_bus_get_events(state->bus), 0)), 0});
}

std::optional<std::chrono::milliseconds> SessionMonitor::waitLimit() const {
    std::uint64_t at = UINT64_MAX;
    if (state->bus == nullptr || ::sd_bus_get_timeout(state->bus, &at) < 0 || at == UINT64_MAX)
        return std::nullopt;
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    const std::chrono::microseconds now =
        std::chrono::seconds(time.tv_sec) +
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::nanoseconds(time.tv_nsec));
    const auto left = std::chrono::microseconds(at) - now;
    return std::max(std::chrono::milliseconds(0), std::chrono::ceil<std::chrono::milliseconds>(left));
}

std::vector<SessionChange> SessionMonitor::changes() {
    state->found.clear();
    ::sd_login_monitor_flush(state->login);
    Sessions now = currentSessions();
    std::map<std::uint32_t, uid_t> ended;
    for (const auto& [number, session] : state->sessions)
        if (!now.contains(number))
            ended.emplace(number, session.user);
    appendDifference(state->sessions, now, state->found);
    state->sessions = std::move(now);
    state->processBus();
    EndedSessions::get().set(std::move(ended));
    return std::move(state->found);
}

bool sessionUser(std::uint32_t session, WString& user) {
    WString name;
    if (!fullUserName(session, name))
        return false;
    user = name.substr(name.find(u'\\') + 1);
    return true;
}

bool sessionDomain(std::uint32_t session, WString& domain) {
    WString name;
    if (!fullUserName(session, name))
        return false;
    if (const auto separator = name.find(u'\\'); separator != name.npos) {
        domain = name.substr(0, separator);
        return true;
    }
    std::array<char, 256> host{};
    if (::gethostname(host.data(), host.size() - 1) != 0) {
        setLastErrorFromNative();
        return false;
    }
    domain = toWide(host.data());
    return true;
}

} // namespace norq_std_internal::platform
