#include "handlers/hostdir/host_error.h"

#include <system_error>

#include "quorle/handler.h"

namespace quorle::hostdir {

std::string HostError::Message() const {
  return std::generic_category().message(number_);
}

DosError HostError::ForReading() const {
  return For(ERROR_READ_PROTECTED);
}

DosError HostError::ForWriting() const {
  return For(ERROR_WRITE_PROTECTED);
}

DosError HostError::ForDeleting() const {
  // Some hosts say "exists" of a directory that is not empty.
  return Is(EEXIST) ? ERROR_DIRECTORY_NOT_EMPTY : For(ERROR_DELETE_PROTECTED);
}

DosError HostError::ForResizing() const {
  return Is(EINVAL) ? ERROR_DISK_FULL : ForWriting();
}

DosError HostError::ForLinking() const {
  if (Is(EPERM)) return ERROR_ACTION_NOT_KNOWN;  // how a filesystem without links says so
  return Is(ENOENT) ? ERROR_INVALID_LOCK : ForWriting();
}

DosError HostError::ForMoving(bool is_directory) const {
  return is_directory && Is(EINVAL) ? ERROR_OBJECT_IN_USE : ForWriting();
}

/// `denied` is the error for a permission that is missing.
DosError HostError::For(DosError denied) const {
  switch (number_) {
    case 0:
      return kNoError;
    case EACCES:
    case EPERM:
    case EBADF:  // a descriptor that was opened for less, since more was denied
      return denied;
    case ENOENT:
      return ERROR_OBJECT_NOT_FOUND;
    case ENOTDIR:
    case EISDIR:
    case ELOOP:  // a symbolic link where none is followed
    case ENXIO:
      return ERROR_OBJECT_WRONG_TYPE;
    case EEXIST:
      return ERROR_OBJECT_EXISTS;
    case ENOTEMPTY:
      return ERROR_DIRECTORY_NOT_EMPTY;
    case ENAMETOOLONG:
    case EINVAL:  // a name that this filesystem does not take
    case EILSEQ:
      return ERROR_INVALID_COMPONENT_NAME;
    case EROFS:
      return ERROR_DISK_WRITE_PROTECTED;
    case EXDEV:
      return ERROR_RENAME_ACROSS_DEVICES;
    case EBUSY:
    case ETXTBSY:
      return ERROR_OBJECT_IN_USE;
    case ENOMEM:
    case EMFILE:
    case ENFILE:
      return ERROR_NO_FREE_STORE;
    case ENOSPC:
    case EDQUOT:
    case EMLINK:  // no room for one more name
    case EFBIG:   // nor for a file of that size
      return ERROR_DISK_FULL;
    case E2BIG:
    case ERANGE:
    case EOVERFLOW:
      return ERROR_OBJECT_TOO_LARGE;
    case ENOSYS:
    case EOPNOTSUPP:
      return ERROR_ACTION_NOT_KNOWN;
    case ESTALE:
      return ERROR_INVALID_LOCK;
    default:
      // The platform has no code for a medium that cannot be read (EIO): one that must be checked.
      return ERROR_DISK_NOT_VALIDATED;
  }
}

}  // namespace quorle::hostdir
