#include "concurrency/NorqThreadData.h"

#include <pthread.h>

namespace NorqStd {

std::atomic<std::uint32_t> NorqThreadData::m_key{0};

NorqThreadData::NorqThreadData() { m_key = 0; }

void NorqThreadData::Create() {
    pthread_key_t key = 0;
    if (pthread_key_create(&key, nullptr) == 0)
        m_key = key + 1;
}

void NorqThreadData::Destroy() {
    if (const std::uint32_t key = m_key.exchange(0); key != 0)
        pthread_key_delete(key - 1);
}

bool NorqThreadData::Get(void** value) {
    const std::uint32_t key = m_key;
    if (key == 0)
        return false;
    *value = pthread_getspecific(key - 1);
    return *value != nullptr;
}

bool NorqThreadData::Set(void* value) {
    const std::uint32_t key = m_key;
    return key != 0 && pthread_setspecific(key - 1, value) == 0;
}

} // namespace NorqStd
