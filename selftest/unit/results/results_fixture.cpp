#include "selftest/unit/results/results_fixture.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <utility>

#include "tests/catalogue.h"

namespace quorle::selftest {

const std::vector<CheckInfo>& AllChecks() {
  static const std::vector<CheckInfo> checks = ListChecks(kStandardCatalogue);
  return checks;
}

CheckEvent CheckOf(const std::string& id, Verdict verdict, std::int32_t code,
                   const std::string& why) {
  CheckEvent check;
  check.id = id;
  check.verdict = verdict;
  check.why = why;
  if (code != 0) {
    check.diagnostics.push_back(
        {.type = DiagnosticClass::kError, .bold = true, .code = code, .text = "It failed."});
  }
  return check;
}

RunRecord RunOf(std::vector<CheckEvent> checks) {
  RunRecord run;
  run.start.port = "vector";
  run.start.handler = "ram";
  run.target = TargetEvent{.device = "DH0:",
                           .volume = "DH0 Disk",
                           .filesystem = "ram-handler 53.1 (21.11.2026)",
                           .dostype = "0x444F5309"};
  run.checks = std::move(checks);
  const bool all_passed = std::all_of(run.checks.begin(), run.checks.end(), [](const auto& check) {
    return check.verdict <= Verdict::kWarn;
  });
  run.end = EndEvent{.result = all_passed ? 0 : 10, .checks = {}, .us = 1};
  return run;
}

std::string ProblemOf(const std::string& text) {
  Expectations expectations;
  std::string problem;
  const bool done = expectations.Read("quorle.toml", text, AllChecks(), problem);
  EXPECT_EQ(done, problem.empty());
  return problem;
}

Expectations Expecting(const std::string& text) {
  Expectations expectations;
  std::string problem;
  EXPECT_TRUE(expectations.Read("quorle.toml", text, AllChecks(), problem)) << problem;
  return expectations;
}

std::string EntryText(const std::string& check, const std::string& keys,
                      const std::string& reason) {
  return "[[expect]]\ncheck = \"" + check + "\"\n" + keys + "\nreason = \"" + reason + "\"\n";
}

ScratchFolder::ScratchFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "quorle-XXXXXX").string();
  folder_ = ::mkdtemp(name.data());
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string ScratchFolder::Write(const std::string& name, const std::string& text) const {
  std::ofstream(path(name), std::ios::binary) << text;
  return path(name);
}

std::string ScratchFolder::Read(const std::string& name) const {
  std::stringstream text;
  text << std::ifstream(path(name), std::ios::binary).rdbuf();
  return text.str();
}

std::vector<std::string> ScratchFolder::Names() const {
  std::vector<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator(folder_)) {
    names.push_back(file.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace quorle::selftest
