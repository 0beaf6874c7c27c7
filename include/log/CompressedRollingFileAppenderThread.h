#pragma once

#include "base/Export.h"
#include "log/CompressedRollingFileAppender.h"
#include "thread/Thread.h"

#include <memory>

namespace norq_std_internal {
class FinishedFile;
}

namespace norq_std {

/// Compresses the files of a queue, one after the other, whenever its event is signaled. It takes no log lock.
///
/// Its destructor stops it, within a block of 32 KiB, and waits for up to a second.
class NORQSTD_EXPORT CompressedRollingFileAppenderThread : public Thread {
public:
    using Queue = CompressedRollingFileAppender::Queue;

    /// Both are shared with the appender: the event is signaled when a path was put into the queue.
    CompressedRollingFileAppenderThread(const std::shared_ptr<Event>& queuedEvent, const std::shared_ptr<Queue>& paths);
    ~CompressedRollingFileAppenderThread() override;

    WString toString() const override;
    WString getClassName() const;

    void run() override;

private:
    /// What the body works with: its own, since the object may die first.
    struct Work {
        std::shared_ptr<Event> stopEvent;
        std::shared_ptr<Event> event;
        std::shared_ptr<Queue> queue;

        void run();
        void compressAll();
        void moveAndCompressFile(const norq_std_internal::FinishedFile& path);
        bool compressFile(const WString& source, const WString& target);
        bool isStopped();

        bool stopped = false;
    };

    const std::shared_ptr<Event> stopEvent;
    const std::shared_ptr<Event> event;
    const std::shared_ptr<Queue> queue;
};

} // namespace norq_std
