#include "file/CompressedFile.h"

#include "base/LogMacros.h"
#include "file/File.h"
#include "internal/CompressedFileImpl.h"
#include "stream/ByteArray.h"

namespace norq_std {

CompressedFile::CompressedFile()
    : impl(std::make_shared<norq_std_internal::CompressedFileImpl>()) {}

CompressedFile::~CompressedFile() = default;

WString CompressedFile::toString() const {
    return u"CompressedFile{accessType='" + accessTypeToString(getAccessType()) + u"' compressionLevel='" +
           compressionLevelToString(getCompressionLevel()) + u"' compressionStrategy='" +
           compressionStrategyToString(getCompressionStrategy()) + u"'}";
}

bool CompressedFile::isOpen() const { return impl->isOpen(); }

CompressedFile::AccessType CompressedFile::getAccessType() const { return impl->getAccessType(); }

CompressedFile::CompressionLevel CompressedFile::getCompressionLevel() const { return impl->getLevel(); }

CompressedFile::CompressionStrategy CompressedFile::getCompressionStrategy() const { return impl->getStrategy(); }

void CompressedFile::setCompressionLevel(CompressionLevel level) { impl->setParameters(level, impl->getStrategy()); }

void CompressedFile::setCompressionStrategy(CompressionStrategy strategy) {
    impl->setParameters(impl->getLevel(), strategy);
}

void CompressedFile::open(const File& file, AccessType accessType) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::CompressedFile::open");
    impl->open(file.getCanonicalPath(), accessType);
}

void CompressedFile::close() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::CompressedFile::close");
    impl->close();
}

bool CompressedFile::isEof() const { return impl->isEof(); }

void CompressedFile::rewind() {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::CompressedFile::rewind");
    impl->rewind();
}

std::shared_ptr<ByteArray> CompressedFile::read(std::int32_t length) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::CompressedFile::read");
    return impl->read(length);
}

std::shared_ptr<ByteArray> CompressedFile::read() {
    return read(static_cast<std::int32_t>(impl->getUncompressedSize()));
}

void CompressedFile::write(const ByteArray& bytes) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::CompressedFile::write");
    impl->write(bytes);
}

void CompressedFile::flush(FlushType flushType) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::CompressedFile::flush");
    impl->flush(flushType);
}

WString CompressedFile::accessTypeToString(AccessType accessType) {
    switch (accessType) {
    case Read:
        return u"Read";
    case Write:
        return u"Write";
    }
    return u"Invalid";
}

WString CompressedFile::compressionLevelToString(CompressionLevel level) {
    switch (level) {
    case DefaultLevel:
        return u"DefaultLevel";
    case None:
        return u"None";
    case Fastest:
        return u"Fastest";
    case Best:
        return u"Best";
    }
    return u"Invalid";
}

WString CompressedFile::compressionStrategyToString(CompressionStrategy strategy) {
    switch (strategy) {
    case DefaultStrategy:
        return u"DefaultStrategy";
    case Filtered:
        return u"Filtered";
    case Huffman:
        return u"Huffman";
    }
    return u"Invalid";
}

} // namespace norq_std
