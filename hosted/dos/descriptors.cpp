#include "hosted/dos/descriptors.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace quorle {

int OpenStandardDescriptors() {
  constexpr int kAccess[] = {O_RDONLY, O_RDONLY, O_RDWR};
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (::fcntl(descriptor, F_GETFD) >= 0) continue;
    // All below are open: it gets the lowest number that is free, which is the one.
    if (::open("/dev/null", kAccess[descriptor]) < 0) return errno;
  }
  return 0;
}

std::size_t WriteAll(int descriptor, std::string_view bytes, int& error) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = ::write(descriptor, bytes.data() + done, bytes.size() - done);
    if (written >= 0) {
      done += static_cast<std::size_t>(written);
    } else if (errno == EAGAIN) {
      pollfd room{.fd = descriptor, .events = POLLOUT, .revents = 0};
      ::poll(&room, 1, -1);
    } else if (errno != EINTR) {
      error = errno;
      break;
    }
  }
  return done;
}

}  // namespace quorle
