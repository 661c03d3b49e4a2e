#include "handlers/hostdir/host_content.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace quorle::hostdir {
namespace {

/// Asks the host for the room that a write takes. None when there is room or when the host cannot
/// tell.
HostError ReserveRoom(int fd, std::int64_t position, std::size_t bytes) {
  const HostError error = HostError::Of(::fallocate(
      fd, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(position), static_cast<off_t>(bytes)));
  return error.Is(ENOSPC, EDQUOT, EFBIG) ? error : HostError();
}

}  // namespace

HostError ReadAt(int fd, std::int64_t position, char* to, std::size_t bytes, std::size_t& count) {
  count = 0;
  while (count < bytes) {
    const ssize_t got = ::pread(fd, to + count, bytes - count,
                                static_cast<off_t>(position) + static_cast<off_t>(count));
    if (got == 0) break;
    if (got > 0) {
      count += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      return count == 0 ? HostError::Last() : HostError();
    }
  }
  return {};
}

HostError WriteAt(int fd, std::int64_t position, std::string_view data) {
  while (!data.empty()) {
    const ssize_t put = ::pwrite(fd, data.data(), data.size(), static_cast<off_t>(position));
    if (put == 0) return HostError(ENOSPC);
    if (put > 0) {
      data.remove_prefix(static_cast<std::size_t>(put));
      position += put;
    } else if (errno != EINTR) {
      return HostError::Last();
    }
  }
  return {};
}

HostError WriteWhole(int fd, std::int64_t position, std::string_view data, std::int64_t old_size) {
  HostError error = ReserveRoom(fd, position, data.size());
  if (!error) error = WriteAt(fd, position, data);
  if (error) static_cast<void>(::ftruncate(fd, static_cast<off_t>(old_size)) == 0);
  return error;
}

}  // namespace quorle::hostdir
