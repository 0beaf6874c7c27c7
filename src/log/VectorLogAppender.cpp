#include "log/VectorLogAppender.h"

#include "base/Functor.h"
#include "base/StaticLog.h"
#include "concurrency/AutoLock.h"
#include "log/DebugFileFilter.h"
#include "log/NorqLogLayout.h"

namespace norq_std {

VectorLogAppender::VectorLogAppender()
    : ILogAppender(std::make_shared<DebugFileFilter>(), std::make_shared<NorqLogLayout>()) {
    StaticLog::addAppender(std::shared_ptr<ILogAppender>(this, null_deleter()));
}

VectorLogAppender::~VectorLogAppender() {
    StaticLog::removeAppender(std::shared_ptr<ILogAppender>(this, null_deleter()));
}

WString VectorLogAppender::toString() const { return u"VectorLogAppender{}"; }

VectorLogAppender* VectorLogAppender::newInstance(const Properties&) const { return new VectorLogAppender; }

WString VectorLogAppender::getClassName() const { return u"norq_std.VectorLogAppender"; }

std::vector<WString> VectorLogAppender::getLogStatements() {
    const AutoLock<Lock> guard(lock);
    return statements;
}

void VectorLogAppender::clear() {
    const AutoLock<Lock> guard(lock);
    statements.clear();
}

void VectorLogAppender::localAppend(const LogEvent&) {}

void VectorLogAppender::localAppend(const WString& text) {
    const AutoLock<Lock> guard(lock);
    statements.push_back(text);
}

} // namespace norq_std
