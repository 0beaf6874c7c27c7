#include "internal/PreferencesXmlParser.h"

#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLElementDecl.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/validators/DTD/DTDElementDecl.hpp>

#include <algorithm>
#include <string_view>

namespace norq_std_internal {

using xercesc::SAXException;

namespace {

constexpr std::u16string_view ELEMENTS[] = {u"entry", u"map", u"node", u"root", u"preferences"};
constexpr std::u16string_view ATTRIBUTES[] = {u"key", u"value", u"name", u"type", u"EXTERNAL_XML_VERSION"};

bool isOneOf(const XMLCh* name, const auto& names) {
    return std::ranges::find(names, std::u16string_view(name)) != std::end(names);
}

} // namespace

PreferencesXmlParser::PreferencesXmlParser() {
    setErrorHandler(&faultHandler);
    setDisableDefaultEntityResolution(true);
    // The limit counts the entities that a document brings along; there are none to expand, whatever declared them.
    noEntities.setEntityExpansionLimit(0);
    setSecurityManager(&noEntities);
}

PreferencesXmlParser::~PreferencesXmlParser() = default;

void PreferencesXmlParser::startDocument() {
    depth = 0;
    foreign = 0;
    XercesDOMParser::startDocument();
}

void PreferencesXmlParser::doctypeDecl(const xercesc::DTDElementDecl& declaration, const XMLCh* publicId,
                                       const XMLCh* systemId, bool hasIntSubset, bool hasExtSubset) {
    if (hasIntSubset) // parameter entities, which no limit counts, and names without end
        throw SAXException(u"the document type has declarations of its own.");
    // An entity that the declarations elsewhere might know is an error, and not silently nothing.
    getScanner()->setHasNoDTD(true);
    XercesDOMParser::doctypeDecl(declaration, publicId, systemId, hasIntSubset, hasExtSubset);
}

void PreferencesXmlParser::startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId,
                                        const XMLCh* prefix, const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes,
                                        XMLSize_t count, bool isEmpty, bool isRoot) {
    if (++depth > MAX_DEPTH)
        throw SAXException(u"elements are nested too deep.");
    foreign += isOneOf(declaration.getFullName(), ELEMENTS) ? 0 : 1;
    for (XMLSize_t i = 0; i < count && foreign <= MAX_FOREIGN; ++i)
        foreign += isOneOf(attributes.elementAt(i)->getQName(), ATTRIBUTES) ? 0 : 1;
    if (foreign > MAX_FOREIGN)
        throw SAXException(u"too many elements and attributes are not of the format.");
    XercesDOMParser::startElement(declaration, uriId, prefix, attributes, count, isEmpty, isRoot);
}

void PreferencesXmlParser::endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
                                      const XMLCh* prefix) {
    --depth;
    XercesDOMParser::endElement(declaration, uriId, isRoot, prefix);
}

void PreferencesXmlParser::docCharacters(const XMLCh*, XMLSize_t, bool) {}

void PreferencesXmlParser::docComment(const XMLCh*) {}

void PreferencesXmlParser::docPI(const XMLCh*, const XMLCh*) {}

void PreferencesXmlParser::FaultHandler::warning(const xercesc::SAXParseException&) {}

void PreferencesXmlParser::FaultHandler::error(const xercesc::SAXParseException&) {}

void PreferencesXmlParser::FaultHandler::fatalError(const xercesc::SAXParseException& exception) { throw exception; }

void PreferencesXmlParser::FaultHandler::resetErrors() {}

} // namespace norq_std_internal
