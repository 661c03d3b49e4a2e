#include "selftest/support/transcripts.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace quorle::selftest {

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return text;
}

TranscriptFile ReadTranscripts(const std::filesystem::path& path) {
  std::string problem;
  std::optional<TranscriptFile> file = TranscriptFile::Parse(ReadFile(path), problem);
  if (!file) throw std::runtime_error(path.string() + ": " + problem);
  return *std::move(file);
}

Starts::Starts(const std::filesystem::path& file)
    : starts_(ReadTranscripts(file.parent_path() / kStartsFile)) {}

std::string Starts::Of(const Transcript& test) const {
  if (test.start == kNoStart) return {};
  const Transcript* const start = starts_.Find(test.start);
  if (start == nullptr || !start->prints) {
    throw std::runtime_error(test.name + ": " + kStartsFile + " has no start " + test.start);
  }
  return *start->prints;
}

std::vector<std::string> WordsOf(const std::string& args) {
  std::istringstream in(args);
  return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

std::string RulesText(const std::vector<std::string>& rules) {
  std::string text;
  for (const std::string& rule : rules) text.append(rule).append("\n");
  return text;
}

}  // namespace quorle::selftest
