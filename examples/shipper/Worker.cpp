#include "Worker.h"

#include "Console.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "thread/Thread.h"

#include <cstring>
#include <exception>

namespace shipper {
namespace {

constexpr const norq_std::WChar* SHIP = u"shipper::Worker::ship";

} // namespace

Worker::Worker(BatchQueue& batches, norq_std::LoggerBase& eventLogger, OutputAppender& appender, RunState& runState)
    : queue(batches)
    , logger(eventLogger)
    , output(appender)
    , state(runState) {}

norq_std::WString Worker::toString() const { return u"Worker{}"; }

// A batch that fails ends the run and not the worker: if all workers went, readers would wait for room without end.
void Worker::run() {
    while (!state.dismissOne()) {
        const auto batch = next();
        if (!batch)
            return;
        std::string failure;
        try {
            ship(*batch);
            if (queue.size() == 0)
                output.flush();
            continue;
        } catch (const norq_std::NorqException& exception) {
            failure = norq_std::UtfUtils::utf16ToUtf8(exception.getMessage());
        } catch (const std::exception& exception) {
            failure = exception.what();
        }
        if (!state.broken.exchange(true))
            SHIPPER_SAY(norq_std::ERROR, u"shipper::Worker::run", "internal failure: " + failure);
        state.stop.signal();
    }
}

std::shared_ptr<LineBatch> Worker::next() {
    if (auto batch = queue.poll(-1, state.readersDone))
        return batch;
    return queue.poll(); // the readers are done: what is empty now stays so
}

void Worker::ship(LineBatch& batch) {
    const std::uint64_t threadId = norq_std::Thread::getCurrentThreadId();
    const std::uint64_t bytes = batch.text.size();
    std::uint64_t number = batch.firstLine;
    std::uint64_t otherEncoding = 0;

    // Each line feed makes place for the zero that ends a narrow text: no line is copied to be decoded.
    char* const end = batch.text.data() + batch.text.size();
    for (char* line = batch.text.data(); line != end; ++number) {
        void* const lineFeed = std::memchr(line, '\n', static_cast<std::size_t>(end - line));
        char* const lineEnd = lineFeed ? static_cast<char*>(lineFeed) : end;
        char* const nextLine = lineFeed ? lineEnd + 1 : end;
        *lineEnd = '\0';
        const DecodedLine decoded = decode(line, static_cast<std::size_t>(lineEnd - line));
        otherEncoding += decoded.otherEncoding;
        NORQ_LOG(norq_std::DUMP, SHIP, u"Line %llu of <%ls>: %ls", number, *batch.source, decoded.text);
        logger.log(norq_std::INFO, SHIP, events.make({*batch.source, number, batch.part}, decoded), u"shipper", {},
                   threadId, {}, 0);
        line = nextLine;
    }
    NORQ_LOG(norq_std::TRACE, SHIP, u"Shipped %llu lines of <%ls>, %zu bytes from line %llu.", number - batch.firstLine,
             *batch.source, batch.text.size(), batch.firstLine);
    // The pieces of a long line are one line, counted with its first.
    state.lines += batch.part > 1 ? 0 : number - batch.firstLine;
    state.bytes += bytes;
    state.otherEncoding += otherEncoding;
}

} // namespace shipper
