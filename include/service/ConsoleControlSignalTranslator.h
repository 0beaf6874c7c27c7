#pragma once

#include "concurrency/Lock.h"
#include "pattern/Singleton.h"

#include <cstdint>
#include <map>

namespace norq_std {

// The events of a console, by their codes.
inline constexpr std::uint32_t CTRL_C_EVENT = 0;
inline constexpr std::uint32_t CTRL_BREAK_EVENT = 1;
inline constexpr std::uint32_t CTRL_CLOSE_EVENT = 2;
inline constexpr std::uint32_t CTRL_LOGOFF_EVENT = 5;
inline constexpr std::uint32_t CTRL_SHUTDOWN_EVENT = 6;

/// Turns the events of the process's terminal into signals, from its first `getInstance` on.
///
/// | event | here | default signal |
/// |---|---|---|
/// | CTRL_C_EVENT | the terminal's SIGINT (Ctrl-C) | SIGINT |
/// | CTRL_BREAK_EVENT | the terminal's SIGQUIT (Ctrl-\) | SIGBREAK |
/// | CTRL_CLOSE_EVENT | the terminal's SIGHUP: it was closed | SIGINT |
/// | CTRL_LOGOFF_EVENT | does not arise | none, ignored |
/// | CTRL_SHUTDOWN_EVENT | does not arise | SIGINT |
/// | any other | does not arise | the default, SIGILL |
///
/// The terminal's events are those that the kernel sends for it. The same signal sent by a process, this one included,
/// is no event and goes to the signal's own handler, with one exception: the hang-up that a shell passes on to its jobs
/// when its terminal is closed is the closing. A terminal is closed once. Events that were ignored when the program was
/// started (`nohup`) stay ignored.
///
/// The translated signal goes to its handler on a thread of the library's own, see `ISignalHandler`; without one, the
/// default action ends the process by that signal. Any thread may call any operation.
class NORQSTD_EXPORT ConsoleControlSignalTranslator : public Singleton<ConsoleControlSignalTranslator> {
public:
    /// Back to the table above.
    void resetTranslations();
    /// From now on the event raises this signal; none for 0. The code 0xFFFFFFFF stands for every code that has no
    /// translation of its own. Throws `NorqIllegalArgumentException` for a number that is no signal.
    void setTranslationForCode(std::uint32_t code, int signal);
    void ignoreControlCode(std::uint32_t code);

    /// Raises the signal of the event on the calling thread. Returns 1: the event has been dealt with.
    static std::int32_t controlCodeHandler(std::uint32_t code);

private:
    friend class Singleton<ConsoleControlSignalTranslator>;

    ConsoleControlSignalTranslator();
    ~ConsoleControlSignalTranslator();

    static const WChar* getSingletonName();

    int signalOf(std::uint32_t code) const;

    std::map<std::uint32_t, int> translations;
    int defaultSignal = 0;
    mutable Lock lock; ///< guards both
};

} // namespace norq_std
