#pragma once

#include "platform/linux/RegistryHive.h"

#include <memory>

namespace norq_std_internal::platform {

/// The open key behind a handle; null, with InvalidHandle, for anything else.
std::shared_ptr<RegistryOpenKey> registryOpenKey(HKey handle);

/// Takes the request of a key back, if it has one.
void endRegistryNotification(const std::shared_ptr<RegistryOpenKey>& key) noexcept;

} // namespace norq_std_internal::platform
