#pragma once

#include "SourcePlace.h"

#include "concurrency/StdDequeBlockingQueue.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace shipper {

/// Neighbouring lines of one file: what travels from readers to workers. Large enough that the queue costs next to
/// nothing a line, small enough that a full queue is a few megabytes.
struct LineBatch {
    std::shared_ptr<const norq_std::WString> source; ///< name of the file
    std::uint64_t firstLine = 1;                     ///< number of the first line in the file
    std::uint32_t part = 0; ///< counts from 1 where the only line is a piece of a very long one
    std::string text;       ///< the bytes, the last line with or without its line feed; empty for a place alone
    std::optional<SourcePlace> place; ///< behind these lines, where places are kept
};

using BatchQueue = norq_std::StdDequeBlockingQueue<std::shared_ptr<LineBatch>, std::shared_ptr<LineBatch>>;

} // namespace shipper
