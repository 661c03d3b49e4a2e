#pragma once

#include <string>
#include <vector>

namespace quorle::selftest {

/// What came of a run of a program.
struct ProgramRun {
  int status = -1;  ///< its exit status; -1 when it did not end by itself
  std::string output;
  std::string errors;
};

/// Runs `program` with `arguments` in `directory`, its input empty, and waits for its end.
ProgramRun RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                      const std::string& directory = ".");

}  // namespace quorle::selftest
