#pragma once

#include "base/Export.h"
#include "base/Functor.h"
#include "base/InternalLog.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"

#include <atomic>
#include <memory>

namespace norq_std {

/// Base of a class with one object in the process, made at the first `getInstance` and never deleted.
///
/// `class T : public Singleton<T>` has a private constructor, befriends `Singleton<T>`, and supplies a private static
/// `getSingletonName()` that returns a constant wide string. The constructor of T may use other singletons. Any thread
/// may call `getInstance`: all get the same object, complete. Not for what must be closed at the end of the process: no
/// destructor of T ever runs.
template <class T>
class NORQSTD_EXPORT Singleton {
public:
    /// A failure of T's constructor comes out of here, and the next call tries again.
    static T& getInstance() {
        T* const object = made.load(std::memory_order_acquire);
        return object != nullptr ? *object : create();
    }

    Singleton(const Singleton&) = delete;
    Singleton& operator=(const Singleton&) = delete;

protected:
    Singleton() = default;
    ~Singleton() = default;

private:
    /// Neither the pointer nor the lock is ever destroyed: threads may still run when the process exits.
    static std::shared_ptr<T>& instance() {
        static std::shared_ptr<T>& pointer = *new std::shared_ptr<T>;
        return pointer;
    }

    static T& create() {
        static Lock& __singletonLock = *new Lock;
        trace(u"Creating singleton <%ls>.");
        {
            const AutoLock<Lock> guard(__singletonLock);
            std::shared_ptr<T>& pointer = instance();
            if (pointer)
                return *pointer;
            pointer = std::shared_ptr<T>(new T, null_deleter());
            made.store(pointer.get(), std::memory_order_release);
        }
        trace(u"Created singleton <%ls>."); // the log's locks are not taken under ours
        return *made.load(std::memory_order_relaxed);
    }

    static void trace(const WChar* format) {
        if (__internal_trace_on())
            __internal_trace(u"norq_std::Singleton::getInstance", u"Singleton.h", __LINE__, format,
                             static_cast<const WChar*>(T::getSingletonName()));
    }

    inline static std::atomic<T*> made{nullptr}; // what instance() holds, for the road without the lock
};

} // namespace norq_std
