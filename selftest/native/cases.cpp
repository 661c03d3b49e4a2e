#include "selftest/native/cases.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <sstream>

#include "handlers/deviate/deviation.h"
#include "selftest/support/transcripts.h"

namespace quorle::selftest {
namespace {

/// Deviations that return the length of a text without storing it.
constexpr std::string_view kWithoutText[] = {"read-link-of-file", "read-link-of-hard-link"};

constexpr std::array kPorts = {"vector", "packet", "classic"};

/// Whether a rule makes a read return what was not read.
bool ReturnsUnreadData(const std::string& rules) {
  std::istringstream lines(rules);
  for (std::string line; std::getline(lines, line);) {
    const std::string_view call = std::string_view(line).substr(line.find('/') + 1);
    if (call.starts_with("Read") && line.find(" return ") != std::string::npos) return true;
  }
  return false;
}

}  // namespace

std::vector<Case> ReadCases(const std::string& file) {
  if (file == kDeviations) return DeviationCases();
  std::vector<Case> cases;
  if (file == kDeviationsByTurns) {
    const std::vector<Case> all = DeviationCases();
    for (std::size_t i = 0; i < all.size(); i += kPorts.size()) {
      cases.push_back(all[i + i / kPorts.size() % kPorts.size()]);
    }
    return cases;
  }
  const Starts starts(file);
  const TranscriptFile transcripts = ReadTranscripts(file);
  for (const Transcript& test : transcripts.transcripts()) {
    const std::string rules = RulesText(test.rules);
    cases.push_back({.name = std::filesystem::path(file).stem().string() + "/" + test.name,
                     .words = WordsOf(test.args),
                     .rules = rules,
                     .output = starts.Of(test) + test.prints.value_or(""),
                     .result = test.result + "\n",
                     .data_by_chance = ReturnsUnreadData(rules)});
  }
  return cases;
}

std::vector<Case> DeviationCases() {
  std::vector<Case> cases;
  for (const deviate::Deviation& deviation : deviate::Deviations()) {
    const std::string name(deviation.name);
    const bool data_by_chance =
        std::find(std::begin(kWithoutText), std::end(kWithoutText), name) != std::end(kWithoutText);
    for (const char* const port : kPorts) {
      std::string mount = "DH0=ram,port=";
      mount.append(port).append(",deviate=").append(name);
      cases.push_back({.name = std::string(name).append("/").append(port),
                       .words = {"--mount", mount, "DH0:"},
                       .rules = {},
                       .output = {},
                       .result = {},
                       .data_by_chance = data_by_chance});
    }
  }
  return cases;
}

std::string RunText(const Case& test, int result, const std::string& output,
                    const std::vector<std::string>& trace) {
  std::string text = "== ";
  text += test.name;
  text += "\n-- result\n";
  text += std::to_string(result);
  text += "\n-- output\n";
  text += output;
  text += "\n-- calls\n";
  for (const std::string& line : trace) {
    text += line;
    text += '\n';
  }
  return text;
}

}  // namespace quorle::selftest
