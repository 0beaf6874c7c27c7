#pragma once

#include "base/Export.h"
#include "base/NorqLogger.h"
#include "base/WString.h"

#include <atomic>
#include <cstdint>

namespace norq_std {

/// The numbered messages of the library as a whole, by the code that stands in the log line.
///
/// The first digit tells the priority: 0 is INFO, 2 ERROR, 3 WARN. The first argument of every method is the qualified
/// name of the calling function; the others fill the placeholders of the text from left to right. A null text is
/// printed as "(null)". Methods never throw for their arguments, and any thread may call them.
class NORQSTD_EXPORT NorqLoggerSTD : public NorqLogger {
public:
    /// The one object, which lives as long as the process.
    static NorqLoggerSTD& getInstance();

    NorqLoggerSTD(const NorqLoggerSTD&) = delete;
    NorqLoggerSTD& operator=(const NorqLoggerSTD&) = delete;

    WString getModuleName() const override;

    void STD0000(const WChar* function);
    void STD0001(const WChar* function);
    void STD0002(const WChar* function, const WChar* factory);
    void STD0003(const WChar* function, const WChar* paths);
    void STD0004(const WChar* function, const WChar* client, const WChar* service);
    void STD0005(const WChar* function, const WChar* client, const WChar* service);
    void STD0006(const WChar* function, const WChar* library);
    void STD0007(const WChar* function, const WChar* library);
    void STD0008(const WChar* function, const WChar* threshold);
    void STD0009(const WChar* function, std::uint32_t size);
    void STD0010(const WChar* function, std::uint32_t count);

    void STD2000(const WChar* function, const WChar* client, const WChar* service);
    void STD2001(const WChar* function, const WChar* client);
    void STD2002(const WChar* function, const WChar* reason);
    void STD2003(const WChar* function, std::int32_t code, const WChar* reason);
    void STD2004(const WChar* function, std::int32_t code, const WChar* reason);

    void STD3000(const WChar* function, const WChar* subject, const WChar* verb, const WChar* value);
    void STD3001(const WChar* function, const WChar* key);
    void STD3002(const WChar* function, const WChar* key);
    /// Names the caller itself in its text.
    void STD3003(const WChar* function);
    void STD3004(const WChar* function, std::int32_t size);
    void STD3005(const WChar* function, std::int32_t size);
    void STD3006(const WChar* function, const WChar* reason);
    void STD3007(const WChar* function, const WChar* reason);
    void STD3008(const WChar* function, const WChar* name, const WChar* group, const WChar* reason);
    void STD3009(const WChar* function, std::uint64_t threadId, const WChar* thread, const WChar* pool,
                 const WChar* task, const WChar* abortedTask);
    void STD3010(const WChar* function, const WChar* factory, const WChar* pool, const WChar* task);
    void STD3011(const WChar* function, const WChar* reason);
    /// The report of a failing appender. It does nothing within 30 seconds of its last report, so that an appender that
    /// fails over this very message does not report itself without end. Null texts count as empty.
    void STD3012(const WChar* function, const WChar* failure, std::uint64_t threadId, const WChar* file,
                 const WChar* eventFunction, std::int32_t line);
    void STD3013(const WChar* function, const WChar* name, const WChar* reason);

private:
    NorqLoggerSTD() = default;

    std::atomic<std::uint64_t> lastAppenderReportMs{0};
};

} // namespace norq_std
