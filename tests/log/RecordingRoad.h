#pragma once

#include "internal/LogRoad.h"
#include "log/LogEvent.h"

#include <vector>

/// Stands behind the process-wide log while it lives and keeps what arrives. One thread at a time.
class RecordingRoad : public norq_std_internal::LogRoad {
public:
    RecordingRoad() {
        install(this);
        setInitialized(true);
    }
    virtual ~RecordingRoad() {
        setInitialized(false);
        install(nullptr);
    }

    void log(norq_std::LogEventPriority priority, const norq_std::WString& function, const norq_std::WString& message,
             const norq_std::WString& module, const norq_std::WString& errorId, std::uint64_t threadId,
             const norq_std::WString& fileName, std::uint32_t lineNumber) override {
        norq_std::LogEvent event(priority);
        event.function = function;
        event.message = message;
        event.module = module;
        event.errorId = errorId;
        event.threadId = threadId;
        event.fileName = fileName;
        event.lineNumber = lineNumber;
        events.push_back(event);
    }
    void addAppender(const std::shared_ptr<norq_std::ILogAppender>& appender) override {
        appenders.push_back(appender);
    }
    void removeAppender(const std::shared_ptr<norq_std::ILogAppender>& appender) override {
        std::erase(appenders, appender);
    }

    void runHeld(const std::function<void()>& body) override { body(); }

    std::vector<norq_std::LogEvent> events;
    std::vector<std::shared_ptr<norq_std::ILogAppender>> appenders;
};
