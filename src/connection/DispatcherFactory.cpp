#include "connection/DispatcherFactory.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "connection/Dispatcher.h"

namespace norq_std {

Lock& DispatcherFactory::lock = *new Lock;

DispatcherFactory::DispatcherFactory() = default;
DispatcherFactory::~DispatcherFactory() = default;

const WChar* DispatcherFactory::getSingletonName() { return u"norq_std::DispatcherFactory"; }

WString DispatcherFactory::toString() const { return u"DispatcherFactory{}"; }

std::shared_ptr<IDispatcher> DispatcherFactory::getDispatcher(const WString& key) {
    ErrorUtils::isEmptyEx(key, u"norq_std::DispatcherFactory::getDispatcher", u"Key", 0);
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::DispatcherFactory::getDispatcher", u"Begin. Key <%ls>.", key.c_str());
    const AutoLock<Lock> guard(lock);
    if (const auto found = dispatchers.find(key); found != dispatchers.end())
        return found->second;
    return dispatchers.emplace(key, std::shared_ptr<IDispatcher>(new Dispatcher(key))).first->second;
}

bool DispatcherFactory::isValidKey(const WString& key) const {
    NORQ_LOG_FUNCTION_CALL_TEXT(u"norq_std::DispatcherFactory::isValidKey", u"Begin. Key <%ls>.", key.c_str());
    const AutoLock<Lock> guard(lock);
    return dispatchers.contains(key);
}

} // namespace norq_std
