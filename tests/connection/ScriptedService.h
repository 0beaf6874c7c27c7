#pragma once

#include "connection/IConnectionImplementer.h"
#include "connection/IConnectionStatusListener.h"
#include "exception/NorqException.h"
#include "internal/NumberText.h"
#include "support/Limits.h"

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace norqstd_test {

/// A list of services of which each is up or down, and a record of what was asked of it: "use 0", "connect 0", "close".
class ScriptedService : public norq_std::IConnectionImplementer {
public:
    explicit ScriptedService(int serviceCount)
        : count(serviceCount) {}

    norq_std::WString toString() const override { return u"ScriptedService{}"; }

    norq_std::WString useServiceConnectionInfo(int index) override {
        const std::lock_guard guard(mutex);
        calls.push_back("use " + std::to_string(index));
        if (index < 0 || index >= count)
            throw norq_std::NorqObjectNotFoundException(u"No such service.");
        selected = index;
        return u"host" + norq_std_internal::numberText(index);
    }
    void establishConnection() override {
        std::function<void()> now;
        {
            const std::lock_guard guard(mutex);
            calls.push_back("connect " + std::to_string(selected));
            changed.notify_all();
            now = onConnect;
        }
        if (now)
            now();
        const std::lock_guard guard(mutex);
        if (down.contains(selected))
            throw norq_std::NorqConnectException(u"Refused.");
        current = std::make_shared<int>(selected);
    }
    void disconnectConnection() override {
        std::function<void()> now;
        {
            const std::lock_guard guard(mutex);
            calls.emplace_back("close");
            changed.notify_all();
            current.reset();
            now = onClose;
        }
        if (now)
            now();
    }
    std::shared_ptr<void> internalGetConnection() override {
        const std::lock_guard guard(mutex);
        return current;
    }

    void setDown(const std::set<int>& indices) {
        const std::lock_guard guard(mutex);
        down = indices;
    }
    /// Runs in each attempt before it succeeds or fails; what it throws comes out of the attempt.
    void inEachConnect(std::function<void()> step) {
        const std::lock_guard guard(mutex);
        onConnect = std::move(step);
    }
    void inEachClose(std::function<void()> step) {
        const std::lock_guard guard(mutex);
        onClose = std::move(step);
    }
    /// What was asked since the last look.
    std::vector<std::string> takeCalls() {
        const std::lock_guard guard(mutex);
        return std::move(calls);
    }
    /// Waits for that many calls that begin so since the last look; false if they do not come.
    bool await(std::size_t number, const char* beginning = "connect") {
        std::unique_lock guard(mutex);
        return changed.wait_for(guard, longLimit(), [&] {
            return std::count_if(calls.begin(), calls.end(), [&](const std::string& call) {
                       return call.starts_with(beginning);
                   }) >= static_cast<std::ptrdiff_t>(number);
        });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    const int count;
    std::set<int> down;
    int selected = -1;
    std::shared_ptr<void> current;
    std::function<void()> onConnect;
    std::function<void()> onClose;
    std::vector<std::string> calls;
};

} // namespace norqstd_test
