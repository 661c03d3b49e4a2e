#include "results/outcome_table.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace quorle {
namespace {

/// What two outcomes that are alike have in common.
std::string OutcomeKey(const JudgedCheck& check, const std::vector<std::string>& lines) {
  std::string key{static_cast<char>(check.check->verdict), static_cast<char>(check.judgement.type)};
  for (const std::string& line : lines) {
    key += line;
    key += '\n';
  }
  return key;
}

bool IsWorse(const JudgedCheck& check, const JudgedCheck& other) {
  const bool is_fine = check.judgement.is_fine();
  if (is_fine != other.judgement.is_fine()) return !is_fine;
  return check.check->verdict > other.check->verdict;
}

/// Fills a table, run by run.
class TableBuilder {
 public:
  explicit TableBuilder(std::size_t run_count) : run_count_(run_count) {}

  void Add(JudgedRun run) {
    // Of a check that a stream has twice the worse counts.
    std::vector<JudgedCheck*> by_row(table_.checks.size());
    for (JudgedCheck& check : run.checks) {
      const std::size_t row = RowOf(*check.check);
      if (row >= by_row.size()) by_row.resize(row + 1);
      if (by_row[row] == nullptr || IsWorse(check, *by_row[row])) by_row[row] = &check;
    }
    for (std::size_t row = 0; row < by_row.size(); ++row) {
      if (by_row[row] != nullptr) AddCell(run, *by_row[row], row);
    }
    run.checks = {};
    table_.runs.push_back(std::move(run));
  }

  OutcomeTable Take() {
    const auto place = [](const CheckRow& row) {
      return std::tuple(row.first->catalogue != "standard", std::string_view(row.first->catalogue),
                        row.first->row, row.first->number);
    };
    std::stable_sort(table_.checks.begin(), table_.checks.end(),
                     [&](const CheckRow& a, const CheckRow& b) { return place(a) < place(b); });
    return std::move(table_);
  }

 private:
  /// Adds a check of the run that comes next.
  void AddCell(const JudgedRun& run, JudgedCheck& check, std::size_t row) {
    const auto number = static_cast<std::uint32_t>(table_.runs.size());
    std::vector<std::string> lines = DetailLines(run, check);
    std::vector<Outcome>& outcomes = table_.checks[row].outcomes;
    const auto next = static_cast<std::uint32_t>(outcomes.size());
    const auto [known, is_new] = outcomes_[row].emplace(OutcomeKey(check, lines), next);
    if (is_new) {
      outcomes.push_back({.check = check.check,
                          .judgement = std::move(check.judgement),
                          .lines = std::move(lines),
                          .runs = {}});
    }
    table_.checks[row].of_run[number] = known->second;
    outcomes[known->second].runs.push_back(number);
  }

  std::size_t RowOf(const CheckEvent& check) {
    const auto [known, is_new] = rows_.emplace(check.id, table_.checks.size());
    if (is_new) {
      CheckRow& row = table_.checks.emplace_back();
      row.first = &check;
      row.group = check.id.substr(0, check.id.rfind('.'));
      row.of_run.assign(run_count_, CheckRow::kNone);
      outcomes_.emplace_back();
    }
    return known->second;
  }

  std::size_t run_count_;
  OutcomeTable table_;
  std::unordered_map<std::string_view, std::size_t> rows_;
  std::vector<std::map<std::string, std::uint32_t>> outcomes_;  ///< of each row, by their keys
};

}  // namespace

bool CheckRow::is_fine() const {
  return std::all_of(outcomes.begin(), outcomes.end(),
                     [](const Outcome& outcome) { return outcome.judgement.is_fine(); });
}

OutcomeTable MakeOutcomeTable(const ReportInput& input) {
  TableBuilder builder(input.runs.size());
  for (const RunRecord& record : input.runs) builder.Add(JudgeRun(record, input.expectations));
  return builder.Take();
}

}  // namespace quorle
