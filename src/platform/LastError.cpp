#include "platform/LastError.h"

#include <cerrno>

#include "platform/StatusCodes.h"

namespace platform {
namespace {
thread_local std::uint32_t tlsLastError = 0;
}

std::uint32_t lastError() { return tlsLastError; }

void setLastError(std::uint32_t code) { tlsLastError = code; }

std::uint32_t codeFromErrno(int error)
{
    switch (error) {
    case 0: return win::ERROR_SUCCESS;
    case ENOENT: return win::ERROR_FILE_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR: return win::ERROR_ACCESS_DENIED;
    case EBADF: return win::ERROR_INVALID_HANDLE;
    case ENOMEM: return win::ERROR_NOT_ENOUGH_MEMORY;
    case EROFS: return win::ERROR_WRITE_PROTECT;
    case EEXIST: return win::ERROR_ALREADY_EXISTS;
    case ENOSPC:
    case EDQUOT: return win::ERROR_DISK_FULL;
    case EINVAL: return win::ERROR_INVALID_PARAMETER;
    case ENAMETOOLONG: return win::ERROR_FILENAME_EXCED_RANGE;
    case ENOTDIR: return win::ERROR_DIRECTORY;
    case EIO: return win::ERROR_IO_DEVICE;
    case EMFILE:
    case ENFILE: return win::ERROR_TOO_MANY_OPEN_FILES;
    case ENOTEMPTY: return win::ERROR_DIR_NOT_EMPTY;
    case EBUSY:
    case ETXTBSY: return win::ERROR_BUSY;
    case EFBIG: return win::ERROR_FILE_TOO_LARGE;
    case ELOOP: return win::ERROR_CANT_RESOLVE_FILENAME;
    case EPIPE: return win::ERROR_BROKEN_PIPE;
    case ENOTSUP: return win::ERROR_NOT_SUPPORTED;
    case EOVERFLOW: return win::ERROR_ARITHMETIC_OVERFLOW;
    case ESPIPE: return win::ERROR_SEEK;
    case ETIMEDOUT: return win::ERROR_TIMEOUT;
    case EFAULT: return win::ERROR_INVALID_ADDRESS;
    default: return error > 0 && error <= 0xFFFF ? win::ERRNO_FALLBACK_BASE | static_cast<std::uint32_t>(error) : win::ERROR_INVALID_FUNCTION;
    }
}

std::uint32_t setLastErrorFromErrno(int error)
{
    tlsLastError = codeFromErrno(error);
    return tlsLastError;
}

std::uint32_t setLastErrorFromErrno() { return setLastErrorFromErrno(errno); }

}  // namespace platform
