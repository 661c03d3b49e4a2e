#pragma once

#include <functional>
#include <span>
#include <string>

#include "results/expectations.h"
#include "results/run_record.h"

/// Reports for machines and people: each takes runs and returns a whole file, in UTF-8. What is read from
/// the runs may hold anything: it is escaped as the format wants it, and control characters are shown.
namespace quorle {

/// What a report is made of. All of it stays the caller's.
struct ReportInput {
  std::span<const RunRecord> runs;  ///< one or more, in the order in which they are shown
  const Expectations& expectations;
  /// The section of docs/tests.md about the check of an id, as Markdown without its heading; empty when
  /// there is none. May itself be empty.
  std::function<std::string(const std::string& id)> explain;
};

/// TAP, version 14. A test point a check, and one for each finding (judged_run.h), which is not ok.
/// Known failures are TODO, with their reason; a surprise pass is not ok. Several runs are subtests.
std::string TapReport(const ReportInput& input);

/// JUnit's XML: a test suite a run, a test case a check or finding. A known failure is skipped, with its
/// reason as the message; a surprise pass a failure; a blocked check an error.
std::string JunitReport(const ReportInput& input);

/// Markdown, for the summary of a CI job: the counts, a table of what is not as expected, details
/// folded. Never longer than a CI takes, which is 1 MiB: what has no room is counted.
std::string MarkdownReport(const ReportInput& input);

/// One HTML page without outside parts: runs are columns; groups are rows, which unfold into checks.
std::string HtmlReport(const ReportInput& input);

}  // namespace quorle
