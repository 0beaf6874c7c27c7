#include "internal/LogRoad.h"

namespace norq_std_internal {

constinit std::atomic<LogRoad*> LogRoad::road{nullptr};

void LogRoad::install(LogRoad* next) { road.store(next, std::memory_order_release); }

void LogRoad::whileHeld(const std::function<void()>& body) {
    if (LogRoad* const current = installed())
        current->runHeld(body);
    else
        body();
}

void LogRoad::setInitialized(bool on) { norq_std::StaticLog::initialized.store(on, std::memory_order_release); }

void LogRoad::setThreshold(norq_std::LogEventPriority threshold) {
    norq_std::StaticLog::currentThreshold.store(threshold, std::memory_order_relaxed);
}

} // namespace norq_std_internal
