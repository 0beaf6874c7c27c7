#pragma once

#include "LineBatch.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace shipper {

/// Cuts the bytes of one file into batches of whole lines, and puts them into the queue. Waits where the queue is full,
/// so that a fast disk does not fill the memory.
class LineSplitter {
public:
    LineSplitter(std::shared_ptr<const norq_std::WString> source, BatchQueue& queue);

    /// Takes what `read(char* buffer, std::size_t size)` gives, and delivers the lines that are whole; the result is
    /// that of `read`: how many bytes there were, 0 at the end, negative for a failure.
    template <class Read>
    std::ptrdiff_t take(const Read& read) {
        const std::size_t kept = text.size();
        text.resize(kept + BLOCK_BYTES);
        const std::ptrdiff_t count = read(text.data() + kept, BLOCK_BYTES);
        text.resize(kept + static_cast<std::size_t>(count > 0 ? count : 0));
        if (count > 0)
            deliverWholeLines();
        return count;
    }
    const std::shared_ptr<const norq_std::WString>& getSource() const { return source; }
    /// Delivers what is left, a line without an end. The next bytes are those of another file, or of this one anew.
    void finish();

    /// From now on each batch has its place. Reading begins at this one; `head` are the first bytes of the file, up to
    /// HEAD_BYTES of those in front of it.
    void keepPlaces(const SourcePlace& begin, std::string head);
    /// Finishes, and says that nothing more will be read from the file.
    void leave();

    static constexpr std::size_t HEAD_BYTES = 256;

private:
    static constexpr std::size_t BLOCK_BYTES = 64 * 1024;

    void deliverWholeLines();
    void deliverRest();
    void deliver(std::string lines);
    void deliverPiece();
    void offer(const std::shared_ptr<LineBatch>& batch);

    const std::shared_ptr<const norq_std::WString> source;
    BatchQueue& queue;
    std::string text; ///< begins with what the block before left over
    std::uint64_t line = 1;
    std::uint32_t part = 0;
    std::optional<SourcePlace> place; ///< of the beginning of the text, where places are kept
    std::string head;                 ///< the first bytes of the file, for the place
};

} // namespace shipper
