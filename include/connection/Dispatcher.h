#pragma once

#include "base/Object.h"
#include "base/ThreadAnnotations.h"
#include "concurrency/Lock.h"
#include "connection/IDispatcher.h"
#include "internal/ListenerSet.h"
#include "internal/TextHash.h"

#include <memory>
#include <unordered_map>
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
    using Names = std::unordered_map<WString, Listeners, norq_std_internal::TextHash, norq_std_internal::SameText>;

    explicit Dispatcher(const WString& dispatcherKey);

    void insert(const std::shared_ptr<IEventListener>& listener, const WString& eventName);
    void erase(const std::shared_ptr<IEventListener>& listener, const WString& eventName);
    Listeners::Snapshot getListeners(const WString& eventName);
    void tell(IEventListener& listener, const std::shared_ptr<IEvent>& event) const;

    mutable Lock lock;
    const WString key;
    Names listeners NORQ_GUARDED_BY(lock);
    Names::value_type* lastSubmitted NORQ_GUARDED_BY(lock) = nullptr; ///< most events come in runs of one name
};

} // namespace norq_std
