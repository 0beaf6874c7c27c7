#pragma once

#include "windows/NorqRegistry.h"

namespace norq_std {

/// Opens a key in a `NorqRegistry`, which must outlive it, and closes it at the end of the scope. Belongs to one
/// thread. Where several threads share the registry object, the scope needs the exclusion of the callers: another's
/// opening changes the key under it.
class NORQSTD_EXPORT AutoCloseRegistry {
public:
    AutoCloseRegistry(NorqRegistry& registryObject, HKey root, const WString& path, std::uint32_t access);
    ~AutoCloseRegistry();
    AutoCloseRegistry(const AutoCloseRegistry&) = delete;
    AutoCloseRegistry& operator=(const AutoCloseRegistry&) = delete;

private:
    NorqRegistry& registry;
};

} // namespace norq_std
