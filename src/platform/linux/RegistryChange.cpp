// How a change comes to those that asked for it.
//
// The truth is in the database: a key has changed if a hash over what it holds is another than before. All else only
// says when to look, and at which keys. A writer puts a new stamp at the key's place in the file of stamps, after its
// commit; inotify wakes whoever watches the folder, and the keys of the places that changed are looked at. So a key is
// never signalled for another one that shares its place, and a signal is never given before the change can be read.
//
// A writer may be killed between the commit and the stamp, or may be a tool that knows nothing of stamps. Both have
// written to the log of the database, which is in the same folder: a little later all keys are looked at, at most twice
// a second and for a twentieth of the time. And when another database is put in its place, the folder tells.

#include "platform/CancellationShield.h"
#include "platform/DirectoryChange.h"
#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "platform/NarrowText.h"
#include "platform/Registry.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/RegistryHive.h"
#include "platform/linux/RegistryOpenKeys.h"
#include "platform/linux/WaitSource.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace norq_std_internal::platform {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto ScanDelay = 20ms;
constexpr auto ScanInterval = 500ms;
constexpr int ScanShare = 20;

using registry_stamps::Stamps;

void readStamps(const RegistryPlace& place, Stamps& stamps) {
    const Descriptor file(
        ::open(place.beside(registry_stamps::Suffix).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.valid() || ::pread(file.get(), stamps.data(), sizeof stamps, registry_stamps::HeaderBytes) < 0)
        stamps = {};
}

} // namespace

class RegistryChangeSource final : public WaitSource {
public:
    RegistryChangeSource();

    /// Takes the place of what was asked for the key before.
    static std::int32_t begin(const std::shared_ptr<RegistryOpenKey>& key, std::uint32_t filter,
                              const std::shared_ptr<RegistryChange>& event);
    static void end(const std::shared_ptr<RegistryOpenKey>& key) noexcept;

    bool valid() const { return isComplete; }
    void wake() const noexcept {
        const CancellationShield shield;
        eventfd_write(wakeUp.get(), 1);
    }

    void appendDescriptors(std::vector<pollfd>& descriptors) const override {
        descriptors.push_back({all.get(), POLLIN, 0});
    }
    void ready(std::span<const pollfd> descriptors) override;

private:
    struct Asked {
        std::shared_ptr<RegistryOpenKey> key;
        std::uint32_t filter;
        std::shared_ptr<RegistryChange> event;
        std::int64_t row;
    };
    /// A hive, with those of its keys that wait for a change.
    struct Watch {
        std::shared_ptr<RegistryHive> hive;
        std::unique_ptr<DirectoryChange> folder;
        Stamps stamps{};
        std::vector<Asked> asked;
        bool logWritten = false; // since all keys were last looked at
        bool busy = false;       // when they last were
    };

    std::int32_t ask(const std::shared_ptr<RegistryOpenKey>& key, std::uint32_t filter,
                     const std::shared_ptr<RegistryChange>& event);
    void forget(const RegistryOpenKey& key) noexcept;
    bool listenTo(int descriptor, std::uint32_t events) const;
    Watch* watchOf(const std::shared_ptr<RegistryHive>& hive);
    void drain(Watch& watch, bool scanIsDue);
    bool lookAt(Watch& watch, Asked& asked);
    void scheduleScan();

    // A wait that has begun hears of a folder that is watched later too: it polls what polls them all.
    const Descriptor all{::epoll_create1(EPOLL_CLOEXEC)};
    const Descriptor wakeUp{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    const Descriptor timer{::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)};
    bool isComplete = false;

    std::mutex mutex; // guards what follows
    std::vector<pollfd> folderDescriptors;
    DirectoryChangeGroup folders; // goes after the watches
    std::vector<std::unique_ptr<Watch>> watches;
    bool scheduled = false;
    Clock::time_point nextScan;
};

RegistryChangeSource::RegistryChangeSource() {
    isComplete = all.valid() && wakeUp.valid() && timer.valid() && listenTo(wakeUp.get(), EPOLLIN) &&
                 listenTo(timer.get(), EPOLLIN);
    if (!isComplete)
        setLastErrorFromNative();
}

bool RegistryChangeSource::listenTo(int descriptor, std::uint32_t events) const {
    epoll_event wanted{};
    wanted.events = events;
    return ::epoll_ctl(all.get(), EPOLL_CTL_ADD, descriptor, &wanted) == 0 || errno == EEXIST;
}

RegistryChangeSource::Watch* RegistryChangeSource::watchOf(const std::shared_ptr<RegistryHive>& hive) {
    const auto found = std::ranges::find_if(watches, [&](const auto& watch) { return watch->hive == hive; });
    if (found != watches.end())
        return found->get();
    std::u16string folder;
    if (!widePath(hive->where().folder, folder))
        return nullptr;
    auto watch = std::make_unique<Watch>();
    watch->hive = hive;
    std::u16string advice;
    watch->folder = folders.open(folder, FileNameChanges | SizeChanges | LastWriteChanges, advice);
    if (watch->folder == nullptr) {
        registryFails(lastError(), folder + u": cannot be watched; " + advice);
        return nullptr;
    }
    if (folderDescriptors.empty()) {
        watch->folder->source().appendDescriptors(folderDescriptors); // those of all folders
        for (const pollfd& one : folderDescriptors)
            listenTo(one.fd, (one.events & POLLPRI) != 0 ? EPOLLPRI : EPOLLIN);
    }
    readStamps(hive->where(), watch->stamps);
    return watches.emplace_back(std::move(watch)).get();
}

std::int32_t RegistryChangeSource::ask(const std::shared_ptr<RegistryOpenKey>& key, std::uint32_t filter,
                                       const std::shared_ptr<RegistryChange>& event) {
    const std::lock_guard guard(mutex);
    Watch* const watch = watchOf(key->hive); // before the key is looked at, so that nothing is missed
    if (watch == nullptr)
        return lastError();
    bool changed = false;
    if (const std::int32_t result = key->hive->look(*key, filter, changed, false); result != NoError)
        return result;
    if (changed)
        event->set();
    else
        watch->asked.push_back({key, filter, event, key->hive->rowOf(*key)});
    return NoError;
}

void RegistryChangeSource::forget(const RegistryOpenKey& key) noexcept {
    const std::lock_guard guard(mutex);
    for (const auto& watch : watches)
        std::erase_if(watch->asked, [&](const Asked& asked) { return asked.key.get() == &key; });
}

std::int32_t RegistryChangeSource::begin(const std::shared_ptr<RegistryOpenKey>& key, std::uint32_t filter,
                                         const std::shared_ptr<RegistryChange>& event) {
    const CancellationShield shield;
    const std::lock_guard guard(key->eventMutex);
    if (key->event != nullptr)
        key->event->group->forget(*key);
    key->event = event;
    return event->group->ask(key, filter, event);
}

void RegistryChangeSource::end(const std::shared_ptr<RegistryOpenKey>& key) noexcept {
    const CancellationShield shield;
    const std::lock_guard guard(key->eventMutex);
    if (const auto event = std::exchange(key->event, nullptr); event != nullptr)
        event->group->forget(*key);
}

void RegistryChangeSource::ready(std::span<const pollfd>) {
    const CancellationShield shield;
    const std::lock_guard guard(mutex);
    eventfd_t ignored = 0;
    eventfd_read(wakeUp.get(), &ignored);
    std::uint64_t expirations = 0;
    const bool scanIsDue = ::read(timer.get(), &expirations, sizeof expirations) > 0 && std::exchange(scheduled, false);
    if (watches.empty())
        return;
    if (::poll(folderDescriptors.data(), folderDescriptors.size(), 0) > 0)
        watches.front()->folder->source().ready(folderDescriptors);
    const auto begin = Clock::now();
    for (const auto& watch : watches)
        drain(*watch, scanIsDue);
    if (scanIsDue) {
        const auto end = Clock::now();
        const bool busy = std::ranges::any_of(watches, [](const auto& watch) { return watch->busy; });
        nextScan = end + (busy ? ScanInterval : std::max<Clock::duration>(ScanInterval, (end - begin) * ScanShare));
    }
    if (std::ranges::any_of(watches, [](const auto& watch) { return watch->logWritten && !watch->asked.empty(); }))
        scheduleScan();
}

void RegistryChangeSource::scheduleScan() {
    if (std::exchange(scheduled, true))
        return;
    const auto delay = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::max<Clock::duration>(ScanDelay, nextScan - Clock::now()));
    itimerspec when{};
    when.it_value.tv_sec = delay.count() / 1'000'000'000;
    when.it_value.tv_nsec = delay.count() % 1'000'000'000;
    ::timerfd_settime(timer.get(), 0, &when, nullptr);
}

void RegistryChangeSource::drain(Watch& watch, bool scanIsDue) {
    const std::u16string name = toWide(watch.hive->where().name);
    const std::u16string stampsName = name + toWide(registry_stamps::Suffix);
    bool everyKey = scanIsDue && std::exchange(watch.logWritten, false);
    bool stamped = everyKey;
    for (const Change& change : watch.folder->drain()) {
        if (change.everything || change.name == name)
            everyKey = true;
        else if (change.name == stampsName)
            stamped = true;
        else if (change.name.starts_with(name))
            watch.logWritten = true;
    }
    if (!everyKey && !stamped)
        return;
    const Stamps before = watch.stamps;
    readStamps(watch.hive->where(), watch.stamps);
    const Stamps& now = watch.stamps;
    constexpr std::size_t Everybody = registry_stamps::Places;
    everyKey = everyKey || now[Everybody] != before[Everybody];
    watch.busy = false;
    std::erase_if(watch.asked, [&](Asked& asked) { // those behind a busy hive's first key wait for the next scan
        const std::size_t place = registry_stamps::placeOf(asked.row);
        return !watch.busy && (everyKey || now[place] != before[place]) && lookAt(watch, asked);
    });
}

/// Whether the key has changed; then its event is set.
bool RegistryChangeSource::lookAt(Watch& watch, Asked& asked) {
    bool changed = false;
    const std::int32_t result = watch.hive->look(*asked.key, asked.filter, changed, true);
    if (result == Busy)
        watch.busy = watch.logWritten = true; // later
    if (result == NoError && !changed) {
        asked.row = watch.hive->rowOf(*asked.key);
        return false;
    }
    if (result != NoError && result != KeyDeleted)
        return false;
    asked.event->raise();
    return true;
}

// ---- events

RegistryChange::RegistryChange(std::shared_ptr<RegistryChangeSource> groupSource)
    : group(std::move(groupSource)) {}

RegistryChange::~RegistryChange() = default;

void RegistryChange::set() noexcept {
    raise();
    group->wake();
}

WaitSource& RegistryChange::source() { return *group; }

RegistryChangeGroup::RegistryChangeGroup()
    : source(std::make_shared<RegistryChangeSource>()) {}

RegistryChangeGroup::~RegistryChangeGroup() = default;

std::shared_ptr<RegistryChange> RegistryChangeGroup::makeEvent() {
    if (!source->valid()) {
        setLastErrorFromNative();
        return nullptr;
    }
    return std::shared_ptr<RegistryChange>(new RegistryChange(source));
}

std::int32_t notifyRegistryChange(HKey key, bool subtree, std::uint32_t filter,
                                  const std::shared_ptr<RegistryChange>& event) {
    constexpr std::uint32_t Known = norq_std::REG_NOTIFY_CHANGE_LAST_SET | norq_std::REG_NOTIFY_CHANGE_NAME;
    const std::shared_ptr<RegistryOpenKey> open = registryOpenKey(key);
    if (open == nullptr)
        return registryFails(InvalidHandle, std::u16string_view());
    if (subtree || filter == 0 || (filter & ~Known) != 0 || event == nullptr)
        return registryFails(InvalidParameter, std::u16string_view());
    if ((open->access & norq_std::KEY_NOTIFY) == 0)
        return registryFails(AccessDenied, std::u16string_view());
    return RegistryChangeSource::begin(open, filter, event);
}

void endRegistryNotification(const std::shared_ptr<RegistryOpenKey>& key) noexcept { RegistryChangeSource::end(key); }

} // namespace norq_std_internal::platform
