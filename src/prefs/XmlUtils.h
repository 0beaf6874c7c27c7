#pragma once

#include "base/WString.h"

#include <xercesc/dom/DOM.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include <list>
#include <map>
#include <string>
#include <type_traits>

namespace norq_std {

/// Reading of XML documents with Xerces-C: the library's start and end, and what is asked of a document, with every
/// failure as a `NorqXmlException`.
///
/// The first argument of each operation is the caller's name, under which a failure is logged before it is thrown. A
/// null node or document throws `NorqIllegalArgumentException`. Nodes belong to their document, and a document to its
/// parser. Any thread may call anything, but one document belongs to one thread at a time.
///
/// Xerces-C is started when this library is loaded, or by the first `XmlSystemUse` if that failed, and ended when it is
/// unloaded, unless somebody still uses it. It counts its starts, so a program that uses it too may start and end it
/// itself, as long as it does so while no other thread starts or ends it.
class XmlUtils {
public:
    using Attributes = std::map<WString, WString>;
    using Nodes = std::list<xercesc::DOMNode*>;

    static_assert(std::is_same_v<XMLCh, WChar>, "text crosses the border without a copy");

    /// A failure is reported as message 3006, and leaves Xerces-C unusable.
    static void initializeXercesSystem(const WChar* function);
    /// Ends one start. Does nothing while an `XmlSystemUse` lives.
    static void terminateXercesSystem(const WChar* function);

    /// In the code page of the process's locale, with a substitute for what that lacks; empty if Xerces-C cannot be
    /// started. UTF-8 is made by `UtfUtils`.
    static std::string transcodeString(const WChar* function, const WString& text);
    static std::string transcodeString(const WChar* function, const XMLCh* text);

    /// The document of a text, which belongs to the parser. Whatever the parser reports as fatal is thrown, and so is a
    /// zero character, which Xerces-C would take for the end. What the parser loads and expands is its own setting.
    static xercesc::DOMDocument* parseAndGetDocument(const WChar* function, xercesc::XercesDOMParser& parser,
                                                     const WString& input);
    static xercesc::DOMDocument* parseAndGetDocument(const WChar* function, xercesc::DOMLSParser& parser,
                                                     const WString& input);

    static xercesc::DOMElement* getDocumentRoot(const WChar* function, const xercesc::DOMDocument* document);
    static void throwIfNodeNameIsNotMatchFor(const WChar* function, const xercesc::DOMNode* node,
                                             const WString& expected);
    /// All text of the element and of those below it.
    static WString getTextValue(const WChar* function, const xercesc::DOMElement* element);
    static WString getAttributeValue(const WChar* function, const xercesc::DOMNode* node, const WString& name);
    static Attributes getAttributes(const WChar* function, const xercesc::DOMNode* node);

    // Nodes with this tag: children and descendants in the order of the document, ancestors from the parent upwards.

    static Nodes getChildNodesByTagName(const WChar* function, const xercesc::DOMNode* node, const WString& tag);
    static Nodes getDescendantNodesByTagName(const WChar* function, const xercesc::DOMNode* node, const WString& tag);
    static Nodes getAncestorNodesByTagName(const WChar* function, const xercesc::DOMNode* node, const WString& tag);
    static xercesc::DOMNode* getOneChildNodeByTagName(const WChar* function, const xercesc::DOMNode* node,
                                                      const WString& tag);

private:
    XmlUtils() = default;
};

} // namespace norq_std

namespace norq_std_internal {

/// Keeps Xerces-C started while it lives.
class XmlSystemUse {
public:
    XmlSystemUse();
    ~XmlSystemUse();
    XmlSystemUse(const XmlSystemUse&) = delete;
    XmlSystemUse& operator=(const XmlSystemUse&) = delete;

    /// False if Xerces-C could not be started: nothing of it may then be called.
    explicit operator bool() const { return started; }

private:
    const bool started;
};

} // namespace norq_std_internal
