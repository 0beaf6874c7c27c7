// Reading and writing JSON beside its peers, on the same documents. Bytes a second count the document in UTF-8 for
// everyone, though ours and RapidJSON's rows work on UTF-16. A reading row includes releasing the document.
#include "base/JsonArray.h"
#include "base/JsonLiteral.h"
#include "base/JsonObject.h"
#include "base/JsonUtil.h"

#include <benchmark/benchmark.h>
#include <boost/json/src.hpp>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <random>
#include <string>

namespace {

using norq_std::JsonArray;
using norq_std::JsonLiteral;
using norq_std::JsonObject;
using norq_std::JsonUtil;
using norq_std::WString;
using WideJson = rapidjson::UTF16<char16_t>;
using WideDocument = rapidjson::GenericDocument<WideJson>;
using WideBuffer = rapidjson::GenericStringBuffer<WideJson>;

WString words(std::mt19937& random, unsigned count) {
    static const WString all[] = {u"connection", u"from",  u"agent",   u"was", u"closed", u"by",
                                  u"peer",       u"after", u"timeout", u"of",  u"file"};
    WString text;
    for (unsigned i = 0; i < count; ++i)
        text += (i == 0 ? u"" : u" ") + all[random() % std::size(all)];
    return text;
}

/// Flat events as a log shipper writes them.
std::shared_ptr<JsonArray> makeEvents() {
    std::mt19937 random(1);
    auto events = std::make_shared<JsonArray>();
    for (int i = 0; i < 2000; ++i) {
        auto event = std::make_shared<JsonObject>();
        event->putInteger(u"line", i);
        event->putLongLong(u"timestamp", 1700000000000LL + i * 37);
        event->putString(u"source", u"server-" + words(random, 1) + u".log");
        event->putString(u"priority", i % 5 == 0 ? u"WARN" : u"INFO");
        event->putString(u"message", words(random, static_cast<unsigned>(6 + random() % 10)) + u" \"quoted\"\n");
        event->putBoolean(u"sent", i % 2 == 0);
        events->add(std::move(event));
    }
    return events;
}

/// Coordinates: mostly fractions.
std::shared_ptr<JsonArray> makeNumbers() {
    std::mt19937 random(2);
    auto tracks = std::make_shared<JsonArray>();
    for (int i = 0; i < 200; ++i) {
        auto points = std::make_shared<JsonArray>();
        for (int j = 0; j < 50; ++j) {
            auto point = std::make_shared<JsonArray>();
            point->addDouble(static_cast<double>(random() % 180000000) / 1e6);
            point->addDouble(static_cast<double>(random() % 90000000) / 1e6);
            point->addInteger(static_cast<int>(random() % 4000));
            points->add(std::move(point));
        }
        tracks->add(std::move(points));
    }
    return tracks;
}

/// Nested records with some text outside ASCII.
std::shared_ptr<JsonArray> makeRecords() {
    std::mt19937 random(3);
    auto records = std::make_shared<JsonArray>();
    for (int i = 0; i < 1000; ++i) {
        auto address = std::make_shared<JsonObject>();
        address->putString(u"city", i % 3 == 0 ? u"Z\u00fcrich" : i % 3 == 1 ? u"\u6771\u4eac" : u"London");
        address->putInteger(u"zip", static_cast<int>(random() % 100000));
        auto tags = std::make_shared<JsonArray>();
        for (int j = 0; j < 4; ++j)
            tags->addString(words(random, 1));
        auto record = std::make_shared<JsonObject>();
        record->putInteger(u"id", i);
        record->putString(u"name", words(random, 2));
        record->putDouble(u"score", static_cast<double>(random() % 10000) / 128.0);
        record->put(u"address", address);
        record->put(u"tags", tags);
        record->put(u"parent", JsonLiteral::Null);
        records->add(std::move(record));
    }
    return records;
}

std::string toUtf8(const WString& text) {
    rapidjson::GenericStringBuffer<rapidjson::UTF8<>> out;
    rapidjson::GenericStringStream<WideJson> in(text.c_str());
    while (in.Peek() != 0)
        rapidjson::Transcoder<WideJson, rapidjson::UTF8<>>::Transcode(in, out);
    return std::string(out.GetString(), out.GetSize());
}

struct Document {
    explicit Document(const std::shared_ptr<JsonArray>& array)
        : wide(array->toJsonString())
        , utf8(toUtf8(wide)) {}

    void count(benchmark::State& state) const {
        state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * utf8.size()));
    }

    WString wide;
    std::string utf8;
};

void addRows(const std::string& name, const Document& document) {
    const auto add = [&](const std::string& row, auto body) {
        benchmark::RegisterBenchmark(row.c_str(), [&document, body](benchmark::State& state) {
            body(document, state);
            document.count(state);
        });
    };
    add("json_parse/" + name + "/ours", [](const Document& d, benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(JsonUtil::parseJson(d.wide));
    });
    add("json_parse/" + name + "/nlohmann", [](const Document& d, benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(nlohmann::json::parse(d.utf8));
    });
    add("json_parse/" + name + "/boost_json", [](const Document& d, benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(boost::json::parse(d.utf8));
    });
    add("json_parse/" + name + "/rapidjson_utf16", [](const Document& d, benchmark::State& state) {
        for (auto _ : state) {
            WideDocument read;
            benchmark::DoNotOptimize(read.Parse<rapidjson::kParseDefaultFlags, WideJson>(d.wide.c_str()).IsArray());
        }
    });
    add("json_write/" + name + "/ours", [](const Document& d, benchmark::State& state) {
        const auto read = JsonUtil::parseJson(d.wide);
        for (auto _ : state)
            benchmark::DoNotOptimize(read->toJsonString());
    });
    add("json_write/" + name + "/rapidjson_utf16", [](const Document& d, benchmark::State& state) {
        WideDocument read;
        read.Parse<rapidjson::kParseDefaultFlags, WideJson>(d.wide.c_str());
        for (auto _ : state) {
            WideBuffer out;
            rapidjson::Writer<WideBuffer, WideJson, WideJson> writer(out);
            read.Accept(writer);
            benchmark::DoNotOptimize(out.GetString());
        }
    });
    add("json_write/" + name + "/nlohmann", [](const Document& d, benchmark::State& state) {
        const auto read = nlohmann::json::parse(d.utf8);
        for (auto _ : state)
            benchmark::DoNotOptimize(read.dump());
    });
    add("json_write/" + name + "/boost_json", [](const Document& d, benchmark::State& state) {
        const auto read = boost::json::parse(d.utf8);
        for (auto _ : state)
            benchmark::DoNotOptimize(boost::json::serialize(read));
    });
}

} // namespace

int main(int argc, char** argv) {
    const Document events(makeEvents());
    const Document numbers(makeNumbers());
    const Document records(makeRecords());
    addRows("events", events);
    addRows("numbers", numbers);
    addRows("records", records);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
