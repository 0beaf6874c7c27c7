#include "internal/LibraryLoad.h"

#include "log/CompressedRollingFileAppender.h"
#include "log/DebugFileFilter.h"
#include "log/LogFileFilter.h"
#include "log/NorqLogLayout.h"
#include "log/OutputDebugAppender.h"
#include "log/RollingFileAppender.h"
#include "log/StaticLogInstance.h"
#include "windows/NTEventLogAppender.h"

namespace norq_std_internal {

void registerLogClasses() {
    norq_std::DebugFileFilter::registerClass();
    norq_std::LogFileFilter::registerClass();
    norq_std::NorqLogLayout::registerClass();
    norq_std::RollingFileAppender::registerClass();
    norq_std::CompressedRollingFileAppender::registerClass();
    norq_std::OutputDebugAppender::registerClass();
    norq_std::NTEventLogAppender::registerClass();
}

void initLogLocks() { norq_std::StaticLogInstance::initLocks(); }

void destroyLog() { norq_std::StaticLogInstance::destroyInstance(); }

} // namespace norq_std_internal
