#include "platform/linux/errors.h"

#include <cerrno>

namespace dm::platform {

// The program takes 2, 3, 5, 32 and 33 for an item that is merely out of reach. Only what says just that about one
// item may become one of them.
DWORD errorOf(int errnoValue) {
    switch (errnoValue) {
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
        return ERROR_ACCESS_DENIED;
    case EAGAIN:
    case ETXTBSY:
        return ERROR_SHARING_VIOLATION;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EXDEV:
        return ERROR_NOT_SAME_DEVICE;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case EOPNOTSUPP:
    case ENOSYS:
        return ERROR_NOT_SUPPORTED;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case ENOSPC:
        return ERROR_DISK_FULL;
    case EILSEQ:
        return ERROR_INVALID_NAME;
    case ENOTEMPTY:
        return ERROR_DIR_NOT_EMPTY;
    case EBUSY:
        return ERROR_BUSY;
    case EEXIST:
        return ERROR_ALREADY_EXISTS;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case EFBIG:
        return ERROR_FILE_TOO_LARGE;
    case ESTALE: // removed on the server while it was open here
        return ERROR_FILE_INVALID;
    case EIO:
        return ERROR_IO_DEVICE;
    case EMLINK:
        return ERROR_TOO_MANY_LINKS;
    case EDQUOT:
        return ERROR_DISK_QUOTA_EXCEEDED;
    case ELOOP:
        return ERROR_CANT_RESOLVE_FILENAME;
    default:
        return ERROR_GEN_FAILURE;
    }
}

BOOL fail(DWORD code) {
    SetLastError(code);
    return FALSE;
}

BOOL failErrno() {
    return fail(errorOf(errno));
}

} // namespace dm::platform
