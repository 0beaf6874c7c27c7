#include "prefs/XmlUtils.h"

#include "base/ErrorUtils.h"
#include "exception/NorqException.h"
#include "internal/LibraryLoad.h"
#include "internal/NumberText.h"
#include "log/NorqLoggerSTD.h"
#include "prefs/XmlTranscodedStringRaii.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/sax/ErrorHandler.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>

#include <cstddef>
#include <mutex>

namespace norq_std {

using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;

namespace {

/// Guards the start and the end of Xerces-C, which have no lock of their own. Never destroyed: threads may read XML
/// while the process ends.
struct XmlSystem {
    std::mutex mutex;
    int starts = 0;
    int uses = 0;

    static XmlSystem& get() {
        static XmlSystem& system = *new XmlSystem;
        return system;
    }
};

WString textOf(const XMLCh* text) { return text == nullptr ? WString() : WString(text); }

/// With the lock held.
bool start(XmlSystem& system, const WChar* function) {
    try {
        xercesc::XMLPlatformUtils::Initialize();
    } catch (const xercesc::XMLException& e) {
        NorqLoggerSTD::getInstance().STD3006(function, textOf(e.getMessage()).c_str());
        return false;
    }
    ++system.starts;
    return true;
}

[[noreturn]] void fail(const WChar* function, const WString& message) {
    const NorqXmlException exception(message);
    exception.logDebug(function);
    throw NorqXmlException(exception);
}

[[noreturn]] void failToParse(const WChar* function, const WString& message) {
    fail(function, u"Unable to parse input: " + message);
}

class ThrowingErrorHandler : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException&) override {}
    void error(const xercesc::SAXParseException&) override {}
    void fatalError(const xercesc::SAXParseException& e) override { throw e; }
    void resetErrors() override {}
};

/// Gives a parser that would go on with half a document a handler for as long as it parses.
class HandlerScope {
public:
    explicit HandlerScope(xercesc::XercesDOMParser& used)
        : parser(used)
        , isOurs(used.getErrorHandler() == nullptr) {
        if (isOurs)
            parser.setErrorHandler(&handler);
    }
    ~HandlerScope() {
        if (isOurs)
            parser.setErrorHandler(nullptr);
    }
    HandlerScope(const HandlerScope&) = delete;
    HandlerScope& operator=(const HandlerScope&) = delete;

private:
    xercesc::XercesDOMParser& parser;
    const bool isOurs;
    ThrowingErrorHandler handler;
};

/// The same for a builder, which has no way to throw: `check` does, when it is done.
class BuilderScope : public xercesc::DOMErrorHandler {
public:
    explicit BuilderScope(xercesc::DOMLSParser& used)
        : settings(*used.getDomConfig())
        , isOurs(settings.getParameter(xercesc::XMLUni::fgDOMErrorHandler) == nullptr) {
        if (isOurs)
            settings.setParameter(xercesc::XMLUni::fgDOMErrorHandler, static_cast<xercesc::DOMErrorHandler*>(this));
    }
    ~BuilderScope() override {
        if (isOurs)
            settings.setParameter(xercesc::XMLUni::fgDOMErrorHandler, static_cast<const void*>(nullptr));
    }
    BuilderScope(const BuilderScope&) = delete;
    BuilderScope& operator=(const BuilderScope&) = delete;

    bool handleError(const xercesc::DOMError& e) override {
        if (e.getSeverity() != xercesc::DOMError::DOM_SEVERITY_FATAL_ERROR)
            return true;
        failed = true;
        message = textOf(e.getMessage());
        return false;
    }
    void check() const {
        if (failed)
            throw xercesc::SAXException(message.c_str());
    }

private:
    xercesc::DOMConfiguration& settings;
    const bool isOurs;
    bool failed = false;
    WString message;
};

/// What `parse` makes of the text.
template <class Parse>
DOMDocument* parseText(const WChar* function, const WString& input, const Parse& parse) {
    if (input.find(u'\0') != WString::npos)
        failToParse(function, u"it holds a zero character.");
    DOMDocument* document = nullptr;
    try {
        xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(input.data()), input.size() * sizeof(XMLCh),
                                          u"input");
        source.setEncoding(xercesc::XMLUni::fgXMLChEncodingString);
        source.setCopyBufToStream(false);
        document = parse(source);
    } catch (const xercesc::XMLException& e) {
        failToParse(function, textOf(e.getMessage()));
    } catch (const xercesc::DOMException& e) {
        failToParse(function, textOf(e.getMessage()));
    } catch (const xercesc::SAXException& e) {
        failToParse(function, textOf(e.getMessage()));
    } catch (const xercesc::OutOfMemoryException&) {
        failToParse(function, u"out of memory.");
    }
    if (document == nullptr)
        fail(function, u"Unable to get XML document from input string.");
    return document;
}

WString nameOf(const DOMNode& node) { return textOf(node.getNodeName()); }

bool hasName(const DOMNode& node, const WString& name) {
    const XMLCh* found = node.getNodeName();
    return found != nullptr && name == found;
}

void checkNode(const WChar* function, const DOMNode* node) { ErrorUtils::isNullEx(node, function, u"XML node"); }

/// Of an element that has any.
const xercesc::DOMNamedNodeMap& attributesOf(const WChar* function, const DOMNode* node) {
    checkNode(function, node);
    if (node->getNodeType() != DOMNode::ELEMENT_NODE)
        fail(function, u"<" + nameOf(*node) + u"> node is invalid.");
    const xercesc::DOMNamedNodeMap* attributes = node->getAttributes();
    if (attributes == nullptr || attributes->getLength() == 0)
        fail(function, u"<" + nameOf(*node) + u"> node has no attributes.");
    return *attributes;
}

[[noreturn]] void failForTwice(const WChar* function, const DOMNode& node, const WString& name) {
    fail(function, u"Attribute <" + name + u"> found more than once for node <" + nameOf(node) + u">.");
}

/// The node behind this one in the order of the document, null behind the last below `top`.
DOMNode* nextBelow(const DOMNode* top, const DOMNode* node) {
    if (DOMNode* child = node->getFirstChild())
        return child;
    for (; node != top; node = node->getParentNode())
        if (DOMNode* sibling = node->getNextSibling())
            return sibling;
    return nullptr;
}

} // namespace

void XmlUtils::initializeXercesSystem(const WChar* function) {
    XmlSystem& system = XmlSystem::get();
    const std::lock_guard guard(system.mutex);
    start(system, function);
}

void XmlUtils::terminateXercesSystem(const WChar*) {
    XmlSystem& system = XmlSystem::get();
    const std::lock_guard guard(system.mutex);
    if (system.starts == 0 || system.uses != 0)
        return;
    --system.starts;
    try {
        xercesc::XMLPlatformUtils::Terminate();
    } catch (const xercesc::XMLException&) { // there is nothing left to do
    }
}

std::string XmlUtils::transcodeString(const WChar* function, const WString& text) {
    return transcodeString(function, text.c_str());
}

std::string XmlUtils::transcodeString(const WChar* function, const XMLCh* text) {
    ErrorUtils::isNullEx(text, function, u"XML string");
    return XmlTranscodedStringRaii(text).getValue();
}

DOMDocument* XmlUtils::parseAndGetDocument(const WChar* function, xercesc::XercesDOMParser& parser,
                                           const WString& input) {
    return parseText(function, input, [&parser](const xercesc::InputSource& source) {
        const HandlerScope scope(parser);
        parser.parse(source);
        return parser.getDocument();
    });
}

DOMDocument* XmlUtils::parseAndGetDocument(const WChar* function, xercesc::DOMLSParser& parser, const WString& input) {
    return parseText(function, input, [&parser](xercesc::InputSource& source) {
        const xercesc::Wrapper4InputSource wrapper(&source, false);
        BuilderScope scope(parser);
        DOMDocument* document = parser.parse(&wrapper);
        scope.check();
        return document;
    });
}

DOMElement* XmlUtils::getDocumentRoot(const WChar* function, const DOMDocument* document) {
    ErrorUtils::isNullEx(document, function, u"XML document");
    DOMElement* root = document->getDocumentElement();
    if (root == nullptr)
        fail(function, u"Document root element is NULL.");
    return root;
}

void XmlUtils::throwIfNodeNameIsNotMatchFor(const WChar* function, const DOMNode* node, const WString& expected) {
    checkNode(function, node);
    if (!hasName(*node, expected))
        fail(function, u"<" + nameOf(*node) + u"> node does not match expected node <" + expected + u">.");
}

WString XmlUtils::getTextValue(const WChar* function, const DOMElement* element) {
    checkNode(function, element);
    const XMLCh* tag = element->getTagName();
    if (tag == nullptr || *tag == 0)
        fail(function, u"Tag name not found for element " + nameOf(*element));
    WString text;
    for (const DOMNode* node = nextBelow(element, element); node != nullptr; node = nextBelow(element, node))
        if (node->getNodeType() == DOMNode::TEXT_NODE || node->getNodeType() == DOMNode::CDATA_SECTION_NODE)
            text += textOf(node->getNodeValue());
    return text;
}

WString XmlUtils::getAttributeValue(const WChar* function, const DOMNode* node, const WString& name) {
    const xercesc::DOMNamedNodeMap& attributes = attributesOf(function, node);
    const DOMNode* found = nullptr;
    for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
        const DOMNode* attribute = attributes.item(i);
        if (!hasName(*attribute, name))
            continue;
        if (found != nullptr)
            failForTwice(function, *node, name);
        found = attribute;
    }
    if (found == nullptr)
        fail(function, u"Attribute <" + name + u"> not found for node <" + nameOf(*node) + u">.");
    return textOf(found->getNodeValue());
}

XmlUtils::Attributes XmlUtils::getAttributes(const WChar* function, const DOMNode* node) {
    const xercesc::DOMNamedNodeMap& attributes = attributesOf(function, node);
    Attributes values;
    for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
        const DOMNode* attribute = attributes.item(i);
        if (!values.try_emplace(nameOf(*attribute), textOf(attribute->getNodeValue())).second)
            failForTwice(function, *node, nameOf(*attribute));
    }
    return values;
}

XmlUtils::Nodes XmlUtils::getChildNodesByTagName(const WChar* function, const DOMNode* node, const WString& tag) {
    checkNode(function, node);
    Nodes nodes;
    for (DOMNode* child = node->getFirstChild(); child != nullptr; child = child->getNextSibling())
        if (child->getNodeType() == DOMNode::ELEMENT_NODE && hasName(*child, tag))
            nodes.push_back(child);
    return nodes;
}

XmlUtils::Nodes XmlUtils::getDescendantNodesByTagName(const WChar* function, const DOMNode* node, const WString& tag) {
    checkNode(function, node);
    Nodes nodes;
    for (DOMNode* below = nextBelow(node, node); below != nullptr; below = nextBelow(node, below))
        if (below->getNodeType() == DOMNode::ELEMENT_NODE && hasName(*below, tag))
            nodes.push_back(below);
    return nodes;
}

XmlUtils::Nodes XmlUtils::getAncestorNodesByTagName(const WChar* function, const DOMNode* node, const WString& tag) {
    checkNode(function, node);
    Nodes nodes;
    for (DOMNode* above = node->getParentNode(); above != nullptr; above = above->getParentNode())
        if (above->getNodeType() == DOMNode::ELEMENT_NODE && hasName(*above, tag))
            nodes.push_back(above);
    return nodes;
}

DOMNode* XmlUtils::getOneChildNodeByTagName(const WChar* function, const DOMNode* node, const WString& tag) {
    const Nodes nodes = getChildNodesByTagName(function, node, tag);
    if (nodes.size() != 1)
        fail(function, norq_std_internal::numberText(nodes.size()) + u" child nodes with <" + tag +
                           u"> tag found when expecting one under <" + nameOf(*node) + u"> tag.");
    return nodes.front();
}

} // namespace norq_std

namespace norq_std_internal {

using norq_std::XmlSystem;

namespace {

bool use() {
    XmlSystem& system = XmlSystem::get();
    const std::lock_guard guard(system.mutex);
    if (system.starts == 0 && !norq_std::start(system, u"norq_std_internal::XmlSystemUse"))
        return false;
    ++system.uses;
    return true;
}

} // namespace

void startXml() { norq_std::XmlUtils::initializeXercesSystem(u"norq_std_internal::LibraryLoad::attach"); }

void endXml() { norq_std::XmlUtils::terminateXercesSystem(u"norq_std_internal::LibraryLoad::detach"); }

XmlSystemUse::XmlSystemUse()
    : started(use()) {}

XmlSystemUse::~XmlSystemUse() {
    if (!started)
        return;
    XmlSystem& system = XmlSystem::get();
    const std::lock_guard guard(system.mutex);
    --system.uses;
}

} // namespace norq_std_internal
