#include "log/LoggerBase.h"

#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "internal/EncodedLine.h"
#include "internal/LogRecord.h"
#include "internal/LogTimeText.h"
#include "internal/SpinPause.h"
#include "log/CompressedRollingFileAppender.h"
#include "log/ILogAppender.h"
#include "log/LogEvent.h"
#include "log/NorqLogLayout.h"
#include "log/NorqLoggerSTD.h"
#include "log/RollingFileAppender.h"
#include "platform/CancellationShield.h"

#include <algorithm>
#include <array>
#include <cxxabi.h>
#include <mutex>
#include <typeinfo>

// The library's own rings, with its own filters and layouts, are what nearly every log consists of. For them a
// statement becomes the bytes of its line before the lock is taken, all but the time, and no event is made. A thread
// that finds the lock taken leaves its statement in a list; the thread that gets the lock next writes all that are
// there, in one call of the system, and lets their threads go. Any other appender gets its event on the thread that
// logs.

namespace norq_std {

using norq_std_internal::EncodedLine;
using norq_std_internal::LogRecord;
using norq_std_internal::LogTimeText;

namespace {

constexpr std::size_t SPARE_MESSAGE_UNITS = 4096; // the memory of a larger message is given back
constexpr std::size_t MOST_TOGETHER = 64;

// About as long as a line takes to be written.
constexpr int MAX_TRIES = 12;
constexpr int MAX_PAUSES = 16;

/// What a statement is for an appender; of several, the sum.
enum Need : std::uint8_t { NOTHING = 0, PLAIN_LINE = 1, DEBUG_LINE = 2, EVENT = 4 };

/// The text of the exception being handled.
[[gnu::noinline]] WString describeFailure() {
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

/// Runs `action`; what it throws becomes the text. Whether it came to its end.
template <class Action>
bool guarded(WString& failure, Action action) {
    try {
        action();
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        failure = describeFailure();
        return false;
    }
}

/// A time as it was when it was worked out: what an appender logs has another, in the same place.
class OwnTime {
public:
    explicit OwnTime(std::string_view text)
        : length(text.copy(bytes.data(), bytes.size())) {}
    operator std::string_view() const { return {bytes.data(), length}; }

private:
    std::array<char, LogTimeText::longest> bytes;
    std::size_t length;
};

[[gnu::noinline]] void report(const WString& failure, const LogRecord& record) {
    NorqLoggerSTD::getInstance().STD3012(u"norq_std::LoggerBase::append", failure.c_str(), record.threadId,
                                         WString(record.fileName).c_str(), WString(record.function).c_str(),
                                         static_cast<std::int32_t>(record.lineNumber));
}

} // namespace

/// An appender of the list.
class LoggerBase::Recipient {
public:
    explicit Recipient(const std::shared_ptr<ILogAppender>& added)
        : appender(added)
        , ring(isRing(*added) ? static_cast<RollingFileAppender*>(added.get()) : nullptr) {}

    Need need(LogEventPriority priority) const {
        using Filter = ILogAppender::FilterKind;
        using Layout = ILogAppender::LayoutKind;
        const Filter filter = appender->filterKind;
        const Layout layout = appender->layoutKind;
        if (ring == nullptr || filter == Filter::Other || layout == Layout::Other)
            return EVENT;
        if (filter == Filter::None || layout == Layout::None || (filter == Filter::InfoAndAbove && priority <= DEBUG))
            return NOTHING;
        return layout == Layout::Debug ? DEBUG_LINE : PLAIN_LINE;
    }

    std::shared_ptr<ILogAppender> appender;
    RollingFileAppender* ring; // the appender, if it is one of the library's and not of a derived class

private:
    static bool isRing(const ILogAppender& added) {
        return typeid(added) == typeid(RollingFileAppender) || typeid(added) == typeid(CompressedRollingFileAppender);
    }
};

/// A statement under way, on the stack of its thread.
class LoggerBase::Statement {
public:
    explicit Statement(const LogRecord& logged)
        : record(logged) {}

    void prepare(int forms) {
        if (forms & PLAIN_LINE)
            make(PLAIN_LINE);
        if (forms & DEBUG_LINE)
            make(DEBUG_LINE);
    }

    std::string_view line(Need form, std::string_view time) {
        make(form);
        return lines[form == DEBUG_LINE ? 1 : 0].at(time);
    }

    const LogRecord& record;
    Statement* next = nullptr;
    bool listed = false;
    std::atomic<bool> done{false};

private:
    void make(Need form) {
        if (made & form)
            return;
        NorqLogLayout::encode(lines[form == DEBUG_LINE ? 1 : 0], record, form == DEBUG_LINE);
        made |= form;
    }

    int made = NOTHING;
    EncodedLine lines[2];
};

LoggerBase::LoggerBase()
    : timeText(std::make_unique<LogTimeText>()) {}

LoggerBase::~LoggerBase() = default;

void LoggerBase::addAppender(const std::shared_ptr<ILogAppender>& appender) {
    if (!appender)
        throw NorqIllegalArgumentException(u"Appender to add must not be NULL.");
    const AutoLock<Lock> guard(lock);
    if (containsAppender(appender))
        return;
    auto extended = recipients ? std::make_shared<Recipients>(*recipients) : std::make_shared<Recipients>();
    extended->emplace_back(appender);
    replace(std::move(extended));
}

void LoggerBase::removeAppender(const std::shared_ptr<ILogAppender>& appender) {
    const AutoLock<Lock> guard(lock);
    if (!containsAppender(appender))
        return;
    auto reduced = std::make_shared<Recipients>(*recipients);
    std::erase_if(*reduced, [&](const Recipient& recipient) { return recipient.appender == appender; });
    replace(reduced->empty() ? nullptr : std::move(reduced));
}

bool LoggerBase::containsAppender(const std::shared_ptr<ILogAppender>& appender) {
    const AutoLock<Lock> guard(lock);
    return recipients && std::ranges::find(*recipients, appender, &Recipient::appender) != recipients->end();
}

void LoggerBase::removeAll() {
    const AutoLock<Lock> guard(lock);
    replace(nullptr);
}

/// With the lock; what the body logs goes alone, since it may have taken an appender apart meanwhile, or be one.
void LoggerBase::runHeld(const std::function<void()>& body) {
    const AutoLock<Lock> guard(lock);
    struct Restore {
        ~Restore() NORQ_NO_THREAD_SAFETY_ANALYSIS {
            logger.delivering = before;
            if (!before)
                logger.replaced.clear();
        }
        LoggerBase& logger;
        const bool before;
    } const restore{*this, delivering};
    delivering = true;
    body();
}

void LoggerBase::replace(std::shared_ptr<const Recipients> list) {
    recipients.swap(list);
    if (delivering && list)
        replaced.push_back(std::move(list));
}

void LoggerBase::log(LogEventPriority priority, const WString& function, const WString& message, const WString& module,
                     const WString& errorId, std::uint64_t threadId, const WString& fileName,
                     std::uint32_t lineNumber) {
    log({priority, function, message, module, errorId, threadId, fileName, lineNumber});
}

// The analysis knows no guard for a lock that is held already.
[[gnu::flatten]] void LoggerBase::log(const LogRecord& record) NORQ_NO_THREAD_SAFETY_ANALYSIS {
    Statement statement(record);
    const int likely = needs[record.priority > DEBUG ? 1 : 0].load(std::memory_order_relaxed);
    statement.prepare(likely);
    if (likely & EVENT)
        lock.lock();
    else if (!lock.tryLock())
        return logInTurn(statement);
    const std::lock_guard<Lock> guard(lock, std::adopt_lock);
    take(statement, (likely & EVENT) != 0);
}

[[gnu::noinline]] void LoggerBase::logInTurn(Statement& statement) NORQ_NO_THREAD_SAFETY_ANALYSIS {
    // While the statement is in the list, its thread must not go.
    const norq_std_internal::platform::CancellationShield shield;
    if (!waitForTurn(statement))
        return;
    const std::lock_guard<Lock> guard(lock, std::adopt_lock);
    take(statement, false);
}

bool LoggerBase::waitForTurn(Statement& statement) NORQ_NO_THREAD_SAFETY_ANALYSIS {
    statement.listed = true;
    statement.next = waiting.load(std::memory_order_relaxed);
    while (!waiting.compare_exchange_weak(statement.next, &statement, std::memory_order_release,
                                          std::memory_order_relaxed)) {
    }
    for (int tries = 0; tries < MAX_TRIES; ++tries) {
        if (statement.done.load(std::memory_order_acquire))
            return false;
        if (lock.tryLock())
            return true;
        norq_std_internal::spinPause(std::min(1 << tries, MAX_PAUSES));
    }
    lock.lock();
    return true;
}

void LoggerBase::take(Statement& own, bool byEvents) {
    if (own.done.load(std::memory_order_acquire))
        return;
    if (delivering) // an appender logs
        return deliver(own);
    // Whoever has to hand over events leaves the others to their own threads.
    Statement* const first = byEvents ? &own : withWaiting(own);
    struct Turn {
        ~Turn() NORQ_NO_THREAD_SAFETY_ANALYSIS { logger.finishTurn(first, own); }
        LoggerBase& logger;
        Statement* const first;
        const Statement& own;
    } const turn{*this, first, own};
    delivering = true;
    if (first->next == nullptr)
        deliver(own);
    else
        deliverTogether(first);
}

void LoggerBase::finishTurn(Statement* first, const Statement& own) {
    delivering = false;
    replaced.clear();
    for (Statement* statement = first; statement != nullptr;) {
        Statement* const following = statement->next; // it is gone once it is done
        if (statement != &own)
            statement->done.store(true, std::memory_order_release);
        statement = following;
    }
}

/// All statements that wait and this one, the first to come first.
LoggerBase::Statement* LoggerBase::withWaiting(Statement& own) {
    if (waiting.load(std::memory_order_relaxed) == nullptr)
        return &own;
    Statement* last = waiting.exchange(nullptr, std::memory_order_acquire);
    if (!own.listed) {
        own.next = last;
        last = &own;
    }
    Statement* first = nullptr;
    while (last != nullptr) {
        Statement* const earlier = last->next;
        last->next = first;
        first = last;
        last = earlier;
    }
    return first;
}

void LoggerBase::deliver(Statement& statement) {
    const Recipients* const current = recipients.get();
    if (current == nullptr)
        return;
    const LogRecord& record = statement.record;
    const LogEvent::Time now = LogEvent::now();
    const OwnTime time(timeText->of(now.seconds, now.milliseconds));
    std::unique_ptr<LogEvent> event;
    WString failure;
    int needed = NOTHING;
    for (const Recipient& recipient : *current) {
        const Need need = recipient.need(record.priority);
        needed |= need;
        // The analysis does not see in here that the lock is held.
        guarded(failure, [&]() NORQ_NO_THREAD_SAFETY_ANALYSIS {
            if (need == EVENT) {
                if (!event)
                    event = makeEvent(record, now);
                recipient.appender->append(*event);
            } else if (need != NOTHING) {
                const std::string_view line = statement.line(need, time);
                std::span<const std::string_view> lines(&line, 1);
                appendTo(*recipient.ring, lines);
            }
        });
    }
    if (event && record.message.size() <= SPARE_MESSAGE_UNITS)
        spare = std::move(event);
    remember(record.priority, needed);
    if (!failure.empty())
        report(failure, record);
}

/// What is left of `lines` when this throws begins with the line that failed.
void LoggerBase::appendTo(RollingFileAppender& ring, std::span<const std::string_view>& lines) {
    while (!lines.empty()) {
        try {
            const std::size_t written = ring.rollingFile.writeLines(lines);
            if (written == 0 && !ring.isOpenOrReopened())
                return;
            lines = lines.subspan(written);
        } catch (const NorqException&) { // the line is lost
            lines = lines.subspan(1);
        }
    }
}

/// The lines of all statements to each appender in one piece, if all are rings.
[[gnu::noinline]] void LoggerBase::deliverTogether(Statement* first) {
    const auto current = recipients;
    if (!current)
        return;
    // Cancelled, this thread would take the lines of others with it.
    const norq_std_internal::platform::CancellationShield shield;
    int needed = NOTHING;
    for (const Statement* statement = first; statement != nullptr; statement = statement->next)
        for (const Recipient& recipient : *current)
            needed |= recipient.need(statement->record.priority);
    if (needed & EVENT) {
        for (Statement* statement = first; statement != nullptr; statement = statement->next)
            deliver(*statement);
        return;
    }
    const LogEvent::Time now = LogEvent::now();
    const OwnTime time(timeText->of(now.seconds, now.milliseconds));
    WString failure;
    const Statement* failed = nullptr;
    for (const Recipient& recipient : *current) {
        std::array<std::string_view, MOST_TOGETHER> lines;
        std::array<const Statement*, MOST_TOGETHER> owners;
        std::size_t count = 0;
        for (Statement* statement = first; statement != nullptr; statement = statement->next) {
            if (const Need need = recipient.need(statement->record.priority); need != NOTHING) {
                if (guarded(failure, [&] { lines[count] = statement->line(need, time); }))
                    owners[count++] = statement;
                else
                    failed = statement;
            }
            if (count != lines.size() && statement->next != nullptr)
                continue;
            for (std::span<const std::string_view> rest(lines.data(), count); !rest.empty();) {
                if (guarded(failure, [&] { appendTo(*recipient.ring, rest); }))
                    break;
                failed = owners[count - rest.size()];
                rest = rest.subspan(1);
            }
            count = 0;
        }
    }
    if (failed != nullptr)
        report(failure, failed->record);
}

[[gnu::noinline]] std::unique_ptr<LogEvent> LoggerBase::makeEvent(const LogRecord& record, LogEvent::Time now) {
    // An appender that logs from inside finds no spare event and makes its own.
    auto event = spare ? std::move(spare) : std::make_unique<LogEvent>();
    event->time = now;
    event->priority = record.priority;
    event->errorId = record.errorId;
    event->threadId = record.threadId;
    event->module = record.module;
    event->fileName = record.fileName;
    event->lineNumber = record.lineNumber;
    event->function = record.function;
    event->message = record.message;
    return event;
}

void LoggerBase::remember(LogEventPriority priority, int needed) {
    std::atomic<std::uint8_t>& known = needs[priority > DEBUG ? 1 : 0];
    if (known.load(std::memory_order_relaxed) != needed)
        known.store(static_cast<std::uint8_t>(needed), std::memory_order_relaxed);
}

void LoggerBase::append(const LogEvent& event) {
    WString failure;
    runHeld([&]() NORQ_NO_THREAD_SAFETY_ANALYSIS {
        if (const auto current = recipients)
            for (const Recipient& recipient : *current)
                guarded(failure, [&] { recipient.appender->append(event); });
    });
    if (!failure.empty())
        report(failure, {event.priority, event.function, event.message, event.module, event.errorId, event.threadId,
                         event.fileName, event.lineNumber});
}

} // namespace norq_std
