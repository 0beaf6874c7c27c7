#include "prefs/XmlUtils.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "prefs/XmlTranscodedStringRaii.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using namespace norq_std;
using norq_std_internal::XmlSystemUse;
using xercesc::DOMDocument;
using xercesc::DOMElement;
using xercesc::DOMNode;

namespace {

constexpr const WChar* HERE = u"test";

std::string names(const XmlUtils::Nodes& nodes) {
    std::string text;
    for (const DOMNode* node : nodes)
        text += UtfUtils::utf16ToUtf8(XmlUtils::getAttributeValue(HERE, node, u"n"));
    return text;
}

std::string failureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const NorqException& e) {
        return UtfUtils::utf16ToUtf8(e.getMessage());
    }
    return "none";
}

class XmlUtilsTest : public ::testing::Test {
protected:
    const DOMElement& parsed(const WString& text) {
        return *XmlUtils::getDocumentRoot(HERE, XmlUtils::parseAndGetDocument(HERE, parser, text));
    }

    XmlSystemUse use;
    xercesc::XercesDOMParser parser;
};

TEST_F(XmlUtilsTest, FindsNodesTextAndAttributes) {
    const DOMElement& root = parsed(u"<a n='0'>x<b n='1'>y<![CDATA[<z]]><b n='2'/></b><c n='3'><b n='4'/></c><b n='5'/>"
                                    u"<!--b--></a>");
    EXPECT_EQ("15", names(XmlUtils::getChildNodesByTagName(HERE, &root, u"b")));
    EXPECT_EQ("1245", names(XmlUtils::getDescendantNodesByTagName(HERE, &root, u"b")));
    const DOMNode* inner = XmlUtils::getDescendantNodesByTagName(HERE, &root, u"b").front()->getLastChild();
    EXPECT_EQ("1", names(XmlUtils::getAncestorNodesByTagName(HERE, inner, u"b")));
    EXPECT_EQ("0", names(XmlUtils::getAncestorNodesByTagName(HERE, inner, u"a")));
    EXPECT_EQ("", names(XmlUtils::getDescendantNodesByTagName(HERE, inner, u"b")));
    EXPECT_EQ("3", names({XmlUtils::getOneChildNodeByTagName(HERE, &root, u"c")}));
    EXPECT_EQ(u"xy<z", XmlUtils::getTextValue(HERE, &root));
    EXPECT_EQ((XmlUtils::Attributes{{u"n", u"0"}}), XmlUtils::getAttributes(HERE, &root));
    EXPECT_NO_THROW(XmlUtils::throwIfNodeNameIsNotMatchFor(HERE, &root, u"a"));
}

TEST_F(XmlUtilsTest, TellsWhatIsWrongWithANode) {
    const DOMElement& root = parsed(u"<a n='1'>x<b/></a>");
    const DOMNode* bare = XmlUtils::getOneChildNodeByTagName(HERE, &root, u"b");
    auto* const twice = parser.getDocument()->createElement(u"t");
    twice->setAttributeNS(u"urn:1", u"p:x", u"1");
    twice->setAttributeNS(u"urn:2", u"p:x", u"2");
    const std::pair<std::string, std::function<void()>> rows[] = {
        {"<a> node does not match expected node <b>.",
         [&] { XmlUtils::throwIfNodeNameIsNotMatchFor(HERE, &root, u"b"); }},
        {"0 child nodes with <c> tag found when expecting one under <a> tag.",
         [&] { XmlUtils::getOneChildNodeByTagName(HERE, &root, u"c"); }},
        {"Attribute <m> not found for node <a>.", [&] { XmlUtils::getAttributeValue(HERE, &root, u"m"); }},
        {"Attribute <p:x> found more than once for node <t>.",
         [&] { XmlUtils::getAttributeValue(HERE, twice, u"p:x"); }},
        {"Attribute <p:x> found more than once for node <t>.", [&] { XmlUtils::getAttributes(HERE, twice); }},
        {"<b> node has no attributes.", [&] { XmlUtils::getAttributes(HERE, bare); }},
        {"<#text> node is invalid.", [&] { XmlUtils::getAttributes(HERE, root.getFirstChild()); }},
        {"XML node value is NULL.", [&] { XmlUtils::getChildNodesByTagName(HERE, nullptr, u"a"); }},
        {"XML document value is NULL.", [&] { XmlUtils::getDocumentRoot(HERE, nullptr); }},
        {"Document root element is NULL.",
         [&] {
             parser.getDocument()->removeChild(parser.getDocument()->getDocumentElement());
             XmlUtils::getDocumentRoot(HERE, parser.getDocument());
         }},
    };
    for (const auto& [message, call] : rows)
        EXPECT_EQ(message, failureOf(call));
}

TEST_F(XmlUtilsTest, NeverGivesHalfADocument) {
    auto* const implementation = xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS");
    xercesc::DOMLSParser& builder = *static_cast<xercesc::DOMImplementationLS*>(implementation)
                                         ->createLSParser(xercesc::DOMImplementationLS::MODE_SYNCHRONOUS, nullptr);
    for (const WString& text : {WString(u"<a><b/>"), WString(u""), WString(u"<a/>\0", 5), WString(u"<a>&x;</a>")}) {
        EXPECT_TRUE(failureOf([&] { parsed(text); }).starts_with("Unable to parse input: "));
        EXPECT_TRUE(failureOf([&] {
                        XmlUtils::parseAndGetDocument(HERE, builder, text);
                    }).starts_with("Unable to parse input: "));
    }
    EXPECT_EQ(u"a", WString(parsed(u"<a/>").getTagName()));
    EXPECT_EQ(u"b", WString(XmlUtils::parseAndGetDocument(HERE, builder, u"<b/>")->getDocumentElement()->getTagName()));
    builder.release();
}

TEST(XmlSystem, StaysWhileItIsUsed) {
    XmlUtils::initializeXercesSystem(HERE);
    XmlUtils::terminateXercesSystem(HERE);
    const XmlSystemUse use;
    for (int i = 0; i < 5; ++i)
        XmlUtils::terminateXercesSystem(HERE);
    ASSERT_TRUE(use);
    EXPECT_EQ("plain", XmlUtils::transcodeString(HERE, WString(u"plain")));
    EXPECT_EQ("", XmlTranscodedStringRaii(static_cast<const XMLCh*>(nullptr)).getValue());
    xercesc::XercesDOMParser parser;
    EXPECT_NE(nullptr, XmlUtils::parseAndGetDocument(HERE, parser, u"<a/>"));
}

TEST(XmlSystem, StartsAgainForTheNextUse) {
    for (int i = 0; i < 5; ++i)
        XmlUtils::terminateXercesSystem(HERE);
    EXPECT_EQ("again", XmlTranscodedStringRaii(WString(u"again")).getValue());
}

} // namespace
