#pragma once

#include "base/Export.h"

#include <cstdint>
#include <string>

namespace norq_std_internal::platform {

// The calling thread's last error, as a number of the family. A seam call that fails leaves it; one that succeeds does
// not touch it. The numbers that callers compare with:

enum ErrorNumber : std::int32_t {
    NoError = 0,
    FileNotFound = 2,
    PathNotFound = 3,
    TooManyOpenFiles = 4,
    AccessDenied = 5,
    InvalidHandle = 6,
    NotEnoughMemory = 8,
    InvalidData = 13,
    WriteProtected = 19,
    SharingViolation = 32,
    InvalidParameter = 87,
    BrokenPipe = 109,
    DiskFull = 112,
    InsufficientBuffer = 122,
    InvalidName = 123,
    ModuleNotFound = 126,
    DirectoryNotEmpty = 145,
    BadPathName = 161,
    Busy = 170,
    AlreadyExists = 183,
    FileTooLarge = 223,
    BadLibrary = 193,
    MoreData = 234,
    NoMoreItems = 259,
    RegistryDamaged = 1015,
    KeyDeleted = 1018,
    ServiceAlreadyRunning = 1056,
    ServiceNotFound = 1060,
    NotRunAsService = 1063,
    ExceptionInService = 1064,
    ServiceExists = 1073,
    IoFailed = 1117,
    MadeByNewer = 1150,
    NotFound = 1168,
    TimedOut = 1460,
    GeneralFailure = 31, ///< stands for every native number that the table does not name
};

NORQSTD_EXPORT std::int32_t lastError() noexcept;
NORQSTD_EXPORT void setLastError(std::int32_t number) noexcept;

/// The family's number of a native one (`errno`).
NORQSTD_EXPORT std::int32_t errorFromNative(int nativeNumber) noexcept;

/// The native number behind one of the family's; 0 for a number that the table does not name.
int nativeError(std::int32_t number) noexcept;

/// Sets the last error from the native one of the call that has just failed.
NORQSTD_EXPORT void setLastErrorFromNative() noexcept;

/// The C library's text of the native number behind it; empty for a number that the table does not name.
NORQSTD_EXPORT std::u16string errorDescription(std::int32_t number);

} // namespace norq_std_internal::platform
