#include "concurrency/NorqThreadFunctions.h"

#include "internal/ThreadIdMap.h"

#include <chrono>
#include <thread>

namespace NorqStd {

unsigned int NorqGetThreadID() { return static_cast<unsigned int>(norq_std_internal::currentThreadId()); }

bool NorqSleep_ms(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    return true;
}

} // namespace NorqStd
