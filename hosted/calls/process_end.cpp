#include "hosted/calls/process_end.h"

#include <sys/wait.h>

#include <cstring>

namespace quorle {

std::string DescribeEnd(int status) {
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    const char* const name = sigabbrev_np(signal);
    return "ended by signal " + std::to_string(signal) +
           (name != nullptr ? std::string(" (SIG") + name + ")" : "");
  }
  return "exited with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace quorle
