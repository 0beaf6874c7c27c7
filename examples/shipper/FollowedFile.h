#pragma once

#include "LineSplitter.h"

#include "concurrency/Event.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace shipper {

class DeliveryState;

/// Where files are read on after a restart, and what ends the reading early.
struct PlaceKeeper {
    DeliveryState& places;
    norq_std::Event& stop;
};

/// A log file that grows, is rotated and truncated. `update` ships what is new in it.
///
/// **Renamed** and made anew: the old file is read on under its new name, since its writer may not have noticed yet,
/// until the new one has its first bytes. **Truncated** in place: it is read from the start. That it was truncated and
/// has grown again shows by the bytes in front of the place where reading had stopped; what was written and truncated
/// between two looks cannot be read by anybody.
///
/// **With places** it goes on where the delivery of each file has come to, also if the file has got another name in the
/// same folder since; files that came and were renamed while nobody looked are read between. A last line without an end
/// is kept for later, until its file is left.
///
/// For one thread.
class FollowedFile {
public:
    /// `keeper` is null where no places are kept, else it outlives this.
    FollowedFile(std::string path, BatchQueue& queue, const PlaceKeeper* keeper = nullptr);
    ~FollowedFile();
    FollowedFile(const FollowedFile&) = delete;
    FollowedFile& operator=(const FollowedFile&) = delete;

    void update();
    /// Ships what is left, a last line without an end included unless places are kept.
    void finish();

    const std::string& getPath() const { return path; }
    /// The path of a renamed file that is still read, else empty.
    std::string oldPath() const;

private:
    /// An open file, and how far it has been read.
    struct Reading {
        static constexpr std::size_t REMEMBERED_BYTES = 128;

        Reading(int opened, const std::shared_ptr<const norq_std::WString>& source, BatchQueue& queue);
        ~Reading();

        bool isAt(const std::string& name) const;
        bool wasTruncated() const;
        bool isEmpty() const;
        void restart();
        /// Reads to the end, or until `stop` is signalled, unless that is null.
        void drain(norq_std::Event* stop);

        int descriptor;
        off_t offset = 0;
        std::string last; ///< bytes in front of the offset
        LineSplitter lines;
    };

    using Readings = std::vector<std::unique_ptr<Reading>>;

    void openNew();
    bool isStopping() const;
    void drain(Reading& reading) const { reading.drain(keeper ? &keeper->stop : nullptr); }
    void makeOld(std::unique_ptr<Reading> reading);
    /// Reads what is left, and leaves the file, unless it is to stop before.
    void leaveOld();

    // With places.

    void resume();
    std::unique_ptr<Reading> reopen(const SourcePlace& place) const;
    /// Reads a file from its beginning, which is known for ever then.
    std::unique_ptr<Reading> begin(int opened) const;
    /// Files that have the name of the path and an addition, were written after the one and before the other, and were
    /// never read. The later one is held open meanwhile, so that none slips through between; it is -1 if there is none.
    Readings openBetween(const Reading& before, int after) const;

    const std::string path;
    const std::shared_ptr<const norq_std::WString> source;
    BatchQueue& queue;
    const PlaceKeeper* const keeper;
    bool isResumed;
    std::unique_ptr<Reading> current;
    std::unique_ptr<Reading> old;
    int openError = 0; ///< that was told already
};

} // namespace shipper
