#pragma once

#include "base/Export.h"
#include "service/ExceptionState.h"

#include <exception>
#include <memory>

namespace norq_std {

/// One link in a chain of those who may deal with an exception.
class NORQSTD_EXPORT IExceptionHandler {
public:
    virtual ~IExceptionHandler();

    /// Sets who comes next; null for nobody.
    virtual void resetSuccessor(const std::shared_ptr<IExceptionHandler>& handler) = 0;
    /// Adds a handler at the far end of the chain. A chain must not come round to its beginning.
    virtual void appendSuccessor(const std::shared_ptr<IExceptionHandler>& handler) = 0;
    virtual std::shared_ptr<IExceptionHandler> getSuccessor() = 0;
    /// Gives the exception to this handler, and to the next while it is not handled.
    virtual ExceptionState startHandling(const std::exception& exception) = 0;

protected:
    IExceptionHandler() = default;
    IExceptionHandler(const IExceptionHandler&) = default;
    IExceptionHandler& operator=(const IExceptionHandler&) = default;
};

} // namespace norq_std
