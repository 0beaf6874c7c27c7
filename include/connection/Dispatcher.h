#pragma once

#include "base/Object.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/Lock.h"
#include "connection/IDispatcher.h"
#include "internal/ListenerSet.h"

#include <map>
#include <memory>
#include <vector>

namespace norq_std {

/// The dispatcher that `DispatcherFactory` makes. The listeners of a name are called in the order of their addresses.
class NORQSTD_EXPORT Dispatcher : public IDispatcher, public Object {
public:
    ~Dispatcher() override;
    Dispatcher(const Dispatcher&) = delete;
    Dispatcher& operator=(const Dispatcher&) = delete;

    WString getKey() const override;
    WString toString() const override;
    void addListener(const std::shared_ptr<IEventListener>& listener, const std::vector<WString>& eventNames) override;
    void addListener(const std::shared_ptr<IEventListener>& listener, const WString& eventName) override;
    void removeListener(const std::shared_ptr<IEventListener>& listener) override;
    void removeListener(const std::shared_ptr<IEventListener>& listener,
                        const std::vector<WString>& eventNames) override;
    void removeListener(const std::shared_ptr<IEventListener>& listener, const WString& eventName) override;
    void removeAllListeners() override;
    void submit(const std::shared_ptr<IEvent>& event) override;

private:
    friend class DispatcherFactory;
    using Listeners = norq_std_internal::ListenerSet<IEventListener>;

    explicit Dispatcher(const WString& dispatcherKey);

    void insert(const std::shared_ptr<IEventListener>& listener, const WString& eventName);
    void erase(const std::shared_ptr<IEventListener>& listener, const WString& eventName);
    Listeners::Snapshot getListeners(const WString& eventName);
    void tell(IEventListener& listener, const std::shared_ptr<IEvent>& event) const;

    mutable Lock lock;
    const WString key;
    std::map<WString, Listeners> listeners NORQ_GUARDED_BY(lock);
};

} // namespace norq_std
