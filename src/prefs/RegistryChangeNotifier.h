#pragma once

#include "base/Object.h"
#include "concurrency/Lock.h"
#include "pattern/Singleton.h"
#include "platform/Event.h"
#include "prefs/RegistryListener.h"
#include "thread/Thread.h"

#include <array>
#include <map>
#include <memory>
#include <vector>

namespace norq_std {

class PreferenceChangeListener;

/// Has the keys of the registry monitored whose preferences somebody listens to, and passes on what changed.
///
/// One thread waits for all keys, however many; it starts with the first and goes on to `shutdown`. Operations throw
/// `NorqIllegalStateException` after that, and any thread may call them.
///
/// Locks are taken in this order: the notifier's, a listener's. No event is queued, and no node used, under either.
class NORQSTD_EXPORT RegistryChangeNotifier : public Object, public Singleton<RegistryChangeNotifier> {
public:
    enum HKeyType : std::size_t { CurrentUser = 0, LocalMachine = 1 };

    RegistryChangeNotifier(const RegistryChangeNotifier&) = delete;
    RegistryChangeNotifier& operator=(const RegistryChangeNotifier&) = delete;
    ~RegistryChangeNotifier() override;

    WString toString() const override;

    /// `key` is the path below the root, `path` the name under which the listener is filed. The first listener of a
    /// path has its key monitored; if that fails, it is not added, and the failure is thrown.
    void addPreferenceChangeListener(HKey root, const WString& key, const WString& path,
                                     const std::shared_ptr<PreferenceChangeListener>& listener);
    /// With the last listener of a path the monitoring ends.
    void removePreferenceChangeListener(HKey root, const WString& key, const WString& path,
                                        const std::shared_ptr<PreferenceChangeListener>& listener);
    /// Ends the thread and forgets all keys, for good. A second time does nothing.
    void shutdown();

    /// Throws `NorqIllegalArgumentException` for another root than the two.
    static HKeyType convertHKeyToHKeyType(HKey root);

private:
    friend class Singleton<RegistryChangeNotifier>;

    using PlatformEvent = norq_std_internal::platform::Event;
    using ListenerPtr = std::shared_ptr<RegistryListener>;
    using Listeners = std::map<WString, ListenerPtr>;

    class Handles;

    class RegistryCheckingThread : public Thread {
    public:
        explicit RegistryCheckingThread(RegistryChangeNotifier& servedNotifier);
        ~RegistryCheckingThread() override;

        void run() override;

    private:
        /// Until it is told to end.
        void check();
        static void handleChange(Handles& handles, int index);

        RegistryChangeNotifier& notifier;
    };

    RegistryChangeNotifier();
    static const WChar* getSingletonName();
    static Lock& lock();

    void checkShutdown() const;
    void startMonitoringKey(HKey root, const WString& key);
    void stopMonitoringKey(HKey root, const WString& key);
    void startRegistryCheckingThreadIfNotRunning();
    void stopRegistryCheckingThread();
    void updateRegistryCheckingThread();

    // The thread shares the events; the rest is guarded by the lock.
    const std::shared_ptr<PlatformEvent> terminateEvent;
    const std::shared_ptr<PlatformEvent> updateEvent;
    bool isShutdown = false;
    std::array<Listeners, 2> listeners; // by HKeyType
    RegistryCheckingThread checkingThread;
};

} // namespace norq_std
