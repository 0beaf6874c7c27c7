#include "DeliveryQueue.h"

#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"

#include <iterator>
#include <utility>

namespace shipper {
namespace {

using Guard = norq_std::AutoLock<norq_std::Lock>;

constexpr std::size_t MOST_BYTES_WAITING = 8 * 1024 * 1024;
constexpr std::size_t BYTES_AT_ONCE = 512 * 1024; // unless a single batch of lines has more

std::size_t sizeOf(const DeliveryBatch& batch) {
    std::size_t bytes = 0;
    for (const std::string& event : batch.events)
        bytes += event.size();
    return bytes;
}

void join(DeliveryBatch& whole, DeliveryBatch& part) {
    std::move(part.events.begin(), part.events.end(), std::back_inserter(whole.events));
    for (SourcePlace& place : part.places) {
        // Of the places of one file the last one counts.
        if (!whole.places.empty() && whole.places.back().path == place.path &&
            whole.places.back().isFile(place.device, place.inode))
            whole.places.back() = std::move(place);
        else
            whole.places.push_back(std::move(place));
    }
}

} // namespace

std::shared_ptr<LineBatch> DeliveryQueue::take(BatchQueue& lines, norq_std::Event& readersDone, std::uint64_t& number) {
    const Guard guard(takeLock);
    auto batch = lines.poll(-1, readersDone);
    if (!batch)
        batch = lines.poll();
    number = batch ? ++taken : taken;
    return batch;
}

void DeliveryQueue::put(std::uint64_t number, DeliveryBatch&& batch) {
    for (;;) {
        {
            const Guard guard(lock);
            // The one that all wait for has room in any case while nothing is in front of it.
            const bool isFirst = number == next;
            if (bytes < MOST_BYTES_WAITING || isFirst || norq_std::Concurrency::waitForSingleObject(stop, 0) == 0) {
                bytes += sizeOf(batch);
                waiting.emplace(number, std::move(batch));
                if (isFirst)
                    readyEvent.signal();
                return;
            }
            room.reset();
        }
        norq_std::Concurrency::waitForMultipleObjects({&room, &stop}, norq_std::WAIT_ANY, -1);
    }
}

std::optional<DeliveryBatch> DeliveryQueue::gather() {
    const Guard guard(lock);
    std::optional<DeliveryBatch> whole;
    std::size_t gathered = 0;
    for (auto part = waiting.find(next); part != waiting.end() && part->first == next;) {
        const std::size_t size = sizeOf(part->second);
        if (whole && (gathered + size > BYTES_AT_ONCE || whole->places.size() >= BatchRecord::MOST_PLACES))
            break;
        if (!whole)
            whole.emplace();
        join(*whole, part->second);
        gathered += size;
        ++next;
        part = waiting.erase(part);
    }
    bytes -= gathered;
    if (bytes < MOST_BYTES_WAITING || !waiting.contains(next))
        room.signal();
    return whole;
}

} // namespace shipper
