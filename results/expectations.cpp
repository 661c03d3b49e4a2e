#include "results/expectations.h"

#include <algorithm>
#include <set>
#include <utility>

namespace quorle {
namespace {

/// Finds out which checks the entries of a file name, and whether the entries can be beside each other.
class EntryMatcher {
 public:
  EntryMatcher(const ExpectationFile& file, const std::vector<CheckInfo>& checks)
      : file_(file), checks_(checks), matches_(file.entries.size()) {
    for (std::size_t i = 0; i < checks.size(); ++i) positions_.emplace(checks[i].id, i);
  }

  /// False, with `problem`, when an entry names no check.
  bool Match(std::string& problem) {
    for (std::size_t i = 0; i < file_.entries.size(); ++i) {
      const ExpectationEntry& entry = file_.entries[i];
      matches_[i] = entry.is_pattern() ? Fitting(entry.check) : Named(entry.check);
      if (!matches_[i].empty()) continue;
      problem = EntryProblem(file_.path, entry.check_line, entry, WhyNone(entry));
      return false;
    }
    return true;
  }

  /// False, with `problem`, when two entries of the same rank can be for the same check of the same run,
  /// and are not two patterns that agree.
  bool Compare(std::string& problem) const {
    std::map<std::string, std::vector<std::size_t>> by_id;
    std::vector<std::size_t> patterns;
    for (std::size_t i = 0; i < file_.entries.size(); ++i) {
      const ExpectationEntry& entry = file_.entries[i];
      std::vector<std::size_t>& earlier = entry.is_pattern() ? patterns : by_id[entry.check];
      for (const std::size_t other : earlier) {
        if (!CompareTwo(other, i, problem)) return false;
      }
      earlier.push_back(i);
    }
    return true;
  }

  /// The checks that the entry names, as indices, in their order.
  const std::vector<std::size_t>& matches(std::size_t entry) const { return matches_[entry]; }

 private:
  std::vector<std::size_t> Fitting(const std::string& pattern) const {
    std::vector<std::size_t> fitting;
    for (std::size_t i = 0; i < checks_.size(); ++i) {
      if (FitsPattern(pattern, checks_[i].id)) fitting.push_back(i);
    }
    return fitting;
  }

  std::vector<std::size_t> Named(const std::string& id) const {
    const auto found = positions_.find(id);
    if (found == positions_.end()) return {};
    return {found->second};
  }

  std::string WhyNone(const ExpectationEntry& entry) const {
    const bool is_group = std::any_of(checks_.begin(), checks_.end(), [&](const CheckInfo& check) {
      return check.group == entry.check;
    });
    if (is_group) return "it is a group; its checks are " + QuotedBriefly(entry.check + ".*");
    std::string_view name = entry.check;
    if (name.ends_with(".*")) name.remove_suffix(2);
    constexpr std::size_t kLongestName = 200;  // the nearest of a longer one takes long to find
    std::string nearest = name.size() > kLongestName ? "" : NearestId(name, checks_);
    if (!nearest.empty() && !positions_.contains(nearest)) nearest += ".*";
    return std::string(entry.is_pattern() ? "no check fits it" : "there is no such check") +
           (nearest.empty() ? "; quorle --list-checks lists all"
                            : "; did you mean " + QuotedBriefly(nearest) + "?");
  }

  bool CompareTwo(std::size_t earlier, std::size_t later, std::string& problem) const {
    const ExpectationEntry& one = file_.entries[earlier];
    const ExpectationEntry& other = file_.entries[later];
    if (!one.when.Overlap(other.when) || !ShareACheck(earlier, later)) return true;
    const bool agree = std::set(one.verdicts.begin(), one.verdicts.end()) ==
                           std::set(other.verdicts.begin(), other.verdicts.end()) &&
                       one.code == other.code;
    if (agree && one.check != other.check) return true;
    problem = EntryProblem(file_.path, other.line, other,
                           (agree ? "it is there already, as entry " : "it contradicts entry ") +
                               std::to_string(one.number) + " in line " + std::to_string(one.line));
    return false;
  }

  bool ShareACheck(std::size_t one, std::size_t other) const {
    const std::vector<std::size_t>& some = matches_[other];
    return std::any_of(some.begin(), some.end(), [&](std::size_t check) {
      return std::binary_search(matches_[one].begin(), matches_[one].end(), check);
    });
  }

  const ExpectationFile& file_;
  const std::vector<CheckInfo>& checks_;
  std::map<std::string, std::size_t> positions_;
  std::vector<std::vector<std::size_t>> matches_;  ///< of each entry
};

bool IsPass(Verdict verdict) {
  return verdict == Verdict::kPass || verdict == Verdict::kSkipped;
}

std::string VerdictList(const std::vector<Verdict>& verdicts) {
  std::string list;
  for (std::size_t i = 0; i < verdicts.size(); ++i) {
    if (i > 0) list += i + 1 == verdicts.size() ? " or " : ", ";
    list += NameOf(verdicts[i]);
  }
  return list;
}

}  // namespace

bool ShowsCode(const CheckEvent& check, std::int32_t code) {
  constexpr std::int32_t kActionNotKnown = 209;
  if (check.verdict == Verdict::kUnsupported && code == kActionNotKnown) return true;
  return std::any_of(check.diagnostics.begin(), check.diagnostics.end(),
                     [&](const Diagnostic& diagnostic) { return diagnostic.code == code; });
}

bool Expectations::Load(const std::string& path, const std::vector<CheckInfo>& checks,
                        std::string& problem) {
  std::string text;
  return ReadExpectationText(path, text, problem) && Read(path, std::move(text), checks, problem);
}

bool Expectations::Read(const std::string& path, std::string text,
                        const std::vector<CheckInfo>& checks, std::string& problem,
                        StrictTodo todo) {
  ExpectationFile file;
  if (!ParseExpectations(path, std::move(text), file, problem)) return false;
  EntryMatcher matcher(file, checks);
  if (!matcher.Match(problem) || !matcher.Compare(problem)) return false;
  const bool refuses_todo = file.strict && todo == StrictTodo::kRefused;
  for (const ExpectationEntry& entry : file.entries) {
    if (!refuses_todo || !entry.is_todo()) continue;
    problem = EntryProblem(path, entry.line, entry,
                           "the reason is still \"TODO\", which a strict file does not allow");
    return false;
  }

  by_check_.clear();
  patterns_.clear();
  for (const bool pattern : {false, true}) {
    for (std::size_t i = 0; i < file.entries.size(); ++i) {
      if (file.entries[i].is_pattern() != pattern) continue;
      if (pattern) patterns_.push_back(i);
      for (const std::size_t check : matcher.matches(i)) by_check_[checks[check].id].push_back(i);
    }
  }
  // Those without an entry are known as well.
  for (const CheckInfo& check : checks) by_check_.try_emplace(check.id);
  file_ = std::move(file);
  return true;
}

const std::vector<std::size_t>& Expectations::Candidates(const std::string& id) const {
  const auto known = by_check_.find(id);
  return known == by_check_.end() ? patterns_ : known->second;
}

std::vector<std::size_t> Expectations::EntriesFor(const RunFacts& run,
                                                  const std::string& id) const {
  std::vector<std::size_t> entries;
  for (const std::size_t i : Candidates(id)) {
    const ExpectationEntry& entry = file_.entries[i];
    if (entry.when.Hold(run) && (entry.check == id || FitsPattern(entry.check, id))) {
      entries.push_back(i);
    }
  }
  return entries;
}

bool Expectations::IsFineWithoutEntry(Verdict verdict) const {
  return IsPass(verdict) || (verdict == Verdict::kWarn && !file_.strict);
}

Judgement Expectations::Judge(const RunRecord& run, const CheckEvent& check) const {
  Judgement judgement;
  if (check.verdict == Verdict::kSkipped) return judgement;
  const std::vector<std::size_t> entries =
      file_.entries.empty() ? std::vector<std::size_t>() : EntriesFor(FactsOf(run), check.id);
  if (entries.empty()) {
    if (!IsFineWithoutEntry(check.verdict)) judgement.type = Judgement::Type::kUnexpected;
    return judgement;
  }
  const ExpectationEntry& entry = file_.entries[entries.front()];
  judgement.reason = entry.reason;
  judgement.at = LineOf(file_.path, entry.line);
  judgement.expected = VerdictList(entry.verdicts);
  if (entry.code && !IsPass(check.verdict) && !ShowsCode(check, *entry.code)) {
    judgement.missing_code = *entry.code;
  }
  if (entry.Lists(check.verdict) && judgement.missing_code == 0) {
    const bool is_failure = !IsFineWithoutEntry(check.verdict);
    judgement.type = is_failure ? Judgement::Type::kKnownFailure : Judgement::Type::kAsExpected;
    return judgement;
  }
  const bool passed = IsFineWithoutEntry(check.verdict) && !entry.Lists(check.verdict);
  if (!passed || entry.Lists(Verdict::kPass)) {
    judgement.type = Judgement::Type::kUnexpected;
    return judgement;
  }
  judgement.type = Judgement::Type::kSurprisePass;
  judgement.missing_code = 0;
  judgement.entry = file_.text.substr(entry.body.begin, entry.body.end - entry.body.begin);
  return judgement;
}

std::vector<std::string> Expectations::TodoLines() const {
  std::vector<std::string> lines;
  for (const ExpectationEntry& entry : file_.entries) {
    if (!entry.is_todo()) continue;
    lines.push_back(EntryProblem(file_.path, entry.line, entry, "the reason is still \"TODO\""));
  }
  return lines;
}

}  // namespace quorle
