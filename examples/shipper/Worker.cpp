#include "Worker.h"

#include "Console.h"
#include "DeliveryQueue.h"
#include "MatchFilter.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "log/NorqLogLayout.h"
#include "thread/Thread.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <optional>
#include <utility>

namespace shipper {
namespace {

constexpr const norq_std::WChar* SHIP = u"shipper::Worker::ship";

} // namespace

Worker::Worker(BatchQueue& batches, const std::shared_ptr<norq_std::ILogEventFilter>& filter, Output& linesOutput,
               RunState& runState, const DeliveryRoad* deliveryRoad)
    : queue(batches)
    , output(linesOutput)
    , state(runState)
    , road(deliveryRoad)
    , lines(std::make_shared<BatchAppender>()) {
    lines->setFilter(filter);
    lines->setLayout(std::make_shared<norq_std::NorqLogLayout>());
    logger.addAppender(lines);
}

norq_std::WString Worker::toString() const { return u"Worker{}"; }

// A batch that fails ends the run and not the worker: if all workers went, readers would wait for room without end.
void Worker::run() {
    threadId = norq_std::Thread::getCurrentThreadId();
    while (!state.dismissOne()) {
        const auto batch = next();
        if (!batch)
            return;
        std::string failure;
        try {
            ship(*batch);
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
    if (road)
        return road->queue.take(queue, state.readersDone, batchNumber);
    if (auto batch = queue.poll(-1, state.readersDone))
        return batch;
    return queue.poll(); // the readers are done: what is empty now stays so
}

void Worker::ship(LineBatch& batch) {
    lines->clear();
    const std::uint64_t bytes = batch.text.size();
    const std::optional<norq_std::WString> text = decodePlain(batch.text.c_str(), batch.text.size());
    const std::uint64_t count = text ? shipPlain(batch, *text) : shipLineByLine(batch);
    if (!road) {
        output.write(lines->collected());
    } else {
        if (batch.place)
            forCollector.places.push_back(*batch.place);
        road->queue.put(batchNumber, std::exchange(forCollector, {}));
    }
    NORQ_LOG(norq_std::TRACE, SHIP, u"Shipped %llu lines of <%ls>, %llu bytes from line %llu.", count, *batch.source,
             bytes, batch.firstLine);
    // The pieces of a long line are one line, counted with its first.
    state.lines += batch.part > 1 ? 0 : count;
    state.bytes += bytes;
}

std::uint64_t Worker::shipPlain(const LineBatch& batch, const norq_std::WString& text) {
    std::uint64_t number = batch.firstLine;
    const bool isAscii = text.size() == batch.text.size(); // a line feed is found faster among the bytes
    current.otherEncoding = false;
    current.nulBytes = 0;
    for (std::size_t begin = 0; begin < text.size(); ++number) {
        const std::size_t lineFeed = isAscii ? batch.text.find('\n', begin) : text.find(u'\n', begin);
        const std::size_t end = std::min(lineFeed, text.size());
        current.text.assign(text, begin, end - begin);
        log({batch.source, number, batch.part}, current);
        begin = end + 1;
    }
    return number - batch.firstLine;
}

std::uint64_t Worker::shipLineByLine(LineBatch& batch) {
    std::uint64_t number = batch.firstLine;
    // Each line feed makes place for the zero that ends a narrow text: no line is copied to be decoded.
    char* const end = batch.text.data() + batch.text.size();
    for (char* line = batch.text.data(); line < end; ++number) {
        void* const lineFeed = std::memchr(line, '\n', static_cast<std::size_t>(end - line));
        char* const lineEnd = lineFeed ? static_cast<char*>(lineFeed) : end;
        *lineEnd = '\0';
        const DecodedLine decoded = decode(line, static_cast<std::size_t>(lineEnd - line));
        state.otherEncoding += decoded.otherEncoding;
        log({batch.source, number, batch.part}, decoded);
        line = lineEnd + 1;
    }
    return number - batch.firstLine;
}

void Worker::log(const LinePosition& position, const DecodedLine& line) {
    static const norq_std::WString function = SHIP, module = u"shipper", none;
    NORQ_LOG(norq_std::DUMP, SHIP, u"Line %llu of <%ls>: %ls", position.line, *position.source, line.text);
    if (!road)
        logger.log(norq_std::INFO, function, events.make(position, line), module, none, threadId, none, 0);
    else if (const norq_std::WString event = events.make(position, line); road->filter.accepts(event))
        forCollector.events.push_back(norq_std::UtfUtils::utf16ToUtf8(event));
}

} // namespace shipper
