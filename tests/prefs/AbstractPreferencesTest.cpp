#include "MemoryPreferences.h"
#include "support/DebugCapture.h"

#include "base/AutoRegisterClass.h"
#include "base/UtfUtils.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferencesFactory.h"
#include "prefs/PreferencesUtils.h"
#include "stream/ByteArray.h"
#include "system/NorqSystem.h"
#include "system/Paths.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

using namespace norq_std;
using norqstd_test::DebugCapture;
using norqstd_test::MemoryPreferences;

namespace {

template <class Exception = NorqIllegalArgumentException, class Call>
WString messageOf(const Call& call) {
    try {
        call();
    } catch (const Exception& failure) {
        return failure.getMessage();
    }
    return u"nothing was thrown";
}

/// Makes one tree for the user and one for the system, for all tests.
class MemoryFactory : public PreferencesFactory, public AutoRegisterClass<MemoryFactory> {
public:
    WString getClassName() const override { return u"norqstd_test.MemoryFactory"; }
    std::shared_ptr<Preferences> systemRoot() override { return root(1); }
    std::shared_ptr<Preferences> userRoot() override { return root(0); }

    static std::shared_ptr<MemoryPreferences> root(int which) {
        static const std::shared_ptr<MemoryPreferences> roots[] = {MemoryPreferences::newRoot(),
                                                                   MemoryPreferences::newRoot()};
        return roots[which];
    }
};

class AbstractPreferencesTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        MemoryFactory::registerClass();
        NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", u"norqstd_test.MemoryFactory");
    }
    static void TearDownTestSuite() { NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", u""); }
    ~AbstractPreferencesTest() override {
        MemoryFactory::root(0)->drop();
        MemoryFactory::root(1)->drop();
    }

    const std::shared_ptr<MemoryPreferences> root = MemoryFactory::root(0);
    std::vector<std::string> calls; // of the stores of nodes, which go after the test
};

} // namespace

TEST_F(AbstractPreferencesTest, ReadsEachTypeAsAStreamWould) {
    root->put(u"k", u"TRUE");
    EXPECT_TRUE(root->getBoolean(u"k", false));
    root->put(u"k", u"yes");
    EXPECT_TRUE(root->getBoolean(u"k", true));
    struct Case {
        const char16_t* text;
        std::int32_t asInt;
        std::int64_t asLongLong;
        double asDouble;
    };
    const Case cases[] = {
        {u"12abc", 12, 12, 12},
        {u"abc", -1, -1, -1},
        {u" +7", 7, 7, 7},
        {u"", -1, -1, -1},
        {u"-5.75x", -5, -5, -5.75},
        {u"1e3", 1, 1, 1000},
        {u"0x10", 0, 0, 0},
        {u"\u0661", -1, -1, -1},
        {u"3000000000", -1, 3'000'000'000, 3e9},
        {u"99999999999999999999", -1, -1, 1e20},
        {u"___norq_std_default_value___", -1, -1, -1},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(UtfUtils::utf16ToUtf8(each.text));
        root->put(u"k", each.text);
        EXPECT_EQ(root->getInt(u"k", -1), each.asInt);
        EXPECT_EQ(root->getLongLong(u"k", -1), each.asLongLong);
        EXPECT_DOUBLE_EQ(root->getDouble(u"k", -1), each.asDouble);
        EXPECT_FLOAT_EQ(root->getFloat(u"k", -1), static_cast<float>(each.asDouble));
    }
    EXPECT_EQ(root->getInt(u"absent", 3), 3);
}

TEST_F(AbstractPreferencesTest, WritesEachTypeAsText) {
    root->putDouble(u"d", 1234567.891);
    EXPECT_EQ(root->get(u"d", u""), u"1.23457e+06");
    root->putFloat(u"f", 0.5F);
    EXPECT_EQ(root->get(u"f", u""), u"0.5");
    root->putInt(u"i", std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(root->getInt(u"i", 0), std::numeric_limits<std::int32_t>::min());
    root->putLongLong(u"l", std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(root->get(u"l", u""), u"9223372036854775807");
    root->putBoolean(u"b", false);
    EXPECT_EQ(root->get(u"b", u""), u"false");

    const ByteArray bytes(std::string("\0\x01\xFF", 3));
    const ByteArray other(std::string("other"));
    root->putByteArray(u"a", bytes);
    EXPECT_EQ(root->get(u"a", u""), u"AAH/");
    EXPECT_EQ(*root->getByteArray(u"a", other), bytes);
    for (const char16_t* bad : {u"no base64!", u"AAH", u"____", u"\u00C4\u00C4\u00C4\u00C4"}) {
        root->put(u"a", bad);
        EXPECT_EQ(*root->getByteArray(u"a", other), other);
    }
    EXPECT_NE(root->getByteArray(u"absent", other).get(), &other);
}

TEST_F(AbstractPreferencesTest, HoldsKeysNamesAndValuesToTheirLimits) {
    const WString longest(80, u'k');
    const WString value(8192, u'v');
    root->put(longest, value);
    EXPECT_EQ(root->get(longest, u""), value);
    EXPECT_EQ(root->node(longest)->name(), longest);

    const WString tooLong = longest + u'k';
    const WString refusal = u" value 81 is above maximum of 80.";
    EXPECT_EQ(messageOf([&] { root->put(tooLong, u""); }), u"Key length" + refusal);
    EXPECT_EQ(messageOf([&] { root->get(tooLong, u""); }), u"Key length" + refusal);
    EXPECT_EQ(messageOf([&] { root->remove(tooLong); }), u"Key length" + refusal);
    EXPECT_EQ(messageOf([&] { root->node(tooLong); }), u"Child node name length" + refusal);
    EXPECT_EQ(messageOf([&] { MemoryPreferences::newNode(root, tooLong); }), u"Name length" + refusal);
    EXPECT_EQ(messageOf([&] { root->put(u"k", value + u'v'); }), u"Value length value 8193 is above maximum of 8192.");
    EXPECT_EQ(messageOf([&] { root->putInt(u"", 1); }), u"key value is empty.");

    EXPECT_EQ(messageOf([&] { MemoryPreferences::newNode(root, u"a/b"); }), u"Name <a/b> contains a forward slash");
    EXPECT_EQ(messageOf([&] { MemoryPreferences::newNode(root, u""); }),
              u"Parent is not NULL and name is empty string.");
    EXPECT_EQ(messageOf([&] { MemoryPreferences::newNode(nullptr, u"a"); }),
              u"Parent is NULL and name is not empty string.");
}

TEST_F(AbstractPreferencesTest, FindsNodesByEveryFormOfPath) {
    const std::shared_ptr<Preferences> b = root->node(u"a/b");
    EXPECT_EQ(b->absolutePath(), u"/a/b");
    EXPECT_EQ(b->toString(), u"User Preference Node: /a/b");
    EXPECT_EQ(MemoryFactory::root(1)->toString(), u"System Preference Node: /");
    EXPECT_EQ(root->node(u"a\\b"), b);
    EXPECT_EQ(b->node(u"/a/b"), b);
    EXPECT_EQ(b->node(u""), b);
    EXPECT_EQ(b->node(u"/"), root);
    EXPECT_EQ(b->parent(), root->node(u"a"));
    EXPECT_EQ(root->parent(), nullptr);
    EXPECT_EQ(root->getChild(u"a"), b->parent());
    EXPECT_EQ(root->getChild(u"b"), nullptr);
    for (const char16_t* bad : {u"a//b", u"a/b/", u"/a//b", u"/a/"})
        for (const bool asks : {false, true})
            EXPECT_THROW(asks ? (void)b->nodeExists(bad) : (void)b->node(bad), NorqIllegalArgumentException);
    EXPECT_EQ(messageOf([&] { b->node(u"a//b"); }), u"Invalid path name <a//b>.");

    root->stored = {u"in store", u"a"};
    EXPECT_EQ(root->childrenNames(), (std::vector<WString>{u"a", u"in store"}));
    EXPECT_TRUE(root->nodeExists(u"in store"));
    EXPECT_TRUE(b->nodeExists(u"/in store"));
    EXPECT_TRUE(b->nodeExists(u"/"));
    EXPECT_FALSE(root->nodeExists(u"x/y"));
    root->stored.clear();
}

TEST_F(AbstractPreferencesTest, ClearsKeysAndLeavesNodes) {
    root->put(u"a", u"1");
    root->put(u"b", u"");
    root->node(u"child");
    EXPECT_EQ(root->get(u"b", u"default"), u"");
    root->remove(u"absent");
    root->clear();
    EXPECT_TRUE(root->keys().empty());
    EXPECT_EQ(root->childrenNames(), std::vector<WString>{u"child"});
}

TEST_F(AbstractPreferencesTest, ARemovedNodeRefusesAndANewOneTakesItsPlace) {
    const auto top = std::static_pointer_cast<MemoryPreferences>(root->node(u"top"));
    top->onCall = [this](const std::string&, MemoryPreferences& node) {
        calls.push_back(UtfUtils::utf16ToUtf8(node.absolutePath()));
    };
    const std::shared_ptr<Preferences> leaf = top->node(u"b/c");
    top->node(u"a");
    leaf->put(u"k", u"v");
    top->removeNode();
    EXPECT_EQ(calls, (std::vector<std::string>{"/top/a", "/top/b/c", "/top/b", "/top"}));

    DebugCapture debug;
    for (const auto& operation : std::vector<std::function<void()>>{
             [&] { leaf->get(u"k", u""); }, [&] { leaf->put(u"k", u""); }, [&] { leaf->remove(u"k"); },
             [&] { leaf->clear(); }, [&] { leaf->keys(); }, [&] { leaf->childrenNames(); }, [&] { leaf->parent(); },
             [&] { leaf->node(u"/"); }, [&] { leaf->nodeExists(u""); }, [&] { leaf->flush(); }, [&] { leaf->sync(); },
             [&] { leaf->removeNode(); }})
        EXPECT_EQ(messageOf<NorqIllegalStateException>(operation), u"Node removed");
    EXPECT_GT(debug.count(u"Node removed"), 0U);
    EXPECT_EQ(leaf->name(), u"c");
    EXPECT_NE(root->node(u"top/b/c"), leaf);
    EXPECT_EQ(messageOf([&] { root->removeNode(); }), u"Parent value is NULL.");
}

TEST_F(AbstractPreferencesTest, ARemovalThatFailedGoesOnWhereItStopped) {
    const auto top = std::static_pointer_cast<MemoryPreferences>(root->node(u"top"));
    bool fails = true;
    top->onCall = [this, &fails](const std::string&, MemoryPreferences& node) {
        calls.push_back(UtfUtils::utf16ToUtf8(node.name()));
        if (fails && node.name() == u"b")
            throw NorqBackingStoreException(u"no");
    };
    const auto a = top->node(u"a");
    const auto b = top->node(u"b");
    EXPECT_THROW(top->removeNode(), NorqBackingStoreException);
    EXPECT_NE(top->node(u"a"), a);
    EXPECT_EQ(top->node(u"b"), b);
    fails = false;
    top->removeNode();
    EXPECT_EQ(calls, (std::vector<std::string>{"a", "b", "a", "b", "top"}));
}

TEST_F(AbstractPreferencesTest, FlushesFromTheTopAndStopsAtAFailure) {
    const auto top = std::static_pointer_cast<MemoryPreferences>(root->node(u"top"));
    top->onCall = [this](const std::string& operation, MemoryPreferences& node) {
        calls.push_back(operation + " " + UtfUtils::utf16ToUtf8(node.name()));
        if (node.name() == u"b" && operation == "sync")
            throw NorqBackingStoreException(u"no");
        if (node.name() == u"a" && operation == "flush") // is gone when its turn comes
            std::static_pointer_cast<MemoryPreferences>(node.parent())->getChild(u"c")->removeNode();
    };
    top->node(u"a/a1");
    top->node(u"b/b1");
    top->node(u"c");
    top->flush();
    EXPECT_EQ(calls, (std::vector<std::string>{"flush top", "flush a", "remove c", "flush a1", "flush b", "flush b1"}));
    calls.clear();
    EXPECT_THROW(top->sync(), NorqBackingStoreException);
    EXPECT_EQ(calls, (std::vector<std::string>{"sync top", "sync a", "sync a1", "sync b"}));
}

TEST_F(AbstractPreferencesTest, BearsDepthAndBreadth) {
    WString path;
    for (int level = 0; level < 200; ++level)
        path += u"/level" + WString(70, u'x');
    const std::shared_ptr<Preferences> deep = root->node(path);
    EXPECT_EQ(deep->absolutePath(), path);
    EXPECT_TRUE(deep->isUserNode());

    // Removal, flushing and the end of the nodes must not recurse.
    std::shared_ptr<Preferences> bottom = MemoryFactory::root(1);
    for (int level = 0; level < 5'000; ++level)
        bottom = bottom->node(u"d");

    const std::shared_ptr<Preferences> broad = root->node(u"broad");
    const auto number = [](int value) {
        const std::string text = std::to_string(value);
        return WString(text.begin(), text.end());
    };
    for (int child = 0; child < 10'000; ++child) {
        const std::shared_ptr<Preferences> node = broad->node(number(child));
        for (int key = 0; key < 10; ++key)
            node->putInt(number(key), child);
    }
    EXPECT_EQ(broad->childrenNames().size(), 10'000U);
    root->flush();
    EXPECT_EQ(root->node(u"broad/9999")->getInt(u"9", 0), 9999);
    MemoryFactory::root(1)->sync();
    MemoryFactory::root(1)->drop();
    EXPECT_TRUE(std::static_pointer_cast<MemoryPreferences>(bottom)->isRemoved());
    root->drop();
    EXPECT_TRUE(root->childrenNames().empty());
}

TEST_F(AbstractPreferencesTest, PicksTheFactoryByName) {
    NorqSystem& system = NorqSystem::getInstance();
    EXPECT_EQ(Preferences::userRoot(), root);
    EXPECT_EQ(Preferences::systemRoot(), MemoryFactory::root(1));
    system.putEnv(u"default.PreferencesFactory", u"no.Such");
    EXPECT_EQ(messageOf<NorqAccessException>([] { Preferences::userRoot(); }),
              u"Unable to get PreferencesFactory named <no.Such>.");
    system.putEnv(u"default.PreferencesFactory", u"");
    EXPECT_EQ(Preferences::userRoot(), root);
    EXPECT_EQ(WString(Preferences::defaultFactory), u"norq_std.RegistryPreferencesFactory");
}

TEST_F(AbstractPreferencesTest, UtilsReadByTheKeyOfAPath) {
    Paths::getInstance()->setPath(u"prefs", u"/my/settings");
    const std::shared_ptr<Preferences> node = PreferencesUtils::getNode(u"prefs", true);
    EXPECT_EQ(node, MemoryFactory::root(1)->node(u"my/settings"));
    node->put(u"number", u"12");
    EXPECT_EQ(PreferencesUtils::getInt(u"prefs", u"number", 1, true), 12);
    EXPECT_EQ(PreferencesUtils::getInt(u"prefs", u"number", 1, false), 1);
    EXPECT_EQ(PreferencesUtils::getString(u"prefs", u"number", u"", true), u"12");
    EXPECT_EQ(messageOf([] { PreferencesUtils::getNode(u"unset", true); }), u"Preferences path value is empty.");
    EXPECT_EQ(messageOf([] { PreferencesUtils::getInt(u"prefs", u"", 1, true); }), u"Preferences key value is empty.");
}
