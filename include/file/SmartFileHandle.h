#pragma once

#include "base/Export.h"
#include "base/WString.h"

#include <cstdio>

namespace norq_std {

/// Owns an open file for one scope. There are two: of a C stream, and of a descriptor. Whether the file could be opened
/// is to be asked; `ErrorUtils::getLastError` tells why it could not. Programs that the process starts do not inherit
/// it. One thread at a time.
template <class T>
class SmartFileHandle;

template <>
class NORQSTD_EXPORT SmartFileHandle<std::FILE*> {
public:
    /// `mode` as `fopen` takes it.
    SmartFileHandle(const WString& path, const WString& mode);
    SmartFileHandle(const SmartFileHandle&) = delete;
    SmartFileHandle& operator=(const SmartFileHandle&) = delete;
    virtual ~SmartFileHandle();

    bool isOpen() const { return handle != nullptr; }
    std::FILE* get() const { return handle; }

private:
    std::FILE* const handle;
};

template <>
class NORQSTD_EXPORT SmartFileHandle<int> {
public:
    /// Flags as `open` takes them. Without a mode, flags of 0 throw `NorqIllegalArgumentException` (to read, give
    /// `O_RDONLY | O_CLOEXEC`), and a file that is made may be read and written by everybody that the process's mask
    /// allows.
    SmartFileHandle(const WString& path, int openFlags);
    SmartFileHandle(const WString& path, int openFlags, int permissionMode);
    SmartFileHandle(const SmartFileHandle&) = delete;
    SmartFileHandle& operator=(const SmartFileHandle&) = delete;
    virtual ~SmartFileHandle();

    bool isOpen() const { return handle > -1; }
    int get() const { return handle; }

private:
    const int handle;
};

} // namespace norq_std
