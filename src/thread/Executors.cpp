#include "thread/Executors.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "thread/DefaultThreadFactory.h"

namespace norq_std {

template class Callable<void*>;
template class Executors::RunnableAdapter<void*>;

Executors::~Executors() = default;

WString Executors::toString() const { return u"Executors{}"; }

std::shared_ptr<ThreadFactory> Executors::defaultThreadFactory(const WString& name) {
    return std::make_shared<DefaultThreadFactory>(name);
}

std::shared_ptr<Callable<void*>> Executors::callable(const std::shared_ptr<Runnable>& runnable) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Executors::callable");
    ErrorUtils::isNullEx(runnable, u"norq_std::Executors::callable", u"Task", 0);
    return std::make_shared<RunnableAdapter<void*>>(runnable, nullptr);
}

} // namespace norq_std
