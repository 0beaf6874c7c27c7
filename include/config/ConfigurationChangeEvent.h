#pragma once

#include "base/Object.h"
#include "file/File.h"

#include <cstdint>

namespace norq_std {

/// What became of one key of a configuration. A value.
class NORQSTD_EXPORT ConfigurationChangeEvent : public Object {
public:
    enum ChangeType : std::uint32_t { Added = 0, Removed = 1, Changed = 2 };

    /// Throws `NorqIllegalArgumentException` for a type that is none of the three.
    ConfigurationChangeEvent(const File& path, ChangeType eventType, const WString& section, const WString& key,
                             const WString& value);
    ConfigurationChangeEvent(const ConfigurationChangeEvent& other) = default;
    ConfigurationChangeEvent(ConfigurationChangeEvent&& other) noexcept = default;
    ConfigurationChangeEvent& operator=(const ConfigurationChangeEvent& other) = default;
    ConfigurationChangeEvent& operator=(ConfigurationChangeEvent&& other) noexcept = default;
    ~ConfigurationChangeEvent() override;

    WString toString() const override;

    /// The file of the configuration.
    File getPath() const { return path; }
    ChangeType getEventType() const { return eventType; }
    WString getSection() const { return section; }
    WString getKey() const { return key; }
    /// The new value. Of a removed key the old value or none, as the operation says that removed it.
    WString getValue() const { return value; }

private:
    File path;
    ChangeType eventType;
    WString section;
    WString key;
    WString value;
};

} // namespace norq_std
