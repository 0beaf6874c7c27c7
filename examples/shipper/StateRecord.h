#pragma once

#include "SourcePlace.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace shipper {

/// What a collector is known by.
struct KnownCollector {
    std::string address;         ///< "host:port" where it was met last
    std::uint64_t delivered = 0; ///< number of the last batch that counts as delivered to it
    std::uint64_t settled = 0;   ///< the number up to which it has said that it knows that
};

// The records of an agent's state, each a text of ASCII under a key of its own (docs/shipping.md). What reads one
// throws `std::invalid_argument` for a text that is none.

/// "file.7": a file, and how far it was read when that batch was the last.
struct FileRecord {
    static constexpr const char* KEY = "file.";
    std::uint64_t batch = 0;
    SourcePlace place;

    std::string toText() const;
    static FileRecord parse(const std::string& text);
};

/// "collector.2"
struct CollectorRecord {
    static constexpr const char* KEY = "collector.";
    std::string id;
    KnownCollector known;

    std::string toText() const;
    static CollectorRecord parse(const std::string& text);
};

/// "delivered": the last batch that counts.
struct BatchRecord {
    static constexpr const char* KEY = "delivered";
    /// So many places fit into one text.
    static constexpr std::size_t MOST_PLACES = 40;

    std::uint64_t batch = 0;
    std::uint64_t events = 0;    ///< in this and all earlier ones
    std::uint64_t collector = 0; ///< the number of its record
    /// By the numbers of their records, how far the files are read behind it. Which files they are is not told here.
    std::map<std::uint64_t, SourcePlace> places;

    std::string toText() const;
    static BatchRecord parse(const std::string& text);
};

} // namespace shipper
