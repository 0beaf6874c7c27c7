#include "MemoryTree.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "prefs/Preferences.h"
#include "prefs/PreferencesXmlReader.h"
#include "prefs/PreferencesXmlWriter.h"
#include "support/Actor.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace norq_std;
using norqstd_test::got;
using norqstd_test::MemoryTree;
using norqstd_test::put;
using norqstd_test::wide;

namespace {

std::string narrow(const WString& text) { return UtfUtils::utf16ToUtf8(text); }

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

/// Each node and key below, as "/a/b:key=value ".
std::string dump(const std::shared_ptr<Preferences>& node) {
    std::string text = narrow(node->absolutePath()) + " ";
    for (const WString& key : node->keys())
        text += narrow(node->absolutePath() + u":" + key + u"=" + node->get(key, u"")) + " ";
    for (const WString& name : node->childrenNames())
        text += dump(node->node(name));
    return text;
}

std::string document(const std::string& root) { return "<preferences>" + root + "</preferences>"; }

std::string entry(const std::string& attributes) {
    return document("<root type=\"user\"><map><entry " + attributes + "/></map></root>");
}

class PreferencesXml : public ::testing::Test {
protected:
    PreferencesXml() {
        std::string name = (std::filesystem::temp_directory_path() / "norqstd-xml-XXXXXX").string();
        folder = mkdtemp(name.data());
    }
    ~PreferencesXml() override { std::filesystem::remove_all(folder); }

    WString file(const std::string& name = "p.xml") const { return wide(folder / name); }

    /// "read", or the message of the refusal without the file's name.
    std::string import(const std::string& content) const {
        put(folder / "p.xml", content);
        return importFile();
    }
    std::string importFile() const {
        try {
            Preferences::importPreferences(file());
            return "read";
        } catch (const NorqInvalidPreferencesFormatException& e) {
            const std::string begin = "Input file <" + narrow(file()) + "> ";
            const std::string message = narrow(e.getMessage());
            return message.starts_with(begin) ? message.substr(begin.size()) : message;
        }
    }

    std::filesystem::path folder;
    MemoryTree tree;
};

TEST_F(PreferencesXml, WritesTheFormat) {
    tree.user->put(u"root", u"left out");
    tree.user->node(u"a")->put(u"left out", u"below");
    const auto node = tree.user->node(u"a/b");
    node->put(u"z", u"\u00e4\u4e2d");
    node->put(u"k", u"");
    node->node(u"c")->put(u"x", u"y");
    node->node(u"c/d");
    std::string expected = R"(<?xml version="1.0"?>
<!DOCTYPE preferences SYSTEM 'http://java.sun.com/dtd/preferences.dtd'>
<preferences>
	<root type="user">
		<map/>
		<node name="a">
			<map/>
			<node name="b">
				<map>
					<entry key="k" value=""/>
					<entry key="z" value="ä中"/>
				</map>
				<node name="c">
					<map>
						<entry key="x" value="y"/>
					</map>
					<node name="d">
						<map/>
					</node>
				</node>
			</node>
		</node>
	</root>
</preferences>
)";
    for (std::size_t at = 0; (at = expected.find('\n', at)) != std::string::npos; at += 2)
        expected.insert(at, 1, '\r');
    node->exportSubtree(file("new/folder/p.xml"));
    EXPECT_EQ(expected, got(folder / "new/folder/p.xml"));
    const std::size_t child = expected.find("\t\t\t\t<node name=\"c\">");
    const std::string childEnd = "\t\t\t\t</node>\r\n";
    expected.erase(child, expected.find(childEnd + "\t\t\t</") + childEnd.size() - child);
    node->exportNode(file());
    EXPECT_EQ(expected, got(folder / "p.xml"));
    tree.system->put(u"k", u"v");
    tree.system->exportSubtree(file());
    EXPECT_NE(std::string::npos,
              got(folder / "p.xml")
                  .find("\t<root type=\"system\">\r\n\t\t<map>\r\n\t\t\t<entry key=\"k\" value=\"v\"/>"
                        "\r\n\t\t</map>\r\n\t</root>\r\n"));
}

TEST_F(PreferencesXml, BringsBackWhatItWrote) {
    tree.user->put(u"root", u"1");
    for (const WChar* path : {u"a", u"a/b/c/d", u"a/e", u"f"})
        tree.user->node(path)->put(u"k", WString(u"value of ") + path);
    WString deep;
    for (int i = 0; i < 200; ++i)
        deep += u"n/";
    tree.user->node(deep + u"last")->put(u"k", u"v");
    const std::string before = dump(tree.user);
    tree.user->exportSubtree(file());

    MemoryTree other;
    other.user->node(u"a")->put(u"k", u"overwritten");
    other.user->node(u"kept")->put(u"k", u"v");
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ("read", importFile());
        EXPECT_EQ("/kept /kept:k=v ", dump(other.user->node(u"kept")));
    }
    other.user->node(u"kept")->removeNode();
    EXPECT_EQ(before, dump(other.user));
    EXPECT_EQ("/ ", dump(other.system));
}

TEST_F(PreferencesXml, TellsWhatTheFormatDoesNotCarry) {
    const struct {
        WString value;
        std::string read;
    } rows[] = {
        {u"'>\u00e4\u4e2d\uE000", "'>\u00e4\u4e2d\uE000"},
        {u"a\tb", "a b"},
        {u"a\r\nb\nc\rd", "abcd"},
        {u"&lt;&#65;&quot;", "<A\""},
        {WString(u"a\0b", 3), "a\uFFFDb"},
        {u"a" + WString(1, 0xD800) + u"b", "a\uFFFDb"},
        {u"\U0001F600", "is not in UTF-8 format."},
        {u"a\"b", "has invalid XML format."},
        {u"a<b", "has invalid XML format."},
        {u"a&b", "has invalid XML format."},
        {u"a\u0001b", "has invalid XML format."},
        {u"\uFFFE", "has invalid XML format."},
    };
    for (const auto& row : rows) {
        tree.user->put(u"k", row.value);
        tree.user->exportNode(file());
        MemoryTree other;
        const std::string result = importFile();
        EXPECT_EQ(row.read,
                  result == "read" ? narrow(other.user->get(u"k", u"none")) : result.substr(0, row.read.size()));
        EXPECT_EQ(result == "read" ? 1U : 0U, other.user->keys().size()) << row.read;
    }
}

TEST_F(PreferencesXml, ReadsWhatOthersWrite) {
    const std::string content =
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"ISO-8859-1\" standalone=\"no\"?>\n"
        "<!DOCTYPE preferences SYSTEM \"http://java.sun.com/dtd/preferences.dtd\">\n<!-- note -->\n"
        "<preferences EXTERNAL_XML_VERSION=\"1.0\">\n <?other x?>text<strange a='1'/>\n"
        " <root type='user'>\n  <map MAP_XML_VERSION='1.0'/>\n  <node other=\"1\" name=\"a\">\n"
        "   <map>\n <entry value='&quot;&lt;&amp;&#10;&apos;\u00e4' key='k'/><other/><![CDATA[x]]>\n"
        "    <entry key=\"l\" value=\"2\"></entry>\n   </map>\n  </node>\n"
        "  <node name=\"b/c\"><node name=\"d\"><map/></node><map/></node>\n </root>\n</preferences>\n";
    EXPECT_EQ("read", import(content));
    EXPECT_EQ("/ /a /a:k=\"<&\n'\u00e4 /a:l=2 /b /b/c /b/c/d ", dump(tree.user));
}

TEST_F(PreferencesXml, RefusesWhatIsNotOfTheFormat) {
    const std::string none = "has invalid XML format.";
    const std::string key(81, 'k');
    const std::string map = "<map/>";
    const auto user = [](const std::string& inside) { return document("<root type='user'>" + inside + "</root>"); };
    const struct {
        std::string content;
        std::string message;
    } rows[] = {
        {"", none + ": Unable to parse input: "},
        {"no XML", none + ": Unable to parse input: "},
        {"<preferences><root type='user'>", none + ": Unable to parse input: "},
        {user(map) + "more", none + ": Unable to parse input: "},
        {user(map) + std::string(1, '\0'), none + ": Unable to parse input: it holds a zero character."},
        {user(map).replace(3, 1, 1, '\0'), none + ": Unable to parse input: it holds a zero character."},
        {"\xFF\xFE<", "is not in UTF-8 format."},
        {user(map) + "<!-- \xC0\x80 -->", "is not in UTF-8 format."},
        {user(map) + "<!-- \xED\xA0\x80 -->", "is not in UTF-8 format."},
        {user(map) + "<!-- \xF0\x9F\x98\x80 -->", "is not in UTF-8 format."},
        {"<other/>", none + ": <other> node does not match expected node <preferences>."},
        {document(""), none + ": 0 child nodes with <root> tag found when expecting one under <preferences> tag."},
        {document("<root/><root/>"),
         none + ": 2 child nodes with <root> tag found when expecting one under <preferences> tag."},
        {document("<root/>"), none + ": <root> node has no attributes."},
        {document("<root a='1'/>"), none + " Attribute <type> not found."},
        {document("<root type='other'><map><entry key='k' value='v'/></map></root>"),
         none + " Invalid root type <other>."},
        {user(""), none + ": 0 child nodes with <map> tag found when expecting one under <root> tag."},
        {user(map + "<node name=''><map/></node>"), none + " Node name is empty."},
        {user(map + "<node name='a'/>"),
         none + ": 0 child nodes with <map> tag found when expecting one under <node> tag."},
        {user(map + "<node name='a//b'><map/></node>"),
         none + " Invalid preference node name <a//b>.: Invalid path name <a//b>."},
        {user(map + "<node name='" + key + "'><map/></node>"),
         none + " Invalid preference node name <" + key +
             ">.: Child node name length value 81 is above maximum of 80."},
        {entry("value='v'"), none + " Attribute <key> not found."},
        {entry("key='k'"), none + " Attribute <value> not found."},
        {entry("key='k' key='k' value='v'"), none + ": Unable to parse input: "},
        {entry("key='' value='v'"), none + " Invalid attribute key <> or value <v>.: key value is empty."},
        {entry("key='" + key + "' value='v'"),
         none + " Invalid attribute key <" + key + "> or value <v>.: Key length value 81 is above maximum of 80."},
    };
    for (const auto& row : rows) {
        const std::string message = import(row.content);
        EXPECT_TRUE(message.starts_with(row.message) && (row.message.ends_with(" ") || message == row.message))
            << "got " << message << "\nnot " << row.message;
        EXPECT_EQ(0U, tree.user->keys().size());
    }
    try {
        put(folder / "p.xml", "");
        Preferences::importPreferences(file());
        FAIL();
    } catch (const NorqInvalidPreferencesFormatException& e) {
        const std::unique_ptr<NorqException> cause(e.getNestedException());
        EXPECT_NE(nullptr, dynamic_cast<const NorqXmlException*>(cause.get()));
    }
    EXPECT_THROW(PreferencesXmlReader(u""), NorqIllegalArgumentException);
    EXPECT_THROW(PreferencesXmlReader(file("missing")).importPreferences(), NorqIOException);
}

/// Files that would take all memory, all stack, all time, or what is none of theirs.
TEST_F(PreferencesXml, StandsHostileFiles) {
    put(folder / "secret", "secret");
    const std::string secret = "SYSTEM 'file://" + (folder / "secret").string() + "'";
    std::string laughs = "<!DOCTYPE preferences [<!ENTITY a 'laugh'>";
    std::string declarations = "<!DOCTYPE preferences [<!ENTITY % a '<!ENTITY x \"y\">'>";
    for (char name = 'b'; name < 'l'; ++name) {
        const std::string last(1, static_cast<char>(name - 1));
        laughs += "<!ENTITY " + std::string(1, name) + " '" + repeated("&" + last + ";", 10) + "'>";
        declarations += "<!ENTITY % " + std::string(1, name) + " '" + repeated("&#37;" + last + ";", 10) + "'>";
    }
    std::string names;
    std::string attributes;
    std::string children;
    for (int i = 0; i < 20'000; ++i)
        children += "<node name='" + std::to_string(i) + "'><map/></node>";
    for (int i = 0; i < 200'000; ++i) {
        names += "<x" + std::to_string(i) + "/>";
        attributes += " x" + std::to_string(i) + "=''";
    }
    const std::string whole = document("<root type='user'><map/></root>");
    const std::string node = "<node name='n'><map/>";
    const auto nodes = [](const std::string& inside) {
        return document("<root type='user'><map/>" + inside + "</root>");
    };
    const std::string parse = "Unable to parse input: ";
    const struct {
        std::string content;
        std::string cause;
    } rows[] = {
        {laughs + "]>" + entry("key='k' value='&k;'"), parse + "the document type has declarations of its own."},
        {declarations + "%k;]>" + whole, parse + "the document type has declarations of its own."},
        {"<!DOCTYPE preferences [<!ENTITY a " + secret + ">]>" + entry("key='k' value='&a;'"), parse},
        {"<!DOCTYPE preferences " + secret + ">" + entry("key='k' value='&a;'"), parse + "entity 'a' not found"},
        {nodes(repeated(node, 100'000) + repeated("</node>", 100'000)), parse + "elements are nested too deep."},
        {nodes(repeated("<x>", 100'000) + repeated("</x>", 100'000)), parse + "elements are nested too deep."},
        {nodes("<node name='a" + repeated("/a", 100'000) + "'><map/></node>"), "Nodes are nested too deep."},
        {nodes(repeated("<node name='" + repeated("a/", 900) + "a'><map/></node>", 100)),
         "The paths of all nodes are too long together."},
        {nodes("<node name='a'><map/>" + children + "</node>" + "<node name='a'><map>" +
               repeated("<entry key='k' value=''/>", 20'000) + "</map></node>"),
         "Too many entries are in nodes that come twice."},
        {nodes(names), parse + "too many elements and attributes are not of the format."},
        {nodes("<x " + attributes + "/>"), parse + "too many elements and attributes are not of the format."},
        {entry("key='k' value='" + std::string(40'000'000, 'v')), parse},
        {entry("key='" + std::string(10'000'000, 'k') + "' value='v'"), ""},
    };
    for (const auto& row : rows) {
        const std::string message = import(row.content);
        EXPECT_TRUE(message.starts_with("has invalid XML format.") && message.find(row.cause) != std::string::npos)
            << message.substr(0, 200) << "\nnot " << row.cause;
        EXPECT_EQ(0U, tree.user->keys().size());
    }
    put(folder / "p.xml", whole);
    std::filesystem::resize_file(folder / "p.xml", std::uintmax_t{1} << 30U);
    EXPECT_EQ("has invalid XML format.: The file is too large.", importFile());
    EXPECT_EQ("read", import("<!DOCTYPE preferences " + secret + ">" +
                             nodes(repeated(node, 1000) + repeated("</node>", 1000))));
}

TEST_F(PreferencesXml, FlushesEachEntryAndKeepsThoseBeforeAFailure) {
    std::vector<std::string> seen;
    tree.onFlush = [&seen](Preferences& node) {
        seen.push_back(narrow(node.absolutePath()) + std::to_string(node.keys().size()));
        if (node.keys().size() == 3)
            throw NorqBackingStoreException(u"disk full");
    };
    const std::string content =
        document("<root type='user'><map><entry key='a' value='1'/><entry key='b' value='2'/></map>"
                 "<node name='n'><map><entry key='a' value='1'/></map></node>"
                 "<node name='o'><map><entry key='a' value='1'/><entry key='b' value='2'/><entry key='c' value='3'/>"
                 "<entry key='d' value='4'/></map></node></root>");
    EXPECT_THROW(import(content), NorqBackingStoreException);
    EXPECT_EQ((std::vector<std::string>{"/1", "/2", "/n1", "/o1", "/o2", "/o3"}), seen);
    EXPECT_EQ("/ /:a=1 /:b=2 /n /n:a=1 /o /o:a=1 /o:b=2 /o:c=3 ", dump(tree.user));
}

TEST_F(PreferencesXml, LeavesOutWhatIsRemovedMeanwhile) {
    tree.onFlush = [](Preferences& node) {
        if (node.name() == u"gone")
            node.removeNode();
    };
    EXPECT_EQ("read", import(document("<root type='user'><map/><node name='gone'><map><entry key='a' value='1'/>"
                                      "<entry key='b' value='2'/></map><node name='below'><map/></node></node>"
                                      "<node name='next'><map/></node></root>")));
    EXPECT_EQ("/ /next ", dump(tree.user));
}

TEST_F(PreferencesXml, HoldsItsFileFromConstructionToExport) {
    EXPECT_THROW(PreferencesXmlWriter(nullptr, file()), NorqIllegalArgumentException);
    EXPECT_THROW(PreferencesXmlWriter(tree.user, u""), NorqIllegalArgumentException);
    EXPECT_THROW(tree.user->exportNode(wide(folder)), NorqIOException);
    PreferencesXmlWriter writer(tree.user, file());
    EXPECT_THROW(PreferencesXmlWriter(tree.user, file()), NorqIOException);
    writer.writePrefs();
    const std::string first = got(folder / "p.xml");
    tree.user->node(u"a")->put(u"k", u"v");
    writer.writePrefsTree();
    EXPECT_EQ("read", importFile());
    EXPECT_GT(got(folder / "p.xml").size(), first.size());
    writer.writePrefs();
    EXPECT_EQ(first, got(folder / "p.xml"));

    const auto removed = tree.user->node(u"a");
    removed->removeNode();
    EXPECT_THROW(removed->exportNode(file()), NorqIllegalStateException);
    EXPECT_EQ(first, got(folder / "p.xml"));
    EXPECT_THROW(PreferencesXmlWriter(removed, file()).writePrefs(), NorqIOException);
}

TEST_F(PreferencesXml, WorksInSeveralThreadsAtOnce) {
    tree.user->node(u"a/b")->put(u"k", u"v");
    tree.user->exportSubtree(file("shared.xml"));
    PreferencesXmlReader shared(file("shared.xml"));
    std::vector<std::unique_ptr<norqstd_test::Actor>> actors;
    std::vector<std::future<void>> done;
    for (int i = 0; i < 4; ++i) {
        actors.push_back(std::make_unique<norqstd_test::Actor>());
        done.push_back(actors.back()->begin([this, i, &shared] {
            const WString own = file(std::to_string(i) + ".xml");
            for (int round = 0; round < 20; ++round) {
                tree.user->exportSubtree(own);
                Preferences::importPreferences(own);
                shared.importPreferences();
            }
        }));
    }
    for (std::future<void>& future : done)
        future.get();
    EXPECT_EQ("/ /a /a/b /a/b:k=v ", dump(tree.user));
}

} // namespace
