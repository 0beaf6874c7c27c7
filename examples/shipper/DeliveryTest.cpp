// The hand-over walked through every point at which something can fail, and the pairs of such points.

#include "DeliveryProtocol.h"
#include "DeliveryState.h"

#include "collector/Store.h"

#include "exception/NorqException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;
using shipper::DeliveryBatch;
using shipper::DeliveryProtocol;
using shipper::DeliveryState;
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
    World(const fs::path& root, std::set<int> failingPoints)
        : folder(root)
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
        DeliveryState state((folder / "agent").string(), [this](const char*) { pass<Killed>(); });
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
    const std::set<int> failing;
    int points = 0;
    std::array<std::unique_ptr<collector::Store>, COLLECTORS> stores;
    std::size_t preferred = 0;
};

/// In memory where the system has that: thousands of runs sync a hundred times each.
class DeliveryTest : public testing::Test {
protected:
    void SetUp() override {
        const fs::path memory = "/dev/shm";
        std::string name = ((fs::is_directory(memory) ? memory : fs::temp_directory_path()) / "delivery-XXXXXX");
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder = name;
    }
    void TearDown() override { fs::remove_all(folder); }

    /// How many points were passed.
    int expectExactlyOnce(const std::set<int>& failing) {
        World world(folder / "world", failing);
        const int points = world.run();
        std::vector<std::uint64_t> lines = world.stored();
        std::sort(lines.begin(), lines.end());
        std::vector<std::uint64_t> expected(LINES);
        for (std::uint64_t i = 0; i < LINES; ++i)
            expected[i] = i + 1;
        EXPECT_EQ(lines, expected) << "failing " << *failing.begin() << " and " << *failing.rbegin();
        return points;
    }

    fs::path folder;
};

} // namespace

TEST_F(DeliveryTest, everyLineArrivesOnceWhateverFailsAndWhateverFailsWhileThatIsMended) {
    const int points = expectExactlyOnce({-1});
    EXPECT_GT(points, 90);
    int runs = 1;
    for (int first = 0; first < points && !HasFailure(); ++first) {
        const int pointsThen = expectExactlyOnce({first});
        for (int second = first + 1; second < pointsThen && !HasFailure(); ++second, ++runs)
            expectExactlyOnce({first, second});
    }
    RecordProperty("runs", runs);
}

TEST_F(DeliveryTest, theStateComesBackAsItWas) {
    shipper::SourcePlace place{"/l\xf6g \"1\"", ~0ull, 2, 1ull << 60, 4, 5, 6, ~0ull, 8, 9, false};
    const std::string path = folder / "agent";
    std::string agent;
    {
        DeliveryState state(path);
        agent = state.getAgent();
        state.recordDelivered(7, "one", "host:1", {place});
        state.recordSettled("one", 7);
        state.recordDelivered(8, "two", "host:2", {});
        EXPECT_THROW(DeliveryState{path}, std::runtime_error) << "held twice";
    }
    {
        DeliveryState state(path);
        EXPECT_EQ(state.getAgent(), agent);
        EXPECT_EQ(state.getSequence(), 8u);
        EXPECT_EQ(state.deliveredTo("one"), 7u);
        EXPECT_EQ(state.deliveredTo("three"), 0u);
        EXPECT_EQ(state.getCollectors()["one"].settled, 7u);
        EXPECT_EQ(state.getCollectors()["two"].address, "host:2");
        const auto places = state.placesOf(place.path);
        ASSERT_EQ(places.size(), 1u);
        EXPECT_EQ(places[0].offset, place.offset);
        EXPECT_EQ(places[0].head, place.head);
        place.left = true;
        state.recordDelivered(9, "one", "host:1", {place});
        ASSERT_EQ(state.placesOf(place.path).size(), 1u);
        EXPECT_TRUE(state.placesOf(place.path)[0].left);
        for (place.inode = 100; place.inode < 200; ++place.inode)
            state.recordDelivered(place.inode, "one", "host:1", {place});
        EXPECT_EQ(state.placesOf(place.path).size(), 16u);
        EXPECT_EQ(state.placesOf(place.path).front().inode, 184u);
    }
    for (const char* const wrong : {"", "{}", "[1]", R"({"agent":"../x","sequence":"1","collectors":{},"places":[]})",
                                    R"({"agent":"x","sequence":1,"collectors":{},"places":[]})"}) {
        std::ofstream(path + "/delivery.json") << wrong;
        EXPECT_THROW(DeliveryState{path}, std::runtime_error) << wrong;
    }
}

TEST_F(DeliveryTest, nothingIsToldToACollectorOnceWritingHasFailed) {
    bool full = false;
    DeliveryState state(folder / "agent", [&](const char*) {
        if (full)
            throw std::system_error(std::make_error_code(std::errc::no_space_on_device));
    });
    state.recordDelivered(1, "one", "host:1", {});
    full = true;
    EXPECT_THROW(state.recordDelivered(2, "one", "host:1", {}), std::system_error);
    EXPECT_THROW(state.deliveredTo("one"), std::runtime_error);
}
