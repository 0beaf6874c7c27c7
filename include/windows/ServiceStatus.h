#pragma once

#include <cstdint>

namespace norq_std {

/// What a service reports of itself to the manager of services.
enum ServiceState : std::uint32_t {
    SERVICE_STOPPED = 1,
    SERVICE_START_PENDING = 2,
    SERVICE_STOP_PENDING = 3,
    SERVICE_RUNNING = 4,
    SERVICE_CONTINUE_PENDING = 5,
    SERVICE_PAUSE_PENDING = 6,
    SERVICE_PAUSED = 7,
};

/// What the manager asks of a service. Codes from 128 to 255 are the service's own.
enum ServiceControl : std::uint32_t {
    SERVICE_CONTROL_STOP = 1,
    SERVICE_CONTROL_PAUSE = 2,
    SERVICE_CONTROL_CONTINUE = 3,
    SERVICE_CONTROL_INTERROGATE = 4,
    SERVICE_CONTROL_SHUTDOWN = 5,
    SERVICE_CONTROL_PARAMCHANGE = 6,
    SERVICE_CONTROL_SESSIONCHANGE = 14,
};

/// Bits of the controls that a service accepts. Here they decide one thing alone: without
/// `SERVICE_ACCEPT_SESSIONCHANGE` sessions are not watched. All other controls are sent by hand, and a service is told
/// of each.
enum ServiceAccept : std::uint32_t {
    SERVICE_ACCEPT_STOP = 0x1,
    SERVICE_ACCEPT_PAUSE_CONTINUE = 0x2,
    SERVICE_ACCEPT_SHUTDOWN = 0x4,
    SERVICE_ACCEPT_SESSIONCHANGE = 0x80,
};

/// What happened to a session, as the event type of `SERVICE_CONTROL_SESSIONCHANGE`.
enum SessionEvent : std::uint32_t {
    SESSION_CONSOLE_CONNECT = 1,
    SESSION_CONSOLE_DISCONNECT = 2,
    SESSION_REMOTE_CONNECT = 3,
    SESSION_REMOTE_DISCONNECT = 4,
    SESSION_LOGON = 5,
    SESSION_LOGOFF = 6,
    SESSION_LOCK = 7,
    SESSION_UNLOCK = 8,
};

/// The record that a service reports.
struct ServiceStatus {
    std::uint32_t serviceType = 0x10; ///< a service in a process of its own
    std::uint32_t currentState = SERVICE_STOPPED;
    std::uint32_t controlsAccepted = 0;
    std::uint32_t win32ExitCode = 0; ///< an error number of the family; 0 for success
    std::uint32_t serviceSpecificExitCode = 0;
    std::uint32_t checkPoint = 0;
    std::uint32_t waitHint = 0; ///< milliseconds that a pending state may take; 0 leaves it to the manager
};

/// Event data of `SERVICE_CONTROL_SESSIONCHANGE`.
struct SessionNotification {
    std::uint32_t size = sizeof(SessionNotification);
    std::uint32_t sessionId = 0;
};

} // namespace norq_std
