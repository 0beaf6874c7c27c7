#pragma once

#include "base/Functor.h"
#include "base/Object.h"
#include "base/WString.h"
#include "pattern/Singleton.h"
#include "thread/AbstractNotificationThread.h"

#include <cstddef>
#include <map>
#include <memory>
#include <queue>
#include <set>

namespace norq_std {

class PreferenceChangeEvent;
class PreferenceChangeListener;

/// Takes the changes that backends of preferences see, on whatever thread, and tells them to listeners on one thread of
/// its own.
///
/// It serves backends: a program adds its listeners to a node. Listeners are filed under a path, and an event goes to
/// those of its path that are there when its turn comes. All events of the process are told in the order in which they
/// came. Backends never wait for listeners; what comes while `MAX_QUEUE_SIZE` events wait is lost, with a warning in
/// the log.
///
/// The thread starts with the first listener and goes on to the end of the process. The notifier shares the ownership
/// of the listeners. Any thread may call any operation.
class NORQSTD_EXPORT PreferenceChangeNotifier : public Object, public Singleton<PreferenceChangeNotifier> {
public:
    static constexpr std::int32_t MAX_QUEUE_SIZE = 1000;

    PreferenceChangeNotifier(const PreferenceChangeNotifier&) = delete;
    PreferenceChangeNotifier& operator=(const PreferenceChangeNotifier&) = delete;
    ~PreferenceChangeNotifier() override;

    WString toString() const override;

    /// A listener that is there for the path is left as it is.
    void addPreferenceChangeListener(const WString& path, const std::shared_ptr<PreferenceChangeListener>& listener);
    /// One that is not there is left alone.
    void removePreferenceChangeListener(const WString& path, const std::shared_ptr<PreferenceChangeListener>& listener);
    /// Throws `NorqIllegalArgumentException` for an empty path.
    std::size_t getNumberOfListeners(const WString& path) const;
    void enqueuePreferenceChangeEvent(const std::shared_ptr<PreferenceChangeEvent>& event);

private:
    friend class Singleton<PreferenceChangeNotifier>;

    using Listeners = std::set<std::shared_ptr<PreferenceChangeListener>, shared_ptr_lt<PreferenceChangeListener>>;

    class PreferenceChangeEventDispatchThread : public AbstractNotificationThread {
    public:
        explicit PreferenceChangeEventDispatchThread(PreferenceChangeNotifier& servedNotifier);
        ~PreferenceChangeEventDispatchThread() override;

        void run() override;

    private:
        PreferenceChangeNotifier& notifier;
    };

    PreferenceChangeNotifier();
    static const WChar* getSingletonName();
    static Lock& lock(); // guards the map and the queue

    void startEventDispatchThreadIfNecessary();
    bool isQueueEmpty() const;
    /// Null if there is none.
    std::shared_ptr<PreferenceChangeEvent> takeEvent();
    void handlePreferenceChangeEvent(const std::shared_ptr<PreferenceChangeEvent>& event) const;

    std::map<WString, Listeners> listeners; // no set is empty
    std::queue<std::shared_ptr<PreferenceChangeEvent>> events;
    PreferenceChangeEventDispatchThread dispatchThread;
};

} // namespace norq_std
