#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <functional>
#include <memory>
#include <utility>

namespace norq_std {

/// The deleter that does nothing: it lets a shared pointer hold an object that somebody else owns.
struct null_deleter {
    void operator()(const volatile void*) const noexcept {}
};

/// Orders shared pointers by the object that they hold.
template <class T>
struct shared_ptr_lt {
    bool operator()(const std::shared_ptr<T>& a, const std::shared_ptr<T>& b) const noexcept {
        return std::less<T*>()(a.get(), b.get());
    }
};

namespace detail {

/// Writes a debug line about the exception that is being handled. A thread's cancellation goes on from here.
NORQSTD_EXPORT void logUnexpectedException(const WString& caller);

} // namespace detail

/// Calls a functor and swallows what it throws, with a debug line that names the caller. What a call of a listener goes
/// through, so that one that throws stops nobody else. The cancellation of a thread passes.
template <class F>
class log_ex_t {
public:
    log_ex_t(F calledFunctor, WString callerName)
        : functor(std::move(calledFunctor))
        , caller(std::move(callerName)) {}

    template <class A>
    void operator()(A&& argument) {
        try {
            functor(std::forward<A>(argument));
        } catch (...) {
            detail::logUnexpectedException(caller);
        }
    }

private:
    F functor;
    WString caller;
};

} // namespace norq_std
