#include "base/ObjectFactory.h"

#include "base/ErrorUtils.h"
#include "concurrency/ReadWriteLock.h"
#include "exception/NorqException.h"
#include "internal/ReadWriteGuards.h"

namespace norq_std {

using norq_std_internal::ReadGuard;
using norq_std_internal::WriteGuard;

namespace {

constexpr int FactoryReaders = 32;
constexpr const WChar* RegisterFunction = u"norq_std::ObjectFactory::registerObject";

[[noreturn]] void reject(const WString& message) {
    const NorqIllegalArgumentException exception(message);
    exception.logDebug(RegisterFunction);
    throw NorqIllegalArgumentException(exception);
}

} // namespace

template <class K>
ObjectFactory<K>::ObjectFactory()
    : lock(std::make_unique<ReadWriteLock>(FactoryReaders)) {}

template <class K>
ObjectFactory<K>::~ObjectFactory() = default;

template <class K>
void ObjectFactory<K>::registerObject(const K& key, const std::shared_ptr<Object>& object) {
    ErrorUtils::isNullEx(object, RegisterFunction, u"Object");
    if (!validKey(key))
        reject(u"Specified key is invalid: " + key);
    if (!insert(key, object)) // the report takes the log's locks, and so not under ours
        reject(u"Object already exists for key: " + key);
}

template <class K>
bool ObjectFactory<K>::insert(const K& key, const std::shared_ptr<Object>& object) {
    const WriteGuard guard(*lock);
    return objects.try_emplace(key, object).second;
}

template <class K>
bool ObjectFactory<K>::validKey(const K&) const {
    return true;
}

template <class K>
std::shared_ptr<Object> ObjectFactory<K>::find(const K& key) const {
    const ReadGuard guard(*lock);
    const auto found = objects.find(key);
    return found == objects.end() ? nullptr : found->second;
}

template class ObjectFactory<WString>;

} // namespace norq_std
