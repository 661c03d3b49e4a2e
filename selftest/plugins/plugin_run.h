#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "selftest/plugins/program.h"

/// Runs of the program with plugins.
namespace quorle::selftest {

/// A run over DH0: mounted as `mount`; plugins are named as they lie in their folder.
inline ProgramRun RunOver(const std::string& mount,
                          const std::vector<std::string>& rest = {"DH0:"}) {
  std::vector<std::string> arguments = {"--no-delay", "--mount", "DH0=" + mount};
  arguments.insert(arguments.end(), rest.begin(), rest.end());
  return RunProgram(QUORLE_PROGRAM, arguments, QUORLE_PLUGINS);
}

/// The line that reports `what` of the handler process.
inline std::string ReportedLine(const std::string& what) {
  return "quorle: handler process of DH0: " + what + "\n";
}

/// The same of a process that ended, in whose place there will be another.
inline std::string EndLine(const std::string& what) {
  return ReportedLine(what + "; started again for the next test");
}

/// The same without the lines that say where in the handler something was.
inline std::string WithoutFrames(const std::string& errors) {
  std::string rest;
  std::istringstream lines(errors);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("quorle:   #")) rest += line + "\n";
  }
  return rest;
}

inline int Count(std::string_view text, std::string_view part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

/// The number of a group as the command line and messages have it.
inline std::string NumberOf(const std::string& group) {
  const ProgramRun list = RunProgram(QUORLE_PROGRAM, {});
  const std::size_t title = list.output.find(":   " + group);
  EXPECT_NE(title, std::string::npos) << group;
  return list.output.substr(title - 2, 2);
}

}  // namespace quorle::selftest
