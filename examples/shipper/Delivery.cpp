#include "Delivery.h"

#include "Console.h"

#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Concurrency.h"
#include "connection/IConnectionStatusListener.h"
#include "connection/LastPlusOneConnectionPolicy.h"
#include "exception/NorqException.h"
#include "thread/AbstractNotificationThread.h"

#include <algorithm>
#include <cstdint>
#include <exception>

namespace shipper {
namespace {

using Guard = norq_std::AutoLock<norq_std::Lock>;

constexpr const norq_std::WChar* RUN = u"shipper::Delivery::run";
constexpr int HEART_BEAT_MS = 5000;
constexpr std::int32_t SETTLE_MS = 1000;       // between two looks at collectors that were lost
constexpr std::chrono::seconds FINISH_TIME{5}; // for what was read before the stop

std::string textOf(const norq_std::NorqException& failure) {
    return norq_std::UtfUtils::utf16ToUtf8(failure.getMessage());
}

} // namespace

class Delivery::Sender : public norq_std::Runnable {
public:
    explicit Sender(Delivery& itsDelivery)
        : delivery(itsDelivery) {}
    norq_std::WString toString() const override { return u"Sender{}"; }
    void run() override { delivery.run(); }

private:
    Delivery& delivery;
};

class Delivery::Settler : public norq_std::AbstractNotificationThread {
public:
    explicit Settler(Delivery& itsDelivery)
        : AbstractNotificationThread(u"settler")
        , delivery(itsDelivery) {}
    ~Settler() override {
        shutdown();
        join(-1);
    }
    void run() override {
        while (!isShutdown()) {
            sleepForPeriod(SETTLE_MS);
            if (!isShutdown())
                delivery.settleOthers();
        }
    }

private:
    Delivery& delivery;
};

class Delivery::Listener : public norq_std::IConnectionStatusListener {
public:
    explicit Listener(norq_std::Event& toSignal)
        : changed(toSignal) {}
    norq_std::WString toString() const override { return u"Listener{}"; }
    void statusChanged(bool isUp, const norq_std::WString& host) override {
        changed.signal();
        SHIPPER_SAY(norq_std::INFO, u"shipper::Delivery::statusChanged",
                    (isUp ? "delivering to " : "lost ") + norq_std::UtfUtils::utf16ToUtf8(host));
    }

private:
    norq_std::Event& changed;
};

Delivery::Delivery(const Settings& settings, RunState& itsRunState)
    : runState(itsRunState)
    , state(settings.state)
    , places{state, runState.stop}
    , queue(runState.stop)
    , connection(std::make_shared<CollectorConnection>(settings.collectors, state, changed, contact))
    , manager(u"shipper", connection) {
    manager.setConnectionPolicy(std::make_shared<norq_std::LastPlusOneConnectionPolicy>());
    manager.setTryAllServices(true);
    manager.setRecoveryInterval(settings.retryMs);
    manager.setHeartBeatSender(connection);
    manager.setHeartBeatInterval(HEART_BEAT_MS);
    manager.addListener(std::make_shared<Listener>(changed));
}

Delivery::~Delivery() {
    finish();
    manager.shutdown();
}

void Delivery::start() {
    if (state.getSequence() > 0)
        SHIPPER_SAY(norq_std::INFO, u"shipper::Delivery::start",
                    "going on behind batch " + std::to_string(state.getSequence()) + ", with " +
                        std::to_string(state.getEvents()) + " events delivered");
    sender = std::make_unique<norq_std::Thread>(std::make_shared<Sender>(*this), u"delivery");
    sender->start();
    settler = std::make_unique<Settler>(*this);
    settler->start();
}

void Delivery::finish() {
    if (!sender)
        return;
    deadline = std::chrono::steady_clock::now() + FINISH_TIME;
    finishing.signal();
    sender->join(-1);
    sender.reset();
    settler.reset();
    settleOthers();
}

void Delivery::run() {
    try {
        manager.setHeartBeatEnabled(true);
        try {
            manager.connect();
        } catch (const norq_std::NorqConnectException& failure) {
            SHIPPER_SAY(norq_std::WARN, RUN, "no collector yet: " + textOf(failure));
        }
        while (step()) {
        }
        state.save();
    } catch (const norq_std::NorqException& failure) {
        fail(textOf(failure));
    } catch (const std::exception& failure) {
        fail(failure.what());
    }
}

void Delivery::fail(const std::string& what) {
    SHIPPER_SAY(norq_std::ERROR, RUN, "delivery failed: " + what);
    runState.broken = true;
    runState.stop.signal();
}

bool Delivery::step() {
    const bool isLast = isFinishing(); // what the workers have made stands in the queue before the end is asked for
    const auto session = connection->getSession();
    if (!inFlight)
        inFlight = queue.gather();
    if (!inFlight && isLast && !(session && unsettled))
        return false;
    if (!session) {
        waitFor(changed);
        return !isTimeUp();
    }
    if (!session->isLost() && !inFlight && !unsettled) {
        norq_std::Concurrency::waitForMultipleObjects({&changed, &queue.ready(), &finishing}, norq_std::WAIT_ANY, -1);
        return true;
    }
    try {
        deliver(*session);
    } catch (const norq_std::NorqConnectException& failure) {
        NORQ_LOG(norq_std::INFO, RUN, u"%ls", failure.getMessage());
        std::shared_ptr<void> identity = session;
        session->close();
        manager.doRecovery(identity);
    }
    return !isTimeUp();
}

void Delivery::deliver(CollectorSession& session) {
    const DeliveryProtocol protocol(state);
    const Guard guard(contact);
    if (inFlight) {
        protocol.deliver(session, session.getCollector(), *inFlight);
        unsettled = unsettled || !inFlight->events.empty();
        inFlight.reset();
        if (delivered)
            delivered(session.getAddress());
    } else { // nothing follows that would tell it
        protocol.settle(session, session.getCollector());
        unsettled = false;
    }
    manager.setLastOperationTime();
}

void Delivery::waitFor(norq_std::Event& event) {
    if (!isFinishing()) {
        norq_std::Concurrency::waitForMultipleObjects({&event, &finishing}, norq_std::WAIT_ANY, -1);
        return;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    norq_std::Concurrency::waitForSingleObject(event,
                                               static_cast<std::int32_t>(std::max<std::int64_t>(left.count(), 0)));
}

bool Delivery::isFinishing() { return norq_std::Concurrency::waitForSingleObject(finishing, 0) == 0; }

bool Delivery::isTimeUp() { return isFinishing() && std::chrono::steady_clock::now() >= deadline; }

// ---- collectors that were lost

void Delivery::settleOthers() {
    const auto session = connection->getSession();
    for (const auto& [collector, known] : state.getCollectors()) {
        if (known.settled == known.delivered || (session && session->getCollector() == collector))
            continue;
        try {
            settleOther(collector, known.address);
        } catch (const norq_std::NorqException& failure) {
            NORQ_LOG(norq_std::DEBUG, u"shipper::Delivery::settleOthers", u"%ls", failure.getMessage());
        } catch (const std::exception& failure) {
            NORQ_LOG(norq_std::DEBUG, u"shipper::Delivery::settleOthers", u"%hs", failure.what());
        }
    }
}

// A greeting takes the place of an earlier connection of this agent. So whatever is said here is either heard while no
// other connection says anything, or not heard at all.
void Delivery::settleOther(const std::string& collector, const std::string& address) {
    const auto other = connection->open(wire::parseEndpoint(address));
    other->setPatience(SETTLE_MS);
    const DeliveryProtocol protocol(state);
    const Guard guard(contact);
    const auto session = connection->getSession();
    if (!session || session->getCollector() != collector) {
        if (protocol.greet(*other) == collector) {
            protocol.settle(*other, collector);
            state.save();
        }
    }
    other->close();
}

} // namespace shipper
