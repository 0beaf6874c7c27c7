#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// Polymorphic root of the value and service classes.
///
/// A subclass describes itself in `toString` as its class name, an opening brace, field=value pairs joined by commas,
/// and a closing brace.
class NORQSTD_EXPORT Object {
public:
    virtual ~Object();

    /// A short description for logs. Never throws for the state of the object.
    virtual WString toString() const;

protected:
    Object() = default;
    Object(const Object&) = default;
    Object(Object&&) = default;
    Object& operator=(const Object&) = default;
    Object& operator=(Object&&) = default;
};

} // namespace norq_std
