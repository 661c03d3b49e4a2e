#include "selftest/native/cases.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "handlers/deviate/deviation.h"

namespace quorle::selftest {
namespace {

/// Deviations that tell the length of a text without storing it.
constexpr std::string_view kWithoutText[] = {"read-link-of-file", "read-link-of-hard-link"};

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Whether a rule makes a read return what was not read.
bool TellsOfData(const std::string& rules) {
  std::istringstream lines(rules);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("Read") && line.find(" return ") != std::string::npos) return true;
  }
  return false;
}

/// A line of a trace without the data that a read gave.
std::string WithoutData(const std::string& line) {
  if (!line.starts_with("{\"op\":\"Read\"") && !line.starts_with("{\"op\":\"ReadSoftLink\"")) {
    return line;
  }
  for (const std::string_view field : {"\"data\":\"", "\"target\":\""}) {
    const std::size_t start = line.find(field);
    if (start == std::string::npos) continue;
    return line.substr(0, start + field.size()) + line.substr(line.rfind("\"},\"ioerr\":"));
  }
  return line;
}

}  // namespace

std::vector<Case> ReadCases(const std::string& folder) {
  if (folder == kDeviations) return DeviationCases();
  std::vector<Case> cases;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.path().filename() != "args") continue;
    const std::filesystem::path place = entry.path().parent_path();
    std::istringstream words(ReadFile(entry.path()));
    const std::string rules = ReadFile(place / "rules");
    cases.push_back(
        {.name = place.parent_path().filename().string() + "/" + place.filename().string(),
         .words = {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()},
         .rules = rules,
         .output = ReadFile(place / "expect.out"),
         .result = ReadFile(place / "expect.rc"),
         .tells_of_data = TellsOfData(rules)});
  }
  std::sort(cases.begin(), cases.end(),
            [](const Case& a, const Case& b) { return a.name < b.name; });
  return cases;
}

std::vector<Case> DeviationCases() {
  std::vector<Case> cases;
  for (const deviate::Deviation& deviation : deviate::Deviations()) {
    const std::string name(deviation.name);
    const bool tells_of_data =
        std::find(std::begin(kWithoutText), std::end(kWithoutText), name) != std::end(kWithoutText);
    for (const char* const port : {"vector", "packet"}) {
      std::string mount = "DH0=ram,port=";
      mount.append(port).append(",deviate=").append(name);
      cases.push_back({.name = std::string(name).append("/").append(port),
                       .words = {"--mount", mount, "DH0:"},
                       .rules = {},
                       .output = {},
                       .result = {},
                       .tells_of_data = tells_of_data});
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
    text += test.tells_of_data ? WithoutData(line) : line;
    text += '\n';
  }
  return text;
}

}  // namespace quorle::selftest
