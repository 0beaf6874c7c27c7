#include "base/Object.h"

namespace norq_std {

Object::~Object() = default;

WString Object::toString() const { return u"Object{}"; }

} // namespace norq_std
