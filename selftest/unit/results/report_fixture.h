#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "results/expectations.h"
#include "results/run_record.h"

namespace quorle {

/// A check as most of the tests of reports need it: in its catalogue's place, with one message, an
/// error with the code 205, unless it passed.
inline CheckEvent MakeCheck(std::string id, Verdict verdict, const std::string& message = "") {
  CheckEvent check;
  check.id = std::move(id);
  check.verdict = verdict;
  if (verdict == Verdict::kFail) check.result = 10;
  if (!message.empty()) {
    const bool is_warning = verdict == Verdict::kWarn;
    check.diagnostics.push_back(
        {.type = is_warning ? DiagnosticClass::kWarn : DiagnosticClass::kError,
         .bold = true,
         .code = 205,
         .text = message});
  }
  return check;
}

inline CheckEvent MakeBlocked(std::string id, std::string cause) {
  CheckEvent check = MakeCheck(std::move(id), Verdict::kBlocked);
  check.cause = std::move(cause);
  return check;
}

/// What the file q.toml with that text expects of Lock.A to Lock.D.
inline Expectations MakeExpectations(const std::string& text) {
  std::vector<CheckInfo> checks;
  for (const char* const id : {"Lock.A", "Lock.B", "Lock.C", "Lock.D"}) {
    checks.push_back({.id = id, .group = "Lock", .catalogue = "standard", .title = ""});
  }
  Expectations expectations;
  std::string problem;
  EXPECT_TRUE(expectations.Read("q.toml", text, checks, problem)) << problem;
  return expectations;
}

/// A run that ended, of `quorle --mount DH0=ram DH0: NI`.
inline RunRecord MakeRun(std::vector<CheckEvent> checks, std::string source = "ram.jsonl") {
  RunRecord run;
  run.source = std::move(source);
  run.start.program = "53.24";
  run.start.device = "DH0:";
  run.start.words = "NI";
  run.start.arguments = {"--mount", "DH0=ram", "DH0:", "NI"};
  run.start.port = "vector";
  run.start.handler = "ram";
  run.start.time = "2026-11-21T19:00:00Z";
  run.target = TargetEvent{.device = "DH0:",
                           .volume = "DH0 Disk",
                           .filesystem = "ram-handler 53.1 (21.11.2026)",
                           .dostype = "0x444F5309"};
  run.checks = std::move(checks);
  std::int32_t number = 0;
  for (CheckEvent& check : run.checks) {
    check.row = 24;
    check.number = ++number;
  }
  run.end = EndEvent{.result = 0, .checks = {}, .us = 1600};
  return run;
}

}  // namespace quorle
