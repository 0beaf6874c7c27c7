#include "internal/PreferencesXmlReaderImpl.h"

#include "exception/NorqException.h"
#include "prefs/Preferences.h"

#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/XMLException.hpp>

#include <algorithm>
#include <vector>

namespace norq_std_internal {

using norq_std::NorqException;
using norq_std::NorqIllegalArgumentException;
using norq_std::NorqIllegalStateException;
using norq_std::NorqInvalidPreferencesFormatException;
using norq_std::NorqXmlException;
using norq_std::Preferences;
using norq_std::PreferencesXmlReader;
using norq_std::WChar;
using norq_std::WString;
using norq_std::XmlUtils;
using xercesc::DOMNode;

namespace {

constexpr const WChar* FUNCTION = u"norq_std::PreferencesXmlReader::importPreferences";

template <class Exception>
[[noreturn]] void logAndThrow(const Exception& exception) {
    exception.logDebug(FUNCTION);
    throw exception;
}

/// Flushes of nodes that a file may cause beyond one for each of its entries.
constexpr std::size_t MAX_EXTRA_FLUSHES = 10'000'000;

bool isElement(const DOMNode& node, const WChar* name) {
    return node.getNodeType() == DOMNode::ELEMENT_NODE && std::u16string_view(node.getNodeName()) == name;
}

/// The first of these siblings that is an element of this name.
const DOMNode* firstOf(const DOMNode* node, const WChar* name) {
    while (node != nullptr && !isElement(*node, name))
        node = node->getNextSibling();
    return node;
}

} // namespace

ImportBudget::Place ImportBudget::below(const Place& parent, const WString& name) {
    const auto levels = 1 + static_cast<std::size_t>(
                                std::ranges::count_if(name, [](WChar unit) { return unit == u'/' || unit == u'\\'; }));
    isPlain = isPlain && levels == 1;
    const Place place{parent.depth + levels, parent.length + 1 + name.size()};
    if (place.depth > PreferencesXmlReader::MAX_DEPTH)
        logAndThrow(NorqXmlException(u"Nodes are nested too deep."));
    pathsLength += levels * place.length;
    if (pathsLength > PreferencesXmlReader::MAX_PATHS_LENGTH)
        logAndThrow(NorqXmlException(u"The paths of all nodes are too long together."));
    return place;
}

void ImportBudget::enter(const Preferences& node) { isPlain = entered.insert(&node).second && isPlain; }

void ImportBudget::addEntries(std::size_t count) {
    if (isPlain)
        return;
    extraFlushes += count * entered.size();
    if (extraFlushes > MAX_EXTRA_FLUSHES)
        logAndThrow(NorqXmlException(u"Too many entries are in nodes that come twice."));
}

PreferencesXmlReaderImpl::PreferencesXmlReaderImpl(const WString& inputFilename)
    : filename(inputFilename) {
    setupParser();
}

PreferencesXmlReaderImpl::~PreferencesXmlReaderImpl() = default;

void PreferencesXmlReaderImpl::setupParser() {
    if (!use)
        return;
    try {
        parser = std::make_unique<PreferencesXmlParser>();
        parser->setValidationScheme(xercesc::XercesDOMParser::Val_Never);
        parser->setDoNamespaces(false);
        parser->setLoadExternalDTD(false);
    } catch (const xercesc::XMLException&) { // without a parser, parsing gives no document
    } catch (const xercesc::DOMException&) {
    } catch (const xercesc::SAXException&) {
    }
}

void PreferencesXmlReaderImpl::importText(const WString& text) {
    if (parser == nullptr)
        logAndThrow(NorqXmlException(u"Unable to get XML document from input string."));
    struct Release {
        PreferencesXmlReaderImpl& impl;
        ~Release() {
            impl.budget = {};
            impl.document = nullptr;
            impl.parser->resetDocumentPool();
        }
    };
    const Release release{*this};
    document = XmlUtils::parseAndGetDocument(FUNCTION, *parser, text);
    readDocument();
}

void PreferencesXmlReaderImpl::fail(const WString& rest) const {
    logAndThrow(NorqInvalidPreferencesFormatException(u"Input file <" + filename + rest));
}

void PreferencesXmlReaderImpl::fail(const WString& rest, const NorqException& cause) const {
    logAndThrow(NorqInvalidPreferencesFormatException(u"Input file <" + filename + rest, cause));
}

void PreferencesXmlReaderImpl::readDocument() {
    const DOMNode* preferences = XmlUtils::getDocumentRoot(FUNCTION, document);
    XmlUtils::throwIfNodeNameIsNotMatchFor(FUNCTION, preferences, u"preferences");
    const DOMNode& root = *XmlUtils::getOneChildNodeByTagName(FUNCTION, preferences, u"root");
    const WString type = getAttribute(root, u"type");
    std::shared_ptr<Preferences> node;
    if (type == u"system")
        node = Preferences::systemRoot();
    else if (type == u"user")
        node = Preferences::userRoot();
    else
        fail(u"> has invalid XML format. Invalid root type <" + type + u">.");
    readMap(root, *node);
    readNodes(root, node);
}

void PreferencesXmlReaderImpl::readMap(const DOMNode& element, Preferences& node) {
    budget.enter(node);
    const DOMNode* map = XmlUtils::getOneChildNodeByTagName(FUNCTION, &element, u"map");
    std::vector<const DOMNode*> entries;
    for (const DOMNode* entry = firstOf(map->getFirstChild(), u"entry"); entry != nullptr;
         entry = firstOf(entry->getNextSibling(), u"entry"))
        entries.push_back(entry);
    budget.addEntries(entries.size());
    for (const DOMNode* entry : entries)
        addKeyValueToPreferences(node, getAttribute(*entry, u"key"), getAttribute(*entry, u"value"));
}

/// Without recursion: a file may be as deep as its limit on any stack.
void PreferencesXmlReaderImpl::readNodes(const DOMNode& root, const std::shared_ptr<Preferences>& rootNode) {
    struct Level {
        const DOMNode* next;
        std::shared_ptr<Preferences> node;
        ImportBudget::Place place;
    };
    std::vector<Level> levels{{root.getFirstChild(), rootNode, {}}};
    while (!levels.empty()) {
        Level& level = levels.back();
        const DOMNode* element = firstOf(level.next, u"node");
        if (element == nullptr) {
            levels.pop_back();
            continue;
        }
        level.next = element->getNextSibling();
        const WString name = getAttribute(*element, u"name");
        if (name.empty())
            fail(u"> has invalid XML format. Node name is empty.");
        const ImportBudget::Place place = budget.below(level.place, name);
        const std::shared_ptr<Preferences> node = addPreferencesNode(*level.node, name);
        if (node == nullptr)
            continue;
        readMap(*element, *node);
        levels.push_back({element->getFirstChild(), node, place});
    }
}

WString PreferencesXmlReaderImpl::getAttribute(const DOMNode& element, const WString& name) const {
    const XmlUtils::Attributes attributes = XmlUtils::getAttributes(FUNCTION, &element);
    const auto found = attributes.find(name);
    if (found == attributes.end())
        fail(u"> has invalid XML format. Attribute <" + name + u"> not found.");
    return found->second;
}

void PreferencesXmlReaderImpl::addKeyValueToPreferences(Preferences& node, const WString& key,
                                                        const WString& value) const {
    try {
        node.put(key, value);
        node.flush();
    } catch (const NorqIllegalArgumentException& e) {
        fail(u"> has invalid XML format. Invalid attribute key <" + key + u"> or value <" + value + u">.", e);
    } catch (const NorqIllegalStateException&) { // removed meanwhile
    }
}

std::shared_ptr<Preferences> PreferencesXmlReaderImpl::addPreferencesNode(Preferences& parent,
                                                                          const WString& name) const {
    try {
        return parent.node(name);
    } catch (const NorqIllegalArgumentException& e) {
        fail(u"> has invalid XML format. Invalid preference node name <" + name + u">.", e);
    } catch (const NorqIllegalStateException&) { // with all below it
        return nullptr;
    }
}

} // namespace norq_std_internal
