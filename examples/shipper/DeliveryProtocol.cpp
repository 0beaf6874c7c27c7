#include "DeliveryProtocol.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"

namespace shipper {
namespace {

using wire::Message;

Message ask(DeliveryChannel& channel, const Message& question, Message::Type expected) {
    Message answer = channel.exchange(question);
    if (answer.type != expected)
        throw norq_std::NorqConnectException(norq_std::UtfUtils::utf8ToUtf16(channel.getAddress() + " answered a \"" +
                                                                             nameOf(question.type) + "\" with \"" +
                                                                             nameOf(answer.type) + "\""));
    return answer;
}

} // namespace

std::string DeliveryProtocol::greet(DeliveryChannel& channel) const {
    return ask(channel, Message::hello(state.getAgent()), Message::Type::Welcome).id;
}

void DeliveryProtocol::settle(DeliveryChannel& channel, const std::string& collector) const {
    const std::uint64_t delivered = state.deliveredTo(collector);
    ask(channel, Message::confirm(delivered), Message::Type::Settled);
    state.recordSettled(collector, delivered);
}

void DeliveryProtocol::deliver(DeliveryChannel& channel, const std::string& collector,
                               const DeliveryBatch& batch) const {
    if (batch.events.empty()) {
        state.recordPlaces(batch.places);
        return;
    }
    const std::uint64_t sequence = state.getSequence() + 1;
    const std::uint64_t delivered = state.deliveredTo(collector);
    const Message answer =
        ask(channel, {Message::Type::Batch, {}, sequence, delivered, batch.events}, Message::Type::Ack);
    if (answer.sequence != sequence)
        throw norq_std::NorqConnectException(
            norq_std::UtfUtils::utf8ToUtf16(channel.getAddress() + " acknowledged another batch"));
    state.recordSettled(collector, delivered);
    state.recordDelivered({sequence, collector, channel.getAddress(), batch.events.size()}, batch.places);
}

} // namespace shipper
