#pragma once

#include <span>
#include <string>

#include "results/expectations.h"
#include "results/run_record.h"

namespace quorle {

/// What a person wants to know of a run, as plain text that ends with a line break: one line of counts;
/// each check that is not as expected with its first diagnostic and the command that runs it alone, in
/// the order of the catalogue; what else is wrong with the run. What blocked others is named once, with
/// their number. Control characters of the run's texts are shown. With `colours` for a terminal.
std::string SummaryOf(const RunRecord& run, const Expectations& expectations, bool colours);

/// What a run without a summary says of its surprise passes: the id of each, and the entry to delete, in
/// lines of their own. Empty when there is none.
std::string SurprisesOf(const RunRecord& run, const Expectations& expectations);

/// The summaries of several runs, each under its name; with two or more a last line says how many of
/// them are as expected.
std::string SummaryReport(std::span<const RunRecord> runs, const Expectations& expectations,
                          bool colours);

}  // namespace quorle
