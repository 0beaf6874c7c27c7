#pragma once

#include "base/Export.h"
#include "platform/Event.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace norq_std_internal::platform {

/// What a handle is signalled for, as flags.
enum ChangeFilter : std::uint32_t {
    FileNameChanges = 0x1,
    DirectoryNameChanges = 0x2,
    AttributeChanges = 0x4,
    SizeChanges = 0x8,
    LastWriteChanges = 0x10,
    SecurityChanges = 0x100,
};

/// One notification. `everything` where it is not known which entries changed: notifications were lost, or the path
/// leads to another directory than before, or to none.
struct Change {
    bool everything = false;
    std::u16string name; ///< of the entry, if not `everything`
};

class DirectoryChange;
struct DirectoryChangeRecord;
class ChangeHub;
class ChangeGroupSource;

/// The change handles that one thread waits for. It outlives them.
class NORQSTD_EXPORT DirectoryChangeGroup {
public:
    DirectoryChangeGroup();
    ~DirectoryChangeGroup();
    DirectoryChangeGroup(const DirectoryChangeGroup&) = delete;
    DirectoryChangeGroup& operator=(const DirectoryChangeGroup&) = delete;

    /// A handle that is signalled when an entry of the directory changes. Null if the directory cannot be watched: the
    /// last error says why, and where a limit of the system is used up, `advice` says which setting raises it.
    std::unique_ptr<DirectoryChange> open(std::u16string_view path, std::uint32_t filter, std::u16string& advice);

private:
    std::unique_ptr<ChangeGroupSource> source;
};

/// A directory that is watched under its path, whatever becomes of the path.
///
/// The directory may be removed, renamed, replaced or unmounted, and so may everything above it: the handle is
/// signalled with `everything`, and goes on with what the path leads to, once it leads somewhere again. Entries below
/// subdirectories do not count. Each notification stands for itself and in order, except that an entry that changes
/// again before its notification was fetched is not mentioned twice.
///
/// Any thread may make, wait for and close handles; one handle belongs to one thread at a time.
class NORQSTD_EXPORT DirectoryChange final : public WaitObject {
public:
    ~DirectoryChange() override;
    DirectoryChange(const DirectoryChange&) = delete;
    DirectoryChange& operator=(const DirectoryChange&) = delete;

    WaitSource& source() override;
    /// Signalled as long as a notification has not been fetched.
    bool take() override;

    /// The oldest notification; false if there is none.
    bool next(Change& change);
    /// All of them, in order, with those that the kernel holds at this moment.
    std::vector<Change> drain();

private:
    friend class DirectoryChangeGroup;

    DirectoryChange(std::shared_ptr<ChangeHub> changeHub, std::unique_ptr<DirectoryChangeRecord> watched);

    const std::shared_ptr<ChangeHub> hub;
    const std::unique_ptr<DirectoryChangeRecord> record;
};

} // namespace norq_std_internal::platform
