#include "log/OutputDebugAppender.h"

#include "platform/DebugOutput.h"

namespace norq_std {

OutputDebugAppender::OutputDebugAppender()
    : ILogAppender(nullptr, nullptr) {}

OutputDebugAppender::~OutputDebugAppender() = default;

WString OutputDebugAppender::toString() const { return u"OutputDebugAppender{}"; }

OutputDebugAppender* OutputDebugAppender::newInstance(const Properties&) const { return new OutputDebugAppender; }

WString OutputDebugAppender::getClassName() const { return u"norq_std.OutputDebugAppender"; }

void OutputDebugAppender::localAppend(const LogEvent&) {}

void OutputDebugAppender::localAppend(const WString& text) {
    if (!text.empty())
        norq_std_internal::platform::debugOutput(text);
}

} // namespace norq_std
