#include "service/AbstractExceptionHandler.h"

#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"

namespace norq_std {

AbstractExceptionHandler::AbstractExceptionHandler() = default;

AbstractExceptionHandler::~AbstractExceptionHandler() = default;

void AbstractExceptionHandler::resetSuccessor(const std::shared_ptr<IExceptionHandler>& handler) {
    const AutoLock<Lock> guard(lock);
    successor = handler;
}

void AbstractExceptionHandler::appendSuccessor(const std::shared_ptr<IExceptionHandler>& handler) {
    const AutoLock<Lock> guard(lock);
    if (successor)
        successor->appendSuccessor(handler);
    else
        resetSuccessor(handler);
}

std::shared_ptr<IExceptionHandler> AbstractExceptionHandler::getSuccessor() {
    const AutoLock<Lock> guard(lock);
    return successor;
}

ExceptionState AbstractExceptionHandler::startHandling(const std::exception& exception) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractExceptionHandler::startHandling");
    const ExceptionState state = handleException(exception);
    if (state != EXCEPTION_NOT_HANDLED)
        return state;
    const std::shared_ptr<IExceptionHandler> next = getSuccessor();
    return next ? next->startHandling(exception) : state;
}

} // namespace norq_std
