#include "base/Class.h"
#include "base/AutoRegisterClass.h"
#include "base/Configurable.h"
#include "exception/NorqException.h"
#include "internal/LibraryLoad.h"
#include "jni/JniCallbackQueue.h"
#include "pattern/SingletonManager.h"
#include "platform/DebugOutput.h"
#include "support/Limits.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <memory>

namespace {

using namespace norq_std;

class Plugin : public Configurable, public AutoRegisterClass<Plugin> {
public:
    WString toString() const override { return u"Plugin{}"; }
    WString getClassName() const override { return u"test.Plugin"; }
    Plugin* newInstance(const Properties& properties) const override {
        auto plugin = std::make_unique<Plugin>();
        plugin->made = properties.count(u"made") == 1;
        return plugin.release();
    }

    bool made = false;
};

WString rejection(const WString& key, const std::shared_ptr<Object>& object) {
    try {
        Class::getInstance().registerClass(key, object);
    } catch (const NorqIllegalArgumentException& e) {
        return e.getMessage();
    }
    return u"accepted";
}

TEST(ClassTest, RegisteredPrototypeMakesObjectsByName) {
    Plugin::registerClass();
    Plugin::registerClass(); // the second time is refused, silently
    const auto prototype = Class::getInstance().getObject<Configurable>(u"test.Plugin");
    ASSERT_NE(prototype, nullptr);
    const std::unique_ptr<Configurable> object(prototype->newInstance({{u"made", u""}}));
    EXPECT_TRUE(dynamic_cast<Plugin&>(*object).made);
    EXPECT_EQ(Class::getInstance().getObject<NorqException>(u"test.Plugin"), nullptr);
    EXPECT_EQ(Class::getInstance().getObject<Configurable>(u"test.plugin"), nullptr);
    EXPECT_EQ(Class::getInstance().toString(), u"Class{}");
}

TEST(ClassTest, KeyIsTakenOnceAndNeverEmpty) {
    const auto object = std::make_shared<NorqException>(u"");
    EXPECT_EQ(rejection(u"test.Once", object), u"accepted");
    EXPECT_EQ(rejection(u"test.Once", object), u"Object already exists for key: test.Once");
    EXPECT_EQ(rejection(u"", object), u"Specified key is invalid: ");
    EXPECT_EQ(rejection(u"test.Null", nullptr), u"Object value is NULL.");
    EXPECT_FALSE(Class::getInstance().registerClassNoEx(u"test.Once", object));
    EXPECT_FALSE(Class::getInstance().registerClassNoEx(u"test.Null", nullptr));
    EXPECT_TRUE(Class::getInstance().registerClassNoEx(u"test.Null", object));
}

TEST(ClassTest, RefusalIsLoggedWithoutTheLockOfTheRegistry) {
    Plugin::registerClass();
    int looked = 0;
    std::future<void> lookUp;
    norq_std_internal::platform::setDebugOutputSink([&](std::u16string_view text) {
        if (text.find(u"Object already exists") == text.npos)
            return;
        // An appender may make an object by its name on another thread, or wait for one that does.
        lookUp = std::async(std::launch::async, [] { Class::getInstance().getObject<Object>(u"test.Plugin"); });
        looked += lookUp.wait_for(norqstd_test::longLimit()) == std::future_status::ready ? 1 : 1000;
    });
    Plugin::registerClass();
    norq_std_internal::platform::setDebugOutputSink({});
    EXPECT_EQ(looked, 1);
}

TEST(ClassTest, UnloadEndsTheWaitsForJavaCallbacks) {
    const auto seenByPoller = [] {
        JniCallbackQueue& queue = JniCallbackQueue::getInstance();
        std::future<bool> poller = std::async(std::launch::async, [&] { return queue.dequeue(nullptr) == nullptr; });
        norq_std_internal::LibraryLoad::detach();
        if (poller.wait_for(norqstd_test::longLimit()) != std::future_status::ready)
            std::_Exit(1);
        try {
            return poller.get() ? 0 : 2;
        } catch (const NorqIllegalStateException&) { // it came too late to wait
            return 0;
        }
    };
    EXPECT_EXIT(std::_Exit(seenByPoller()), ::testing::ExitedWithCode(0), "");
}

TEST(ClassTest, UnloadedManagerSaysSo) {
    EXPECT_EQ(&SingletonManager::getInstance(), &SingletonManager::getInstance());
    EXPECT_EXIT(
        {
            norq_std_internal::LibraryLoad::detach();
            try {
                SingletonManager::getInstance();
            } catch (const NorqIllegalStateException& e) {
                std::_Exit(e.getMessage() == u"Singleton locks have been destroyed." ? 0 : 2);
            }
            std::_Exit(1);
        },
        ::testing::ExitedWithCode(0), "");
}

} // namespace
