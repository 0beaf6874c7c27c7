#pragma once

#include "base/Export.h"
#include "base/WString.h"

namespace norq_std {

/// A JSON value: what can write itself as JSON text.
///
/// Values are held through `std::shared_ptr<JsonAware>`, and have no lock: a document that one thread changes is
/// guarded by its users.
class NORQSTD_EXPORT JsonAware {
public:
    /// The value as JSON text without white space.
    virtual WString toJsonString() const = 0;
    virtual ~JsonAware();

protected:
    JsonAware() = default;
    JsonAware(const JsonAware&) = default;
    JsonAware& operator=(const JsonAware&) = default;
};

} // namespace norq_std
