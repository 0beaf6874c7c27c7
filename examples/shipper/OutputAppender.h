#pragma once

#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "log/ILogAppender.h"

#include <atomic>
#include <cstdio>
#include <string>

namespace shipper {

/// Writes each line as UTF-8 to a file or to standard output, through a buffer.
///
/// The logger keeps an appender's failures from everybody else, so this one remembers its own: after the first it
/// signals `stop`, writes nothing more, and tells the reason when asked.
class OutputAppender : public norq_std::ILogAppender {
public:
    enum class Mode { Replace, Append };

    /// Standard output, if `path` is empty.
    OutputAppender(const std::string& path, Mode mode, norq_std::Event& stop);
    ~OutputAppender() override;
    OutputAppender(const OutputAppender&) = delete;
    OutputAppender& operator=(const OutputAppender&) = delete;

    norq_std::WString toString() const override;
    OutputAppender* newInstance(const Properties& properties) const override;

    /// Writes out what is buffered.
    void flush();
    /// From now on appends to another file. 0, or the system's error number, and then all stays as it was.
    int switchTo(const std::string& path);
    /// Why writing failed, or 0. An error number of the system.
    int failure() const { return errorNumber; }

protected:
    void localAppend(const norq_std::LogEvent& event) override;
    void localAppend(const norq_std::WString& text) override;

private:
    void fail();

    norq_std::Event& stop;
    norq_std::Lock lock; ///< guards the file
    std::FILE* file;
    std::atomic<int> errorNumber{0};
};

} // namespace shipper
