#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/control_characters.h"
#include "results/outcome_table.h"
#include "results/report.h"

namespace quorle {
namespace {

/// A CI takes 1 MiB; a little is left for what closes the report.
constexpr std::size_t kRoom = 1000 * 1000;
/// Rows of the table of runs, and runs that a row of the other table names.
constexpr std::size_t kMostRuns = 200;
constexpr std::size_t kMostNames = 4;

/// `text` in one line of Markdown, or in HTML: whatever could mean something there is named.
std::string MarkdownText(std::string_view text) {
  constexpr std::string_view kSpecial = "&<>|`*_[]#~@\\!$:";
  std::string escaped;
  for (const char c : ShowControlsOfUtf8(text)) {
    if (kSpecial.find(c) == std::string_view::npos) {
      escaped += c;
    } else {
      escaped += "&#" + std::to_string(static_cast<int>(c)) + ";";
    }
  }
  return escaped;
}

/// `lines` as they are, between fences that none of them can close.
std::string Fenced(const std::vector<std::string>& lines) {
  std::size_t longest = 2;
  for (const std::string& line : lines) {
    std::size_t row = 0;
    for (const char c : line) {
      row = c == '`' ? row + 1 : 0;
      longest = std::max(longest, row);
    }
  }
  const std::string fence(longest + 1, '`');
  std::string text = fence + "text\n";
  for (const std::string& line : lines) text += ShowControlsOfUtf8(line) + "\n";
  return text + fence + "\n";
}

/// Writes the report of a table.
class MarkdownWriter {
 public:
  MarkdownWriter(const OutcomeTable& table, const ReportInput& input)
      : table_(table), input_(input) {}

  std::string Write() {
    WriteRuns();
    WriteUnexpected();
    WriteFindings();
    WriteDetails();
    WriteKnown();
    return std::move(text_);
  }

 private:
  void WriteRuns() {
    text_ += "## Filesystem conformance\n\n| run | target | checks |\n|---|---|---|\n";
    std::size_t rows = 0;
    for (const JudgedRun& run : table_.runs) {
      if (rows++ == kMostRuns) {
        text_ += "| and " + std::to_string(table_.runs.size() - kMostRuns) + " more | | |\n";
        break;
      }
      text_ += "| " + MarkdownText(LabelOf(*run.record)) + " | " +
               MarkdownText(TargetText(*run.record)) + " | " + MarkdownText(CountsLine(run)) +
               " |\n";
    }
  }

  /// The runs of an outcome, or how many they are.
  std::string RunNames(const Outcome& outcome) const {
    std::string names;
    for (std::size_t i = 0; i < outcome.runs.size(); ++i) {
      if (i == kMostNames) {
        return names + " and " + std::to_string(outcome.runs.size() - kMostNames) + " more";
      }
      names += (i == 0 ? "" : ", ") + MarkdownText(LabelOf(*table_.runs[outcome.runs[i]].record));
    }
    return names;
  }

  void WriteUnexpected() {
    std::size_t left_out = 0;
    bool is_first = true;
    for (const CheckRow& row : table_.checks) {
      for (const Outcome& outcome : row.outcomes) {
        if (outcome.judgement.is_fine()) continue;
        if (text_.size() > kRoom / 2) {
          ++left_out;
          continue;
        }
        if (is_first) {
          text_ += "\n### Not as expected\n\n| check | verdict | runs | |\n|---|---|---|---|\n";
        }
        is_first = false;
        const bool is_surprise = outcome.judgement.type == Judgement::Type::kSurprisePass;
        text_ += "| " + MarkdownText(row.first->id) + " | **" +
                 std::string(NameOf(outcome.check->verdict)) + "** | " + RunNames(outcome) + " | " +
                 MarkdownText(is_surprise ? ExpectationText(outcome.judgement)
                                          : HeadLine(*outcome.check)) +
                 " |\n";
      }
    }
    if (left_out > 0) text_ += "\nand " + std::to_string(left_out) + " more\n";
    if (is_first && !table_.checks.empty()) text_ += "\nEvery check is as expected.\n";
  }

  void WriteFindings() {
    std::size_t left_out = 0;
    bool is_first = true;
    for (const JudgedRun& run : table_.runs) {
      for (const Finding& finding : run.findings) {
        if (text_.size() > kRoom * 3 / 4) {
          ++left_out;
          continue;
        }
        if (is_first) text_ += "\n### Also wrong\n\n";
        is_first = false;
        text_ += "- " + MarkdownText(LabelOf(*run.record));
        if (!finding.id.empty()) text_ += ", " + MarkdownText(finding.id);
        text_ += MarkdownText(": " + finding.text) + "\n";
      }
    }
    if (left_out > 0) text_ += "\nand " + std::to_string(left_out) + " more\n";
  }

  void WriteDetails() {
    std::size_t left_out = 0;
    for (const CheckRow& row : table_.checks) {
      if (row.is_fine()) continue;
      const std::string details = Details(row);
      if (left_out > 0 || text_.size() + details.size() > kRoom) {
        ++left_out;
      } else {
        text_ += details;
      }
    }
    if (left_out > 0) {
      text_ += "\nThe details of " + Plural(left_out, "check") + " found no room.\n";
    }
  }

  std::string Details(const CheckRow& row) const {
    const std::string& id = row.first->id;
    std::string text = "\n<details><summary>" + MarkdownText(id) + "</summary>\n";
    for (const Outcome& outcome : row.outcomes) {
      if (outcome.judgement.is_fine()) continue;
      const std::string command = CommandFor(table_.runs[outcome.runs.front()].record->start, id);
      text += "\n" + RunNames(outcome) + MarkdownText(": ") +
              std::string(NameOf(outcome.check->verdict)) + "\n\n" + Fenced(outcome.lines);
      if (!command.empty()) text += "\nAlone:\n\n" + Fenced({command});
    }
    const std::string explanation = input_.explain ? input_.explain(id) : std::string();
    if (!explanation.empty()) text += "\n" + explanation + "\n";
    return text + "\n</details>\n";
  }

  /// Known failures, folded: a CI is green with them.
  void WriteKnown() {
    std::string rows;
    std::size_t count = 0;
    for (const CheckRow& row : table_.checks) {
      for (const Outcome& outcome : row.outcomes) {
        if (outcome.judgement.type != Judgement::Type::kKnownFailure) continue;
        ++count;
        rows += "| " + MarkdownText(row.first->id) + " | " +
                std::string(NameOf(outcome.check->verdict)) + " | " + RunNames(outcome) + " | " +
                MarkdownText(outcome.judgement.reason) + " |\n";
      }
    }
    if (count == 0) return;
    const std::string head =
        "\n<details><summary>" + Plural(count, "known failure") +
        "</summary>\n\n| check | verdict | runs | reason |\n|---|---|---|---|\n";
    if (text_.size() + head.size() + rows.size() > kRoom) {
      text_ += "\n" + Plural(count, "known failure") + "\n";
    } else {
      text_ += head + rows + "\n</details>\n";
    }
  }

  const OutcomeTable& table_;
  const ReportInput& input_;
  std::string text_;
};

}  // namespace

std::string MarkdownReport(const ReportInput& input) {
  const OutcomeTable table = MakeOutcomeTable(input);
  return MarkdownWriter(table, input).Write();
}

}  // namespace quorle
