#include "FileReader.h"

#include "Console.h"
#include "LineDecoder.h"
#include "LineSplitter.h"

#include "concurrency/Concurrency.h"

#include <cerrno>
#include <system_error>

namespace shipper {

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
    LineSplitter lines(source, queue);
    const auto block = [&](char* buffer, std::size_t size) {
        return static_cast<std::ptrdiff_t>(std::fread(buffer, 1, size, file));
    };
    while (norq_std::Concurrency::waitForSingleObject(state.stop, 0) != 0) {
        if (lines.take(block) > 0)
            continue;
        const int error = std::ferror(file) ? errno : 0;
        lines.finish();
        return error;
    }
    return 0;
}

void FileReader::fail(const std::string& what, int error) {
    ++state.filesFailed;
    SHIPPER_SAY(norq_std::ERROR, u"shipper::FileReader::fail",
                what + " " + path + ": " + std::generic_category().message(error));
}

} // namespace shipper
