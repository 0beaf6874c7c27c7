#pragma once

namespace norq_std_internal::platform {

/// How a process ended: what it gave back, or the signal that ended it.
struct ExitInfo {
    int code = 0;
    int signal = 0;
};

/// Of a child that has ended. Leaves `errno`; ECHILD for what is no child, or one that somebody else has reaped.
bool waitForExit(int pidfd, bool reap, ExitInfo& info) noexcept;

/// Of any process, once its parent has reaped it, where the kernel keeps that with the descriptor (since 6.15). Leaves
/// `errno` alone.
bool askForExit(int pidfd, ExitInfo& info) noexcept;

} // namespace norq_std_internal::platform
