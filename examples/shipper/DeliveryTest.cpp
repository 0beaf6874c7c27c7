// The hand-over walked through every point at which something can fail, and the pairs of such points.

#include "DeliveryProtocol.h"
#include "DeliveryState.h"

#include "collector/Store.h"

#include "base/UtfUtils.h"
#include "exception/NorqException.h"
#include "prefs/Preferences.h"
#include "system/NorqSystem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using shipper::DeliveryBatch;
using shipper::DeliveryProtocol;
using shipper::DeliveryState;
using shipper::StateNode;
using wire::Message;

namespace {

constexpr std::size_t COLLECTORS = 2;
constexpr std::uint64_t LINES = 4;
constexpr int BATCHES_AT_ONE = 2; ///< before the agent changes the collector of its own accord

struct Killed {};
struct Cut {};

/// An agent and collectors with real files, in which a set of points fails: each step on a disk kills its process, and
/// each message can be cut off before it arrives and before its answer does. Whoever was killed is started again.
class World {
public:
    World(const fs::path& root, const StateNode::Address& agentState, std::set<int> failingPoints)
        : folder(root)
        , address(agentState)
        , failing(std::move(failingPoints)) {
        fs::remove_all(folder);
    }

    /// Until every line is delivered and settled; the result is how many points were passed.
    int run() {
        for (int life = 0;; ++life) {
            EXPECT_LT(life, 10) << "the agent does not come to the end";
            try {
                live(life);
                return points;
            } catch (const Killed&) {
            }
        }
    }

    /// All that the collectors have stored, each collector's in its order.
    std::vector<std::uint64_t> stored() {
        std::vector<std::uint64_t> all;
        for (std::size_t i = 0; i < COLLECTORS; ++i) {
            const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
            if (fs::exists(pathOf(i))) // it may never have been met
                collector::Store::dump(pathOf(i), file.get());
            std::rewind(file.get());
            std::vector<std::uint64_t> lines;
            for (unsigned long long line = 0; std::fscanf(file.get(), "{\"line\":%llu}\n", &line) == 1;)
                lines.push_back(line);
            EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end()));
            all.insert(all.end(), lines.begin(), lines.end());
        }
        return all;
    }

private:
    class Channel : public shipper::DeliveryChannel {
    public:
        Channel(World& itsWorld, std::size_t number)
            : world(itsWorld)
            , index(number) {}
        std::string getAddress() const override { return std::to_string(index); }

        Message exchange(const Message& message) override {
            try {
                world.pass<Cut>();
                Message answer = world.answer(index, agent, message);
                world.pass<Cut>();
                return answer;
            } catch (const Cut&) {
                throw norq_std::NorqConnectException(u"cut");
            }
        }

    private:
        World& world;
        const std::size_t index;
        std::string agent;
    };

    template <class Failure>
    void pass() {
        if (failing.contains(points++))
            throw Failure();
    }
    std::string pathOf(std::size_t collector) const { return folder / std::to_string(collector); }

    Message answer(std::size_t index, std::string& agent, const Message& message) {
        auto& store = stores[index];
        try {
            if (!store)
                store = std::make_unique<collector::Store>(pathOf(index), [this](const char*) { pass<Killed>(); });
            if (message.type != Message::Type::Hello)
                return store->answer(agent, message);
            agent = message.id;
            return Message::welcome(store->getId());
        } catch (const Killed&) { // the agent sees a connection that ends
            store.reset();
            throw Cut();
        }
    }

    /// One life of the agent. The batches of each life have another size.
    void live(int life) {
        DeliveryState state(address, [this](const char*) { pass<Killed>(); });
        const DeliveryProtocol protocol(state);
        for (bool done = false; !done; ++preferred) {
            try {
                Channel channel(*this, preferred % COLLECTORS);
                const std::string id = protocol.greet(channel);
                protocol.settle(channel, id);
                for (int i = 0; i < BATCHES_AT_ONE && lineOf(state) <= LINES; ++i)
                    protocol.deliver(channel, id, nextBatch(state, life));
                settleOthers(state, id);
                if (lineOf(state) <= LINES)
                    continue;
                protocol.settle(channel, id);
                done = true;
                for (const auto& [other, known] : state.getCollectors())
                    done = done && known.settled == known.delivered;
            } catch (const norq_std::NorqConnectException&) {
            }
        }
        state.save();
    }

    void settleOthers(DeliveryState& state, const std::string& current) {
        for (const auto& [id, known] : state.getCollectors()) {
            if (id == current || known.settled == known.delivered)
                continue;
            Channel channel(*this, std::stoul(known.address));
            const DeliveryProtocol protocol(state);
            if (protocol.greet(channel) == id)
                protocol.settle(channel, id);
        }
    }

    static std::uint64_t lineOf(const DeliveryState& state) {
        const auto places = state.placesOf("log");
        return places.empty() ? 1 : places.front().line;
    }

    static DeliveryBatch nextBatch(const DeliveryState& state, int life) {
        DeliveryBatch batch;
        shipper::SourcePlace place;
        place.path = "log";
        place.line = lineOf(state);
        for (int i = 0; i <= life % 2 && place.line <= LINES; ++i)
            batch.events.push_back("{\"line\":" + std::to_string(place.line++) + "}");
        batch.places.push_back(place);
        return batch;
    }

    const fs::path folder;
    const StateNode::Address address;
    const std::set<int> failing;
    int points = 0;
    std::array<std::unique_ptr<collector::Store>, COLLECTORS> stores;
    std::size_t preferred = 0;
};

/// Registry and preferences lie in memory where the system has that: thousands of runs sync a hundred times each.
class DeliveryTest : public testing::TestWithParam<StateNode::Store> {
protected:
    static void SetUpTestSuite() {
        const fs::path memory = "/dev/shm";
        std::string name = ((fs::is_directory(memory) ? memory : fs::temp_directory_path()) / "delivery-XXXXXX");
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
        for (const char16_t* const variable : {u"NORQSTD_REGISTRY_USER", u"USERPROFILE"})
            norq_std::NorqSystem::getInstance().putEnv(variable, norq_std::UtfUtils::utf8ToUtf16(name));
    }
    static void TearDownTestSuite() { fs::remove_all(folder); }

    /// That of a new agent.
    void SetUp() override {
        address.store = GetParam();
        { const StateNode chosen(address); }
        norq_std::Preferences::userRoot()->node(norq_std::UtfUtils::utf8ToUtf16(address.path))->removeNode();
    }

    /// How many points were passed.
    int expectExactlyOnce(const std::set<int>& failing) {
        SetUp();
        World world(folder / "world", address, failing);
        const int points = world.run();
        std::vector<std::uint64_t> lines = world.stored();
        std::sort(lines.begin(), lines.end());
        std::vector<std::uint64_t> expected(LINES);
        for (std::uint64_t i = 0; i < LINES; ++i)
            expected[i] = i + 1;
        EXPECT_EQ(lines, expected) << "failing " << *failing.begin() << " and " << *failing.rbegin();
        return points;
    }

    static inline fs::path folder;
    StateNode::Address address{StateNode::Store::REGISTRY, "/Software/NorqStd/delivery-test"};
};

INSTANTIATE_TEST_SUITE_P(Stores, DeliveryTest, testing::Values(StateNode::Store::REGISTRY, StateNode::Store::FILES),
                         [](const auto& each) { return std::string(nameOf(each.param)); });

} // namespace

TEST_P(DeliveryTest, everyLineArrivesOnceWhateverFailsAndWhateverFailsWhileThatIsMended) {
    const int points = expectExactlyOnce({-1});
    EXPECT_GT(points, 80);
    int runs = 1;
    for (int first = 0; first < points && !HasFailure(); ++first) {
        const int pointsThen = expectExactlyOnce({first});
        for (int second = first + 1; second < pointsThen && !HasFailure(); ++second, ++runs)
            expectExactlyOnce({first, second});
    }
    RecordProperty("runs", runs);
}

TEST_P(DeliveryTest, theStateComesBackAsItWas) {
    shipper::SourcePlace place{"/l\xf6g %\n \"1\"", ~0ull, 2, 1ull << 60, 4, 5, 6, ~0ull, 8, 9, false};
    const auto only = [](const DeliveryState& state, const std::string& path) {
        const auto places = state.placesOf(path);
        EXPECT_EQ(places.size(), 1u);
        return places.at(0);
    };
    std::string agent;
    {
        DeliveryState state(address);
        agent = state.getAgent();
        state.recordBegin(place);
        place.offset = 100;
        state.recordDelivered({7, "one", "host:1", 10}, {place});
        state.recordSettled("one", 7);
        place.offset = 200;
        state.recordDelivered({8, "two", "host:2", 5}, {place});
        EXPECT_THROW(DeliveryState{address}, shipper::StateError) << "held twice";
    }
    {
        DeliveryState state(address);
        EXPECT_EQ(state.getAgent(), agent);
        EXPECT_EQ(state.getSequence(), 8u);
        EXPECT_EQ(state.getEvents(), 15u);
        EXPECT_EQ(state.deliveredTo("one"), 7u);
        EXPECT_EQ(state.deliveredTo("three"), 0u);
        EXPECT_EQ(state.getCollectors()["one"].settled, 7u);
        EXPECT_EQ(state.getCollectors()["two"].address, "host:2");
        EXPECT_EQ(only(state, place.path).offset, 200u) << "that of the last batch";
        EXPECT_EQ(only(state, place.path).head, place.head);
        place.offset = 300;
        state.recordPlaces({place});
        state.save();
    }
    {
        DeliveryState state(address);
        EXPECT_EQ(only(state, place.path).offset, 300u) << "what was saved behind the last batch";
        place.left = true;
        state.recordDelivered({9, "one", "host:3", 1}, {place});
    }
    {
        DeliveryState state(address);
        EXPECT_TRUE(only(state, place.path).left);
        EXPECT_EQ(state.getCollectors()["one"].address, "host:3");
        place.left = false;
        place.offset = 0;
        state.recordBegin(place); // it is read anew
        EXPECT_FALSE(only(state, place.path).left);
        place.left = true;
        for (place.inode = 100; place.inode < 200; ++place.inode)
            state.recordDelivered({place.inode, "one", "host:1", 1}, {place});
    }
    const DeliveryState state(address);
    std::vector<std::uint64_t> inodes;
    for (const auto& each : state.placesOf(place.path))
        inodes.push_back(each.left ? each.inode : 0);
    ASSERT_EQ(inodes.size(), 17u) << "the last files that were left, and the one that is read";
    EXPECT_EQ(inodes[0], 0u);
    EXPECT_EQ(inodes[1], 184u);
}

TEST_P(DeliveryTest, aBatchMovesAsManyFilesAsItMay) {
    std::vector<shipper::SourcePlace> places(shipper::BatchRecord::MOST_PLACES);
    for (std::size_t i = 0; i < places.size(); ++i)
        places[i] = {"log", ~0ull, ~0ull - i, ~0ull, ~0ull, ~0u, 256, ~0ull, 256, ~0ull, i % 2 == 0};
    DeliveryState(address).recordDelivered({~0ull - 1, std::string(64, 'x'), std::string(253, 'h') + ":65535", 1},
                                           places);
    EXPECT_EQ(DeliveryState(address).placesOf("log").size(), places.size() / 2 + 16);
}

TEST_P(DeliveryTest, aStateThatIsNoneIsNotTakenForANewAgent) {
    for (const auto& [key, value] : std::initializer_list<std::pair<const char*, const char*>>{
             {"agent", "../x"},
             {"delivered", "batch=1 events=1 collector=7"},
             {"delivered", "batch=x events=1 collector=1"},
             {"file.1", "batch=1"},
             {"file.1", "text"},
             {"collector.1", "id=% delivered=1 settled=1 address=%"}}) {
        SetUp();
        { const DeliveryState made(address); }
        {
            StateNode node(address);
            node.put(key, value);
            node.flush();
        }
        EXPECT_THROW(DeliveryState{address}, shipper::StateError) << key << ' ' << value;
    }
    SetUp();
    { DeliveryState(address).recordBegin({}); }
    { StateNode(address).remove("agent"); }
    EXPECT_THROW(DeliveryState{address}, shipper::StateError) << "without an agent";
}

TEST_P(DeliveryTest, nothingIsToldToACollectorOnceWritingHasFailed) {
    bool full = false;
    DeliveryState state(address, [&](const char*) {
        if (full)
            throw shipper::StateError("no space left");
    });
    state.recordDelivered({1, "one", "host:1", 1}, {});
    full = true;
    EXPECT_THROW(state.recordDelivered({2, "one", "host:1", 1}, {}), shipper::StateError);
    EXPECT_THROW(state.deliveredTo("one"), shipper::StateError);
    full = false;
    EXPECT_THROW(state.save(), shipper::StateError) << "what the disk holds is not known";
}
