#include "thread/ThreadFactory.h"

namespace norq_std {

ThreadFactory::~ThreadFactory() = default;

WString ThreadFactory::toString() const { return u"ThreadFactory{}"; }

} // namespace norq_std
