#include "file/FileEventListener.h"

namespace norq_std {

FileEventListener::~FileEventListener() = default;

} // namespace norq_std
