#pragma once

#include "service/ISignalHandler.h"

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <vector>

namespace norq_std {

/// Any number of functions for each signal, called in the order of their addresses; one registered twice is called
/// once.
///
/// One object serves the process: signals go to the one that was constructed last, and to none once that is destroyed.
/// The destruction of an object puts the default action back for each signal that it handles and the serving one does
/// not, and must not meet a signal that is being handled.
class NORQSTD_EXPORT SignalMultiHandler : public ISignalHandler {
public:
    SignalMultiHandler();
    ~SignalMultiHandler() override;
    SignalMultiHandler(const SignalMultiHandler&) = delete;
    SignalMultiHandler& operator=(const SignalMultiHandler&) = delete;

    WString toString() const override;

    /// This and `useDefaultSignalHandler` drop all handlers of the signal.
    void ignoreSignal(int signal) override;
    void useDefaultSignalHandler(int signal) override;
    void registerSignalHandler(int signal, void (*handler)(int)) override;
    /// Puts the default action back when the last handler goes. Nothing for a signal or handler that is not registered.
    void deregisterSignalHandler(int signal, void (*handler)(int)) override;
    void deregisterAllSignalHandlers() override;

private:
    using Function = void (*)(int);
    using Handlers = std::map<int, std::set<Function, std::less<>>>;

    static void signalHandler(int signal);
    void callSignalHandlers(int signal) const;

    void publish(Handlers changed);
    void drop(int signal);

    static std::atomic<SignalMultiHandler*> instance;

    // A signal may arrive while handlers change: it reads the version that stands, and no version dies before the
    // object.
    std::vector<std::unique_ptr<const Handlers>> versions;
    std::atomic<const Handlers*> handlers;
};

} // namespace norq_std
