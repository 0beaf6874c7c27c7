#pragma once

#include <memory>
#include <set>
#include <vector>

namespace norq_std_internal {

/// Listeners in the order of their addresses, each once, and a snapshot of them that a call to all of them can hold
/// without a lock. A snapshot is made at the first need after a change and shared from then on, so that telling costs
/// no copy and adding does not either. The owner guards all of it with a lock.
template <class T>
class ListenerSet {
public:
    using Members = std::vector<std::shared_ptr<T>>;
    using Snapshot = std::shared_ptr<const Members>;

    void insert(const std::shared_ptr<T>& listener) {
        if (members.insert(listener).second)
            current.reset();
    }
    void erase(const std::shared_ptr<T>& listener) {
        if (members.erase(listener) > 0)
            current.reset();
    }
    bool empty() const { return members.empty(); }
    /// Never null.
    Snapshot snapshot() {
        if (!current)
            current = std::make_shared<const Members>(members.begin(), members.end());
        return current;
    }

private:
    std::set<std::shared_ptr<T>> members;
    Snapshot current;
};

} // namespace norq_std_internal
