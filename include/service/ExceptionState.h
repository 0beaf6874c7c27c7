#pragma once

namespace norq_std {

/// What became of an exception that was given to an `IExceptionHandler`. Every other value means what the handlers of a
/// program agree on.
enum ExceptionState : int {
    EXCEPTION_NOT_HANDLED = 2, ///< the next handler is asked
};

} // namespace norq_std
