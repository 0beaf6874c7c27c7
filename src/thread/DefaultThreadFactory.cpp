#include "thread/DefaultThreadFactory.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "thread/Runnable.h"
#include "thread/Thread.h"

#include <string>

namespace norq_std {

namespace {

WString decimal(std::int32_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

} // namespace

AtomicInteger& DefaultThreadFactory::poolNumber() {
    static AtomicInteger& number = *new AtomicInteger;
    return number;
}

DefaultThreadFactory::DefaultThreadFactory(const WString& name)
    : namePrefix((name.empty() ? u"pool-" + decimal(poolNumber().getAndIncrement()) : name) + u"-thread-") {}

DefaultThreadFactory::~DefaultThreadFactory() = default;

WString DefaultThreadFactory::toString() const { return u"DefaultThreadFactory{namePrefix='" + namePrefix + u"'}"; }

std::shared_ptr<Thread> DefaultThreadFactory::newThread(const std::shared_ptr<Runnable>& runnable) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::DefaultThreadFactory::newThread");
    ErrorUtils::isNullEx(runnable, u"norq_std::DefaultThreadFactory::newThread", u"Runnable", 0);
    return std::make_shared<Thread>(runnable, namePrefix + decimal(threadNumber.getAndIncrement()));
}

} // namespace norq_std
