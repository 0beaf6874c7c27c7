// norqstd-prefs-order [seconds [seed]]: threads do random operations on random nodes of one tree in memory, one in
// files and one in the registry, remove branches while others descend into them, and add and remove listeners. Nothing
// may come but what the operations say, and no thread may stand still. Under the thread sanitizer the order of all
// locks is checked too.

#include "internal/LockWatch.h"
#include "prefs/FileRoots.h"
#include "prefs/MemoryPreferences.h"
#include "support/Limits.h"

#include "base/UtfUtils.h"
#include "prefs/FilePreferencesFactory.h"
#include "prefs/PreferenceChangeEvent.h"
#include "prefs/PreferenceChangeListener.h"
#include "prefs/RegistryPreferences.h"
#include "system/NorqSystem.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

using namespace norq_std;

namespace {

constexpr std::size_t THREADS = 4;
constexpr int DEEPEST = 6;

#if defined(__SANITIZE_THREAD__)
void* address(const void* lock) { return const_cast<void*>(lock); }

const norq_std_internal::LockWatch watch{[](const void* lock, bool wasTried) {
                                             const unsigned flags = wasTried ? __tsan_mutex_try_lock : 0;
                                             __tsan_mutex_pre_lock(address(lock), flags);
                                             __tsan_mutex_post_lock(address(lock), flags, 0);
                                         },
                                         [](const void* lock) {
                                             __tsan_mutex_pre_unlock(address(lock), 0);
                                             __tsan_mutex_post_unlock(address(lock), 0);
                                         },
                                         [](const void* lock) { __tsan_mutex_destroy(address(lock), 0); }};

void watchLocks() { norq_std_internal::lockWatch = &watch; }
#else
void watchLocks() {}
#endif

class Listener : public PreferenceChangeListener {
public:
    void preferenceChange(const std::shared_ptr<PreferenceChangeEvent>& event) override {
        if (event->getNode()->buildListenerPath() != event->getListenerPath())
            std::abort();
        ++told;
    }
    static inline std::atomic<std::size_t> told{0};
};

class Actor {
public:
    Actor(std::vector<std::shared_ptr<Preferences>> treeRoots, unsigned seed)
        : roots(std::move(treeRoots))
        , random(seed)
        , node(roots.front()) {}

    void step() {
        try {
            act();
        } catch (const NorqIllegalStateException&) { // somebody removed the node
            ++refused;
            node = roots[number(roots.size())];
        } catch (const NorqBackingStoreException&) { // somebody removed its directory or key, or wrote into it
            ++refused;
        } catch (const NorqObjectNotFoundException&) { // somebody removed its key, which cannot be monitored
            ++refused;
        }
        ++steps;
    }

    std::atomic<std::size_t> steps{0};
    std::atomic<std::size_t> refused{0};

private:
    std::size_t number(std::size_t count) { return random() % count; }

    WString path() {
        WString text = number(3) == 0 ? u"/" : u"";
        const std::size_t levels = 1 + number(3);
        for (std::size_t level = 0; level < levels; ++level)
            text += (level == 0 ? WString() : WString(u"/")) + static_cast<WChar>(u'a' + number(3));
        return text;
    }

    void descend() {
        const WString to = path();
        const WString from = node->absolutePath();
        if (from.size() > 2 * DEEPEST)
            node = node->node(u"/");
        const WString expected = to.front() == u'/'             ? to
                                 : node->absolutePath() == u"/" ? u"/" + to
                                                                : node->absolutePath() + u"/" + to;
        node = node->node(to);
        if (node->absolutePath() != expected)
            throw std::runtime_error("the wrong node");
    }

    void act() {
        const WString key(1, static_cast<WChar>(u'k' + number(4)));
        const bool isRoot = node->absolutePath() == u"/"; // which cannot be removed, nor monitored in the registry
        switch (number(16)) {
        case 0:
            if (!isRoot)
                node->removeNode();
            return;
        case 1:
            return number(4) == 0 ? node->sync() : node->flush();
        case 2:
            return node->putInt(key, static_cast<std::int32_t>(number(1000)));
        case 3:
            return node->remove(key);
        case 4:
            return node->clear();
        case 5:
            return void(node->keys());
        case 6:
            return void(node->childrenNames());
        case 7:
            return void(node->nodeExists(path()));
        case 8:
            if (const auto above = node->parent())
                node = above;
            return;
        case 9:
            return void(node->toString());
        case 10:
            if (!isRoot)
                node->addPreferenceChangeListener(listener);
            return;
        case 11:
            return node->removePreferenceChangeListener(listener);
        case 12:
            return void(node->getInt(key, 0));
        default:
            return descend();
        }
    }

    const std::vector<std::shared_ptr<Preferences>> roots;
    const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
    std::mt19937 random;
    std::shared_ptr<Preferences> node;
};

int run(int seconds, unsigned seed) {
    setenv("NORQSTD_REGISTRY_USER", (norqstd_test::FileRoots::get().system() / "hive").c_str(), 1);
    NorqSystem::getInstance().setProperty(u"default.PreferencesFactory", u"norq_std.FilePreferencesFactory");
    static const auto memory = norqstd_test::MemoryPreferences::newRoot();
    const std::vector<std::shared_ptr<Preferences>> roots{memory, Preferences::userRoot(),
                                                          RegistryPreferences::getUserRoot()};
    std::vector<std::unique_ptr<Actor>> actors;
    for (unsigned i = 0; i < THREADS; ++i)
        actors.push_back(std::make_unique<Actor>(roots, seed + i));
    std::atomic<bool> ends{false};
    std::vector<std::thread> threads;
    for (const auto& actor : actors)
        threads.emplace_back([&ends, &actor] {
            while (!ends)
                actor->step();
        });
    // A thread that stands still for so long stands still for good.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    std::array<std::size_t, THREADS> seen{};
    auto moved = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        bool allMoved = true;
        for (std::size_t i = 0; i < THREADS; ++i)
            allMoved = allMoved && actors[i]->steps > seen[i];
        if (allMoved) {
            moved = std::chrono::steady_clock::now();
            for (std::size_t i = 0; i < THREADS; ++i)
                seen[i] = actors[i]->steps;
        } else if (std::chrono::steady_clock::now() - moved > norqstd_test::longLimit()) {
            std::cerr << "a thread stands still\n";
            std::abort();
        }
    }
    ends = true;
    std::size_t steps = 0;
    std::size_t refused = 0;
    for (std::size_t i = 0; i < THREADS; ++i) {
        threads[i].join();
        steps += actors[i]->steps;
        refused += actors[i]->refused;
    }
    memory->drop();
    std::cout << steps << " steps of " << THREADS << " threads, " << refused << " on removed nodes, " << Listener::told
              << " changes told\n";
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    watchLocks();
    return run(argc > 1 ? std::atoi(argv[1]) : 60,
               argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : std::random_device()());
}
