#include "service/IExceptionHandler.h"

namespace norq_std {

IExceptionHandler::~IExceptionHandler() = default;

} // namespace norq_std
