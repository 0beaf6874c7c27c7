#include "thread/Runnable.h"

namespace norq_std {

Runnable::~Runnable() = default;

WString Runnable::toString() const { return u"Runnable{}"; }

} // namespace norq_std
