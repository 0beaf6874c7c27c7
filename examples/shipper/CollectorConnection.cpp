#include "CollectorConnection.h"

#include "base/UtfUtils.h"
#include "concurrency/AutoLock.h"
#include "exception/NorqException.h"
#include "thread/Runnable.h"

#include <utility>

namespace shipper {
namespace {

using Guard = norq_std::AutoLock<norq_std::Lock>;

constexpr std::int32_t CONNECT_MS = 3000;

} // namespace

class CollectorConnection::ContextThread : public norq_std::Runnable {
public:
    explicit ContextThread(boost::asio::io_context& toRun)
        : context(toRun) {}
    norq_std::WString toString() const override { return u"ContextThread{}"; }
    void run() override { context.run(); }

private:
    boost::asio::io_context& context;
};

CollectorConnection::CollectorConnection(std::vector<wire::Endpoint> endpoints, DeliveryState& deliveryState,
                                         norq_std::Event& lostEvent, norq_std::Lock& contactLock)
    : collectors(std::move(endpoints))
    , state(deliveryState)
    , lost(lostEvent)
    , contact(contactLock)
    , thread(std::make_unique<norq_std::Thread>(std::make_shared<ContextThread>(context), u"collector wire")) {
    thread->start();
}

CollectorConnection::~CollectorConnection() {
    setSession(nullptr);
    work.reset(); // the thread ends with the last connection
    thread->join(-1);
}

norq_std::WString CollectorConnection::toString() const { return u"CollectorConnection{}"; }

norq_std::WString CollectorConnection::useServiceConnectionInfo(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= collectors.size())
        throw norq_std::NorqObjectNotFoundException(u"There is no collector of that number.");
    selected = static_cast<std::size_t>(index);
    return norq_std::UtfUtils::utf8ToUtf16(collectors[selected].toString());
}

std::shared_ptr<CollectorSession> CollectorConnection::open(const wire::Endpoint& endpoint) {
    auto next = std::make_shared<CollectorSession>(context, endpoint, lost);
    next->open(CONNECT_MS);
    return next;
}

void CollectorConnection::establishConnection() {
    const auto next = open(collectors[selected]);
    const DeliveryProtocol protocol(state);
    const Guard guard(contact);
    try {
        next->setCollector(protocol.greet(*next));
        protocol.settle(*next, next->getCollector());
    } catch (const norq_std::NorqConnectException&) {
        next->close();
        throw;
    } catch (const std::exception& failure) { // of the state, which ends the delivery when it next has something to do
        next->close();
        throw norq_std::NorqConnectException(norq_std::UtfUtils::utf8ToUtf16(failure.what()));
    }
    setSession(next);
    lost.signal(); // whoever waits for the end of this state need not wait for the listeners
}

void CollectorConnection::disconnectConnection() { setSession(nullptr); }

void CollectorConnection::sendHeartBeat() {
    const auto current = getSession();
    if (current && current->exchange(wire::Message::ping()).type != wire::Message::Type::Pong) {
        current->close();
        throw norq_std::NorqConnectException(u"A ping was answered with something else.");
    }
}

std::shared_ptr<CollectorSession> CollectorConnection::getSession() const {
    const Guard guard(lock);
    return session;
}

void CollectorConnection::setSession(std::shared_ptr<CollectorSession> next) {
    {
        const Guard guard(lock);
        std::swap(session, next);
    }
    if (next)
        next->close();
}

} // namespace shipper
