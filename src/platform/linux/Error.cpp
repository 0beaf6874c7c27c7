#include "platform/Error.h"

#include "platform/NarrowText.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace norq_std_internal::platform {
namespace {

struct Row {
    int native;
    std::int32_t number;
};

// Of several rows with one number, the first describes it.
constexpr Row Table[] = {
    {0, NoError},
    {ENOENT, FileNotFound},
    {ENOTDIR, PathNotFound},
    {EMFILE, TooManyOpenFiles},
    {ENFILE, TooManyOpenFiles},
    {EACCES, AccessDenied},
    {EPERM, AccessDenied},
    {EISDIR, AccessDenied},
    {EBADF, InvalidHandle},
    {ENOMEM, NotEnoughMemory},
    {EBADMSG, InvalidData},
    {EXDEV, 17},
    {EROFS, WriteProtected},
    {ENODEV, 20},
    {ENXIO, 20},
    {EAGAIN, SharingViolation},
    {ETXTBSY, SharingViolation},
    {EOPNOTSUPP, 50},
    {ECONNRESET, 64},
    {EINVAL, InvalidParameter},
    {EDOM, InvalidParameter},
    {EINVAL, BadPathName},
    {EPIPE, BrokenPipe},
    {ENOSPC, DiskFull},
    {EDQUOT, DiskFull},
    {ENOSYS, 120},
    {ENOBUFS, InsufficientBuffer},
    {ERANGE, InsufficientBuffer},
    {ELIBACC, ModuleNotFound},
    {ECHILD, 128},
    {ESPIPE, 132},
    {ENOTEMPTY, DirectoryNotEmpty},
    {E2BIG, 160},
    {EBUSY, Busy},
    {EEXIST, AlreadyExists},
    {ENOEXEC, BadLibrary},
    {ELIBBAD, BadLibrary},
    {ENAMETOOLONG, 206},
    {EFBIG, FileTooLarge},
    {EOVERFLOW, MoreData},
    {EMSGSIZE, MoreData},
    {ENODATA, NoMoreItems},
    {ECANCELED, 995},
    {EINTR, 995},
    {EFAULT, 998},
    {EUCLEAN, RegistryDamaged},
    {EIDRM, KeyDeleted},
    {ESTALE, KeyDeleted},
    {EALREADY, ServiceAlreadyRunning},
    {ENOTCONN, NotRunAsService},
    {EILSEQ, 1113},
    {EPROTO, MadeByNewer},
    {EIO, IoFailed},
    {EDEADLK, 1131},
    {EMLINK, 1142},
    {ESRCH, NotFound},
    {ECONNREFUSED, 1225},
    {ENETUNREACH, 1231},
    {EHOSTUNREACH, 1232},
    {ECONNABORTED, 1236},
    {ENOLCK, 1450},
    {ETIMEDOUT, TimedOut},
    {ELOOP, 1921},
    {ENOTSOCK, 10038},
    {EPROTONOSUPPORT, 10043},
    {EAFNOSUPPORT, 10047},
    {EADDRINUSE, 10048},
    {EADDRNOTAVAIL, 10049},
    {EISCONN, 10056},
};

const Row* rowOf(std::int32_t number) {
    const auto* row =
        std::find_if(std::begin(Table), std::end(Table), [&](const Row& r) { return r.number == number; });
    return row == std::end(Table) ? nullptr : row;
}

thread_local std::int32_t last = NoError;

} // namespace

std::int32_t lastError() noexcept { return last; }

void setLastError(std::int32_t number) noexcept { last = number; }

std::int32_t errorFromNative(int nativeNumber) noexcept {
    const auto* row =
        std::find_if(std::begin(Table), std::end(Table), [&](const Row& r) { return r.native == nativeNumber; });
    return row == std::end(Table) ? GeneralFailure : row->number;
}

int nativeError(std::int32_t number) noexcept {
    const Row* const row = rowOf(number);
    return row == nullptr ? 0 : row->native;
}

void setLastErrorFromNative() noexcept { last = errorFromNative(errno); }

std::u16string errorDescription(std::int32_t number) {
    const Row* const row = rowOf(number);
    const char* text = row == nullptr ? nullptr : ::strerrordesc_np(row->native);
    return text == nullptr ? std::u16string() : toWide(text);
}

} // namespace norq_std_internal::platform
