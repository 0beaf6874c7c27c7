#pragma once

#include "base/Export.h"
#include "platform/Event.h"
#include "windows/Registry.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace norq_std_internal::platform {

// The registry: a persistent tree of keys and values in two hives, shared by all processes of the machine
// (docs/registry.md). Calls answer an error number of the family, 0 for success, and leave it as the last error too:
//
//     2    no such key or value; 3 the hive is not there and cannot be
//     5    the key was not opened for this, or the user may not; 19 the hive lies where nobody can write
//     6    no such root or open key
//     87   a name or value beyond the limits below, a zero unit in a name, options or flags that are not known
//     161  a path that begins with a backslash or has two in a row; one at the end does no harm
//     170  other processes kept the hive busy for too long
//     1015 the hive is damaged, is none, or has been lost; 1150 it was made by a newer version of the library
//     1018 the key has been removed since it was opened, by anyone
//
// Others (112 disk full, 1117 input or output failed, ...) are the system's. A call that fails has changed nothing; one
// that changes several things does all or none. Any thread may call. An open key stays usable when the database file is
// replaced, and in a process that was forked while no other thread used the library; it is then the key of that path
// there.

using norq_std::HKey;

inline constexpr std::size_t MostKeyNameUnits = 255;
inline constexpr std::size_t MostKeyDepth = 512;
inline constexpr std::size_t MostValueNameUnits = 16383;
inline constexpr std::size_t MostValueBytes = 1024 * 1024;

struct RegistryValue {
    std::uint32_t type = 0;
    std::string bytes; ///< as the type has them: texts in UTF-16 with their terminator, numbers with the low byte first

    bool operator==(const RegistryValue&) const = default;
};

struct RegistryEntry {
    std::u16string name;
    RegistryValue value;

    bool operator==(const RegistryEntry&) const = default;
};

/// Makes what is missing on the path, and opens its end. `root` is one of the two or an open key.
[[nodiscard]] NORQSTD_EXPORT std::int32_t createRegistryKey(HKey root, std::u16string_view path, std::uint32_t access,
                                                            HKey& key, bool& existed);
[[nodiscard]] NORQSTD_EXPORT std::int32_t openRegistryKey(HKey root, std::u16string_view path, std::uint32_t access,
                                                          HKey& key);
/// Ends what `notifyRegistryChange` has begun with the key, without setting its event.
NORQSTD_EXPORT void closeRegistryKey(HKey key) noexcept;
/// Removes a key with all that lies below it.
[[nodiscard]] NORQSTD_EXPORT std::int32_t deleteRegistryTree(HKey root, std::u16string_view path);

[[nodiscard]] NORQSTD_EXPORT std::int32_t getRegistryValue(HKey key, std::u16string_view name, RegistryValue& value);
[[nodiscard]] NORQSTD_EXPORT std::int32_t setRegistryValue(HKey key, std::u16string_view name, std::uint32_t type,
                                                           std::string_view bytes);
[[nodiscard]] NORQSTD_EXPORT std::int32_t deleteRegistryValue(HKey key, std::u16string_view name);

/// What stands directly below the key, as it was at one moment, in the order of the folded names.
[[nodiscard]] NORQSTD_EXPORT std::int32_t listRegistryKeys(HKey key, std::vector<std::u16string>& names);
[[nodiscard]] NORQSTD_EXPORT std::int32_t listRegistryValues(HKey key, std::vector<RegistryEntry>& entries);

/// What the last failed call of this thread found, in words for a log; empty where the number says all.
NORQSTD_EXPORT std::u16string registryFailure();

/// Closes the databases, which stay open otherwise; the next call opens them again. Open keys stay open.
NORQSTD_EXPORT void closeRegistryHives() noexcept;

class RegistryChangeSource;

/// A manual-reset event of a `RegistryChangeGroup`: to be waited for beside other objects, in one `waitForAny` without
/// a limit of their number. It costs no descriptor of its own. Any thread may set and reset it.
class NORQSTD_EXPORT RegistryChange final : public WaitObject {
public:
    ~RegistryChange() override;
    RegistryChange(const RegistryChange&) = delete;
    RegistryChange& operator=(const RegistryChange&) = delete;

    void set() noexcept;
    void reset() noexcept { signalled.store(false, std::memory_order_release); }

    WaitSource& source() override;
    /// Stays signalled until `reset`.
    bool take() override { return signalled.load(std::memory_order_acquire); }

private:
    friend class RegistryChangeGroup;
    friend class RegistryChangeSource;
    explicit RegistryChange(std::shared_ptr<RegistryChangeSource> groupSource);

    void raise() noexcept { signalled.store(true, std::memory_order_release); }

    const std::shared_ptr<RegistryChangeSource> group;
    std::atomic<bool> signalled{false};
};

/// The change events that one thread waits for, and through which it hears of changes: there is no other thread, so
/// events are set while somebody waits for one of the group. Any thread may make events.
class NORQSTD_EXPORT RegistryChangeGroup {
public:
    RegistryChangeGroup();
    ~RegistryChangeGroup();
    RegistryChangeGroup(const RegistryChangeGroup&) = delete;
    RegistryChangeGroup& operator=(const RegistryChangeGroup&) = delete;

    /// Null, with the last error, if the system has no room for it.
    std::shared_ptr<RegistryChange> makeEvent();

private:
    const std::shared_ptr<RegistryChangeSource> source;
};

/// Asks for one signal: `event` is set when a value of the key is set or removed (REG_NOTIFY_CHANGE_LAST_SET), when a
/// key directly below it is made or removed (REG_NOTIFY_CHANGE_NAME), or when the key itself is removed; by anybody, in
/// this process or another. Then it has to be asked again. `key` needs KEY_NOTIFY. An open key has one such request; a
/// new one takes the place of the old. Subtrees cannot be watched: 87.
///
/// Nothing is missed in between. A key remembers what it was when its values were last listed through it, or when its
/// last request was made or ended, whatever came last; a request that finds something else sets the event at once. So
/// "list, ask" misses nothing, and neither does "reset, ask, list" after each signal.
///
/// The signal comes after the change: who wakes from it reads at least that state. Several changes may share a signal.
[[nodiscard]] NORQSTD_EXPORT std::int32_t notifyRegistryChange(HKey key, bool subtree, std::uint32_t filter,
                                                               const std::shared_ptr<RegistryChange>& event);

} // namespace norq_std_internal::platform
