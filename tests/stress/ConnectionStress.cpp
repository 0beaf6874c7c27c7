// Random schedules against a connection: norqstd-connection-stress [seconds [seed]].
//
// Several threads connect, disconnect, report failures, change the settings and shut down, over an implementer that
// fails at random, while listeners block, throw and call back. Every change must alternate for the implementer and for
// each listener; when all is quiet, the flags must make a state of the table, agree with the implementer, and be what
// each listener was told last. A broken promise or a schedule that stands still ends the program with a report.

#include "connection/ConnectionManager.h"
#include "connection/IConnectionImplementer.h"
#include "connection/IConnectionStatusListener.h"
#include "connection/ISendHeartBeat.h"
#include "connection/LastPlusOneConnectionPolicy.h"
#include "exception/NorqException.h"
#include "support/Actor.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace norq_std;
using norqstd_test::eventually;

std::uint64_t seed = 0;
std::atomic<std::uint64_t> roundNumber{0};
std::atomic<std::uint64_t> moves{0};

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "connection stress: %s (seed %llu, round %llu)\n", what, static_cast<unsigned long long>(seed),
                 static_cast<unsigned long long>(roundNumber.load()));
    std::_Exit(1);
}

void require(bool condition, const char* what) {
    if (!condition)
        fail(what);
}

/// A generator of its own for each thread, so that drawing brings no order into them.
std::size_t pick(std::size_t choices) {
    static std::atomic<std::uint64_t> threads{0};
    thread_local std::mt19937_64 random(seed + ++threads);
    return random() % choices;
}

void throwSomething() {
    switch (pick(3)) {
    case 0:
        throw NorqIOException(u"random");
    case 1:
        throw std::runtime_error("random");
    default:
        throw 7;
    }
}

/// The fields have no lock: the manager promises one call at a time.
class Implementer : public IConnectionImplementer {
public:
    WString toString() const override { return u"Implementer{}"; }
    WString useServiceConnectionInfo(int index) override {
        if (index > 2)
            throw NorqObjectNotFoundException(u"No such service.");
        return u"host";
    }
    void establishConnection() override {
        require(connection == nullptr || broken, "connected twice");
        if (pick(2) == 0 && flaky)
            throw NorqConnectException(u"random");
        if (pick(50) == 0 && flaky)
            throwSomething();
        connection = std::make_shared<int>(0);
        broken = false;
    }
    void disconnectConnection() override {
        require(connection != nullptr, "closed twice");
        if (pick(10) == 0 && flaky) {
            broken = true; // and may be replaced or closed again
            throw NorqConnectException(u"random");
        }
        connection.reset();
        broken = false;
    }
    std::shared_ptr<void> internalGetConnection() override { return connection; }

    bool isOpen() const { return connection != nullptr; }
    bool isOpenAndSound() const { return isOpen() && !broken; }

    std::atomic<bool> flaky{true};

private:
    std::shared_ptr<void> connection;
    bool broken = false;
};

void randomCall(ConnectionManager& manager, std::size_t shutdowns);

class Listener : public IConnectionStatusListener {
public:
    Listener(ConnectionManager& owner, bool isLate)
        : manager(owner)
        , late(isLate) {}

    WString toString() const override { return u"Listener{}"; }
    void statusChanged(bool isUp, const WString& host) override {
        require(!running.exchange(true), "a listener is told of two changes at once");
        require(host == u"host", "a change without its host");
        const int last = told.exchange(isUp ? 1 : 0);
        require(last != (isUp ? 1 : 0) && (last != -1 || isUp || late), "changes do not alternate");
        const std::size_t choice = pick(20);
        if (choice < 2)
            std::this_thread::sleep_for(std::chrono::milliseconds(choice));
        else if (choice < 6 && active)
            randomCall(manager, 100);
        running = false;
        if (choice == 7)
            throwSomething();
    }

    std::atomic<bool> active{true};
    std::atomic<bool> running{false};
    std::atomic<int> told{-1};

private:
    ConnectionManager& manager;
    const bool late;
};

class Sender : public ISendHeartBeat {
public:
    WString toString() const override { return u"Sender{}"; }
    void sendHeartBeat() override {
        if (calm) {
            ++calmBeats;
            return;
        }
        if (pick(4) == 0)
            throw NorqConnectException(u"random");
        if (pick(4) == 0)
            throwSomething();
    }

    std::atomic<bool> calm{false};
    std::atomic<std::size_t> calmBeats{0};
};

void randomCall(ConnectionManager& manager, std::size_t shutdowns) {
    ++moves;
    try {
        switch (pick(12)) {
        case 0:
        case 1:
        case 2:
            manager.connect();
            break;
        case 3:
            manager.disconnect();
            break;
        case 4:
            manager.doRecovery(pick(2) == 0);
            break;
        case 5: {
            std::shared_ptr<void> another = pick(2) == 0 ? std::make_shared<int>(0) : nullptr;
            manager.doRecovery(another);
            break;
        }
        case 6:
            manager.setRecoveryEnabled(pick(4) != 0);
            break;
        case 7:
            manager.setHeartBeatEnabled(pick(2) == 0);
            break;
        case 8:
            manager.setTryAllServices(pick(2) == 0);
            break;
        case 9:
            manager.setKeepConnectionAlive(pick(4) == 0);
            break;
        case 10:
            manager.setLastOperationTime();
            manager.toString();
            break;
        default:
            if (pick(shutdowns) == 0)
                manager.shutdown();
        }
    } catch (const NorqException&) { // the implementer's, or a recovery in progress
    } catch (const std::exception&) {
    } catch (int) {
    }
}

void playRound(std::size_t calls) {
    const auto implementer = std::make_shared<Implementer>();
    ConnectionManager manager(u"stress", implementer);
    manager.setLogConnectionStatus(false);
    const auto sender = std::make_shared<Sender>();
    manager.setHeartBeatSender(sender);
    manager.setHeartBeatInterval(1);
    manager.setRecoveryInterval(1);
    if (pick(2) == 0)
        manager.setConnectionPolicy(std::make_shared<LastPlusOneConnectionPolicy>());
    std::vector<std::shared_ptr<Listener>> listeners;
    for (int i = 0; i < 3; ++i) {
        listeners.push_back(std::make_shared<Listener>(manager, false));
        manager.addListener(listeners.back());
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            for (std::size_t n = 0; n < calls; ++n)
                randomCall(manager, 200);
        });
    threads.emplace_back([&] { // comes and goes, and never hears out of turn while it is there
        for (std::size_t n = 0; n < calls / 20; ++n) {
            const auto guest = std::make_shared<Listener>(manager, true);
            manager.addListener(guest);
            std::this_thread::yield();
            manager.removeListener(guest);
        }
    });
    for (std::thread& thread : threads)
        thread.join();

    // Quiet: nobody calls but the manager's own threads, and services answer.
    for (const auto& listener : listeners)
        listener->active = false;
    for (const auto& listener : listeners)
        require(eventually([&] { return !listener->running; }), "a listener does not return");
    implementer->flaky = false;
    manager.addListener(listeners.front()); // a shutdown may have left changes in the queue
    sender->calm = true;                    // a beat that fails may be under way: it is over when the next one is sent
    require(eventually([&] {
                try {
                    manager.setKeepConnectionAlive(false);
                    manager.setRecoveryEnabled(true);
                    manager.setHeartBeatEnabled(true);
                    manager.connect();
                } catch (const NorqConnectException&) { // recovery is in progress
                }
                return sender->calmBeats > 0;
            }),
            "no heart beat is sent");
    const bool wish = pick(2) == 0;
    require(eventually([&] {
                try {
                    manager.setKeepConnectionAlive(false);
                    manager.setHeartBeatEnabled(false);
                    manager.setRecoveryEnabled(true);
                    wish ? manager.connect() : manager.disconnect();
                } catch (const NorqConnectException&) { // recovery is in progress, or a listener's call came between
                }
                return manager.isConnected() == wish && manager.isWantToBeConnected() == wish;
            }),
            "the wish does not come true");
    const bool told = eventually([&] {
        for (const auto& listener : listeners)
            if (listener->told != (wish ? 1 : 0) && (wish || listener->told != -1))
                return false;
        return true;
    });
    require(told, "the last that a listener heard is not the state");
    require(!manager.isInRecovery(), "a recovery that is over goes on");
    require(wish ? implementer->isOpen() : !implementer->isOpenAndSound(), "the connection is not what the flags say");
    manager.shutdown();
    require(!manager.isConnected() && !manager.isWantToBeConnected() && !manager.isInRecovery(), "not shut down");
    require(!implementer->isOpenAndSound(), "the connection outlives the shutdown");
}

/// Ends the program when the schedule stands still.
class Watchdog {
public:
    ~Watchdog() {
        {
            const std::lock_guard guard(mutex);
            finished = true;
        }
        changed.notify_all();
        thread.join();
    }

private:
    void watch() {
        std::unique_lock guard(mutex);
        for (std::uint64_t seen = moves - 1; !finished;) {
            require(seen != moves, "no progress: threads lock each other out");
            seen = moves;
            changed.wait_for(guard, norqstd_test::longLimit() * 3, [this] { return finished; });
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    bool finished = false;
    std::thread thread{[this] { watch(); }};
};

} // namespace

int main(int argc, char** argv) {
    const auto seconds = std::chrono::seconds(argc > 1 ? std::atoi(argv[1]) : 10);
    seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()();
    const auto end = std::chrono::steady_clock::now() + seconds;
    const Watchdog watchdog;
    do {
        ++roundNumber;
        playRound(400);
    } while (std::chrono::steady_clock::now() < end);
    std::printf("%llu rounds, %llu calls, seed %llu\n", static_cast<unsigned long long>(roundNumber.load()),
                static_cast<unsigned long long>(moves.load()), static_cast<unsigned long long>(seed));
    return 0;
}
