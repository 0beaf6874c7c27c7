#pragma once

#include "base/Class.h"
#include "base/Object.h"

#include <memory>

namespace norq_std {

/// Second base of a class that is made by its name: `class T : public ItsBase, public AutoRegisterClass<T>`, where T
/// can be made without arguments.
template <class T>
class NORQSTD_EXPORT AutoRegisterClass : public Object {
public:
    WString toString() const override { return u"AutoRegisterClass{}"; }

    /// The dotted name under which the class is registered.
    virtual WString getClassName() const = 0;

    /// Puts a new T into the registry as the prototype of its class. A name that is taken keeps what it has.
    static void registerClass() {
        const std::shared_ptr<AutoRegisterClass> prototype(new T);
        Class::getInstance().registerClassNoEx(prototype->getClassName(), prototype);
    }

protected:
    AutoRegisterClass() = default;
    AutoRegisterClass(const AutoRegisterClass&) = default;
    AutoRegisterClass& operator=(const AutoRegisterClass&) = default;
};

} // namespace norq_std
