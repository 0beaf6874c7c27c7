#pragma once

#include "service/ISignalHandler.h"

#include <set>

namespace norq_std {

/// One function for each signal; the last one registered counts.
///
/// It remembers the signals that it changed, for `deregisterAllSignalHandlers`. Its destruction leaves them as they
/// are.
class NORQSTD_EXPORT SignalHandler : public ISignalHandler {
public:
    SignalHandler();
    ~SignalHandler() override;

    WString toString() const override;

    void ignoreSignal(int signal) override;
    void useDefaultSignalHandler(int signal) override;
    void registerSignalHandler(int signal, void (*handler)(int)) override;
    /// Puts the default action back, whatever the handler is.
    void deregisterSignalHandler(int signal, void (*handler)(int)) override;
    void deregisterAllSignalHandlers() override;
    void deregisterSignalHandler(int signal);

private:
    std::set<int> signals;
};

} // namespace norq_std
