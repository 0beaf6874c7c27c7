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

    void log(const norq_std_internal::LogRecord& record) override {
        norq_std::LogEvent event(record.priority);
        event.function = record.function;
        event.message = record.message;
        event.module = record.module;
        event.errorId = record.errorId;
        event.threadId = record.threadId;
        event.fileName = record.fileName;
        event.lineNumber = record.lineNumber;
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
