#include "hosted/connect/unix_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

namespace quorle::connect {
namespace {

constexpr std::chrono::milliseconds kBetweenTries{20};

/// Whether somebody may listen there soon.
bool MayCome(int error) {
  return error == ENOENT || error == ECONNREFUSED || error == EAGAIN || error == EINTR;
}

}  // namespace

int UnixSocket::Open(std::string& problem) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) {
    problem = "the name of a socket has at most " + std::to_string(sizeof address.sun_path - 1) +
              " bytes: " + path_;
    return -1;
  }
  std::copy(path_.begin(), path_.end(), address.sun_path);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int error = descriptor < 0 ? errno : 0;
  const auto end = std::chrono::steady_clock::now() + wait_;
  while (descriptor >= 0) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): that is how sockets take it
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      return descriptor;
    }
    error = errno;
    if (!MayCome(error) || std::chrono::steady_clock::now() >= end) break;
    std::this_thread::sleep_for(kBetweenTries);
  }
  if (descriptor >= 0) close(descriptor);
  problem = "cannot connect to " + path_ + ": " + std::strerror(error);
  return -1;
}

}  // namespace quorle::connect
