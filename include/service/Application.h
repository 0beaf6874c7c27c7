#pragma once

#include "concurrency/Event.h"
#include "thread/Runnable.h"

#include <memory>

namespace norq_std {

class IArgumentParser;
class ISignalHandler;

/// A program: its arguments, its signals, and the event that tells its body to end.
///
/// From its construction on the terminal's events reach the program as signals, see `ConsoleControlSignalTranslator`.
/// Arguments and signals are set up by the main thread at start-up; `stopEvent` may be used from any thread.
class NORQSTD_EXPORT Application : public Runnable {
public:
    Application();
    ~Application() override;
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    WString toString() const override;

    /// Starts the log of the process, see `StaticLog::initInstance`. Throws `NorqIllegalArgumentException` for null.
    static void initializeLogging(const WChar* name);

    /// As `IArgumentParser::parseArguments`. The narrow form takes what the main function is given, as UTF-8.
    void parseArguments(int argc, const WChar* const* argv);
    void parseArguments(int argc, const char* const* argv);

    IArgumentParser& getArgumentParser() const { return *argumentParser; }
    ISignalHandler& getSignalHandler() const { return *signalHandler; }

protected:
    /// Stays signaled once something has asked the program to stop.
    Event stopEvent{false, false};

private:
    std::unique_ptr<IArgumentParser> argumentParser;
    std::unique_ptr<ISignalHandler> signalHandler;
};

} // namespace norq_std
