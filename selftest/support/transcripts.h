#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "selftest/support/transcript_file.h"

namespace quorle::selftest {

/// The file beside the groups that holds what runs print before the tests, by name.
inline constexpr const char* kStartsFile = "starts.txt";

/// The whole of a file. Throws std::runtime_error when it cannot be read.
std::string ReadFile(const std::filesystem::path& path);

/// Reads a file of transcripts. Throws std::runtime_error, with the file and the line, when it is none.
TranscriptFile ReadTranscripts(const std::filesystem::path& path);

/// The starts of runs, for the files of one folder.
class Starts {
 public:
  /// Those of the folder in which `file` is.
  explicit Starts(const std::filesystem::path& file);

  /// The text of the start that `test` names; "" for kNoStart. Throws std::runtime_error for a name
  /// that is not known.
  std::string Of(const Transcript& test) const;

 private:
  TranscriptFile starts_;
};

/// The words of the command line `args`, as a shell hands them over.
std::vector<std::string> WordsOf(const std::string& args);

/// Rules as FaultRules::Parse() takes them.
std::string RulesText(const std::vector<std::string>& rules);

}  // namespace quorle::selftest
