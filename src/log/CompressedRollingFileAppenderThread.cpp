#include "log/CompressedRollingFileAppenderThread.h"

#include "base/LogMacros.h"
#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "file/CompressedFile.h"
#include "file/File.h"
#include "file/SmartFileHandle.h"
#include "internal/FinishedFile.h"
#include "log/NorqLoggerSTD.h"
#include "stream/ByteArray.h"

#include <array>
#include <cstdio>
#include <cxxabi.h>

namespace norq_std {

using norq_std_internal::FinishedFile;

namespace {

constexpr std::size_t BLOCK = 32768;
constexpr std::int32_t STOP_WAIT_MS = 1000;
constexpr const WChar* RUN = u"norq_std::CompressedRollingFileAppenderThread::run";
constexpr const WChar* MOVE = u"norq_std::CompressedRollingFileAppenderThread::moveAndCompressFile";
constexpr const WChar* COMPRESS = u"norq_std::CompressedRollingFileAppenderThread::compressFile";

/// Where a compressed file grows, until it has its own name.
constexpr const WChar* UNFINISHED = u".part";

} // namespace

CompressedRollingFileAppenderThread::CompressedRollingFileAppenderThread(const std::shared_ptr<Event>& queuedEvent,
                                                                         const std::shared_ptr<Queue>& paths)
    : Thread(WString())
    , stopEvent(std::make_shared<Event>(true, false))
    , event(queuedEvent)
    , queue(paths) {}

CompressedRollingFileAppenderThread::~CompressedRollingFileAppenderThread() {
    stopEvent->signal();
    join(STOP_WAIT_MS);
}

WString CompressedRollingFileAppenderThread::toString() const { return u"CompressedRollingFileAppenderThread{}"; }

WString CompressedRollingFileAppenderThread::getClassName() const {
    return u"norq_std.CompressedRollingFileAppenderThread";
}

void CompressedRollingFileAppenderThread::run() { Work{stopEvent, event, queue}.run(); }

void CompressedRollingFileAppenderThread::Work::run() {
    try {
        while (!stopped && Concurrency::waitForMultipleObjects({stopEvent.get(), event.get()}, WAIT_ANY, -1) != 0)
            compressAll();
    } catch (const NorqException& e) {
        NorqLoggerSTD::getInstance().STD3003(RUN);
        NORQ_LOG(DEBUG, RUN, u"Caught exception in compressor thread. Error: %ls.", e.getMessage());
    }
}

void CompressedRollingFileAppenderThread::Work::compressAll() {
    while (queue->size() > 0 && !isStopped())
        if (const std::shared_ptr<WString> path = queue->poll(); path && !path->empty())
            moveAndCompressFile(static_cast<const FinishedFile&>(*path)); // the appender puts in no others
}

bool CompressedRollingFileAppenderThread::Work::isStopped() {
    // The event is spent by asking.
    stopped = stopped || Concurrency::waitForSingleObject(*stopEvent, 0) == 0;
    return stopped;
}

void CompressedRollingFileAppenderThread::Work::moveAndCompressFile(const FinishedFile& path) {
    try {
        if (!path.isAt(path)) {
            NORQ_LOG(DEBUG, MOVE, u"Filename not valid, skipping compression.");
            return;
        }
        const File temp(path + CompressedRollingFileAppender::compressedTempExt);
        const File gz(path + CompressedRollingFileAppender::compressedFileExt);
        temp.remove();
        gz.remove();
        if (!File(path).renameTo(temp)) {
            NORQ_LOG(DEBUG, MOVE, u"Error renaming file to temp file.");
            return;
        }
        if (!path.isAt(temp.getPath())) { // replaced at the last moment: give it back to the ring, which writes it
            temp.renameTo(File(path));
            return;
        }
        if (compressFile(temp.getPath(), gz.getPath()))
            temp.remove();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) { // this file stays as it is, the next may do better
        NORQ_LOG(DEBUG, MOVE, u"Unable to compress <%ls>.", path.c_str());
    }
}

bool CompressedRollingFileAppenderThread::Work::compressFile(const WString& source, const WString& target) {
    const SmartFileHandle<std::FILE*> input(source, u"rb");
    if (!input.isOpen()) {
        NORQ_LOG(DEBUG, COMPRESS, u"Error opening temp file.");
        return false;
    }
    const File unfinished(target + UNFINISHED);
    CompressedFile output;
    try {
        output.open(unfinished, CompressedFile::Write);
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, COMPRESS, u"Error opening compressed file. Error: <%ls>.", e.getMessage());
        return false;
    }
    try {
        std::array<unsigned char, BLOCK> block;
        while (const std::size_t length = std::fread(block.data(), 1, block.size(), input.get())) {
            output.write(ByteArray(block.data(), static_cast<std::int32_t>(length)));
            if (isStopped())
                throw NorqInterruptedException(u"The compression was stopped.");
        }
        if (std::ferror(input.get()) != 0)
            throw NorqIOException(u"Unable to read " + source);
        output.flush(CompressedFile::FinishFlush); // closing alone does not tell of a full disk
        output.close();
    } catch (const NorqException& e) {
        NORQ_LOG(DEBUG, COMPRESS, u"Error writing compressed file <%ls>. Error: <%ls>.", target, e.getMessage());
        output.close();
        unfinished.remove();
        return false;
    }
    return unfinished.renameTo(File(target));
}

} // namespace norq_std
