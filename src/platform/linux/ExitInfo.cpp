#include "platform/linux/ExitInfo.h"

#include <cerrno>
#include <cstdint>

#include <sys/ioctl.h>
#include <sys/wait.h>

namespace norq_std_internal::platform {

namespace {

/// The kernel's first version of this record, which the headers of older systems lack.
struct PidfdInfo {
    std::uint64_t mask;
    std::uint64_t unused[6];
    std::uint32_t alsoUnused;
    std::int32_t exitCode;
};
static_assert(sizeof(PidfdInfo) == 64);

constexpr std::uint64_t ExitInMask = 1 << 3;
constexpr unsigned long GetInfo = _IOWR(0xFF, 11, PidfdInfo);

} // namespace

bool waitForExit(int pidfd, bool reap, ExitInfo& info) noexcept {
    siginfo_t found{};
    if (pidfd < 0) {
        errno = ECHILD;
        return false;
    }
    if (::waitid(P_PIDFD, static_cast<id_t>(pidfd), &found, WEXITED | (reap ? 0 : WNOHANG | WNOWAIT)) != 0)
        return false;
    if (found.si_pid == 0) {
        errno = EAGAIN;
        return false;
    }
    if (found.si_code == CLD_EXITED)
        info.code = found.si_status;
    else
        info.signal = found.si_status;
    return true;
}

bool askForExit(int pidfd, ExitInfo& info) noexcept {
    const int before = errno;
    PidfdInfo found{};
    found.mask = ExitInMask;
    const bool told = ::ioctl(pidfd, GetInfo, &found) == 0 && (found.mask & ExitInMask) != 0;
    errno = before;
    if (told && WIFEXITED(found.exitCode))
        info.code = WEXITSTATUS(found.exitCode);
    else if (told)
        info.signal = WTERMSIG(found.exitCode);
    return told;
}

} // namespace norq_std_internal::platform
