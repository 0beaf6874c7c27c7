#include "Follower.h"

#include "Console.h"
#include "StateNode.h"

#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "file/File.h"
#include "file/FileWatcher.h"

namespace shipper {

using norq_std::AutoLock;
using norq_std::FileWatcher;
using norq_std::Lock;

Follower::Follower(BatchQueue& batches, RunState& runState, const PlaceKeeper* placeKeeper)
    : queue(batches)
    , state(runState)
    , keeper(placeKeeper) {}

void Follower::setFiles(const std::set<std::string>& paths) {
    NORQ_LOG_FUNCTION_CALL(u"shipper::Follower::setFiles");
    const AutoLock<Lock> guard(lock);
    for (auto entry = entries.begin(); entry != entries.end();) {
        if (paths.contains(entry->first)) {
            ++entry;
            continue;
        }
        unwatch(entry->first);
        unwatch(entry->second.watchedOld);
        entry->second.file->finish();
        SHIPPER_SAY(norq_std::INFO, u"shipper::Follower::setFiles", "no longer following " + entry->first);
        entry = entries.erase(entry);
    }
    for (const std::string& path : paths)
        if (!entries.contains(path) && watch(path))
            entries[path].file = std::make_unique<FollowedFile>(path, queue, keeper);
    changed.signal();
}

void Follower::run() {
    while (norq_std::Concurrency::waitForMultipleObjects({&state.stop, &changed}, norq_std::WAIT_ANY, -1) != 0) {
        const AutoLock<Lock> guard(lock);
        NORQ_LOG(norq_std::TRACE, u"shipper::Follower::run", u"Looking at %zu files.", entries.size());
        try {
            for (auto& [path, entry] : entries)
                update(entry);
        } catch (const StateError& failure) { // a place that cannot be written
            SHIPPER_SAY(norq_std::ERROR, u"shipper::Follower::run", failure.what());
            state.broken = true;
            state.stop.signal();
        }
    }
    FileWatcher::removeListener(shared_from_this());
    const AutoLock<Lock> guard(lock);
    for (auto& [path, entry] : entries) {
        if (!keeper) // else what is not read now is read after the next start
            entry.file->finish();
        ++state.filesRead;
    }
}

void Follower::update(Entry& entry) {
    entry.file->update();
    const std::string old = entry.file->oldPath();
    if (old == entry.watchedOld)
        return;
    if (!entries.contains(entry.watchedOld)) // unless it is followed for itself
        unwatch(entry.watchedOld);
    entry.watchedOld = old;
    if (!old.empty() && watch(old))
        entry.file->update(); // what was written before
}

bool Follower::watch(const std::string& path) {
    try {
        FileWatcher::addListener(shared_from_this(), norq_std::File(norq_std::UtfUtils::utf8ToUtf16(path)));
        return true;
    } catch (const norq_std::NorqException& failure) {
        SHIPPER_SAY(norq_std::ERROR, u"shipper::Follower::watch",
                    "cannot follow " + path + ": " + norq_std::UtfUtils::utf16ToUtf8(failure.getMessage()));
        return false;
    }
}

void Follower::unwatch(const std::string& path) {
    if (!path.empty())
        FileWatcher::removeListener(shared_from_this(), norq_std::File(norq_std::UtfUtils::utf8ToUtf16(path)));
}

} // namespace shipper
