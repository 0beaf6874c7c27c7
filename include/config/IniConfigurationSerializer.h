#pragma once

#include "config/ConfigurationSerializer.h"
#include "config/ConfigurationVisitor.h"
#include "internal/WideTextStream.h"

namespace norq_std {

/// The `.cfg` format: `[section]` heads, `key=value` lines, `#` comments, blank lines. docs/configuration.md describes
/// it for those who edit such files.
///
/// Reading never fails for what a line holds: a line that is no head, no comment and no key with a value becomes a
/// blank line, a head that is not closed is dropped. What is written reads back as the same configuration, provided
/// that no name, key, value or comment holds a line break, which the format cannot express.
class NORQSTD_EXPORT IniConfigurationSerializer : public ConfigurationSerializer {
public:
    /// Writes what it is shown to a stream of wide text, a line for each section with a name and for each element.
    class NORQSTD_EXPORT SerializationVisitor : public ConfigurationVisitor {
    public:
        /// The stream outlives the visitor.
        SerializationVisitor(norq_std_internal::WideTextStream& stream, const WString& lineSeparator);
        /// With `File::lineSeparator`.
        explicit SerializationVisitor(norq_std_internal::WideTextStream& stream);

        void visitElement(const ConfigurationElement& element) override;
        void visitSection(const ConfigurationSection& section) override;

    private:
        norq_std_internal::WideTextStream& stream;
        WString lineSeparator;
    };

    /// As the base class.
    explicit IniConfigurationSerializer(const WString& charset);
    IniConfigurationSerializer(const IniConfigurationSerializer& other) = default;
    IniConfigurationSerializer& operator=(const IniConfigurationSerializer& other) = default;
    ~IniConfigurationSerializer() override;

    /// Without a line separator of its own yet, it takes `File::lineSeparator` and keeps it.
    std::shared_ptr<ByteArray> serialize(const Configuration& configuration) override;
    /// Takes over the first line separator of the text, none if the text has no line end.
    std::shared_ptr<Configuration> deserialize(const ByteArray& bytes) override;
    ConfigurationSerializer* newInstance() const override;
};

} // namespace norq_std
