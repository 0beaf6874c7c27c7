#pragma once

#include "base/Export.h"
#include "base/Object.h"
#include "base/WString.h"

#include <map>
#include <memory>

namespace norq_std {

class ReadWriteLock;

/// A registry of objects by key. What is registered stays; keys are taken once. The library instantiates it for wide
/// strings. Look-ups run in parallel, registration is exclusive; any thread may call either.
template <class K>
class NORQSTD_EXPORT ObjectFactory {
public:
    ObjectFactory();
    ObjectFactory(const ObjectFactory&) = delete;
    ObjectFactory& operator=(const ObjectFactory&) = delete;
    virtual ~ObjectFactory();

    /// Throws `NorqIllegalArgumentException` for a null object, an invalid key, and a key that is taken.
    void registerObject(const K& key, const std::shared_ptr<Object>& object);

    /// The object of this key as a T; null if there is none, or if it is no T.
    template <class T>
    std::shared_ptr<T> getObject(const K& key) const {
        return std::dynamic_pointer_cast<T>(find(key));
    }

protected:
    /// Whether a key may be registered. Every key may, unless a subclass says otherwise.
    virtual bool validKey(const K& key) const;

private:
    bool insert(const K& key, const std::shared_ptr<Object>& object);
    std::shared_ptr<Object> find(const K& key) const;

    std::map<K, std::shared_ptr<Object>> objects;
    std::unique_ptr<ReadWriteLock> lock;
};

extern template class ObjectFactory<WString>;

} // namespace norq_std
