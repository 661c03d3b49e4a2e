#pragma once

#include <cstdint>
#include <string>

#include "platform/exec.h"
#include "selftest/native/executable.h"

namespace quorle::selftest {

/// What a run of the program came to.
struct NativeResult {
  std::int32_t code;          ///< the shell's return code
  std::uint32_t stack_used;   ///< bytes of its own stack, without what the platform would use
  std::size_t most_examined;  ///< examine records that it held at a time
  std::string problem;        ///< what it did not leave as it must; empty when there is nothing
};

/// The platform's executable on a platform of ours.
class NativeProgram {
 public:
  /// Throws std::runtime_error when `path` is none.
  explicit NativeProgram(const std::string& path) : file_(path) {}

  std::uint32_t stack_bytes() const { return file_.stack_bytes(); }

  /// Loads the file again and runs it. `exec` is all that it can reach.
  NativeResult Run(ExecInterface& exec) const;

 private:
  Executable file_;
};

}  // namespace quorle::selftest
