#include "RegistryWatch.h"

#include "Failure.h"
#include "Store.h"

#include "exception/NorqException.h"

#include <utility>

namespace norqreg {
namespace {

namespace platform = norq_std_internal::platform;
using norq_std::NorqRegistry;

constexpr std::uint32_t FILTER = norq_std::REG_NOTIFY_CHANGE_NAME | norq_std::REG_NOTIFY_CHANGE_LAST_SET;

} // namespace

/// An open key with what was seen of it last. What is known of the key in the store, the request and the lists depend
/// on the order in which they are asked for: docs of `notifyRegistryChange`.
class RegistryWatch::Monitor : public NorqRegistry {
public:
    /// Throws `NorqObjectNotFoundException` for a key that is not there.
    Monitor(KeyPath itsPath, std::shared_ptr<platform::RegistryChange> event)
        : path(std::move(itsPath))
        , change(std::move(event)) {
        openKey(handleOf(path.hive), path.path, norq_std::KEY_READ);
        seen = read();
        request();
    }

    /// What is new since the last look; false if the key is gone.
    bool look(const Listener& listener) {
        std::map<WString, WString> now;
        try {
            change->reset();
            request();
            now = read();
        } catch (const norq_std::NorqIllegalStateException&) {
            return false;
        } catch (const norq_std::NorqObjectNotFoundException&) {
            return false;
        }
        for (const auto& [name, text] : now)
            if (const auto before = seen.find(name); before == seen.end() || before->second != text)
                listener({Change::Kind::VALUE_SET, path, name, text});
        for (const auto& [name, text] : seen)
            if (!now.contains(name))
                listener({Change::Kind::VALUE_DELETED, path, name, {}});
        seen = std::move(now);
        return true;
    }

    const KeyPath path;
    const std::shared_ptr<platform::RegistryChange> change;
    std::map<WString, WString> seen;

private:
    std::map<WString, WString> read() const {
        const auto values = getKeyValues();
        return {values.begin(), values.end()};
    }
    void request() const {
        const std::int32_t error = platform::notifyRegistryChange(getHandle(), false, FILTER, change);
        convertWinErrToException(u"norqreg::RegistryWatch::Monitor::request", error,
                                 u"Watch registry key <" + path.toText() + u">");
    }
};

RegistryWatch::RegistryWatch(const KeyPath& topKey, bool withSubtree, Listener toTell)
    : top(topKey)
    , subtree(withSubtree)
    , tell(std::move(toTell)) {
    const Key mustBeThere(top);
    if (!add(top, false))
        throw Failure(NOT_FOUND, "there is no key " + top.toReadable());
}

RegistryWatch::~RegistryWatch() = default;

bool RegistryWatch::add(const KeyPath& path, bool isNews) {
    auto event = group.makeEvent();
    if (!event)
        throw Failure(FAILED, "the system has no room to watch " + path.toReadable());
    std::unique_ptr<Monitor> monitor;
    try {
        monitor = std::make_unique<Monitor>(path, std::move(event));
    } catch (const norq_std::NorqObjectNotFoundException&) {
        return false;
    } catch (const norq_std::NorqIllegalStateException&) {
        return false;
    }
    if (isNews) {
        tell({Change::Kind::KEY_MADE, path, {}, {}});
        for (const auto& [name, text] : monitor->seen)
            tell({Change::Kind::VALUE_SET, path, name, text});
    }
    monitors[path.toText()] = std::move(monitor);
    order.clear();
    if (subtree)
        lookBelow(path, isNews);
    return true;
}

/// Adds the keys below one that are not watched yet. Its request stands already, so none is missed.
void RegistryWatch::lookBelow(const KeyPath& path, bool isNews) {
    const auto found = monitors.find(path.toText());
    if (found == monitors.end())
        return;
    std::vector<WString> names;
    try {
        names = found->second->getKeys();
    } catch (const norq_std::NorqIllegalStateException&) { // its own signal tells that it is gone
    } catch (const norq_std::NorqObjectNotFoundException&) {
    }
    for (const WString& name : names)
        if (const KeyPath below = path.child(name); !monitors.contains(below.toText()))
            add(below, isNews);
}

void RegistryWatch::drop(const KeyPath& path) {
    monitors.erase(path.toText());
    order.clear();
    tell({Change::Kind::KEY_DELETED, path, {}, {}});
}

void RegistryWatch::look(Monitor& monitor) {
    const KeyPath path = monitor.path;
    if (monitor.look(tell)) {
        if (subtree)
            lookBelow(path, true);
        return;
    }
    drop(path);
    if (path.path != top.path) // it may have been made anew meanwhile
        lookBelow({path.hive, path.path.substr(0, path.path.rfind(u'\\'))}, true);
}

RegistryWatch::Outcome RegistryWatch::await(platform::Event& stop, std::int32_t timeoutMs) {
    if (order.empty()) {
        waited.assign(1, &stop);
        for (const auto& [path, monitor] : monitors) {
            order.push_back(monitor.get());
            waited.push_back(monitor->change.get());
        }
    }
    const int signalled = platform::waitForAny(waited, timeoutMs);
    if (signalled == platform::WaitTimedOut)
        return Outcome::TIMED_OUT;
    if (signalled == platform::WaitFailed)
        throw Failure(FAILED, "waiting for changes failed");
    if (signalled == 0)
        return Outcome::STOPPED;
    look(*order[static_cast<std::size_t>(signalled) - 1]);
    return monitors.contains(top.toText()) ? Outcome::TOLD : Outcome::GONE;
}

} // namespace norqreg
