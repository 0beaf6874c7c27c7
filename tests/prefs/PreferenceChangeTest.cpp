#include "MemoryPreferences.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/FileCalls.h"
#include "support/Limits.h"

#include "base/UtfUtils.h"
#include "concurrency/Concurrency.h"
#include "concurrency/Event.h"
#include "prefs/PreferenceChangeBlocker.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeNotifier.h"

#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace norq_std;
using norqstd_test::DebugCapture;
using norqstd_test::longLimitMillis;
using norqstd_test::MemoryPreferences;

namespace {

PreferenceChangeNotifier& notifier() { return PreferenceChangeNotifier::getInstance(); }

void change(const WString& path, const WString& key, const WString& value = u"v") {
    notifier().enqueuePreferenceChangeEvent(PreferenceChangeEvent::newInstance(nullptr, path, key, value));
}

class Listener : public PreferenceChangeListener, public norqstd_test::Reports {
public:
    void preferenceChange(const std::shared_ptr<PreferenceChangeEvent>& event) override {
        reportAndRun(UtfUtils::utf16ToUtf8(event->getKey()));
    }
};

/// A node that files its listeners, as a backend does.
class Node : public MemoryPreferences {
public:
    static std::shared_ptr<Preferences> make() { return std::shared_ptr<Preferences>(new Node); }
    WString buildListenerPath() const override { return u"node"; }
    void addPreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) override {
        notifier().addPreferenceChangeListener(u"node", listener);
    }
    void removePreferenceChangeListener(const std::shared_ptr<PreferenceChangeListener>& listener) override {
        notifier().removePreferenceChangeListener(u"node", listener);
        throw NorqIllegalStateException(u"Node removed");
    }

private:
    Node()
        : MemoryPreferences(nullptr, u"") {}
};

} // namespace

TEST(PreferenceChangeNotifierTest, FilesEachListenerOnceByPath) {
    DebugCapture debug;
    const auto listener = std::make_shared<Listener>();
    notifier().addPreferenceChangeListener(u"p", listener);
    notifier().addPreferenceChangeListener(u"p", listener);
    EXPECT_EQ(notifier().getNumberOfListeners(u"p"), 1U);
    EXPECT_EQ(debug.count(u"Change listener already in list."), 1U);
    change(u"elsewhere", u"lost");
    change(u"p", u"told");
    EXPECT_EQ(listener->next(), "told");
    notifier().removePreferenceChangeListener(u"p", listener);
    notifier().removePreferenceChangeListener(u"p", listener);
    EXPECT_EQ(debug.count(u" not register for path <p>."), 1U);
    EXPECT_EQ(notifier().getNumberOfListeners(u"p"), 0U);
    EXPECT_THROW(notifier().getNumberOfListeners(u""), NorqIllegalArgumentException);
    EXPECT_EQ(PreferenceChangeEvent::newInstance(nullptr, u"p", u"k", u"v")->toString(),
              u"PreferenceChangeEvent{node=NULL,key='k',newValue='v',listenerPath='p'}");
}

TEST(PreferenceChangeNotifierTest, KeepsAThousandEventsInOrderAndDropsTheNext) {
    DebugCapture debug;
    const auto listener = std::make_shared<Listener>();
    Event goOn(false, false);
    listener->inEachCall([&] { norq_std::Concurrency::waitForSingleObject(goOn, longLimitMillis()); });
    notifier().addPreferenceChangeListener(u"p", listener);
    change(u"p", u"first");
    EXPECT_EQ(listener->next(), "first"); // and is still being told
    for (int i = 0; i < 1001; ++i)
        change(u"p", UtfUtils::utf8ToUtf16(std::to_string(i)));
    EXPECT_EQ(debug.count(u"Preference change notification queue has reached its maximum size <1000>."), 1U);
    listener->inEachCall([] {});
    goOn.signal();
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(listener->next(), std::to_string(i));
    change(u"p", u"last");
    EXPECT_EQ(listener->next(), "last");
    notifier().removePreferenceChangeListener(u"p", listener);
}

TEST(PreferenceChangeNotifierTest, AListenerThatThrowsEndsItsEventAlone) {
    DebugCapture debug;
    const auto listener = std::make_shared<Listener>();
    listener->inEachCall([] { throw std::runtime_error("no"); });
    notifier().addPreferenceChangeListener(u"p", listener);
    change(u"p", u"1");
    change(u"p", u"2");
    EXPECT_EQ(listener->next(), "1");
    EXPECT_EQ(listener->next(), "2");
    EXPECT_TRUE(
        norqstd_test::eventually([&] { return debug.count(u"PreferenceChangeEventDispatchThread::run>.") == 2; }));
    listener->inEachCall([&] { notifier().removePreferenceChangeListener(u"p", listener); });
    change(u"p", u"3");
    EXPECT_EQ(listener->next(), "3");
    EXPECT_TRUE(norqstd_test::eventually([] { return notifier().getNumberOfListeners(u"p") == 0; }));
}

TEST(PreferenceChangeBlockerTest, HandsEventsToTheThreadThatWaits) {
    Event stop(false, false);
    const auto node = Node::make();
    PreferenceChangeBlocker blocker(stop, node);
    EXPECT_EQ(blocker.toString(), u"PreferenceChangeBlocker{}");
    EXPECT_EQ(blocker.getEvent(0), nullptr);
    norqstd_test::Actor reader;
    WString value;
    const auto reading = reader.begin([&] { value = blocker.getNewValue(u"wanted", longLimitMillis()); });
    change(u"node", u"other");
    change(u"node", u"wanted", u"here");
    change(u"node", u"next");
    EXPECT_TRUE(norqstd_test::becomesReady(reading));
    EXPECT_EQ(value, u"here");
    EXPECT_EQ(blocker.getEvent(longLimitMillis())->getKey(), u"next");
    EXPECT_EQ(blocker.getNewValue(u"never", 0), u"");
    EXPECT_THROW(blocker.getNewValue(u"", 0), NorqIllegalArgumentException);
    stop.signal();
    EXPECT_EQ(blocker.getEvent(-1), nullptr);
    blocker.preferenceChange(PreferenceChangeEvent::newInstance(node, u"node", u"k", u"v"));
    EXPECT_EQ(blocker.getEvent(-1)->getKey(), u"k");
}

TEST(PreferenceChangeBlockerTest, DropsWhatNobodyReads) {
    DebugCapture debug;
    Event stop(false, false);
    PreferenceChangeBlocker blocker(stop, Node::make());
    for (int i = 0; i < 201; ++i)
        blocker.preferenceChange(
            PreferenceChangeEvent::newInstance(nullptr, u"node", UtfUtils::utf8ToUtf16(std::to_string(i)), u""));
    EXPECT_EQ(debug.count(u"Preference change blocker queue has reached its maximum size <200>."), 1U);
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(blocker.getEvent(0)->getKey(), UtfUtils::utf8ToUtf16(std::to_string(i)));
    EXPECT_EQ(blocker.getEvent(0), nullptr);
}

TEST(PreferenceChangeBlockerTest, RefusesToListenToNothing) {
    Event stop(false, false);
    const auto messageOf = [](const auto& make) -> WString {
        try {
            make();
        } catch (const NorqIllegalArgumentException& failure) {
            return failure.getMessage();
        }
        return u"nothing was thrown";
    };
    EXPECT_EQ(messageOf([&] { PreferenceChangeBlocker(stop, std::shared_ptr<Preferences>()); }),
              u"Preference node value is NULL.");
    EXPECT_EQ(messageOf([&] { PreferenceChangeBlocker(stop, std::list<std::shared_ptr<Preferences>>()); }),
              u"Preference node list size value 0 is below minimum of 1.");
    EXPECT_EQ(messageOf([&] { PreferenceChangeBlocker(stop, std::vector<WString>(), true); }),
              u"Keys size value 0 is below minimum of 1.");
}

TEST(PreferenceChangeBlockerTest, MayEndWhileItIsCalled) {
    Event stop(false, false);
    const auto node = Node::make();
    for (std::size_t round = 0; round < norqstd_test::rounds(500); ++round) {
        const PreferenceChangeBlocker blocker(stop, node);
        change(u"node", u"k");
    }
    EXPECT_EQ(notifier().getNumberOfListeners(u"node"), 0U);
}
