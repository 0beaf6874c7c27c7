#pragma once

#include "platform/DirectoryChange.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/WaitSource.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

struct inotify_event;

namespace norq_std_internal::platform {

class ChangeGroupSource;

/// The inode that a path led to.
struct Identity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;

    bool operator==(const Identity&) const = default;
};

/// What the hub knows of one handle. Guarded by the hub, but for `signalled`, which a wait reads.
struct DirectoryChangeRecord {
    /// Why an inode is watched. A step names the entry of a directory that the path goes on with, and a gap one that is
    /// not there; of a link, only its own end matters.
    enum class Role : std::uint8_t { Target, Step, Gap, Link };
    struct Use {
        int watch;
        Role role;
        std::string next;
    };

    std::string path; ///< absolute, as the system takes it
    std::uint32_t filter = 0;
    ChangeGroupSource* group = nullptr;

    std::vector<Use> uses; ///< along the path, from the root
    Identity target;       ///< of what is watched, nothing while the path leads nowhere

    std::deque<Change> pending;
    std::unordered_set<std::u16string> pendingNames;
    std::atomic<bool> signalled{false};
};

/// Wakes the thread that waits for a group when another thread fetched its notifications from the kernel.
class ChangeGroupSource final : public WaitSource {
public:
    /// The hub, from now on polled by the group's waits; null, with the last error, if there can be none.
    std::shared_ptr<ChangeHub> attach(std::u16string& advice);
    void wake() const noexcept;

    void appendDescriptors(std::vector<pollfd>& descriptors) const override;
    void ready(std::span<const pollfd> descriptors) override;

private:
    mutable std::mutex mutex; // guards what follows; records exist, and wake, from the first `attach` on
    std::shared_ptr<ChangeHub> hub;
    Descriptor wakeUp;
};

/// The process's one inotify instance, of which a user has few, with all that is watched through it.
///
/// A handle watches its directory, and every inode that its path leads through: a directory above for the entry that
/// the path goes on with, a symbolic link for its end. When one of them is removed, renamed, replaced or unmounted, the
/// path is followed anew from the root. Where it ends early, the last directory that is there is watched for the
/// missing entry. The order makes this safe: an inode is watched before its entries are looked at, so that a change
/// behind the back of the walk leaves a notification, which begins the next walk. Mounts have no notifications; the
/// kernel's mount table tells that it changed, and then each path is compared with what is watched.
///
/// There is no thread behind this. Whoever waits polls the instance; the first to wake fetches for all, hands each
/// record what is its own, and wakes the groups.
class ChangeHub {
public:
    using Record = DirectoryChangeRecord;

    /// The hub of the process, made if there is none; null, with the last error and the advice, if it cannot be made.
    static std::shared_ptr<ChangeHub> get(std::u16string& advice);

    ChangeHub(Descriptor inotifyInstance, Descriptor mountTable);
    ChangeHub(const ChangeHub&) = delete;
    ChangeHub& operator=(const ChangeHub&) = delete;

    int notifications() const noexcept { return inotify.get(); }
    int mounts() const noexcept { return mountTable.get(); }

    /// False, with the last error and the advice, if the directory cannot be watched.
    bool add(Record& record, std::u16string& advice);
    void remove(Record& record);

    /// Fetches what the kernel holds, and hands it out.
    void collect(bool mountsChanged);

    bool next(Record& record, Change& change);

private:
    struct Watch {
        std::uint32_t mask = 0;
        std::string path; // where the inode was last found
        std::unordered_multimap<std::string, Record*> steps;
        std::vector<Record*> others;  // targets and links
        std::vector<Record*> targets; // those of the targets again
    };
    using Use = Record::Use;
    using Role = Record::Role;

    /// How following a path ended: all the way, at an entry that is not there or may not be passed, at a limit of the
    /// system, or at something that changed under the walk.
    enum class Walk : std::uint8_t { Complete, Gap, Refused, Changed };

    Walk establish(Record& record);
    Walk follow(Record& record);
    Walk stopAt(Record& record, const std::string& directory, const std::string& next);
    Walk watchTarget(Record& record, const std::string& directory);
    bool watch(Record& record, const std::string& path, Role role, const std::string& next);
    void release(Record& record, const std::vector<Use>& uses);
    void narrow(int watchNumber, Watch& watch);
    static std::uint32_t maskOf(const Record& record, Role role);

    void dispatch(const inotify_event& event);
    void dispatchNamed(const Watch& watch, const inotify_event& event);
    static void breakAll(const Watch& watch, std::unordered_set<Record*>& broken);
    void findMoved();
    void mend();
    void mend(Record& record);
    static void note(Record& record, Change change);

    std::mutex mutex; // guards what follows, and all records
    const Descriptor inotify;
    const Descriptor mountTable;
    std::unordered_map<int, Watch> watches;
    std::unordered_set<Record*> records;
    std::unordered_set<Record*> broken;  // whose path is to be followed anew
    std::unordered_set<Record*> refused; // that found a limit of the system; tried again at each occasion
};

} // namespace norq_std_internal::platform
