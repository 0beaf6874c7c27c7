#pragma once

#include "prefs/PreferencesXmlReader.h"
#include "prefs/XmlUtils.h"

#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/util/SecurityManager.hpp>

#include <cstddef>

namespace norq_std_internal {

/// The DOM parser for files of preferences that anybody may have written.
///
/// It loads nothing, expands no entity but those that are part of XML, and ends with a `SAXException` at the first
/// fault, at declarations inside the document, at elements nested too deep and at too much that the format does not
/// have. The document holds elements and their attributes alone, which is all that the format uses.
class PreferencesXmlParser : public xercesc::XercesDOMParser {
public:
    /// Levels of elements: `preferences`, `root`, the nodes, and `map` and `entry` of the last one.
    static constexpr std::size_t MAX_DEPTH = norq_std::PreferencesXmlReader::MAX_DEPTH + 4;
    /// Elements and attributes of other names. Xerces-C keeps every name and looks for it among all others.
    static constexpr std::size_t MAX_FOREIGN = 10'000;

    PreferencesXmlParser();
    ~PreferencesXmlParser() override;

    void startDocument() override;
    void doctypeDecl(const xercesc::DTDElementDecl& declaration, const XMLCh* publicId, const XMLCh* systemId,
                     bool hasIntSubset, bool hasExtSubset) override;
    void startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, const XMLCh* prefix,
                      const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t count, bool isEmpty,
                      bool isRoot) override;
    void endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
                    const XMLCh* prefix) override;
    void docCharacters(const XMLCh* text, XMLSize_t length, bool isCData) override;
    void docComment(const XMLCh* comment) override;
    void docPI(const XMLCh* target, const XMLCh* data) override;

private:
    class FaultHandler : public xercesc::ErrorHandler {
        void warning(const xercesc::SAXParseException& exception) override;
        void error(const xercesc::SAXParseException& exception) override;
        void fatalError(const xercesc::SAXParseException& exception) override;
        void resetErrors() override;
    };

    FaultHandler faultHandler;
    xercesc::SecurityManager noEntities;
    std::size_t depth = 0;
    std::size_t foreign = 0;
};

} // namespace norq_std_internal
