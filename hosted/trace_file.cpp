#include "hosted/trace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace quorle {

TraceFile::~TraceFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool TraceFile::Open(const char* path) {
  descriptor_ = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
  // With standard output closed the file would take its place and get what is printed.
  if (descriptor_ >= 0 && descriptor_ <= STDERR_FILENO) {
    const int low = descriptor_;
    descriptor_ = ::fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(low);
  }
  if (descriptor_ >= 0) return true;
  console_.Report(std::string("cannot open the trace file ") + path + ": " + std::strerror(errno));
  return false;
}

bool TraceFile::Write(const char* line, std::size_t bytes) {
  if (descriptor_ < 0) return false;
  ssize_t written = 0;
  do {
    written = ::write(descriptor_, line, bytes);
  } while (written < 0 && errno == EINTR);
  if (written == static_cast<ssize_t>(bytes)) return true;
  // A short write is a full disk that had room for a part of the line.
  Stop(written < 0 ? errno : ENOSPC);
  return false;
}

void TraceFile::Stop(int error) {
  console_.Report(std::string("the trace ends here, its file cannot be written: ") +
                  std::strerror(error));
  ::close(descriptor_);
  descriptor_ = -1;
}

}  // namespace quorle
