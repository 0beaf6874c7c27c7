#include "base/Configurable.h"

namespace norq_std {

Configurable::~Configurable() = default;

void Configurable::setProperty(const WString&, const WString&) {}

} // namespace norq_std
