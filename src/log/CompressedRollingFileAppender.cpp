#include "log/CompressedRollingFileAppender.h"

#include "base/Functor.h"
#include "base/LogMacros.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "internal/FinishedFile.h"
#include "log/CompressedRollingFileAppenderThread.h"
#include "log/NorqLoggerSTD.h"

#include <limits>

namespace norq_std {

CompressedRollingFileAppender::CompressedRollingFileAppender()
    : event(std::make_shared<Event>(true, false))
    , queue(std::make_shared<Queue>(std::numeric_limits<std::int32_t>::max())) {
    rollingFile.addObserver(std::shared_ptr<RollingFileObserver>(this, null_deleter()));
}

CompressedRollingFileAppender::~CompressedRollingFileAppender() {
    rollingFile.removeObserver(std::shared_ptr<RollingFileObserver>(this, null_deleter()));
    thread.reset();
    queue.reset();
    event.reset();
}

WString CompressedRollingFileAppender::toString() const { return u"CompressedRollingFileAppender{}"; }

WString CompressedRollingFileAppender::getClassName() const { return u"norq_std.CompressedRollingFileAppender"; }

CompressedRollingFileAppender* CompressedRollingFileAppender::newInstance(const Properties& properties) const {
    auto appender = std::make_unique<CompressedRollingFileAppender>();
    appender->setupInstance(properties);
    return appender.release();
}

void CompressedRollingFileAppender::onCloseNotify(const File& file) {
    constexpr const WChar* function = u"norq_std::CompressedRollingFileAppender::onCloseNotify";
    if (!isCompressionPossible())
        return;
    try {
        startThreadIfNeeded();
        if (!queue->offer(std::make_shared<norq_std_internal::FinishedFile>(file.getCanonicalPath())))
            NORQ_LOG(DEBUG, function, u"Error. Could not add file to compression queue.");
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, function, u"Error adding file to queue for compression. Error: %ls.", e.getMessage());
    }
    event->signal();
}

void CompressedRollingFileAppender::startThreadIfNeeded() {
    try {
        if (!thread)
            thread = std::make_shared<CompressedRollingFileAppenderThread>(event, queue);
        if (thread->getState() != THREAD_RUNNING)
            thread->start();
    } catch (const NorqException& e) {
        NorqLoggerSTD::getInstance().STD3011(u"norq_std::CompressedRollingFileAppender::startThreadIfNeeded",
                                             e.getMessage().c_str());
    }
}

} // namespace norq_std
