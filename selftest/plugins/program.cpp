#include "selftest/plugins/program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace quorle::selftest {
namespace {

/// A file without a name that a program writes to.
class Kept {
 public:
  Kept() : descriptor_(memfd_create("kept", MFD_CLOEXEC)) {
    if (descriptor_ < 0) throw std::runtime_error("no file to keep output in");
  }
  ~Kept() { close(descriptor_); }
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;

  int descriptor() const { return descriptor_; }
  std::string Text() const {
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = pread(descriptor_, buffer, sizeof buffer, static_cast<off_t>(text.size()))) >
           0) {
      text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  int descriptor_;
};

}  // namespace

ProgramRun RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                      const std::string& directory) {
  std::vector<std::string> words = arguments;
  std::vector<char*> pointers = {const_cast<char*>(program.c_str())};
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);

  const Kept output;
  const Kept errors;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output.descriptor(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors.descriptor(), STDERR_FILENO);
  pid_t process = 0;
  const int error =
      posix_spawn(&process, program.c_str(), &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot run " + program);

  ProgramRun run;
  int status = 0;
  if (waitpid(process, &status, 0) == process && WIFEXITED(status))
    run.status = WEXITSTATUS(status);
  run.output = output.Text();
  run.errors = errors.Text();
  return run;
}

}  // namespace quorle::selftest
