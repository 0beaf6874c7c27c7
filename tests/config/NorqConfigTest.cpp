#include "config/NorqConfig.h"

#include "config/ConfigurationListener.h"
#include "exception/NorqException.h"
#include "file/FileWatcher.h"
#include "internal/ConfigFileRelay.h"
#include "support/Actor.h"
#include "support/DebugCapture.h"
#include "support/FileCalls.h"
#include "support/NothingLeft.h"

#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using norq_std::Configuration;
using norq_std::ConfigurationChangeEvent;
using norq_std::ConfigurationElement;
using norq_std::ConfigurationFile;
using norq_std::ConfigurationSection;
using norq_std::FileWatcher;
using norq_std::LockedFile;
using norq_std::NorqConfig;
using norq_std::UtfUtils;
using norq_std::WString;
using norqstd_test::fileOf;
using norqstd_test::write;
using Texts = std::vector<std::string>;

/// Reports each event as "Added [section] key=value" and the like.
class Events : public norq_std::ConfigurationListener, public norqstd_test::Reports {
public:
    std::function<void()> then = [] {};

    void onConfigChange(const ConfigurationChangeEvent& event) override {
        add(text(event));
        then();
    }
    static std::string text(const ConfigurationChangeEvent& event) {
        const char* const types[] = {"Added", "Removed", "Changed"};
        return std::string(types[event.getEventType()]) + " [" + UtfUtils::utf16ToUtf8(event.getSection()) + "] " +
               UtfUtils::utf16ToUtf8(event.getKey()) + "=" + UtfUtils::utf16ToUtf8(event.getValue());
    }
};

class OpenConfig : public NorqConfig {
public:
    using NorqConfig::getChangeEvents;
    using NorqConfig::hasConfigurationListener;
    using NorqConfig::NorqConfig;
    ~OpenConfig() override { endWatching(); }
};

class NorqConfigTest : public norqstd_test::NothingLeft {
protected:
    static void SetUpTestSuite() {
        // The watcher's thread and descriptors are the process's.
        const auto listener = std::make_shared<norqstd_test::FileCalls>();
        FileWatcher::addListener(listener, norq_std::File(u"C:\\norqstd.cfg"));
        FileWatcher::removeListener(listener);
    }

    fs::path path() { return folder() / "a.cfg"; }
    /// In one step: what writes in place without a lock is seen while it is empty. The new file has other permissions.
    void replace(const std::string& content) {
        write(folder() / "new", content);
        fs::permissions(folder() / "new", fs::perms::others_read, fs::perm_options::remove);
        fs::rename(folder() / "new", path());
    }
    /// A configuration that was loaded from this content and is followed by `events`.
    void open(const std::string& content) {
        write(path(), content);
        config.emplace(fileOf(path()).getPath());
        config->load();
        config->addConfigurationListener(events);
    }
    /// What was told up to a change that comes last.
    Texts told() {
        config->setValue(u"end", WString(u"x") + static_cast<char16_t>(u'a' + marks++), u"mark");
        const std::string last =
            std::string(marks == 1 ? "Added" : "Changed") + " [mark] end=x" + static_cast<char>('a' + marks - 1);
        return events->until(last);
    }

    const std::shared_ptr<Events> events = std::make_shared<Events>();
    std::optional<OpenConfig> config;
    int marks = 0;
};

TEST_F(NorqConfigTest, TellsOfChangesThroughTheObject) {
    open("a=1\n[s]\nb=2\n");
    config->setValue(u"a", u"1 ", u"");
    config->setValue(u"a", u"one ", u"");
    config->setValue(u" c ", u"3", u" s");
    EXPECT_THROW(config->setValue(u" ", u"3", u"s"), norq_std::NorqIllegalArgumentException);
    EXPECT_EQ((Texts{"Changed [] a=one", "Added [ s]  c =3"}), told());

    EXPECT_FALSE(config->removeValue(u"x", u"s"));
    EXPECT_FALSE(config->removeSection(u"x"));
    EXPECT_TRUE(config->removeValue(u"c", u"s"));
    EXPECT_TRUE(config->removeSection(u"s"));
    EXPECT_TRUE(config->removeSection(u""));
    EXPECT_EQ((Texts{"Removed [s] c=", "Removed [s] b=2", "Removed [] a=one"}), told());

    ConfigurationSection section(u"t");
    section.appendElement(ConfigurationElement(u"a comment"));
    section.setValue(u"a", u"1");
    section.setValue(u"b", u"2");
    config->addSection(section);
    section.setValue(u"a", u"one");
    config->addSection(section);
    EXPECT_EQ((Texts{"Added [t] a=1", "Added [t] b=2", "Changed [t] a=one"}), told());
    EXPECT_EQ(2u, config->copySections().back().getSize() + (config->containsSection(u"mark") ? 0u : 9u));
    EXPECT_EQ(u"NorqConfig{path='" + fileOf(path()).getPath() + u"'}", config->toString());
}

TEST_F(NorqConfigTest, CallsEachListenerOnceAndWithoutTheLock) {
    open("");
    const auto second = std::make_shared<Events>();
    config->addConfigurationListener(events);
    config->addConfigurationListener(nullptr);
    config->addConfigurationListener(second);
    EXPECT_TRUE(config->hasConfigurationListener(second));
    // Another thread can use the configuration while a listener runs.
    second->then = [this] { std::async([this] { config->getValue(u"a", u""); }).get(); };
    config->setValue(u"a", u"1", u"");
    EXPECT_EQ(Texts{"Added [] a=1"}, told());
    EXPECT_EQ("Added [] a=1", second->next());
    config->removeConfigurationListener(second);
    EXPECT_FALSE(config->hasConfigurationListener(second));
}

TEST_F(NorqConfigTest, ComparesKeysAndValuesInOrder) {
    OpenConfig own;
    Configuration other;
    for (const auto& [key, section] : {std::pair(u"same", u"s"), std::pair(u"gone", u"s"), std::pair(u"new", u"t")})
        own.setValue(key, u"1", section);
    own.appendElement(ConfigurationElement(u"comment"), u"only comments");
    other.setValue(u"a", u"5", u"added");
    other.setValue(u"late", u"4", u"s");
    other.setValue(u"same", u"1", u"s");
    other.setValue(u"new", u"2", u"t");
    Texts texts;
    for (const ConfigurationChangeEvent& event : own.getChangeEvents(other))
        texts.push_back(Events::text(event));
    EXPECT_EQ((Texts{"Removed [s] gone=1", "Changed [t] new=2", "Added [added] a=5", "Added [s] late=4"}), texts);
}

TEST_F(NorqConfigTest, FollowsItsFile) {
    open("# one\na=1\n[s]\nb=2\n");
    replace("a=1\n[s]\nb=two\n");
    EXPECT_EQ("Changed [s] b=two", events->next());
    replace("a=1\nc=3\n");
    EXPECT_EQ("Removed [s] b=two", events->next());
    EXPECT_EQ("Added [] c=3", events->next());
    fs::remove(path());
    EXPECT_EQ("Removed [] a=1", events->next());
    EXPECT_EQ("Removed [] c=3", events->next());
    EXPECT_TRUE(config->getKeys(u"").empty());
    replace("a=back\n"); // in one notification: a second one may find what is set below unsaved
    EXPECT_EQ("Added [] a=back", events->next());

    // The watcher may be reading the file, which is refused to writers then.
    const auto save = [](auto& file) {
        return norqstd_test::eventually([&file] {
            try {
                file.save();
                return true;
            } catch (const norq_std::NorqIOException&) {
                return false;
            }
        });
    };
    // Saving through the object is heard of once, when the value is set.
    config->setValue(u"a", u"saved", u"");
    ASSERT_TRUE(save(*config));
    // A change of the layout alone tells nothing, and is kept.
    ConfigurationFile editor(fileOf(path()), nullptr);
    editor.load();
    editor.appendElement(ConfigurationElement(u" from the editor"), u"");
    editor.setValue(u"last", u"1", u"");
    ASSERT_TRUE(save(editor));
    EXPECT_EQ((Texts{"Changed [] a=saved"}), events->until("Added [] last=1"));
    ASSERT_TRUE(save(*config));
    editor.load();
    EXPECT_EQ(3u, editor.copySections().front().getSize());

    // Another path is followed in the place of the first.
    write(folder() / "b.cfg", "b=0\n");
    config->setPath(fileOf(folder() / "b.cfg"));
    write(path(), "unheard=1\n");
    write(folder() / "b.cfg", "b=one\n");
    EXPECT_EQ("Removed [] a=saved", events->next());
}

TEST_F(NorqConfigTest, KeepsTheOldContentIfTheFileCannotBeRead) {
    open("a=1\n");
    const norqstd_test::DebugCapture log;
    LockedFile holder;
    holder.open(fileOf(path()), LockedFile::Append, nullptr);
    write(path(), "a=2\n", std::ios::app);
    while (log.count(u"Unable to load configuration after <5> attempts, giving up.") == 0)
        std::this_thread::yield();
    EXPECT_LE(5u, log.count(u"Unable to load configuration: ")) << "more, if the write was told twice";
    EXPECT_EQ(u"1", config->getValue(u"a", u""));
    holder.close();
    replace("a=3\n");
    EXPECT_EQ("Changed [] a=3", events->next());
}

TEST_F(NorqConfigTest, GoesOnUnwatchedWhereNothingCanBeWatched) {
    const norqstd_test::DebugCapture log;
    config.emplace(fileOf(folder() / "no such folder" / "a.cfg").getPath());
    config->addConfigurationListener(events);
    EXPECT_EQ(1u, log.count(u"Unable to start monitoring for <"));
    EXPECT_TRUE(config->hasConfigurationListener(events));
    config->setValue(u"a", u"1", u"");
    EXPECT_EQ("Added [] a=1", events->next());
}

TEST_F(NorqConfigTest, WaitsAtItsEndForAReloadThatRuns) {
    open("a=1\n");
    std::latch held(1);
    std::latch release(1);
    std::atomic<bool> gone{false};
    events->then = [&, calls = 0]() mutable {
        if (calls++ == 0) {
            held.count_down();
            release.wait();
        }
        EXPECT_FALSE(gone);
    };
    replace("a=2\nb=3\n");
    held.wait();
    std::thread end([&] {
        config.reset();
        gone = true;
    });
    EXPECT_FALSE(gone);
    release.count_down();
    end.join();
    EXPECT_EQ("Changed [] a=2", events->next());
    EXPECT_EQ("Added [] b=3", events->next());
}

TEST_F(NorqConfigTest, IsNotCalledAfterItsEnd) {
    norqstd_test::FileCalls listener;
    norq_std_internal::ConfigFileRelay relay(listener);
    const norq_std::File file(u"C:\\a.cfg");
    listener.inEachCall([&relay] { relay.detach(); }); // from inside a call too
    relay.onFileAttributeChange(file);
    relay.onFileContentChange(file);
    listener.add("end");
    EXPECT_EQ(Texts{"content a.cfg"}, listener.until("end"));
}

} // namespace
