#pragma once

namespace norq_std_internal {

/// Tells the processor that a thread waits for a word of memory.
inline void spinPause(int times) {
    for (int i = 0; i < times; ++i) {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#endif
    }
}

} // namespace norq_std_internal
