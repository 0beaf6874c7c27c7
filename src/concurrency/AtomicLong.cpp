#include "concurrency/AtomicLong.h"

#include "internal/NumberText.h"

namespace norq_std {

AtomicLong::AtomicLong(std::uint64_t initialValue)
    : value(initialValue) {}

AtomicLong::~AtomicLong() = default;

WString AtomicLong::toString() const { return u"AtomicLong{value=" + norq_std_internal::numberText(get()) + u"}"; }

std::uint64_t AtomicLong::get() const { return value.load(); }

void AtomicLong::set(std::uint64_t newValue) { value.store(newValue); }

std::uint64_t AtomicLong::addAndGet(std::uint64_t delta) { return value.fetch_add(delta) + delta; }

std::uint64_t AtomicLong::getAndAdd(std::uint64_t delta) { return value.fetch_add(delta); }

std::uint64_t AtomicLong::incrementAndGet() { return value.fetch_add(1) + 1; }

std::uint64_t AtomicLong::decrementAndGet() { return value.fetch_sub(1) - 1; }

std::uint64_t AtomicLong::getAndIncrement() { return value.fetch_add(1); }

std::uint64_t AtomicLong::getAndDecrement() { return value.fetch_sub(1); }

std::uint64_t AtomicLong::getAndSet(std::uint64_t newValue) { return value.exchange(newValue); }

bool AtomicLong::compareAndSet(std::uint64_t expected, std::uint64_t newValue) {
    return value.compare_exchange_strong(expected, newValue);
}

} // namespace norq_std
