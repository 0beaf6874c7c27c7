#pragma once

#include "FollowedFile.h"
#include "RunState.h"

#include "concurrency/Event.h"
#include "concurrency/Lock.h"
#include "file/IFileListener.h"
#include "thread/Runnable.h"

#include <map>
#include <memory>
#include <set>
#include <string>

namespace shipper {

/// Follows log files on a thread of its own: the file watcher's thread only wakes it.
class Follower : public norq_std::Runnable,
                 public norq_std::IFileListener,
                 public std::enable_shared_from_this<Follower> {
public:
    /// `keeper` is null where no places are kept, else it outlives this.
    Follower(BatchQueue& queue, RunState& state, const PlaceKeeper* keeper);

    /// Follows exactly these from now on. A file need not be there yet, but its directory.
    void setFiles(const std::set<std::string>& paths);

    /// Until the run is to end; then ships what is left.
    void run() override;

    void onFileDeleted(const norq_std::File&) override { changed.signal(); }
    void onFileCreated(const norq_std::File&) override { changed.signal(); }
    void onFileContentChange(const norq_std::File&) override { changed.signal(); }

private:
    struct Entry {
        std::unique_ptr<FollowedFile> file;
        std::string watchedOld; ///< a renamed file whose changes are heard of
    };

    bool watch(const std::string& path);
    void unwatch(const std::string& path);
    void update(Entry& entry);

    BatchQueue& queue;
    RunState& state;
    const PlaceKeeper* const keeper;
    norq_std::Event changed{true, true};
    norq_std::Lock lock; ///< guards the entries
    std::map<std::string, Entry> entries;
};

} // namespace shipper
