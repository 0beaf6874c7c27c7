#pragma once

#include "base/LogEventPriority.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace norqstd_test {

/// Collects what goes to the debugger channel, from any thread, while it lives. One at a time.
class DebugCapture {
public:
    DebugCapture();
    /// The same, with the threshold of the log at this priority in place of DEBUG, until it dies.
    explicit DebugCapture(norq_std::LogEventPriority threshold);
    ~DebugCapture();
    DebugCapture(const DebugCapture&) = delete;
    DebugCapture& operator=(const DebugCapture&) = delete;

    /// Each with its line feed, in the order of arrival.
    std::vector<std::u16string> lines() const;
    /// Number of lines that contain this text.
    std::size_t count(std::u16string_view text) const;
    void clear();

private:
    mutable std::mutex mutex;
    std::vector<std::u16string> collected;
};

} // namespace norqstd_test
