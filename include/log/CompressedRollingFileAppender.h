#pragma once

#include "base/AutoRegisterClass.h"
#include "base/Export.h"
#include "concurrency/Event.h"
#include "concurrency/StdDequeBlockingQueue.h"
#include "log/RollingFileAppender.h"
#include "log/RollingFileObserver.h"

#include <memory>

namespace norq_std {

class CompressedRollingFileAppenderThread;

/// A `RollingFileAppender` that compresses each finished file on a thread of its own, if its ring has more than one.
///
/// server0003.log is renamed to server0003.log.tmp, compressed, and becomes server0003.log.gz, which is there as a
/// whole or not at all; then the .tmp goes. Where something fails, the text stays under one of the first two names.
/// Files that wait when the appender dies stay as they are. Registered as "norq_std.CompressedRollingFileAppender".
class NORQSTD_EXPORT CompressedRollingFileAppender : public RollingFileAppender,
                                                     public RollingFileObserver,
                                                     public AutoRegisterClass<CompressedRollingFileAppender> {
public:
    static constexpr const WChar* compressedFileExt = u".gz";
    static constexpr const WChar* compressedTempExt = u".tmp";

    /// Paths that wait for compression.
    using Queue = StdDequeBlockingQueue<std::shared_ptr<WString>, std::shared_ptr<WString>>;

    CompressedRollingFileAppender();
    ~CompressedRollingFileAppender() override;

    static void registerClass() { AutoRegisterClass<CompressedRollingFileAppender>::registerClass(); }

    WString toString() const override;
    CompressedRollingFileAppender* newInstance(const Properties& properties) const override;
    WString getClassName() const override;

    void onCloseNotify(const File& file) override;

private:
    void startThreadIfNeeded();
    bool isCompressionPossible() const { return getMaximumFiles() > 1; }

    std::shared_ptr<Event> event;
    std::shared_ptr<Queue> queue;
    std::shared_ptr<CompressedRollingFileAppenderThread> thread;
};

} // namespace norq_std
