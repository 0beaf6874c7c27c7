#pragma once

#include "ScriptedService.h"
#include "support/FileCalls.h"

#include "connection/ConnectionManager.h"
#include "connection/ISendHeartBeat.h"
#include "connection/LastPlusOneConnectionPolicy.h"

#include <array>
#include <tuple>

namespace norqstd_test {

constexpr int FOREVER_MS = 24 * 3600 * 1000; // longer than any test

/// Reports what it hears as "up HOST" and "down HOST".
class Listener : public norq_std::IConnectionStatusListener, public Reports {
public:
    norq_std::WString toString() const override { return u"Listener{}"; }
    void statusChanged(bool isUp, const norq_std::WString& host) override {
        reportAndRun((isUp ? "up " : "down ") + norq_std::UtfUtils::utf16ToUtf8(host));
    }
};

class Sender : public norq_std::ISendHeartBeat {
public:
    explicit Sender(std::function<void()> beat)
        : step(std::move(beat)) {}

    norq_std::WString toString() const override { return u"Sender{}"; }
    void sendHeartBeat() override { step(); }

private:
    const std::function<void()> step;
};

/// A manager and what it manages.
struct ScriptedClient {
    explicit ScriptedClient(int services = 3)
        : service(std::make_shared<ScriptedService>(services))
        , manager(u"client", service) {}

    std::shared_ptr<Listener> listen() {
        const auto listener = std::make_shared<Listener>();
        manager.addListener(listener);
        return listener;
    }
    /// Sends heartbeats without end.
    void beatWith(std::function<void()> beat) {
        manager.setHeartBeatSender(std::make_shared<Sender>(std::move(beat)));
        manager.setHeartBeatInterval(1);
        manager.setHeartBeatEnabled(true);
    }
    /// Takes back all that a script changed.
    void reset() {
        manager.setHeartBeatEnabled(false);
        manager.setKeepConnectionAlive(false);
        service->inEachConnect({});
        service->inEachClose({});
        manager.disconnect(); // first: a walk under way would meet services that are down and others that are up
        service->setDown({});
    }

    std::shared_ptr<ScriptedService> service;
    norq_std::ConnectionManager manager;
};

} // namespace norqstd_test
