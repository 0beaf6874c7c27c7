#include "service/IController.h"

namespace norq_std {

IController::~IController() = default;

WString IController::toString() const { return u"IController{}"; }

} // namespace norq_std
