#include "config/IniConfigurationSerializer.h"

#include "base/LogMacros.h"
#include "config/Configuration.h"
#include "file/File.h"
#include "internal/FileText.h"
#include "internal/IniReader.h"
#include "stream/ByteArray.h"

namespace norq_std {

using norq_std_internal::WideTextStream;

namespace {

constexpr std::u16string_view SPECIAL = u"#=[\\";

void writeKey(WideTextStream& stream, std::u16string_view key) {
    for (;;) {
        const std::size_t plain = key.find_first_of(SPECIAL);
        stream << key.substr(0, plain);
        if (plain == key.npos)
            return;
        stream << u'\\' << key[plain];
        key.remove_prefix(plain + 1);
    }
}

} // namespace

IniConfigurationSerializer::SerializationVisitor::SerializationVisitor(WideTextStream& target, const WString& separator)
    : stream(target)
    , lineSeparator(separator) {}

IniConfigurationSerializer::SerializationVisitor::SerializationVisitor(WideTextStream& target)
    : SerializationVisitor(target, File::lineSeparator) {}

void IniConfigurationSerializer::SerializationVisitor::visitElement(const ConfigurationElement& element) {
    if (element.isKeyValue()) {
        writeKey(stream, element.keyView());
        stream << u'=' << element.valueView();
    } else if (!element.isEmpty()) {
        stream << u'#' << element.commentView();
    }
    stream << lineSeparator;
}

void IniConfigurationSerializer::SerializationVisitor::visitSection(const ConfigurationSection& section) {
    if (!section.nameView().empty())
        stream << u'[' << section.nameView() << u']' << lineSeparator;
}

IniConfigurationSerializer::IniConfigurationSerializer(const WString& newCharset)
    : ConfigurationSerializer(newCharset) {}

IniConfigurationSerializer::~IniConfigurationSerializer() = default;

std::shared_ptr<ByteArray> IniConfigurationSerializer::serialize(const Configuration& configuration) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::IniConfigurationSerializer::serialize");
    if (getLineSeparator().empty())
        setLineSeparator(File::lineSeparator);
    WideTextStream stream;
    SerializationVisitor visitor(stream, getLineSeparator());
    configuration.visit(visitor);
    return norq_std_internal::encodeFile(stream.take(), getCharset());
}

std::shared_ptr<Configuration> IniConfigurationSerializer::deserialize(const ByteArray& bytes) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::IniConfigurationSerializer::deserialize");
    const WString text = norq_std_internal::decodeFile(bytes, getCharset());
    auto configuration = std::make_shared<Configuration>();
    setLineSeparator(WString(norq_std_internal::IniReader(*configuration).read(text)));
    return configuration;
}

ConfigurationSerializer* IniConfigurationSerializer::newInstance() const {
    return new IniConfigurationSerializer(getCharset());
}

} // namespace norq_std
