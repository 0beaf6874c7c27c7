#include "concurrency/AtomicInteger.h"

#include "internal/NumberText.h"

namespace norq_std {

AtomicInteger::AtomicInteger(std::int32_t initialValue)
    : value(initialValue) {}

AtomicInteger::~AtomicInteger() = default;

WString AtomicInteger::toString() const {
    return u"AtomicInteger{value=" + norq_std_internal::numberText(get()) + u"}";
}

std::int32_t AtomicInteger::get() const { return value.load(); }

void AtomicInteger::set(std::int32_t newValue) { value.store(newValue); }

// The wrapped sum: addition of atomics is defined where that of integers is not.
std::int32_t AtomicInteger::addAndGet(std::int32_t delta) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value.fetch_add(delta)) +
                                     static_cast<std::uint32_t>(delta));
}

std::int32_t AtomicInteger::getAndAdd(std::int32_t delta) { return value.fetch_add(delta); }

std::int32_t AtomicInteger::incrementAndGet() { return addAndGet(1); }

std::int32_t AtomicInteger::decrementAndGet() { return addAndGet(-1); }

std::int32_t AtomicInteger::getAndIncrement() { return value.fetch_add(1); }

std::int32_t AtomicInteger::getAndDecrement() { return value.fetch_sub(1); }

std::int32_t AtomicInteger::getAndSet(std::int32_t newValue) { return value.exchange(newValue); }

bool AtomicInteger::compareAndSet(std::int32_t expected, std::int32_t newValue) {
    return value.compare_exchange_strong(expected, newValue);
}

} // namespace norq_std
