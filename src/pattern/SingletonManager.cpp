#include "pattern/SingletonManager.h"

#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "concurrency/ReadWriteLock.h"
#include "exception/NorqException.h"

#include <cxxabi.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace norq_std {
namespace {

constexpr int SingletonReaders = 64;

struct Locks {
    Lock lock;
    ReadWriteLock singletonLock{SingletonReaders};
};

// A thread that is inside while the locks are taken away keeps them until it leaves.
class LocksHolder {
public:
    std::shared_ptr<Locks> get() {
        const std::lock_guard guard(mutex);
        return locks;
    }
    void set(std::shared_ptr<Locks> next) {
        const std::lock_guard guard(mutex);
        locks.swap(next);
    }

private:
    std::mutex mutex;
    std::shared_ptr<Locks> locks;
};

LocksHolder& holder() {
    static LocksHolder& theHolder = *new LocksHolder;
    return theHolder;
}

constinit std::atomic<SingletonManager*> instance{nullptr};

NorqIllegalStateException locksDestroyed() {
    return NorqIllegalStateException(u"Singleton locks have been destroyed.");
}

} // namespace

SingletonManager& SingletonManager::getInstance() {
    if (holder().get() == nullptr)
        throw locksDestroyed();
    SingletonManager* object = instance.load(std::memory_order_acquire);
    if (object == nullptr) {
        initInstance();
        object = instance.load(std::memory_order_acquire);
    }
    if (object == nullptr) // destroyed in the meantime
        throw locksDestroyed();
    return *object;
}

void SingletonManager::initLocks() { holder().set(std::make_shared<Locks>()); }

void SingletonManager::destroyLocks() { holder().set(nullptr); }

void SingletonManager::initInstance() {
    try {
        const std::shared_ptr<Locks> locks = holder().get();
        if (locks == nullptr)
            throw locksDestroyed();
        const AutoLock<Lock> guard(locks->lock);
        if (instance.load(std::memory_order_relaxed) == nullptr)
            instance.store(new SingletonManager, std::memory_order_release);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        throw NorqIllegalStateException(u"Creating SingletonManager instance failed, state cannot be guaranteed.");
    }
}

void SingletonManager::destroyInstance() {
    const std::shared_ptr<Locks> locks = holder().get();
    const std::unique_ptr<AutoLock<Lock>> guard(locks == nullptr ? nullptr : new AutoLock<Lock>(locks->lock));
    delete instance.exchange(nullptr, std::memory_order_acq_rel);
}

} // namespace norq_std
