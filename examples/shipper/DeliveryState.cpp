#include "DeliveryState.h"

#include "wire/Message.h"

#include "concurrency/AutoLock.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace shipper {
namespace {

using Guard = norq_std::AutoLock<norq_std::Lock>;

constexpr const char* AGENT = "agent";
constexpr std::ptrdiff_t LEFT_FILES_KNOWN = 16; // of a path

/// Of a key such as "file.7"; 0 if it does not begin so.
std::uint64_t numberOf(const std::string& key, std::string_view prefix) {
    std::uint64_t number = 0;
    if (key.starts_with(prefix))
        std::from_chars(key.data() + prefix.size(), key.data() + key.size(), number);
    return number;
}

SourcePlace beginOf(const SourcePlace& place) {
    SourcePlace begin;
    begin.path = place.path;
    begin.device = place.device;
    begin.inode = place.inode;
    return begin;
}

bool isSame(const SourcePlace& a, const SourcePlace& b) { return a.path == b.path && a.isFile(b.device, b.inode); }

/// How far the file was read, of which this tells nothing else.
void moveTo(SourcePlace& file, SourcePlace place) {
    place.path = file.path;
    place.device = file.device;
    place.inode = file.inode;
    file = std::move(place);
}

} // namespace

DeliveryState::DeliveryState(const StateNode::Address& address, StateNode::StepHook hook)
    : node(address, std::move(hook)) {
    const auto values = node.read();
    if (!values.empty()) {
        try {
            load(values);
        } catch (const std::invalid_argument& failure) {
            throw StateError(node.toString() + " is not the state of an agent: " + failure.what());
        }
        return;
    }
    agent = wire::makeId();
    writeSafely([&] {
        node.put(AGENT, agent);
        node.flush();
    });
}

// ---- reading

void DeliveryState::load(const std::map<std::string, std::string>& values) {
    BatchRecord last;
    std::map<std::uint64_t, FileRecord> records;
    std::map<std::uint64_t, std::string> ids;
    for (const auto& [key, value] : values) {
        if (key == AGENT) {
            agent = value;
        } else if (key == BatchRecord::KEY) {
            last = BatchRecord::parse(value);
        } else if (const auto file = numberOf(key, FileRecord::KEY); file != 0) {
            records[file] = FileRecord::parse(value);
        } else if (const auto number = numberOf(key, CollectorRecord::KEY); number != 0) {
            const CollectorRecord record = CollectorRecord::parse(value);
            collectors[record.id] = {number, record.known, true};
            ids[number] = record.id;
        }
    }
    if (!wire::isId(agent))
        throw std::invalid_argument("no sound \"agent\"");
    if (last.batch != 0 && !ids.contains(last.collector))
        throw std::invalid_argument("the last batch went to a collector that is not there");
    sequence = last.batch;
    events = last.events;
    if (last.batch != 0) {
        Collector& collector = collectors[ids[last.collector]];
        collector.isWritten = collector.value.delivered == last.batch;
        collector.value.delivered = last.batch;
    }
    loadFiles(std::move(records), last);
}

void DeliveryState::loadFiles(std::map<std::uint64_t, FileRecord>&& records, const BatchRecord& last) {
    for (auto& [number, record] : records) {
        const auto moved = last.places.find(number);
        const bool isBehind = moved != last.places.end() && record.batch < last.batch;
        if (isBehind)
            moveTo(record.place, moved->second);
        // One that was read anew has two records if the first was not removed in time.
        if (const auto earlier = findFile(record.place); earlier != files.end())
            drop(earlier);
        files.push_back({number, std::move(record.place), !isBehind});
        forgetLeft(std::string(files.back().value.path));
        lastFile = number;
    }
    if (!last.places.empty())
        lastFile = std::max(lastFile, last.places.rbegin()->first);
}

std::uint64_t DeliveryState::getSequence() const {
    const Guard guard(lock);
    return sequence;
}

std::uint64_t DeliveryState::getEvents() const {
    const Guard guard(lock);
    return events;
}

std::uint64_t DeliveryState::deliveredTo(const std::string& collector) const {
    const Guard guard(lock);
    if (failed)
        throw StateError("what is delivered could not be recorded");
    const auto found = collectors.find(collector);
    return found == collectors.end() ? 0 : found->second.value.delivered;
}

std::map<std::string, KnownCollector> DeliveryState::getCollectors() const {
    const Guard guard(lock);
    std::map<std::string, KnownCollector> known;
    for (const auto& [id, collector] : collectors)
        known[id] = collector.value;
    return known;
}

std::vector<SourcePlace> DeliveryState::placesOf(const std::string& path) const {
    const Guard guard(lock);
    std::vector<SourcePlace> found;
    for (const File& file : files)
        if (file.value.path == path)
            found.push_back(file.value);
    return found;
}

// ---- in memory

std::vector<DeliveryState::File>::iterator DeliveryState::findFile(const SourcePlace& place) {
    return std::find_if(files.begin(), files.end(), [&](const File& file) { return isSame(file.value, place); });
}

void DeliveryState::drop(std::vector<File>::iterator file) {
    dropped.push_back(file->number);
    files.erase(file);
}

void DeliveryState::advance(const SourcePlace& place) {
    auto found = findFile(place);
    if (found != files.end() && found->value.left && !place.left) { // one that is read anew is behind all
        drop(found);
        found = files.end();
    }
    if (found == files.end())
        files.push_back({++lastFile, place, false});
    else
        *found = {found->number, place, false};
    forgetLeft(place.path);
}

void DeliveryState::forgetLeft(const std::string& path) {
    const auto isLeft = [&](const File& file) { return file.value.path == path && file.value.left; };
    auto surplus = std::count_if(files.begin(), files.end(), isLeft) - LEFT_FILES_KNOWN;
    for (; surplus > 0; --surplus)
        drop(std::find_if(files.begin(), files.end(), isLeft));
}

void DeliveryState::recordSettled(const std::string& collector, std::uint64_t batch) {
    const Guard guard(lock);
    const auto found = collectors.find(collector);
    if (found == collectors.end() || found->second.value.settled == batch)
        return;
    found->second.value.settled = batch;
    found->second.isWritten = false;
}

void DeliveryState::recordPlaces(const std::vector<SourcePlace>& advanced) {
    const Guard guard(lock);
    for (const SourcePlace& place : advanced)
        advance(place);
}

// ---- on disk

template <class Write>
void DeliveryState::writeSafely(const Write& write) {
    if (failed)
        throw StateError("what is delivered could not be recorded");
    failed = true; // unless this returns: what the disk holds is not known then
    write();
    failed = false;
}

void DeliveryState::writeCollector(const std::string& id, Collector& collector) {
    node.put(CollectorRecord::KEY + std::to_string(collector.number), CollectorRecord{id, collector.value}.toText());
    collector.isWritten = true;
}

void DeliveryState::writeFacts(const Collector* butNot) {
    for (File& file : files) {
        if (!std::exchange(file.isWritten, true))
            node.put(FileRecord::KEY + std::to_string(file.number), FileRecord{sequence, file.value}.toText());
    }
    for (auto& [id, collector] : collectors)
        if (&collector != butNot && !collector.isWritten)
            writeCollector(id, collector);
    for (const std::uint64_t number : std::exchange(dropped, {}))
        node.remove(FileRecord::KEY + std::to_string(number));
}

/// That of a batch has a record before the batch refers to it.
DeliveryState::Collector& DeliveryState::collectorOf(const Receipt& receipt) {
    const std::uint64_t next = collectors.size() + 1; // they stay for ever
    Collector& collector = collectors[receipt.collector];
    if (collector.number != 0 && collector.value.address == receipt.address)
        return collector;
    if (collector.number == 0)
        collector.number = next;
    collector.value.address = receipt.address;
    writeCollector(receipt.collector, collector);
    return collector;
}

void DeliveryState::recordBegin(const SourcePlace& place) {
    const Guard guard(lock);
    advance(place);
    saveAll();
}

void DeliveryState::recordDelivered(const Receipt& receipt, const std::vector<SourcePlace>& advanced) {
    const Guard guard(lock);
    writeSafely([&] {
        Collector& collector = collectorOf(receipt);
        BatchRecord record{receipt.batch, events + receipt.events, collector.number, {}};
        for (const SourcePlace& place : advanced) {
            if (findFile(place) == files.end())
                advance(beginOf(place));
            record.places[findFile(place)->number] = place;
        }
        writeFacts(&collector);
        node.put(BatchRecord::KEY, record.toText());
        node.flush();

        sequence = record.batch;
        events = record.events;
        collector.value.delivered = record.batch;
        collector.isWritten = false;
        for (const SourcePlace& place : advanced)
            advance(place);
    });
}

void DeliveryState::save() {
    const Guard guard(lock);
    saveAll();
}

void DeliveryState::saveAll() {
    writeSafely([&] {
        writeFacts(nullptr);
        node.flush();
    });
}

} // namespace shipper
