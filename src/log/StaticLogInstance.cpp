#include "log/StaticLogInstance.h"

#include "base/LogMacros.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "internal/LogRoad.h"

#include <cxxabi.h>

namespace norq_std {

using norq_std_internal::LogRecord;
using norq_std_internal::LogRoad;

namespace {

constexpr const WChar* GET_INSTANCE = u"norq_std::StaticLog::getInstance";

/// Hung in behind the log's entry points for good: it finds no appenders any more once the log is gone.
class ConfiguredRoad final : public LogRoad {
public:
    void log(const LogRecord& record) override { StaticLogInstance::send(record); }
    void addAppender(const std::shared_ptr<ILogAppender>& appender) override {
        const AutoLock<Lock> guard(StaticLogInstance::getLoggerLock());
        if (StaticLogInstance::getInstance())
            StaticLogInstance::getLogger().addAppender(appender);
    }
    void removeAppender(const std::shared_ptr<ILogAppender>& appender) override {
        StaticLogInstance::getLogger().removeAppender(appender);
    }

protected:
    void runHeld(const std::function<void()>& body) override { StaticLogInstance::runHeld(body); }
};

LogRoad& configuredRoad() {
    static LogRoad& road = *new ConfiguredRoad;
    return road;
}

} // namespace

constinit std::atomic<Lock*> StaticLogInstance::singletonLock{nullptr};
constinit std::atomic<StaticLogInstance*> StaticLogInstance::instance{nullptr};
constinit std::atomic<bool> StaticLogInstance::destroyed{false};
constinit std::atomic<const WString*> StaticLogInstance::moduleName{nullptr};

LoggerBase& StaticLogInstance::getLogger() {
    static LoggerBase& logger = *new LoggerBase;
    return logger;
}

StaticLogInstance::StaticLogInstance() = default;

StaticLogInstance::~StaticLogInstance() { const AutoLock<Lock> guard(lock); }

void StaticLogInstance::initLocks() {
    if (singletonLock.load() == nullptr)
        singletonLock.store(new Lock);
}

void StaticLogInstance::initInstance(const WString& name) {
    Lock* const pointerLock = singletonLock.load();
    if (destroyed.load() || pointerLock == nullptr || instance.load() != nullptr)
        return;
    try {
        const AutoLock<Lock> loggerGuard(getLoggerLock());
        const AutoLock<Lock> guard(*pointerLock);
        if (instance.load() != nullptr)
            return;
        auto log = std::make_unique<StaticLogInstance>();
        moduleName.store(new WString(name));
        const AutoLock<Lock> instanceGuard(log->lock);
        instance.store(log.get());
        LogRoad::install(&configuredRoad());
        log.release()->init(name);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, u"norq_std::StaticLog::initInstance", u"Logging was not initialized: %ls", e.getMessage());
    } catch (...) {
        NORQ_LOG(DEBUG, u"norq_std::StaticLog::initInstance", u"Logging was not initialized.");
    }
}

void StaticLogInstance::init(const WString& name) {
    config.initialize(name);
    const StaticLogConfig::Appenders& appenders = config.getAppenders();
    for (const auto& [appenderName, appender] : appenders)
        getLogger().addAppender(appender);
    if (appenders.empty())
        NORQ_LOG(DEBUG, u"norq_std::StaticLog::init", u"Logging was not initialized because no appenders were found.");
    else
        LogRoad::setInitialized(true);
}

StaticLogPtr StaticLogInstance::getInstance() {
    Lock* const pointerLock = singletonLock.load(std::memory_order_acquire);
    if (destroyed.load(std::memory_order_relaxed) || pointerLock == nullptr ||
        instance.load(std::memory_order_relaxed) == nullptr)
        return {};
    try {
        const AutoLock<Lock> guard(*pointerLock);
        return StaticLogPtr(instance.load(std::memory_order_relaxed));
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, GET_INSTANCE, u"getInstance Caught Exception: %ls", e.getMessage());
        NORQ_LOG(DEBUG, GET_INSTANCE, u"\tSingletonLock: %ls", pointerLock->toString());
        if (StaticLogInstance* const log = instance.load())
            NORQ_LOG(DEBUG, GET_INSTANCE, u"\tInstanceLock: %ls", log->lock.toString());
    } catch (...) {
        NORQ_LOG(DEBUG, GET_INSTANCE, u"getInstance Caught Unknown Exception.");
    }
    return {};
}

void StaticLogInstance::destroyInstance() {
    if (destroyed.exchange(true))
        return;
    LogRoad::setInitialized(false);
    getLogger().removeAll();
    std::unique_ptr<StaticLogInstance> log;
    if (Lock* const pointerLock = singletonLock.load()) {
        const AutoLock<Lock> guard(*pointerLock);
        log.reset(instance.exchange(nullptr));
    }
    // Destroyed outside the lock: its configuration may wait for a change that is just being worked in, and that logs.
}

WString StaticLogInstance::getModuleName() {
    const WString* const name = moduleName.load(std::memory_order_acquire);
    return name == nullptr ? WString() : *name;
}

void StaticLogPtr::reset(StaticLogInstance* log) NORQ_NO_THREAD_SAFETY_ANALYSIS {
    Lock& pointerLock = *StaticLogInstance::singletonLock.load(std::memory_order_acquire);
    if (held != nullptr) {
        held->lock.unlock();
        pointerLock.unlock();
        held = nullptr;
    }
    if (log != nullptr) {
        pointerLock.lock();
        log->lock.lock();
        held = log;
    }
}

// ---- the operations of StaticLog that need a configured log, a storey above the others

void StaticLog::initInstance(const WString& moduleName) { StaticLogInstance::initInstance(moduleName); }

WString StaticLog::getModuleName() { return StaticLogInstance::getModuleName(); }

WString StaticLog::getConfigPath() {
    const AutoLock<Lock> guard(StaticLogInstance::getLoggerLock());
    if (const StaticLogPtr held = StaticLogInstance::getInstance())
        return held->getConfig().getConfigPath();
    throw NorqIllegalStateException(u"Log is not initialized.");
}

void StaticLog::addConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener) {
    const AutoLock<Lock> guard(StaticLogInstance::getLoggerLock());
    if (const StaticLogPtr held = StaticLogInstance::getInstance())
        held->getConfig().addConfigurationListener(listener);
}

void StaticLog::removeConfigurationListener(const std::shared_ptr<ConfigurationListener>& listener) {
    const AutoLock<Lock> guard(StaticLogInstance::getLoggerLock());
    if (const StaticLogPtr held = StaticLogInstance::getInstance())
        held->getConfig().removeConfigurationListener(listener);
}

} // namespace norq_std
