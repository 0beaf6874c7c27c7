#include "internal/LibraryLoad.h"

#include "log/DebugFileFilter.h"
#include "log/LogFileFilter.h"
#include "log/NorqLogLayout.h"
#include "log/OutputDebugAppender.h"

namespace norq_std_internal {

void registerLogClasses() {
    norq_std::DebugFileFilter::registerClass();
    norq_std::LogFileFilter::registerClass();
    norq_std::NorqLogLayout::registerClass();
    norq_std::OutputDebugAppender::registerClass();
}

} // namespace norq_std_internal
