#pragma once

/// Names for clang's thread-safety analysis (`-Wthread-safety`): which lock guards a field, which a function takes,
/// gives back or must be called with. They are empty where the compiler does not know them, and never change code.
///
/// Fields are annotated in the order capability, then guarded data; a function that the analysis cannot follow says
/// `NORQ_NO_THREAD_SAFETY_ANALYSIS` and why.
#if defined(__clang__)
#define NORQ_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define NORQ_THREAD_ATTRIBUTE(x)
#endif

/// A class whose objects are locks; `name` appears in the compiler's messages.
#define NORQ_CAPABILITY(name) NORQ_THREAD_ATTRIBUTE(capability(name))
/// A class whose objects hold a lock from construction to destruction.
#define NORQ_SCOPED_CAPABILITY NORQ_THREAD_ATTRIBUTE(scoped_lockable)

/// Data that is touched only with the lock held; `PT` guards what a pointer points to.
#define NORQ_GUARDED_BY(lock) NORQ_THREAD_ATTRIBUTE(guarded_by(lock))
#define NORQ_PT_GUARDED_BY(lock) NORQ_THREAD_ATTRIBUTE(pt_guarded_by(lock))

/// Locks that are taken in this order.
#define NORQ_ACQUIRED_BEFORE(...) NORQ_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define NORQ_ACQUIRED_AFTER(...) NORQ_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))

/// The caller holds the lock (shared: at least for reading), or must not hold it.
#define NORQ_REQUIRES(...) NORQ_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define NORQ_REQUIRES_SHARED(...) NORQ_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define NORQ_EXCLUDES(...) NORQ_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

/// The function takes the lock, or gives it back; without an argument, the object itself.
#define NORQ_ACQUIRE(...) NORQ_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define NORQ_ACQUIRE_SHARED(...) NORQ_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define NORQ_RELEASE(...) NORQ_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define NORQ_RELEASE_SHARED(...) NORQ_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define NORQ_RELEASE_GENERIC(...) NORQ_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))

/// The function takes the lock if it returns the first argument.
#define NORQ_TRY_ACQUIRE(...) NORQ_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define NORQ_TRY_ACQUIRE_SHARED(...) NORQ_THREAD_ATTRIBUTE(try_acquire_shared_capability(__VA_ARGS__))

/// The function returns a reference to this lock.
#define NORQ_RETURN_CAPABILITY(lock) NORQ_THREAD_ATTRIBUTE(lock_returned(lock))

#define NORQ_NO_THREAD_SAFETY_ANALYSIS NORQ_THREAD_ATTRIBUTE(no_thread_safety_analysis)
