#include "base/JsonAware.h"

namespace norq_std {

JsonAware::~JsonAware() = default;

} // namespace norq_std
