#include "MemoryTree.h"

#include "prefs/Preferences.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

using namespace norq_std;
using norqstd_test::got;
using norqstd_test::MemoryTree;
using norqstd_test::wide;

namespace {

/// Preferences that a Java virtual machine reads and writes, below a folder of their own.
class PreferencesExchange : public ::testing::Test {
protected:
    PreferencesExchange() {
        std::string name = (std::filesystem::temp_directory_path() / "norqstd-java-XXXXXX").string();
        folder = mkdtemp(name.data());
    }
    ~PreferencesExchange() override { std::filesystem::remove_all(folder); }

    WString file(const std::string& name) const { return wide(folder / name); }

    /// Exports the node of the value as the file, in a tree of its own.
    void exportValue(const std::string& name, const WString& value) const {
        MemoryTree tree;
        tree.user->put(u"k", value);
        tree.user->exportNode(file(name));
    }

    void runJava() const {
        const std::string here = folder.string();
        const std::string command =
            "\"" JAVA "\" -Djava.util.prefs.userRoot=\"" + here + "/user\" -Djava.util.prefs.systemRoot=\"" + here +
            "/system\" \"" TEST_FOLDER "/PreferencesExchange.java\" \"" + here + "\" >\"" + here + "/log\" 2>&1";
        ASSERT_EQ(0, std::system(command.c_str())) << got(folder / "log");
    }

    std::filesystem::path folder;
};

TEST_F(PreferencesExchange, GoesBothWaysWithJava) {
    {
        MemoryTree tree;
        tree.user->put(u"root", u"1");
        const auto node = tree.user->node(u"a/b");
        node->put(u"k", u"'>\u00e4\u4e2d \U0001F600");
        node->put(u"long", WString(8192, u'v'));
        node->node(u"c/d")->put(u"k", u"");
        tree.user->exportSubtree(file("tree.xml"));
        node->exportNode(file("node.xml"));
        tree.system->put(u"s", u"1");
        tree.system->exportSubtree(file("system.xml"));
    }
    exportValue("lines.xml", u"a\tb\r\nc");
    exportValue("entity.xml", u"&lt;&#65;");
    for (const auto& [name, value] : {std::pair("quote", u"a\"b"), {"less", u"a<b"}, {"and", u"a&b"}})
        exportValue(name + std::string(".xml"), value);
    runJava();

    const auto dump = [this](const std::string& name) { return got(folder / (name + ".xml.dump")); };
    const std::string node = "/ /a /a/b /a/b:k='>\u00e4\u4e2d \U0001F600 /a/b:long=" + std::string(8192, 'v') + " ";
    EXPECT_EQ(node + "/ ", dump("node"));
    EXPECT_EQ("/ /:root=1" + node.substr(1) + "/a/b/c /a/b/c/d /a/b/c/d:k= / ", dump("tree"));
    EXPECT_EQ("/ / /:s=1 ", dump("system"));
    EXPECT_EQ("/ /:k=a b c / ", dump("lines"));
    EXPECT_EQ("/ /:k=<A / ", dump("entity"));
    for (const char* name : {"quote", "less", "and"})
        EXPECT_EQ("refused", dump(name)) << name;

    MemoryTree tree;
    Preferences::importPreferences(file("java-node.xml"));
    EXPECT_EQ(0U, tree.user->keys().size() + tree.user->node(u"a")->keys().size());
    EXPECT_EQ(u"\"<>&'\t\r\n \u00e4\u4e2d\U0001F600", tree.user->node(u"a/b")->get(u"k", u"none"));
    EXPECT_EQ(u"", tree.user->node(u"a/b")->get(u"empty", u"none"));
    EXPECT_EQ(WString(8192, u'v'), tree.user->node(u"a/b")->get(u"long", u"none"));
    Preferences::importPreferences(file("java-tree.xml"));
    EXPECT_EQ(u"1", tree.user->get(u"root", u"none"));
    EXPECT_EQ(u"v", tree.user->node(u"a/b/c")->get(u"k\"<&", u"none"));
    EXPECT_EQ(u"v", tree.user->node(u"q\"<&")->get(u"k", u"none"));
}

} // namespace
