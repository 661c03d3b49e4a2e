#include "program/orphans.h"

#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

namespace quorle {
namespace {

/// The children of this process, those of its threads among them, whether they run or are to be
/// reaped.
std::vector<pid_t> Children() {
  std::vector<pid_t> children;
  std::error_code error;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", error)) {
    std::ifstream list(thread.path() / "children");
    for (pid_t child = 0; list >> child;) children.push_back(child);
  }
  return children;
}

void Reap(pid_t child) {
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

Orphans::Orphans() : keeps_(Children().empty() && prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) == 0) {}

Orphans::~Orphans() {
  if (!keeps_) return;
  for (std::vector<pid_t> children; !(children = Children()).empty();) {
    for (const pid_t child : children) kill(child, SIGKILL);
    for (const pid_t child : children) Reap(child);
  }
  prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
}

}  // namespace quorle
