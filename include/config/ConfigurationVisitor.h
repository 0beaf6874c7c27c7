#pragma once

#include "base/Export.h"

namespace norq_std {

class ConfigurationElement;
class ConfigurationSection;

/// Is shown the lines of a configuration in order: each section, then its elements.
///
/// It is called under the configuration's lock and must not block. What it is shown lives only during the call. It is
/// never deleted through this type.
class NORQSTD_EXPORT ConfigurationVisitor {
public:
    virtual void visitElement(const ConfigurationElement& element) = 0;
    virtual void visitSection(const ConfigurationSection& section) = 0;
};

} // namespace norq_std
