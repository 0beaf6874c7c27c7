#pragma once

#include "platform/Registry.h"
#include "windows/NorqRegistry.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace norq_std {

/// One monitored key of the registry: the key, open, with the values that it was last seen to have.
///
/// The system signals the wait handle when a value of the key changes, after `registerListener` and until it does.
/// Operations throw `NorqIllegalStateException` after `shutdown`, and any thread may call them; only one waits for the
/// handle.
class NORQSTD_EXPORT RegistryListener : public NorqRegistry {
public:
    /// Throws `NorqIllegalArgumentException` for an empty path, or if the system has no room for the handle.
    RegistryListener(HKey rootKey, const WString& monitoredPath);
    ~RegistryListener() override;

    void openKey(std::uint32_t access);
    /// Takes what the key has now as known: nothing is reported for it.
    void updateKeyValues();
    void registerListener();
    void deregisterListener();
    /// Reads the key, and queues an event for each value that differs from what was known.
    void updateAndNotify();
    /// Of a key that is gone: has the handle signalled once it may be back; false if the store refuses even that. Does
    /// nothing after `shutdown`.
    bool awaitKey();
    std::shared_ptr<norq_std_internal::platform::RegistryChange> getWaitHandle();
    std::size_t size();
    void shutdown();

    WString toString() const override;

private:
    using Change = std::pair<WString, WString>; // name and new value

    void checkShutdown() const;
    bool awaitKeyBelow(const WString& ancestor);
    void closeAncestor();
    std::vector<Change> update();
    void notify(const Change& change) const;

    const HKey root;
    const WString keyPath;
    const std::shared_ptr<norq_std_internal::platform::RegistryChange> waitHandle;
    std::map<WString, WString> keyValues;
    HKey openAncestor = 0; // the nearest key above, while this one is gone
    bool isShutdown = false;
};

} // namespace norq_std
