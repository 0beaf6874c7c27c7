// The journal's native protocol: one entry a datagram, a field a line, and a field whose value holds a line break as
// its name, a line feed, the length in eight bytes with the lowest first, the value and a line feed. An entry that no
// datagram holds lies in a sealed memory file, whose descriptor is sent with an empty datagram.
//
// The line of syslog is sent from here and not by syslog(3), whose name and socket belong to the program.

#include "platform/EventLog.h"

#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/NarrowText.h"
#include "platform/SystemInfo.h"
#include "platform/linux/Descriptor.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

constexpr timeval SendLimit{1, 0}; // a receiver that takes nothing must not hold up the program
constexpr std::size_t ShortestCut = 1024;
constexpr std::array<const char*, 12> Months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// What the errors of a datagram that is too large for its socket are.
bool isTooLarge(int error) { return error == EMSGSIZE || error == ENOBUFS; }

/// A socket of datagrams that somebody listens on, by its path.
class Receiver {
public:
    Receiver(std::u16string_view variable, std::string_view standard) {
        std::u16string moved;
        const std::string path =
            environmentVariable(variable, moved) && !moved.empty() ? toUtf8(moved) : std::string(standard);
        if (path.size() >= sizeof address.sun_path)
            return;
        address.sun_family = AF_UNIX;
        std::memcpy(&address.sun_path, path.data(), path.size());
        addressSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
    }

    /// 0, or the error.
    int listens() const {
        if (addressSize == 0)
            return ENAMETOOLONG;
        const Descriptor probe(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        return probe.valid() && ::connect(probe.get(), generic(), addressSize) == 0 ? 0 : errno;
    }

    /// Sends the bytes, and the descriptor where it is not -1; 0, or the error.
    int send(int socket, std::string_view bytes, int descriptor = -1) const {
        if (addressSize == 0)
            return ENAMETOOLONG;
        iovec vector{const_cast<char*>(bytes.data()), bytes.size()};
        msghdr message{};
        message.msg_name = const_cast<sockaddr_un*>(&address);
        message.msg_namelen = addressSize;
        message.msg_iov = &vector;
        message.msg_iovlen = bytes.empty() ? 0 : 1;
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
        if (descriptor >= 0) {
            message.msg_control = control.data();
            message.msg_controllen = control.size();
            cmsghdr* const header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(sizeof descriptor);
            std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
        }
        const int patience = isStuck.load(std::memory_order_relaxed) ? MSG_DONTWAIT : 0;
        ssize_t sent = 0;
        do
            sent = ::sendmsg(socket, &message, MSG_NOSIGNAL | patience);
        while (sent < 0 && errno == EINTR);
        const int error = sent < 0 ? errno : 0;
        isStuck.store(error == EAGAIN, std::memory_order_relaxed);
        return error;
    }

private:
    const sockaddr* generic() const { return reinterpret_cast<const sockaddr*>(&address); }

    sockaddr_un address{};
    socklen_t addressSize = 0; // 0 if the path is too long for a socket
    mutable std::atomic<bool> isStuck{false};
};

struct Entry {
    int priority;
    std::uint32_t identifier;
    std::uint16_t category;
    std::string text;
};

void appendField(std::string& entry, std::string_view name, std::string_view value) {
    entry += name;
    if (value.find('\n') == std::string_view::npos) {
        entry += '=';
    } else {
        entry += '\n';
        for (int shift = 0; shift < 64; shift += 8)
            entry += static_cast<char>((std::uint64_t{value.size()} >> shift) & 0xFF);
    }
    entry += value;
    entry += '\n';
}

std::string journalEntry(const std::string& source, const Entry& entry) {
    std::array<char, 11> identifier{};
    std::snprintf(identifier.data(), identifier.size(), "0x%08X", static_cast<unsigned>(entry.identifier));
    std::string bytes;
    bytes.reserve(entry.text.size() + source.size() + 128);
    appendField(bytes, "PRIORITY", std::to_string(entry.priority));
    appendField(bytes, "SYSLOG_IDENTIFIER", source);
    appendField(bytes, "NORQ_EVENT_ID", identifier.data());
    if (entry.category != 0)
        appendField(bytes, "NORQ_EVENT_CATEGORY", std::to_string(entry.category));
    appendField(bytes, "MESSAGE", entry.text);
    return bytes;
}

/// A memory file that holds the bytes and that nobody can change any more; not valid, with `errno`, on failure.
Descriptor sealedMemory(std::string_view bytes) {
    Descriptor memory(::memfd_create("norqstd-event", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    while (memory.valid() && !bytes.empty()) {
        const ssize_t written = ::write(memory.get(), bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            return {};
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    if (memory.valid() &&
        ::fcntl(memory.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL) != 0)
        return {};
    return memory;
}

int sendToJournal(const Receiver& journal, int socket, const std::string& source, const Entry& entry) {
    const std::string bytes = journalEntry(source, entry);
    const int error = journal.send(socket, bytes);
    if (!isTooLarge(error))
        return error;
    const Descriptor memory = sealedMemory(bytes);
    return memory.valid() ? journal.send(socket, {}, memory.get()) : errno;
}

/// Cuts the text to this many bytes at most, between two characters.
void cut(std::string& text, std::size_t size) {
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80)
        --size;
    text.resize(size);
}

std::string syslogLine(const std::string& source, const Entry& entry) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    std::array<char, 48> head{};
    const auto month = static_cast<std::size_t>(local.tm_mon);
    std::snprintf(head.data(), head.size(), "<%d>%s %2d %02d:%02d:%02d ", LOG_USER | entry.priority, Months[month],
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    std::string line = head.data() + source + "[" + std::to_string(::getpid()) + "]: " + entry.text;
    std::replace(line.begin(), line.end(), '\0', ' ');
    return line;
}

int sendToSyslog(const Receiver& syslog, int socket, const std::string& source, const Entry& entry) {
    std::string line = syslogLine(source, entry);
    int error = syslog.send(socket, line);
    while (isTooLarge(error) && line.size() > ShortestCut) {
        cut(line, line.size() / 2);
        error = syslog.send(socket, line);
    }
    return error;
}

int priorityOf(EventType type) {
    switch (type) {
    case EventType::Error:
        return LOG_ERR;
    case EventType::Warning:
        return LOG_WARNING;
    default:
        return LOG_INFO;
    }
}

class DatagramSource final : public EventSource {
public:
    explicit DatagramSource(std::u16string_view sourceName)
        : name(toUtf8(sourceName))
        , journal(u"NORQSTD_JOURNAL_SOCKET", "/run/systemd/journal/socket")
        , syslog(u"NORQSTD_SYSLOG_SOCKET", "/dev/log")
        , socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}

    /// 0, or the error.
    int ready() const {
        if (!socket.valid() || ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &SendLimit, sizeof SendLimit) != 0)
            return errno;
        return journal.listens() == 0 ? 0 : syslog.listens();
    }

    bool report(EventType type, std::uint32_t identifier, std::uint16_t category, std::u16string_view text) override {
        const CancellationShield shield; // the caller may hold the lock of the log
        const Entry entry{priorityOf(type), identifier, category, toUtf8(text)};
        int error = sendToJournal(journal, socket.get(), name, entry);
        if (error != 0 && error != EAGAIN) // not where a journal listens that is too busy
            error = sendToSyslog(syslog, socket.get(), name, entry);
        if (error != 0)
            setLastError(errorFromNative(error));
        return error == 0;
    }

private:
    const std::string name;
    const Receiver journal;
    const Receiver syslog;
    const Descriptor socket;
};

} // namespace

std::unique_ptr<EventSource> EventSource::open(std::u16string_view name) {
    auto source = std::make_unique<DatagramSource>(name);
    if (const int error = source->ready(); error != 0) {
        setLastError(errorFromNative(error));
        return nullptr;
    }
    return source;
}

} // namespace norq_std_internal::platform
