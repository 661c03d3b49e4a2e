#include "results/bless.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "results/entry_text.h"
#include "results/whole_file.h"

namespace quorle {
namespace {

constexpr const char* kFirstLine =
    "# The checks that do not pass, each with the reason: see docs/expectations.md of quorle.\n";

/// A run, and one of its checks.
struct TriedCheck {
  const RunRecord* run;
  const CheckEvent* check;
};

/// A check that was tried in one run or in several.
struct CheckResults {
  const CheckInfo* info = nullptr;
  std::vector<TriedCheck> tries;

  std::vector<Verdict> Verdicts() const {
    std::set<Verdict> verdicts;
    for (const TriedCheck& tried : tries) verdicts.insert(tried.check->verdict);
    return {verdicts.begin(), verdicts.end()};
  }
};

/// A code that every one of `tries` shows that did not pass; nothing when there is none.
std::optional<std::int32_t> CommonCode(const std::vector<TriedCheck>& tries) {
  std::vector<const CheckEvent*> failed;
  for (const TriedCheck& tried : tries) {
    if (tried.check->verdict != Verdict::kPass) failed.push_back(tried.check);
  }
  if (failed.empty()) return std::nullopt;
  for (const Diagnostic& diagnostic : failed.front()->diagnostics) {
    const bool asserts =
        diagnostic.type == DiagnosticClass::kError || diagnostic.type == DiagnosticClass::kWarn;
    const std::int32_t code = diagnostic.code;
    const bool is_common = std::all_of(failed.begin(), failed.end(), [&](const CheckEvent* check) {
      return ShowsCode(*check, code);
    });
    if (asserts && code > 0 && is_common) return code;
  }
  return std::nullopt;
}

bool Contains(const std::vector<Verdict>& verdicts, Verdict verdict) {
  return std::find(verdicts.begin(), verdicts.end(), verdict) != verdicts.end();
}

/// The code that an entry with these verdicts names. A code makes sense where there are diagnostics.
std::optional<std::int32_t> CodeFor(const std::vector<Verdict>& verdicts,
                                    const std::vector<TriedCheck>& tries) {
  const bool has_diagnostics = Contains(verdicts, Verdict::kFail);
  return has_diagnostics ? CommonCode(tries) : std::nullopt;
}

/// Narrows `when`, which holds for `run`, so that it does not overlap `other`, which does not hold. False
/// when nothing is known of the run that tells the two apart.
bool TellApart(const RunConditions& other, const RunFacts& run, RunConditions& when) {
  if (!when.Overlap(other)) return true;
  if (!run.port.empty() && !other.port.empty() && run.port != other.port) {
    when.port = run.port;
  } else if (!run.handler.empty() && !other.handler.empty() && run.handler != other.handler) {
    when.handler = run.handler;
  } else if (run.dostype && other.dostype && run.dostype != other.dostype) {
    when.dostype = run.dostype;
  } else if (run.version && *run.version < other.oldest) {
    when.newest = std::min(when.newest, other.oldest - 1);
  } else if (run.version && *run.version > other.newest) {
    when.oldest = std::max(when.oldest, other.newest + 1);
  } else {
    return false;
  }
  return true;
}

/// What the runs came to, and the edits that make a file agree with it. The file is read again after
/// each round of edits, since what one entry no longer covers may be another's.
class Blessing {
 public:
  Blessing(const std::vector<RunRecord>& runs, const std::vector<CheckInfo>& checks)
      : runs_(runs), checks_(checks) {}

  /// False, with `problem`, when the runs do not go together.
  bool Collect(std::string& problem) {
    std::map<std::string, std::size_t> positions;
    for (std::size_t i = 0; i < checks_.size(); ++i) positions.emplace(checks_[i].id, i);
    results_.resize(checks_.size());
    if (!runs_.empty()) facts_ = FactsOf(runs_.front());
    for (const RunRecord& run : runs_) {
      if (FactsOf(run) != facts_) {
        problem = "runs of different ports or targets cannot be written to one file at once";
        return false;
      }
      for (const CheckEvent& check : run.checks) {
        const auto known = positions.find(check.id);
        if (known == positions.end()) {
          problem =
              "cannot write what came out: this program has no check " + QuotedBriefly(check.id);
          return false;
        }
        Collect(run, check, known->second);
      }
    }
    return true;
  }

  /// Makes the next edits of `text`. False when none is left to make.
  bool Round(const Expectations& expectations, std::string& text, BlessReport& report,
             std::string& problem) {
    expectations_ = &expectations;
    edits_.clear();
    added_.clear();
    removed_.clear();
    SortByEntry();
    for (const auto& [entry, results] : by_entry_) {
      if (Entries()[entry].is_pattern()) ReviewPattern(entry, results);
    }
    for (const auto& [entry, results] : by_entry_) {
      if (!Entries()[entry].is_pattern()) ReviewOne(entry, *results.front());
    }
    AddMissing();
    for (NewEntry& entry : added_) {
      if (!SetApart(entry, problem)) return false;
    }
    if (edits_.empty() && added_.empty()) return false;
    const std::size_t entries = Entries().size();
    text = ApplyEdits(text, edits_);
    if (removed_.contains(entries - 1)) TrimEnd(text);
    text = AppendEntries(std::move(text), added_);
    report.added += added_.size();
    report.removed += removed_.size();
    report.changed += changed_;
    return true;
  }

  /// The first check that is not as expected though it should be; null when there is none.
  const CheckEvent* FirstUnexpected(const Expectations& expectations) const {
    for (const CheckResults& results : results_) {
      for (const TriedCheck& tried : results.tries) {
        if (!expectations.Judge(*tried.run, *tried.check).is_fine()) return tried.check;
      }
    }
    return nullptr;
  }

  std::vector<std::string> Blocked() const {
    std::vector<std::string> ids;
    for (const std::size_t check : blocked_) ids.push_back(checks_[check].id);
    return ids;
  }

 private:
  void Collect(const RunRecord& run, const CheckEvent& check, std::size_t position) {
    if (check.verdict == Verdict::kBlocked) blocked_.insert(position);
    if (check.verdict == Verdict::kSkipped && check.why == kNothingToDo) idle_.insert(position);
    if (check.verdict == Verdict::kBlocked || check.verdict == Verdict::kSkipped) return;
    results_[position].info = &checks_[position];
    results_[position].tries.push_back({&run, &check});
  }

  const std::vector<ExpectationEntry>& Entries() const { return expectations_->file().entries; }

  void SortByEntry() {
    changed_ = 0;
    by_entry_.clear();
    without_.clear();
    covers_all_.clear();
    for (std::size_t i = 0; i < checks_.size(); ++i) {
      const std::vector<std::size_t> entries = expectations_->EntriesFor(facts_, checks_[i].id);
      const bool was_tried = !results_[i].tries.empty();
      if (entries.empty() && was_tried) without_.push_back(&results_[i]);
      if (entries.empty()) continue;
      bool& covers_all = covers_all_.try_emplace(entries.front(), true).first->second;
      covers_all = covers_all && (was_tried || idle_.contains(i));
      if (was_tried) by_entry_[entries.front()].push_back(&results_[i]);
    }
  }

  bool IsFine(const CheckResults& results) const {
    return std::all_of(results.tries.begin(), results.tries.end(), [&](const TriedCheck& tried) {
      return expectations_->Judge(*tried.run, *tried.check).is_fine();
    });
  }

  bool PassesWithoutEntry(const CheckResults& results) const {
    const std::vector<Verdict> verdicts = results.Verdicts();
    return std::all_of(verdicts.begin(), verdicts.end(),
                       [&](Verdict verdict) { return expectations_->IsFineWithoutEntry(verdict); });
  }

  void Remove(std::size_t entry) {
    edits_.push_back({LinesOf(expectations_->file(), entry), ""});
    removed_.insert(entry);
  }

  /// Gives an entry the verdicts and the code that came out.
  void Change(std::size_t index, const std::vector<Verdict>& verdicts,
              const std::vector<TriedCheck>& tries) {
    const ExpectationEntry& entry = Entries()[index];
    ++changed_;
    std::vector<Verdict> missing;
    std::copy_if(verdicts.begin(), verdicts.end(), std::back_inserter(missing),
                 [&](Verdict verdict) { return !entry.Lists(verdict); });
    // What somebody listed stays listed.
    if (!missing.empty() && entry.verdict_is_list) {
      std::string text;
      for (const Verdict verdict : missing) text += ", " + TomlText(NameOf(verdict));
      edits_.push_back({{entry.last_verdict.end, entry.last_verdict.end}, text});
    } else if (!missing.empty()) {
      edits_.push_back({entry.verdict_value, TomlVerdicts(verdicts)});
    }
    const bool only_passes = verdicts == std::vector<Verdict>{Verdict::kPass};
    const bool still_shown = std::all_of(tries.begin(), tries.end(), [&](const TriedCheck& tried) {
      return tried.check->verdict == Verdict::kPass ||
             ShowsCode(*tried.check, entry.code.value_or(0));
    });
    if (!entry.code || (still_shown && (entry.verdict_is_list || !only_passes))) return;
    if (const std::optional<std::int32_t> code = CodeFor(verdicts, tries)) {
      edits_.push_back({entry.code_value, std::to_string(*code)});
    } else {
      edits_.push_back({WholeLine(expectations_->file().text, entry.code_value), ""});
    }
  }

  void ReviewPattern(std::size_t index, const std::vector<CheckResults*>& all) {
    std::vector<CheckResults*> wrong;
    std::copy_if(all.begin(), all.end(), std::back_inserter(wrong),
                 [&](const CheckResults* results) { return !IsFine(*results); });
    if (wrong.empty()) return;
    const auto is_like_first = [&](const CheckResults* results) {
      return results->Verdicts() == all.front()->Verdicts();
    };
    const bool all_pass = std::all_of(all.begin(), all.end(), [&](const CheckResults* results) {
      return PassesWithoutEntry(*results);
    });
    if (covers_all_[index] && all_pass) return Remove(index);
    const bool is_uniform =
        wrong.size() == all.size() && std::all_of(all.begin(), all.end(), is_like_first);
    if (covers_all_[index] && is_uniform && !MeetsAnotherPattern(index)) {
      std::vector<TriedCheck> tries;
      for (const CheckResults* results : all) {
        tries.insert(tries.end(), results->tries.begin(), results->tries.end());
      }
      return Change(index, all.front()->Verdicts(), tries);
    }
    for (const CheckResults* results : wrong) {
      const std::vector<Verdict> verdicts = results->Verdicts();
      added_.push_back({.check = results->info->id,
                        .verdicts = verdicts,
                        .code = CodeFor(verdicts, results->tries),
                        .when = Entries()[index].when});
    }
  }

  /// Whether a change of the entry could contradict another pattern.
  bool MeetsAnotherPattern(std::size_t index) const {
    const ExpectationEntry& entry = Entries()[index];
    const auto meets = [&](const ExpectationEntry& other) {
      return &other != &entry && other.is_pattern() && other.when.Overlap(entry.when) &&
             std::any_of(checks_.begin(), checks_.end(), [&](const CheckInfo& check) {
               return FitsPattern(entry.check, check.id) && FitsPattern(other.check, check.id);
             });
    };
    return std::any_of(Entries().begin(), Entries().end(), meets);
  }

  void ReviewOne(std::size_t index, const CheckResults& results) {
    if (IsFine(results)) return;
    // A pattern that fits as well would say the wrong thing once this entry is gone.
    const std::vector<std::size_t> entries =
        expectations_->EntriesFor(facts_, Entries()[index].check);
    const bool is_alone = std::all_of(entries.begin(), entries.end(), [&](std::size_t other) {
      return other == index || removed_.contains(other);
    });
    if (is_alone && PassesWithoutEntry(results)) return Remove(index);
    Change(index, results.Verdicts(), results.tries);
  }

  /// Adds entries for the checks that have none and are not fine: one for a group when all of it came
  /// out the same.
  void AddMissing() {
    std::map<std::string, std::vector<NewEntry>> groups;
    for (const CheckResults* results : without_) {
      if (PassesWithoutEntry(*results)) continue;
      const std::vector<Verdict> verdicts = results->Verdicts();
      groups[results->info->group].push_back({.check = results->info->id,
                                              .verdicts = verdicts,
                                              .code = CodeFor(verdicts, results->tries),
                                              .when = {}});
    }
    std::set<std::string> done;
    for (const CheckInfo& check : checks_) {
      const auto group = groups.find(check.group);
      if (group == groups.end() || !done.insert(check.group).second) continue;
      std::vector<NewEntry>& entries = group->second;
      if (IsWholeGroup(check.group, entries)) {
        entries.resize(1);
        entries.front().check = check.group + ".*";
      }
      std::move(entries.begin(), entries.end(), std::back_inserter(added_));
    }
  }

  bool IsWholeGroup(const std::string& group, const std::vector<NewEntry>& entries) const {
    const auto fits = [&](const CheckInfo& check) { return FitsPattern(group + ".*", check.id); };
    const auto count = std::count_if(checks_.begin(), checks_.end(), fits);
    const auto is_like_first = [&](const NewEntry& entry) {
      return entry.verdicts == entries.front().verdicts && entry.code == entries.front().code;
    };
    return entries.size() > 1 && std::cmp_equal(count, entries.size()) &&
           std::all_of(entries.begin(), entries.end(), is_like_first);
  }

  /// Narrows the conditions of a new entry so that it contradicts none of its rank that is for other
  /// runs. False, with `problem`, when nothing known of the run tells them apart.
  bool SetApart(NewEntry& entry, std::string& problem) const {
    ExpectationEntry as_read;
    as_read.check = entry.check;
    for (std::size_t i = 0; i < Entries().size(); ++i) {
      const ExpectationEntry& other = Entries()[i];
      const bool meets =
          other.is_pattern() == as_read.is_pattern() && !removed_.contains(i) &&
          std::any_of(checks_.begin(), checks_.end(), [&](const CheckInfo& check) {
            return FitsPattern(entry.check, check.id) && FitsPattern(other.check, check.id);
          });
      if (!meets || TellApart(other.when, facts_, entry.when)) continue;
      problem = EntryProblem(expectations_->file().path, other.line, other,
                             "it has conditions of which the run says nothing, so no entry for " +
                                 QuotedBriefly(entry.check) + " can be beside it");
      return false;
    }
    return true;
  }

  /// Of the blank lines at the end of `text` none stays.
  static void TrimEnd(std::string& text) {
    const std::size_t last = text.find_last_not_of(" \t\r\n");
    const std::size_t line_break = text.find('\n', last == std::string::npos ? 0 : last);
    if (line_break != std::string::npos)
      text.resize(last == std::string::npos ? 0 : line_break + 1);
  }

  const std::vector<RunRecord>& runs_;
  const std::vector<CheckInfo>& checks_;
  RunFacts facts_;
  std::vector<CheckResults> results_;  ///< of each check
  std::set<std::size_t> blocked_;
  std::set<std::size_t> idle_;  ///< checks that had nothing to do

  // Of one round:
  const Expectations* expectations_ = nullptr;
  std::map<std::size_t, std::vector<CheckResults*>> by_entry_;
  std::map<std::size_t, bool> covers_all_;  ///< of an entry: each of its checks came out somehow
  std::vector<CheckResults*> without_;      ///< an entry
  std::vector<TextEdit> edits_;
  std::vector<NewEntry> added_;
  std::set<std::size_t> removed_;
  std::size_t changed_ = 0;
};

/// Reads what --bless begins with: nothing where no file is, and of what is no plain file (a pipe, a
/// terminal), which is only written.
bool ReadOldText(const std::string& path, std::string& text, bool& exists, std::string& problem) {
  struct stat status {};
  const bool found = ::stat(path.c_str(), &status) == 0;
  exists = found && S_ISREG(status.st_mode);
  if (exists) return ReadExpectationText(path, text, problem);
  if (!found && errno != ENOENT) return ReadExpectationText(path, text, problem);
  text.clear();
  return true;
}

}  // namespace

bool CanBless(const std::string& path, const std::vector<CheckInfo>& checks, std::string& problem) {
  std::string text;
  bool exists = false;
  Expectations expectations;
  const bool is_right =
      ReadOldText(path, text, exists, problem) &&
      expectations.Read(path, std::move(text), checks, problem, Expectations::StrictTodo::kRead);
  if (!is_right) return false;
  // What is no plain file is written in place; a plain one, by another that is made beside it.
  const std::string folder = std::filesystem::path(path).parent_path().string();
  const bool is_there = ::access(path.c_str(), F_OK) == 0;
  const bool can_write =
      (!is_there || ::access(path.c_str(), W_OK) == 0) &&
      ((is_there && !exists) || ::access(folder.empty() ? "." : folder.c_str(), W_OK) == 0);
  if (!can_write) problem = "cannot write " + path + ": " + std::strerror(errno);
  return can_write;
}

bool Bless(const std::string& path, const std::vector<RunRecord>& runs,
           const std::vector<CheckInfo>& checks, BlessReport& report, std::string& problem) {
  std::string old_text;
  bool exists = false;
  Blessing blessing(runs, checks);
  if (!ReadOldText(path, old_text, exists, problem) || !blessing.Collect(problem)) return false;

  BlessReport done;
  std::string text = exists ? old_text : kFirstLine;
  constexpr int kMostRounds = 8;
  for (int round = 0; round < kMostRounds; ++round) {
    if (!done.expectations.Read(path, text, checks, problem, Expectations::StrictTodo::kRead)) {
      return false;
    }
    std::string why;
    const bool again = blessing.Round(done.expectations, text, done, why);
    if (!why.empty()) {
      problem = why;
      return false;
    }
    if (!again) break;
  }
  if (const CheckEvent* const check = blessing.FirstUnexpected(done.expectations)) {
    problem = path + ": it cannot be made to expect what came out of " + QuotedBriefly(check->id);
    return false;
  }
  done.blocked = blessing.Blocked();
  const bool has_news = !exists || text != old_text;
  if (has_news && !WriteWholeFile(path, text, problem)) return false;
  report = std::move(done);
  return true;
}

}  // namespace quorle
