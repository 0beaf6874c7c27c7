#include "thread/Executor.h"

namespace norq_std {

Executor::~Executor() = default;

WString Executor::toString() const { return u"Executor{}"; }

} // namespace norq_std
