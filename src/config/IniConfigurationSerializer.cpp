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

constexpr bool isSpecial(WChar unit) { return unit == u'=' || unit == u'\\' || unit == u'#' || unit == u'['; }

void writeKey(WideTextStream& stream, std::u16string_view key) {
    std::size_t written = 0;
    for (std::size_t i = 0; i < key.size(); ++i)
        if (isSpecial(key[i])) {
            stream << key.substr(written, i - written) << u'\\';
            written = i;
        }
    stream << key.substr(written);
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
    // Once for the whole text: a thread that reads with this serializer may change it meanwhile.
    WString separator = getLineSeparator();
    if (separator.empty()) {
        separator = File::lineSeparator;
        setLineSeparator(separator);
    }
    WideTextStream stream;
    stream.reserve(configuration.estimateSize());
    SerializationVisitor visitor(stream, separator);
    configuration.visit(visitor);
    return norq_std_internal::encodeFile(stream.take(), getCharset());
}

std::shared_ptr<Configuration> IniConfigurationSerializer::deserialize(const ByteArray& bytes) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::IniConfigurationSerializer::deserialize");
    auto configuration = std::make_shared<Configuration>();
    norq_std_internal::IniReader reader(*configuration);
    norq_std_internal::FileDecoder decoder(bytes, getCharset());
    WString separator;
    for (WString piece; decoder.next(piece);) {
        const std::u16string_view first = reader.read(piece);
        if (separator.empty())
            separator = first;
    }
    setLineSeparator(separator);
    return configuration;
}

ConfigurationSerializer* IniConfigurationSerializer::newInstance() const {
    return new IniConfigurationSerializer(getCharset());
}

} // namespace norq_std
