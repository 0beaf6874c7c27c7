#include "support/DebugCapture.h"

#include "internal/LogRoad.h"
#include "platform/DebugOutput.h"

#include <algorithm>

namespace norqstd_test {

using norq_std_internal::LogRoad;

DebugCapture::DebugCapture() {
    norq_std_internal::platform::setDebugOutputSink([this](std::u16string_view text) {
        const std::lock_guard guard(mutex);
        collected.emplace_back(text);
    });
}

DebugCapture::DebugCapture(norq_std::LogEventPriority threshold)
    : DebugCapture() {
    // Without a road behind it, an initialized log tests its threshold and still goes to the debugger channel.
    LogRoad::setThreshold(threshold);
    LogRoad::setInitialized(true);
}

DebugCapture::~DebugCapture() {
    if (LogRoad::installed() == nullptr)
        LogRoad::setInitialized(false);
    LogRoad::setThreshold(norq_std::DEBUG);
    norq_std_internal::platform::setDebugOutputSink({});
}

std::vector<std::u16string> DebugCapture::lines() const {
    const std::lock_guard guard(mutex);
    return collected;
}

std::size_t DebugCapture::count(std::u16string_view text) const {
    const std::lock_guard guard(mutex);
    return static_cast<std::size_t>(std::count_if(collected.begin(), collected.end(), [&](const std::u16string& line) {
        return line.find(text) != std::u16string::npos;
    }));
}

void DebugCapture::clear() {
    const std::lock_guard guard(mutex);
    collected.clear();
}

} // namespace norqstd_test
