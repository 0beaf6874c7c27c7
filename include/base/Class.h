#pragma once

#include "base/Object.h"
#include "base/ObjectFactory.h"
#include "pattern/Singleton.h"

namespace norq_std {

/// The process-wide registry of prototype objects by dotted class name, such as "norq_std.NorqLogLayout".
///
/// A prototype is asked for new objects (`Configurable::newInstance`) and is otherwise left alone. The library
/// registers its own classes while it is loaded, before any caller can look for them. Any thread may call any
/// operation.
class NORQSTD_EXPORT Class : public Object, public ObjectFactory<WString>, public Singleton<Class> {
public:
    ~Class() override;
    WString toString() const override;

    /// Throws `NorqIllegalArgumentException` for a null object, an empty key, and a key that is taken.
    void registerClass(const WString& key, const std::shared_ptr<Object>& object);
    /// The same; false in place of any failure.
    bool registerClassNoEx(const WString& key, const std::shared_ptr<Object>& object);

protected:
    bool validKey(const WString& key) const override;

private:
    friend class Singleton<Class>;

    Class();
    static const WChar* getSingletonName();
};

} // namespace norq_std
