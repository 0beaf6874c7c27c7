#pragma once

#include "support/Limits.h"
#include "support/RegistryFolder.h"
#include "support/Rerun.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace norqstd_test {

/// What journald does: receives datagrams, and reads entries that came as a sealed memory file.
class LogDaemon {
public:
    explicit LogDaemon(const std::filesystem::path& path)
        : descriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(&address.sun_path[0], path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~LogDaemon() { ::close(descriptor); }
    LogDaemon(const LogDaemon&) = delete;
    LogDaemon& operator=(const LogDaemon&) = delete;

    bool isEmpty() const {
        pollfd waiting{descriptor, POLLIN, 0};
        return ::poll(&waiting, 1, 0) == 0;
    }

    std::string next() {
        pollfd waiting{descriptor, POLLIN, 0};
        if (::poll(&waiting, 1, longLimitMillis()) != 1)
            return "nothing";
        std::string bytes(1 << 20, '\0');
        iovec vector{bytes.data(), bytes.size()};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
        msghdr message{};
        message.msg_iov = &vector;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        bytes.resize(static_cast<std::size_t>(::recvmsg(descriptor, &message, MSG_CMSG_CLOEXEC)));
        inMemory = CMSG_FIRSTHDR(&message) != nullptr;
        if (!inMemory)
            return bytes;
        EXPECT_EQ(bytes, "");
        int memory = -1;
        std::memcpy(&memory, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof memory);
        EXPECT_EQ(::fcntl(memory, F_GET_SEALS), F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE);
        struct stat status {};
        ::fstat(memory, &status);
        bytes.resize(static_cast<std::size_t>(status.st_size));
        EXPECT_EQ(::pread(memory, bytes.data(), bytes.size(), 0), status.st_size);
        ::close(memory);
        return bytes;
    }

    std::map<std::string, std::string> nextEntry() {
        std::map<std::string, std::string> fields;
        const std::string bytes = next();
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t nameEnd = bytes.find_first_of("=\n", at);
            if (nameEnd == std::string::npos)
                return {{"broken", bytes}};
            const std::string name = bytes.substr(at, nameEnd - at);
            std::size_t valueAt = nameEnd + 1;
            std::size_t valueEnd = bytes.find('\n', valueAt);
            if (bytes[nameEnd] == '\n') {
                std::uint64_t size = 0; // little-endian on the wire, as on the machines of the tests
                std::memcpy(&size, bytes.data() + valueAt, sizeof size);
                valueAt += sizeof size;
                valueEnd = valueAt + size;
            }
            if (valueEnd >= bytes.size() || bytes[valueEnd] != '\n')
                return {{"broken", bytes}};
            fields[name] = bytes.substr(valueAt, valueEnd - valueAt);
            at = valueEnd + 1;
        }
        return fields;
    }

    bool inMemory = false; ///< whether the last one came so

private:
    int descriptor;
};

class EventLogTest : public RegistryFolder {
protected:
    void SetUp() override {
        RegistryFolder::SetUp();
        journalPath = folder() / "journal";
        syslogPath = folder() / "syslog";
        ::setenv("NORQSTD_JOURNAL_SOCKET", journalPath.c_str(), 1);
        ::setenv("NORQSTD_SYSLOG_SOCKET", syslogPath.c_str(), 1);
    }
    void TearDown() override {
        ::unsetenv("NORQSTD_JOURNAL_SOCKET");
        ::unsetenv("NORQSTD_SYSLOG_SOCKET");
        if (!Rerun::inside()) // the log of that process lives as long as it
            RegistryFolder::TearDown();
    }

    std::filesystem::path journalPath;
    std::filesystem::path syslogPath;
};

} // namespace norqstd_test
