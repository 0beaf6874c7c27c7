#pragma once

#include "KeyPath.h"

#include "platform/Event.h"
#include "platform/Registry.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace norqreg {

/// What became of a value, or of a key.
struct Change {
    enum class Kind : std::uint8_t { VALUE_SET, VALUE_DELETED, KEY_MADE, KEY_DELETED };

    Kind kind = Kind::VALUE_SET;
    KeyPath key;
    WString name; ///< of a value
    WString text;
};

/// Sees the changes of one key, or of all keys below it too: of those that are made later as well, from the moment they
/// are made. Several changes of one value at a time may be seen as one.
///
/// For one thread.
class RegistryWatch {
public:
    using Listener = std::function<void(const Change&)>;

    /// Sees what changes from now on. Throws as `Key` does.
    RegistryWatch(const KeyPath& topKey, bool withSubtree, Listener toTell);
    ~RegistryWatch();

    enum class Outcome : std::uint8_t { TOLD, STOPPED, TIMED_OUT, GONE };
    /// Waits for a change, which it tells, or for `stop`, but no longer than that; a negative time-out has no end.
    /// `GONE` is that the key itself was deleted.
    Outcome await(norq_std_internal::platform::Event& stop, std::int32_t timeoutMs);

private:
    class Monitor;
    using Monitors = std::map<WString, std::unique_ptr<Monitor>>; ///< by path

    /// False if the key is not there any more.
    bool add(const KeyPath& path, bool isNews);
    void lookBelow(const KeyPath& path, bool isNews);
    void look(Monitor& monitor);
    void drop(const KeyPath& path);

    const KeyPath top;
    const bool subtree;
    const Listener tell;
    norq_std_internal::platform::RegistryChangeGroup group;
    Monitors monitors;
    std::vector<Monitor*> order; ///< of the objects below
    std::vector<norq_std_internal::platform::WaitObject*> waited;
};

} // namespace norqreg
