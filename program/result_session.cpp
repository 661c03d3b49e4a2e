#include "program/result_session.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "program/catalogues.h"
#include "results/bless.h"
#include "results/exit_status.h"
#include "results/summary.h"

namespace quorle {
namespace {

/// The call of "FSLock()".
std::string CallOf(std::string_view call) {
  return std::string(call.substr(0, call.find('(')));
}

/// How a handler ended, where a line would say that it did: "signal 11 (SIGSEGV)".
std::string HowOf(std::string_view how) {
  constexpr std::string_view kEndedBy = "ended by ";
  return std::string(how.starts_with(kEndedBy) ? how.substr(kEndedBy.size()) : how);
}

}  // namespace

ResultSession::ResultSession(const ResultOptions& options,
                             std::span<const Catalogue* const> catalogues, const Screen& screen,
                             Console& console)
    : options_(options),
      catalogues_(catalogues),
      screen_(screen),
      console_(console),
      chosen_(catalogues),
      events_(console) {}

// ---- Before the runs ---------------------------------------------------------------------------

std::optional<std::int32_t> ResultSession::Prepare() {
  std::string problem;
  const std::vector<CheckInfo> checks = ListChecks(KnownCatalogues());
  if (options_.expect && !expectations_.Load(*options_.expect, checks, problem)) {
    console_.Report(problem);
    return RETURN_FAIL;
  }
  if (options_.bless && !CanBless(*options_.bless, checks, problem)) {
    console_.Report(problem);
    return RETURN_FAIL;
  }
  if (options_.select && !chosen_.Select(*options_.select, problem)) {
    console_.Report("--select: " + problem + WhereElse(*options_.select));
    return RETURN_FAIL;
  }
  if (options_.skip && !chosen_.Skip(*options_.skip, problem)) {
    console_.Report("--skip: " + problem + WhereElse(*options_.skip));
    return RETURN_FAIL;
  }
  if (options_.failed) {
    if (const auto status = SelectFailed(*options_.failed)) return status;
  }
  return std::nullopt;
}

std::string ResultSession::WhereElse(const std::string& patterns) {
  std::string unused;
  return Selection(KnownCatalogues()).Select(patterns, unused) ? "; --catalogue all has it" : "";
}

std::optional<std::int32_t> ResultSession::SelectFailed(const std::string& path) {
  std::vector<RunRecord> runs;
  std::string problem;
  if (!ReadEvents(path, runs, problem)) {
    console_.Report(problem);
    return RETURN_FAIL;
  }
  std::set<std::string> ids;
  for (const RunRecord& run : runs) {
    std::set<std::string> seen;
    for (const CheckEvent& check : run.checks) {
      const bool is_missing = check.was_missed();
      const bool is_fine = !is_missing && expectations_.Judge(run, check).is_fine();
      if (!is_fine) ids.insert(check.id);
      seen.insert(check.id);
    }
    // Of a run that was cut off or refused what it did not come to as well.
    if (run.end && !run.was_refused()) continue;
    for (const CheckInfo& check : chosen_.checks()) {
      if (check.catalogue != run.start.catalogue) continue;
      if (seen.count(check.id) == 0) ids.insert(check.id);
    }
  }
  if (ids.empty()) {
    console_.Report(path + ": every check was as expected; there is nothing to run");
    return RETURN_OK;
  }
  // Those of another version of the program cannot be run here.
  for (const std::string& id : TakeUnknown(ids)) {
    std::string line = path;
    line += ": this ";
    line += WhereElse(id).empty() ? "program" : "catalogue";
    line += " has no check ";
    line += id;
    console_.Report(line + WhereElse(id));
  }
  if (ids.empty()) return RETURN_FAIL;
  chosen_.Keep(ids);
  return std::nullopt;
}

std::vector<std::string> ResultSession::TakeUnknown(std::set<std::string>& ids) const {
  std::vector<std::string> unknown;
  for (auto id = ids.begin(); id != ids.end();) {
    const std::vector<CheckInfo>& checks = chosen_.checks();
    const bool is_known = std::any_of(checks.begin(), checks.end(),
                                      [&](const CheckInfo& check) { return check.id == *id; });
    if (!is_known) unknown.push_back(*id);
    id = is_known ? std::next(id) : ids.erase(id);
  }
  return unknown;
}

std::vector<const Catalogue*> ResultSession::SelectedCatalogues() const {
  std::vector<const Catalogue*> selected;
  for (const Catalogue* const catalogue : catalogues_) {
    if (!chosen_.Of(*catalogue).is_empty()) selected.push_back(catalogue);
  }
  return selected;
}

const Catalogue& ResultSession::catalogue() const {
  return selected_ ? selected_->catalogue() : *catalogue_;
}

// ---- A run -------------------------------------------------------------------------------------

bool ResultSession::BeginRun(const RunEvent& start, const Catalogue& catalogue) {
  const bool is_first = catalogue_ == nullptr;
  if (options_.events && is_first && !events_.Open(*options_.events)) {
    return false;
  }
  record_ = {};
  catalogue_ = &catalogue;
  selected_.reset();
  selection_.emplace(chosen_.Of(catalogue));
  if (!chosen_.is_everything()) selected_.emplace(catalogue, *selection_);
  EventSink& sink = *this;
  recorder_.emplace(*selection_, sink);
  recorder_->Begin(start);
  return true;
}

std::int32_t ResultSession::EndRun(std::int32_t result, bool is_whole) {
  recorder_->End(result);
  if (DidNothing()) {
    console_.Report("none of the selected checks is in the selected tests: nothing was run");
    return RETURN_FAIL;
  }
  std::int32_t status = ExitStatus(record_, options_.expect ? &expectations_ : nullptr);
  is_whole_ = is_whole_ && is_whole && !events_.failed();
  if (!is_whole_) status = std::max<std::int32_t>(status, RETURN_ERROR);
  Runs& runs = RunsOfCatalogue();
  if (options_.repeat > 1) runs.repeats.Add(record_);
  if (runs.is_fine) runs.shown = record_;
  runs.is_fine = runs.is_fine && status == RETURN_OK;
  if (options_.bless) to_bless_.push_back(record_);
  return status;
}

bool ResultSession::DidNothing() const {
  return record_.target && record_.groups.empty() && !chosen_.is_everything() &&
         std::all_of(record_.checks.begin(), record_.checks.end(),
                     [](const CheckEvent& check) { return check.why == kNotSelected; });
}

void ResultSession::Take(Event event) {
  events_.Write(event);
  Append(std::move(event), record_);
}

// ---- The end -----------------------------------------------------------------------------------

std::int32_t ResultSession::Finish(std::int32_t status) {
  if (options_.bless && status != RETURN_FAIL) status = WriteBlessed();
  if (!options_.summary.value_or(screen_.summary) && options_.expect) {
    for (const std::string& line : expectations_.TodoLines()) console_.Report(line);
  }
  if (runs_.empty()) return Show({.shown = record_, .is_fine = true, .repeats = {}}, status);
  for (const auto& [catalogue, runs] : runs_) status = Show(runs, status);
  return status;
}

std::int32_t ResultSession::Show(const Runs& runs, std::int32_t status) {
  if (options_.summary.value_or(screen_.summary)) {
    console_.PrintError(SummaryOf(runs.shown, expectations_, screen_.colours));
  } else if (options_.expect) {
    console_.PrintError(SurprisesOf(runs.shown, expectations_));
    if (!runs.is_fine && status == RETURN_ERROR) {
      console_.Report("the run is not as " + *options_.expect + " says; --summary shows where");
    }
  }
  const std::string differences = runs.repeats.Differences();
  if (differences.empty()) return status;
  console_.PrintError(differences);
  // A check may be expected to come out in several ways.
  return options_.expect ? status : std::max<std::int32_t>(status, RETURN_ERROR);
}

ResultSession::Runs& ResultSession::RunsOfCatalogue() {
  for (auto& [catalogue, runs] : runs_) {
    if (catalogue == catalogue_) return runs;
  }
  return runs_.emplace_back(catalogue_, Runs{}).second;
}

std::int32_t ResultSession::WriteBlessed() {
  std::string problem;
  BlessReport report;
  if (!Bless(*options_.bless, to_bless_, ListChecks(KnownCatalogues()), report, problem)) {
    console_.Report(problem);
    return RETURN_FAIL;
  }
  const auto counted = [](std::size_t count) {
    return std::to_string(count) + (count == 1 ? " entry " : " entries ");
  };
  console_.Report(*options_.bless + ": " + counted(report.added) + "added, " +
                  std::to_string(report.changed) + " changed, " + std::to_string(report.removed) +
                  " removed");
  for (const std::string& id : report.blocked) {
    console_.Report(*options_.bless + ": " + id + " is blocked, which is never expected");
  }
  expectations_ = std::move(report.expectations);
  std::int32_t status = is_whole_ ? RETURN_OK : RETURN_ERROR;
  for (const RunRecord& run : to_bless_) status = std::max(status, ExitStatus(run, &expectations_));
  return status;
}

// ---- The handler -------------------------------------------------------------------------------

void ResultSession::OnReport(const std::string& line) {
  recorder_->Complain(line);
}

void ResultSession::OnHandlerEnd(const HandlerEnd& end) {
  recorder_->HandlerEnded(CallOf(end.call), HowOf(end.how), end.restarted);
}

void ResultSession::OnLimit(const std::string& took) {
  // It lives on, and the next group may call it again.
  recorder_->HandlerEnded("", took, true);
}

void ResultSession::OnRestartFailed() {
  recorder_->RestartFailed();
}

void ResultSession::OnRemountFailed() {
  recorder_->HandlerIsGone();
}

}  // namespace quorle
