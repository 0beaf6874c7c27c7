#include "log/LoggerBase.h"

#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "log/ILogAppender.h"
#include "log/LogEvent.h"
#include "log/NorqLoggerSTD.h"

#include <algorithm>
#include <cxxabi.h>

namespace norq_std {
namespace {

constexpr std::size_t SPARE_MESSAGE_UNITS = 4096; // the memory of a larger message is given back

/// The text of the exception being handled.
WString describeFailure() {
    try {
        throw;
    } catch (const NorqException& failure) {
        return failure.getMessage();
    } catch (const std::exception& failure) {
        return UtfUtils::utf8ToUtf16(failure.what());
    } catch (...) {
        return u"Unknown Exception";
    }
}

} // namespace

LoggerBase::LoggerBase() = default;

LoggerBase::~LoggerBase() = default;

void LoggerBase::addAppender(const std::shared_ptr<ILogAppender>& appender) {
    if (!appender)
        throw NorqIllegalArgumentException(u"Appender to add must not be NULL.");
    const AutoLock<Lock> guard(lock);
    if (containsAppender(appender))
        return;
    auto extended = appenders ? std::make_shared<Appenders>(*appenders) : std::make_shared<Appenders>();
    extended->push_back(appender);
    appenders = std::move(extended);
}

void LoggerBase::removeAppender(const std::shared_ptr<ILogAppender>& appender) {
    const AutoLock<Lock> guard(lock);
    if (!containsAppender(appender))
        return;
    auto reduced = std::make_shared<Appenders>(*appenders);
    std::erase(*reduced, appender);
    appenders = reduced->empty() ? nullptr : std::move(reduced);
}

bool LoggerBase::containsAppender(const std::shared_ptr<ILogAppender>& appender) {
    const AutoLock<Lock> guard(lock);
    return appenders && std::find(appenders->begin(), appenders->end(), appender) != appenders->end();
}

void LoggerBase::log(LogEventPriority priority, const WString& function, const WString& message, const WString& module,
                     const WString& errorId, std::uint64_t threadId, const WString& fileName,
                     std::uint32_t lineNumber) {
    const AutoLock<Lock> guard(lock);
    if (!appenders)
        return;
    // An appender that logs from inside finds no spare event and makes its own.
    auto event = spare ? std::move(spare) : std::make_unique<LogEvent>();
    event->setTime();
    event->priority = priority;
    event->errorId = errorId;
    event->threadId = threadId;
    event->module = module;
    event->fileName = fileName;
    event->lineNumber = lineNumber;
    event->function = function;
    event->message = message;
    deliver(*event);
    if (message.size() <= SPARE_MESSAGE_UNITS)
        spare = std::move(event);
}

void LoggerBase::append(const LogEvent& event) {
    const AutoLock<Lock> guard(lock);
    if (appenders)
        deliver(event);
}

void LoggerBase::deliver(const LogEvent& event) {
    const auto current = appenders;
    WString failure;
    for (const auto& appender : *current) {
        try {
            appender->append(event);
        } catch (abi::__forced_unwind&) {
            throw;
        } catch (...) {
            failure = describeFailure();
        }
    }
    if (!failure.empty())
        NorqLoggerSTD::getInstance().STD3012(u"norq_std::LoggerBase::append", failure.c_str(), event.threadId,
                                             event.fileName.c_str(), event.function.c_str(),
                                             static_cast<std::int32_t>(event.lineNumber));
}

} // namespace norq_std
