#pragma once

#include "base/WString.h"
#include "concurrency/Lock.h"
#include "log/LoggerBase.h"
#include "log/StaticLogConfig.h"

#include <atomic>
#include <memory>
#include <utility>

namespace norq_std {

class StaticLogPtr;

/// The configured log behind `StaticLog`: a logger with the appenders of a configuration file.
///
/// There is at most one in the life of a process. Its logger outlives it, so that a line needs the logger's lock alone.
/// That lock is taken first: whatever touches an appender besides holds it as well, and so does everything that takes
/// the two locks of the object, first that of the pointer to it and then its own, through `getInstance`.
class StaticLogInstance {
public:
    StaticLogInstance();
    StaticLogInstance(const StaticLogInstance&) = delete;
    StaticLogInstance& operator=(const StaticLogInstance&) = delete;
    /// Lets a thread that logs finish first.
    ~StaticLogInstance();

    /// At the load of the library: makes the lock of the pointer.
    static void initLocks();
    /// Nothing thrown comes out; a second call does nothing.
    static void initInstance(const WString& moduleName);
    /// The configured log, if there is one and none of its parts fails, with its locks.
    static StaticLogPtr getInstance();
    /// At the unload of the library: from now on lines take the road of an unconfigured log. Appenders stay.
    static void destroyInstance();
    static WString getModuleName();

    /// The logger of the process, which is there before the configured log and after it, without appenders.
    static LoggerBase& getLogger();
    static void send(const norq_std_internal::LogRecord& record) { getLogger().log(record); }
    static void runHeld(const std::function<void()>& body) { getLogger().runHeld(body); }
    /// The logger's lock.
    static Lock& getLoggerLock() { return getLogger().lock; }

    StaticLogConfig& getConfig() { return config; }

private:
    friend class StaticLogPtr;

    void init(const WString& moduleName);

    // None of these is ever destroyed.
    static std::atomic<Lock*> singletonLock;
    static std::atomic<StaticLogInstance*> instance;
    static std::atomic<bool> destroyed;
    static std::atomic<const WString*> moduleName;

    Lock lock;
    StaticLogConfig config;
};

/// Holds the configured log for a scope, with its two locks; or nothing. To copy one takes the log from the source.
class StaticLogPtr {
public:
    StaticLogPtr() = default;
    explicit StaticLogPtr(StaticLogInstance* log) { reset(log); }
    StaticLogPtr(StaticLogPtr& source) noexcept
        : held(source.release()) {}
    StaticLogPtr(StaticLogPtr&& source) noexcept
        : held(source.release()) {}
    StaticLogPtr& operator=(StaticLogPtr& source) noexcept {
        StaticLogPtr taken(source); // lets go of what was held here
        std::swap(held, taken.held);
        return *this;
    }
    StaticLogPtr& operator=(StaticLogPtr&& source) noexcept { return *this = source; }
    virtual ~StaticLogPtr() { reset(); }

    /// Lets go of what it holds, and then takes the locks of this one.
    void reset(StaticLogInstance* log = nullptr);

    StaticLogInstance* operator->() const { return held; }
    explicit operator bool() const { return held != nullptr; }

private:
    StaticLogInstance* release() noexcept { return std::exchange(held, nullptr); }

    StaticLogInstance* held = nullptr;
};

} // namespace norq_std
