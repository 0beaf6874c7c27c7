#pragma once

#include "base/Export.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/Lock.h"
#include "log/ILogAppender.h"

#include <vector>

namespace norq_std {

/// Keeps every line in memory, for tests and for programs that show their own log.
///
/// It accepts all events and renders them in the plain line form. While it lives it is an appender of the process-wide
/// log, where that has been configured; it may be added to a `LoggerBase` of one's own beside that, and is then to be
/// removed there before it dies. Lines may be read and cleared from any thread. There is no bound on its memory.
class NORQSTD_EXPORT VectorLogAppender : public ILogAppender {
public:
    VectorLogAppender();
    VectorLogAppender(const VectorLogAppender&) = delete;
    VectorLogAppender& operator=(const VectorLogAppender&) = delete;
    ~VectorLogAppender() override;

    WString toString() const override;
    VectorLogAppender* newInstance(const Properties& properties) const override;
    WString getClassName() const;

    /// A copy of the lines so far, oldest first.
    std::vector<WString> getLogStatements();
    void clear();

protected:
    void localAppend(const LogEvent& event) override;
    void localAppend(const WString& text) override;

private:
    Lock lock;
    std::vector<WString> statements NORQ_GUARDED_BY(lock);
};

} // namespace norq_std
