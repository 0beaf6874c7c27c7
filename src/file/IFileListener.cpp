#include "file/IFileListener.h"

namespace norq_std {

IFileListener::~IFileListener() = default;

void IFileListener::onFileDeleted(const File&) {}
void IFileListener::onFileCreated(const File&) {}
void IFileListener::onFileAttributeChange(const File&) {}
void IFileListener::onFileContentChange(const File&) {}

} // namespace norq_std
