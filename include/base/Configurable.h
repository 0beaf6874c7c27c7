#pragma once

#include "base/Object.h"

#include <map>

namespace norq_std {

/// Base of everything that is built from properties: filters, layouts, appenders, headers.
///
/// An object doubles as the prototype of its class: it is asked for new objects and is otherwise left alone.
class NORQSTD_EXPORT Configurable : public Object {
public:
    using Properties = std::map<WString, WString>;

    ~Configurable() override;
    /// A new object of this class made from the properties, which the caller owns.
    virtual Configurable* newInstance(const Properties& properties) const = 0;

    /// Changes one property of a living object. Does nothing unless a class overrides it.
    virtual void setProperty(const WString& key, const WString& value);

protected:
    Configurable() = default;
    Configurable(const Configurable&) = default;
    Configurable& operator=(const Configurable&) = default;
};

} // namespace norq_std
