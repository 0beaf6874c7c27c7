#pragma once

#include "concurrency/Lock.h"
#include "service/IExceptionHandler.h"

namespace norq_std {

/// A link of the chain; a subclass supplies what it does with the exception.
///
/// Any thread may call any operation. No lock is held while an exception is handled.
class NORQSTD_EXPORT AbstractExceptionHandler : public IExceptionHandler {
public:
    AbstractExceptionHandler();
    ~AbstractExceptionHandler() override;
    AbstractExceptionHandler(const AbstractExceptionHandler&) = delete;
    AbstractExceptionHandler& operator=(const AbstractExceptionHandler&) = delete;

    void resetSuccessor(const std::shared_ptr<IExceptionHandler>& handler) override;
    void appendSuccessor(const std::shared_ptr<IExceptionHandler>& handler) override;
    std::shared_ptr<IExceptionHandler> getSuccessor() override;
    ExceptionState startHandling(const std::exception& exception) override;

protected:
    /// EXCEPTION_NOT_HANDLED passes the exception on to the successor, if there is one.
    virtual ExceptionState handleException(const std::exception& exception) = 0;

private:
    std::shared_ptr<IExceptionHandler> successor; ///< guarded by the lock
    Lock lock;
};

} // namespace norq_std
