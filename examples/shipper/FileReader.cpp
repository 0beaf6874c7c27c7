#include "FileReader.h"

#include "Console.h"
#include "LineDecoder.h"

#include "concurrency/Concurrency.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace shipper {
namespace {

constexpr std::size_t BLOCK_BYTES = 64 * 1024;
constexpr std::size_t MAX_LINE_BYTES = 1024 * 1024; // a longer line travels in pieces

bool isContinuationByte(char byte) { return (byte & 0xC0) == 0x80; }

/// Where to cut so that no UTF-8 character is torn, if this is UTF-8.
std::size_t characterBoundary(const std::string& text) {
    std::size_t cut = text.size();
    for (int i = 0; i < 3 && cut > 0 && isContinuationByte(text[cut - 1]); ++i)
        --cut;
    return cut > 0 && (text[cut - 1] & 0xC0) == 0xC0 ? cut - 1 : text.size();
}

} // namespace

FileReader::FileReader(std::string filePath, BatchQueue& batches, RunState& runState)
    : path(std::move(filePath))
    , source(std::make_shared<norq_std::WString>(decode(path.c_str(), path.size()).text))
    , queue(batches)
    , state(runState) {}

norq_std::WString FileReader::toString() const { return u"FileReader{path='" + *source + u"'}"; }

void FileReader::run() {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file)
        fail("cannot open", errno);
    else if (const int error = read(file.get()); error != 0)
        fail("cannot read", error);
    else
        ++state.filesRead;
}

int FileReader::read(std::FILE* file) {
    std::string text; // begins with what the block before left over
    while (norq_std::Concurrency::waitForSingleObject(state.stop, 0) != 0) {
        const std::size_t kept = text.size();
        text.resize(kept + BLOCK_BYTES);
        const std::size_t count = std::fread(text.data() + kept, 1, BLOCK_BYTES, file);
        text.resize(kept + count);
        if (count == 0) {
            const int error = std::ferror(file) ? errno : 0;
            if (!text.empty())
                deliver(std::move(text));
            return error;
        }
        const std::size_t lastLineFeed = text.rfind('\n');
        if (lastLineFeed != std::string::npos) {
            std::string rest = text.substr(lastLineFeed + 1);
            text.resize(lastLineFeed + 1);
            deliver(std::exchange(text, std::move(rest)));
        } else if (text.size() >= MAX_LINE_BYTES) {
            deliverPiece(text);
        }
    }
    return 0;
}

void FileReader::deliver(std::string text) {
    auto batch = std::make_shared<LineBatch>();
    batch->source = source;
    batch->firstLine = line;
    if (part > 0) { // the end of a long line goes alone, for its number
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        batch->part = std::exchange(part, 0) + 1;
        batch->text = text.substr(0, end);
        text.erase(0, end);
        ++line;
        queue.offer(batch, -1);
        if (!text.empty())
            deliver(std::move(text));
        return;
    }
    line += static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
    batch->text = std::move(text);
    queue.offer(batch, -1);
}

void FileReader::deliverPiece(std::string& text) {
    auto batch = std::make_shared<LineBatch>();
    batch->source = source;
    batch->firstLine = line;
    batch->part = ++part;
    const std::size_t cut = characterBoundary(text);
    batch->text = text.substr(0, cut);
    text.erase(0, cut);
    queue.offer(batch, -1);
}

void FileReader::fail(const std::string& what, int error) {
    ++state.filesFailed;
    Console::say(what + " " + path + ": " + std::generic_category().message(error));
}

} // namespace shipper
