#include "service/ISignalHandler.h"

namespace norq_std {

ISignalHandler::~ISignalHandler() = default;

WString ISignalHandler::toString() const { return u"ISignalHandler{}"; }

} // namespace norq_std
