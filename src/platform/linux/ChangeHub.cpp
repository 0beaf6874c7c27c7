#include "platform/linux/ChangeHub.h"

#include "platform/CancellationShield.h"
#include "platform/Error.h"
#include "platform/NarrowText.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

constexpr std::size_t BufferBytes = 64 * 1024;
constexpr int ReadsAtOnce = 16;           // then others have a turn
constexpr std::size_t MostPending = 8192; // of one handle; beyond, everything is looked at
constexpr int MostLinks = 40;             // the kernel's own limit
constexpr int MostWalks = 100;            // of a path that changes faster than it can be followed

constexpr std::uint32_t EndMask = IN_DELETE_SELF | IN_MOVE_SELF;
// A directory that somebody holds open tells of its removal only when it is closed; the one above tells at once.
constexpr std::uint32_t StepMask = EndMask | IN_DELETE | IN_MOVED_TO | IN_ONLYDIR;
constexpr std::uint32_t GapMask = StepMask | IN_CREATE | IN_ATTRIB;
constexpr std::uint32_t LinkMask = EndMask | IN_ATTRIB | IN_DONT_FOLLOW;
constexpr std::uint32_t NameMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

std::uint32_t targetMask(std::uint32_t filter) {
    std::uint32_t mask = EndMask | IN_ONLYDIR;
    if ((filter & (FileNameChanges | DirectoryNameChanges)) != 0)
        mask |= NameMask;
    if ((filter & (AttributeChanges | SecurityChanges | LastWriteChanges)) != 0)
        mask |= IN_ATTRIB;
    // What is written through a mapping is told by the close alone.
    if ((filter & (SizeChanges | LastWriteChanges)) != 0)
        mask |= IN_MODIFY | IN_CLOSE_WRITE;
    return mask;
}

/// Both kinds of entries share the kernel's notifications of names.
bool wantsName(std::uint32_t filter, std::uint32_t mask) {
    const std::uint32_t kind = (mask & IN_ISDIR) != 0 ? DirectoryNameChanges : FileNameChanges;
    return (mask & NameMask) == 0 || (filter & kind) != 0;
}

std::deque<std::string> elementsOf(std::string_view path) {
    std::deque<std::string> elements;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        if (end > 0 && path.substr(0, end) != ".")
            elements.emplace_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return elements;
}

std::string entryOf(const std::string& directory, const std::string& name) {
    std::string entry = directory;
    if (entry != "/")
        entry += '/';
    return entry += name;
}

std::string parentOf(const std::string& directory) {
    const std::size_t slash = directory.rfind('/');
    return slash == 0 ? "/" : directory.substr(0, slash);
}

bool readLink(const std::string& path, std::string& target) {
    std::array<char, PATH_MAX> buffer;
    const ssize_t length = ::readlink(path.c_str(), buffer.data(), buffer.size());
    if (length < 0)
        return false;
    target.assign(buffer.data(), static_cast<std::size_t>(length));
    return true;
}

Identity identityOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino};
}

bool isLimit(int error) { return error == ENOSPC || error == ENOMEM; }

std::u16string adviceFor(int error) {
    if (error == ENOSPC)
        return u"the user's watches are used up, raise the sysctl fs.inotify.max_user_watches";
    if (error == EMFILE)
        return u"raise the sysctl fs.inotify.max_user_instances or the process's limit of open files";
    return {};
}

} // namespace

// ---- groups

std::shared_ptr<ChangeHub> ChangeGroupSource::attach(std::u16string& advice) {
    const std::lock_guard guard(mutex);
    if (!wakeUp.valid())
        wakeUp = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wakeUp.valid())
        setLastErrorFromNative();
    else if (hub == nullptr)
        hub = ChangeHub::get(advice);
    return hub;
}

void ChangeGroupSource::wake() const noexcept { eventfd_write(wakeUp.get(), 1); }

void ChangeGroupSource::appendDescriptors(std::vector<pollfd>& descriptors) const {
    const std::lock_guard guard(mutex);
    descriptors.push_back({wakeUp.get(), POLLIN, 0});
    if (hub != nullptr) {
        descriptors.push_back({hub->notifications(), POLLIN, 0});
        descriptors.push_back({hub->mounts(), POLLPRI, 0});
    }
}

void ChangeGroupSource::ready(std::span<const pollfd> descriptors) {
    eventfd_t ignored = 0;
    if (descriptors[0].revents != 0)
        eventfd_read(wakeUp.get(), &ignored);
    if (descriptors.size() < 3 || (descriptors[1].revents == 0 && descriptors[2].revents == 0))
        return;
    std::shared_ptr<ChangeHub> attached;
    {
        const std::lock_guard guard(mutex);
        attached = hub;
    }
    attached->collect(descriptors[2].revents != 0);
}

// ---- the hub

std::shared_ptr<ChangeHub> ChangeHub::get(std::u16string& advice) {
    static std::mutex& mutex = *new std::mutex;
    static std::weak_ptr<ChangeHub>& current = *new std::weak_ptr<ChangeHub>;
    const std::lock_guard guard(mutex);
    std::shared_ptr<ChangeHub> hub = current.lock();
    if (hub == nullptr) {
        Descriptor instance(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
        if (!instance.valid()) {
            advice = adviceFor(errno);
            setLastErrorFromNative();
            return nullptr;
        }
        // Without a mount table mounts go unseen until something else happens on the path.
        Descriptor table(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
        hub = std::make_shared<ChangeHub>(std::move(instance), std::move(table));
        current = hub;
    }
    return hub;
}

ChangeHub::ChangeHub(Descriptor inotifyInstance, Descriptor table)
    : inotify(std::move(inotifyInstance))
    , mountTable(std::move(table)) {}

bool ChangeHub::add(Record& record, std::u16string& advice) {
    const CancellationShield shield;
    const std::lock_guard guard(mutex);
    if (establish(record) == Walk::Complete) {
        records.insert(&record);
        return true;
    }
    const int error = errno;
    release(record, std::exchange(record.uses, {}));
    advice = adviceFor(error);
    setLastError(errorFromNative(error));
    return false;
}

void ChangeHub::remove(Record& record) {
    const CancellationShield shield;
    const std::lock_guard guard(mutex);
    release(record, std::exchange(record.uses, {}));
    records.erase(&record);
    broken.erase(&record);
    refused.erase(&record);
}

bool ChangeHub::next(Record& record, Change& change) {
    const std::lock_guard guard(mutex);
    if (record.pending.empty())
        return false;
    change = std::move(record.pending.front());
    record.pending.pop_front();
    record.pendingNames.erase(change.name);
    record.signalled.store(!record.pending.empty(), std::memory_order_release);
    return true;
}

// ---- following a path

/// Leaves the error of a walk that was not complete in `errno`. The old watches go last, so that what stayed the same
/// stays watched all along.
ChangeHub::Walk ChangeHub::establish(Record& record) {
    const std::vector<Use> before = std::exchange(record.uses, {});
    Walk result = Walk::Changed;
    for (int i = 0; i < MostWalks && result == Walk::Changed; ++i) {
        release(record, std::exchange(record.uses, {}));
        result = follow(record);
    }
    const int error = errno;
    release(record, before);
    errno = error;
    return result;
}

ChangeHub::Walk ChangeHub::follow(Record& record) {
    record.target = {};
    std::deque<std::string> rest = elementsOf(record.path);
    std::string directory = "/";
    int links = 0;
    while (!rest.empty()) {
        const std::string name = std::move(rest.front());
        rest.pop_front();
        if (name == "..") {
            directory = parentOf(directory);
            continue;
        }
        // A directory that may be passed and not read cannot be watched; the path is followed all the same.
        if (!watch(record, directory, Role::Step, name) && errno != EACCES)
            return isLimit(errno) ? Walk::Refused : Walk::Changed;
        const std::string entry = entryOf(directory, name);
        struct stat status {};
        if (::lstat(entry.c_str(), &status) != 0)
            return stopAt(record, directory, name);
        if (S_ISLNK(status.st_mode)) {
            std::string target;
            if (!watch(record, entry, Role::Link, {}) && isLimit(errno))
                return Walk::Refused;
            if (!readLink(entry, target))
                return Walk::Changed;
            errno = ELOOP;
            if (++links > MostLinks)
                return stopAt(record, directory, name);
            std::deque<std::string> elements = elementsOf(target);
            rest.insert(rest.begin(), elements.begin(), elements.end());
            if (target.starts_with('/'))
                directory.assign(1, '/');
        } else if (S_ISDIR(status.st_mode)) {
            directory = entry;
        } else {
            errno = ENOTDIR;
            return stopAt(record, directory, name);
        }
    }
    return watchTarget(record, directory);
}

/// Watches for an entry that is missing or cannot be passed.
ChangeHub::Walk ChangeHub::stopAt(Record& record, const std::string& directory, const std::string& next) {
    const int error = errno;
    if (!watch(record, directory, Role::Gap, next))
        return isLimit(errno) ? Walk::Refused : (errno == EACCES ? Walk::Gap : Walk::Changed);
    struct stat status {};
    const bool there = ::lstat(entryOf(directory, next).c_str(), &status) == 0;
    if (there && (error == ENOENT || (error == ENOTDIR && S_ISDIR(status.st_mode))))
        return Walk::Changed;
    errno = error;
    return Walk::Gap;
}

ChangeHub::Walk ChangeHub::watchTarget(Record& record, const std::string& directory) {
    if (watch(record, directory, Role::Target, {})) {
        record.target = identityOf(directory);
        return Walk::Complete;
    }
    if (isLimit(errno))
        return Walk::Refused;
    if (errno != EACCES)
        return Walk::Changed;
    const std::string parent = parentOf(directory);
    return stopAt(record, parent, directory.substr(parent == "/" ? 1 : parent.size() + 1));
}

std::uint32_t ChangeHub::maskOf(const Record& record, Role role) {
    switch (role) {
    case Role::Target:
        return targetMask(record.filter);
    case Role::Step:
        return StepMask;
    case Role::Gap:
        return GapMask;
    case Role::Link:
        return LinkMask;
    }
    return 0;
}

bool ChangeHub::watch(Record& record, const std::string& path, Role role, const std::string& next) {
    const std::uint32_t mask = maskOf(record, role);
    const int number = ::inotify_add_watch(inotify.get(), path.c_str(), mask | IN_MASK_ADD);
    if (number < 0)
        return false;
    Watch& watch = watches[number];
    watch.mask |= mask;
    watch.path = path;
    if (role == Role::Step || role == Role::Gap) {
        watch.steps.emplace(next, &record);
    } else {
        watch.others.push_back(&record);
        if (role == Role::Target)
            watch.targets.push_back(&record);
    }
    record.uses.push_back({number, role, next});
    return true;
}

void ChangeHub::release(Record& record, const std::vector<Use>& uses) {
    const auto dropFrom = [&](std::vector<Record*>& list) {
        if (const auto found = std::find(list.begin(), list.end(), &record); found != list.end())
            list.erase(found);
    };
    for (const Use& use : uses) {
        const auto found = watches.find(use.watch);
        if (found == watches.end()) // the kernel dropped it
            continue;
        Watch& watch = found->second;
        if (use.role == Role::Step || use.role == Role::Gap) {
            const auto [first, last] = watch.steps.equal_range(use.next);
            const auto own = std::find_if(first, last, [&](const auto& step) { return step.second == &record; });
            if (own != last)
                watch.steps.erase(own);
        } else {
            dropFrom(watch.others);
            if (use.role == Role::Target)
                dropFrom(watch.targets);
        }
        if (watch.steps.empty() && watch.others.empty()) {
            ::inotify_rm_watch(inotify.get(), use.watch);
            watches.erase(found);
        } else if (use.role == Role::Gap) {
            narrow(use.watch, watch);
        }
    }
}

/// The entries of a busy directory such as /tmp are not to be heard of any longer than something is missing in it.
void ChangeHub::narrow(int watchNumber, Watch& watch) {
    std::uint32_t mask = 0;
    for (const auto& [next, record] : watch.steps)
        for (const Use& use : record->uses)
            mask |= use.watch == watchNumber ? maskOf(*record, use.role) : 0;
    for (const Record* record : watch.others)
        for (const Use& use : record->uses)
            mask |= use.watch == watchNumber ? maskOf(*record, use.role) : 0;
    if (mask == 0 || mask == watch.mask)
        return;
    const int number = ::inotify_add_watch(inotify.get(), watch.path.c_str(), mask);
    if (number == watchNumber) {
        watch.mask = mask;
    } else if (number >= 0) { // the path leads elsewhere by now
        if (const auto other = watches.find(number); other != watches.end())
            ::inotify_add_watch(inotify.get(), watch.path.c_str(), other->second.mask);
        else
            ::inotify_rm_watch(inotify.get(), number);
    }
}

// ---- notifications

void ChangeHub::collect(bool mountsChanged) {
    const CancellationShield shield;
    const std::lock_guard guard(mutex);
    alignas(inotify_event) std::array<char, BufferBytes> buffer;
    for (int i = 0; i < ReadsAtOnce; ++i) {
        const ssize_t length = ::read(inotify.get(), buffer.data(), buffer.size());
        if (length <= 0)
            break;
        const char* const end = buffer.data() + length;
        for (const char* at = buffer.data(); at < end;) {
            const auto& event = *reinterpret_cast<const inotify_event*>(at);
            dispatch(event);
            at += sizeof event + event.len;
        }
    }
    if (mountsChanged)
        findMoved();
    mend();
}

void ChangeHub::dispatch(const inotify_event& event) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
        broken = records;
        return;
    }
    const auto found = watches.find(event.wd);
    if (found == watches.end()) // given up meanwhile
        return;
    if ((event.mask & (EndMask | IN_UNMOUNT | IN_IGNORED)) != 0) {
        breakAll(found->second, broken);
        if ((event.mask & IN_IGNORED) != 0)
            watches.erase(found);
    } else if (event.len > 0) {
        dispatchNamed(found->second, event);
    } else if ((event.mask & IN_ATTRIB) != 0) { // who may read the directory, or that a link has gone
        for (Record* record : found->second.others)
            broken.insert(record);
    }
}

void ChangeHub::dispatchNamed(const Watch& watch, const inotify_event& event) {
    const std::string_view name(event.name);
    if (!watch.targets.empty()) {
        const std::u16string wide = toWide(name);
        for (Record* record : watch.targets)
            if ((event.mask & targetMask(record->filter)) != 0 && wantsName(record->filter, event.mask))
                note(*record, {false, wide});
    }
    const auto [first, last] = watch.steps.equal_range(std::string(name));
    for (auto step = first; step != last; ++step)
        if ((event.mask & (NameMask | IN_ATTRIB)) != 0)
            broken.insert(step->second);
}

void ChangeHub::breakAll(const Watch& watch, std::unordered_set<Record*>& broken) {
    for (const auto& [next, record] : watch.steps)
        broken.insert(record);
    broken.insert(watch.others.begin(), watch.others.end());
}

void ChangeHub::findMoved() {
    for (Record* record : records)
        if (identityOf(record->path) != record->target)
            broken.insert(record);
}

void ChangeHub::mend() {
    std::unordered_set<Record*> again = std::exchange(refused, {});
    for (Record* record : std::exchange(broken, {})) {
        again.erase(record);
        mend(*record);
        note(*record, {true, {}});
    }
    for (Record* record : again) {
        mend(*record);
        if (record->target != Identity{})
            note(*record, {true, {}});
    }
}

void ChangeHub::mend(Record& record) {
    const Walk result = establish(record);
    if (result == Walk::Refused || result == Walk::Changed)
        refused.insert(&record);
}

/// A notification that repeats one which has not been fetched is left out: its turn shows what is then.
void ChangeHub::note(Record& record, Change change) {
    if (record.pending.size() >= MostPending) {
        record.pending.clear();
        record.pendingNames.clear();
        change = {true, {}};
    }
    const bool repeats = change.everything ? !record.pending.empty() && record.pending.back().everything
                                           : !record.pendingNames.insert(change.name).second;
    if (repeats)
        return;
    record.pending.push_back(std::move(change));
    if (!record.signalled.exchange(true, std::memory_order_acq_rel))
        record.group->wake();
}

} // namespace norq_std_internal::platform
