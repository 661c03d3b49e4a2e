#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>

#include "results/markup_text.h"
#include "results/outcome_table.h"
#include "results/page_parts.h"
#include "results/report.h"

namespace quorle {
namespace {

/// Up to so many columns have room for the words of their verdicts, and for level names.
constexpr std::size_t kMostWithWords = 3;
/// A list of more runs is folded.
constexpr std::size_t kMostUnfolded = 12;
/// More columns have no room on paper: only how many are not as expected is printed.
constexpr std::size_t kMostOnPaper = 40;
/// So many runs are named; of more than that only their numbers are listed.
constexpr std::size_t kMostNamed = 12;
/// How the cell of a verdict begins, which the page's script looks for.
constexpr std::string_view kCell = "<td class=\"v ";

/// A name of a check or a group, in which a line can be broken before each capital.
std::string NameHtml(std::string_view name) {
  std::string html;
  for (const char c : MarkupText(name)) {
    if (c >= 'A' && c <= 'Z' && !html.empty() && html.back() >= 'a' && html.back() <= 'z') {
      html += "<wbr>";
    }
    html += c;
  }
  return html;
}

/// The letter of a verdict, in names of classes and where the script looks for it.
char LetterOf(Verdict verdict) {
  constexpr std::string_view kLetters = "-spwnbf";
  return kLetters[static_cast<std::size_t>(verdict)];
}

/// How a cell looks: its verdict's letter; u behind it when it is not as expected, k when it is a known
/// failure.
std::string CellClass(Verdict verdict, Judgement::Type type) {
  std::string name(1, LetterOf(verdict));
  if (type == Judgement::Type::kKnownFailure) return name + "k";
  if (type != Judgement::Type::kAsExpected) return name + "u";
  return name == "s" ? "s_" : name;
}

/// What a cell says, read out.
std::string WordOf(Verdict verdict, Judgement::Type type) {
  std::string word(NameOf(verdict));
  if (type == Judgement::Type::kKnownFailure) word += ", known";
  if (type == Judgement::Type::kSurprisePass) word += ", unexpected";
  return word;
}

std::string Cell(Verdict verdict, Judgement::Type type) {
  return std::string(kCell) + CellClass(verdict, type) + "\">" + WordOf(verdict, type);
}

// ---- Explanations --------------------------------------------------------------------------------

/// A line of Markdown with `code` and **strong** words in it.
std::string InlineHtml(std::string_view line) {
  std::string html;
  bool is_code = false;
  bool is_strong = false;
  while (!line.empty()) {
    if (line.front() == '`') {
      html += is_code ? "</code>" : "<code>";
      is_code = !is_code;
      line.remove_prefix(1);
    } else if (!is_code && line.starts_with("**")) {
      html += is_strong ? "</strong>" : "<strong>";
      is_strong = !is_strong;
      line.remove_prefix(2);
    } else {
      const std::size_t end = std::min(line.find_first_of("`*", 1), line.size());
      html += MarkupText(line.substr(0, end));
      line.remove_prefix(end);
    }
  }
  if (is_code) html += "</code>";
  return is_strong ? html + "</strong>" : html;
}

/// Paragraphs and lists of Markdown.
std::string ExplanationHtml(std::string_view markdown) {
  std::string html;
  std::string open;  // the element that the next line belongs to
  const auto close = [&] {
    if (open == "li") html += "</li></ul>";
    if (open == "p") html += "</p>";
    open.clear();
  };
  while (!markdown.empty()) {
    const std::size_t end = markdown.find('\n');
    std::string_view line = markdown.substr(0, end);
    markdown.remove_prefix(end == std::string_view::npos ? markdown.size() : end + 1);
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    if (line.empty()) {
      close();
    } else if (line.starts_with("- ")) {
      if (open != "li") close();
      html += open == "li" ? "</li><li>" : "<ul><li>";
      html += InlineHtml(line.substr(2));
      open = "li";
    } else if (open.empty()) {
      html += "<p>" + InlineHtml(line);
      open = "p";
    } else {
      html += "\n" + InlineHtml(line);
    }
  }
  close();
  return html;
}

// ---- The page ------------------------------------------------------------------------------------

class HtmlWriter {
 public:
  HtmlWriter(const OutcomeTable& table, const ReportInput& input)
      : table_(table), input_(input), columns_(table.runs.size()) {}

  std::string Write() {
    text_ =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>Filesystem conformance</title>\n<style>\n";
    text_ += PageStyle();
    text_ +=
        "</style>\n<script>document.documentElement.className = 'js';</script>\n</head>\n<body>\n";
    WriteHeader();
    text_ += "<main>\n";
    WriteRuns();
    WriteControls();
    WriteTable();
    text_ +=
        "</main>\n<footer>Made by quorle report. / searches; the arrow keys go through the rows.</footer>\n<script>\n";
    text_ += PageScript();
    text_ += "</script>\n</body>\n</html>\n";
    return std::move(text_);
  }

 private:
  void WriteHeader() {
    const auto fine = static_cast<std::size_t>(
        std::count_if(table_.runs.begin(), table_.runs.end(),
                      [&](const JudgedRun& run) { return run.is_fine(); }));
    const auto bad =
        static_cast<std::size_t>(std::count_if(table_.checks.begin(), table_.checks.end(),
                                               [](const CheckRow& row) { return !row.is_fine(); }));
    std::size_t findings = 0;
    for (const JudgedRun& run : table_.runs) findings += run.findings.size();
    text_ += "<header>\n<h1>Filesystem conformance</h1>\n<p>";
    text_ += Plural(table_.checks.size(), "check") + ", " + Plural(columns_, "run") + ". ";
    if (fine == columns_) {
      text_ += "<span class=\"good\">As expected.</span>";
    } else {
      std::string what;
      if (bad > 0) what = Plural(bad, "check") + " not as expected";
      if (findings > 0) what += (bad > 0 ? ", " : "") + Plural(findings, "finding");
      if (columns_ > 1) what += " in " + Plural(columns_ - fine, "run");
      text_ += "<span class=\"bad\">" + what + ".</span>";
    }
    text_ += "</p>\n</header>\n";
  }

  void WriteRuns() {
    const bool is_folded = columns_ > kMostUnfolded;
    text_ += "<section aria-label=\"Runs\">\n<h2>Runs</h2>\n";
    if (is_folded)
      text_ += "<details><summary>All " + std::to_string(columns_) + " runs</summary>\n";
    text_ += "<ol class=\"runs\">\n";
    for (std::size_t i = 0; i < columns_; ++i) WriteRun(i);
    text_ += "</ol>\n";
    if (is_folded) text_ += "</details>\n";
    text_ += "</section>\n";
  }

  void WriteRun(std::size_t number) {
    const JudgedRun& run = table_.runs[number];
    const RunRecord& record = *run.record;
    const bool is_fine = run.is_fine();
    text_ += "<li id=\"run-" + std::to_string(number + 1) + "\"" +
             (is_fine ? "" : " class=\"not\"") + "><h3><span>" +
             Numbered(number, MarkupText(LabelOf(record))) + "</span>";
    text_ += is_fine ? "<span class=\"good\">as expected</span>"
                     : "<span class=\"bad\">" +
                           (run.unexpected > 0 ? std::to_string(run.unexpected) + " not as expected"
                                               : Plural(run.findings.size(), "finding")) +
                           "</span>";
    text_ += "</h3>\n";
    const std::string target = TargetText(record);
    if (!target.empty()) text_ += "<p>" + MarkupText(target) + "</p>\n";
    text_ += "<p>" + MarkupText(CountsLine(run)) + "</p>\n";
    const std::string when =
        record.start.time + (record.start.words.empty() ? "" : " \xC2\xB7 " + record.start.words);
    if (!when.empty()) text_ += "<p class=\"pale\">" + MarkupText(when) + "</p>\n";
    if (!run.findings.empty()) {
      text_ += "<ul>\n";
      for (const Finding& finding : run.findings) {
        text_ += "<li>" + MarkupText((finding.id.empty() ? "" : finding.id + ": ") + finding.text) +
                 "</li>\n";
      }
      text_ += "</ul>\n";
    }
    text_ += "</li>\n";
  }

  /// The name of a run; with its number where runs are listed by their numbers.
  std::string Numbered(std::size_t number, const std::string& label) const {
    if (columns_ <= kMostNamed) return label;
    return "<span class=\"no\">" + std::to_string(number + 1) + "</span> " + label;
  }

  void WriteControls() {
    text_ +=
        "<section aria-label=\"Checks\">\n<h2>Checks</h2>\n<div class=\"controls\">\n"
        "<div class=\"search\"><label for=\"ui-search\">Search</label>"
        "<input type=\"search\" id=\"ui-search\" placeholder=\"Rename, 205, FILE01 \xE2\x80\xA6\"></div>\n"
        "<fieldset><legend>Show</legend>\n"
        "<label class=\"chip\"><input type=\"checkbox\" id=\"ui-unexpected\"> not as expected</label>\n";
    for (const Verdict verdict : {Verdict::kFail, Verdict::kBlocked, Verdict::kUnsupported,
                                  Verdict::kWarn, Verdict::kPass, Verdict::kSkipped}) {
      const char letter = LetterOf(verdict);
      text_ += std::string("<label class=\"chip\"><input type=\"checkbox\" data-verdict=\"") +
               letter + "\"> <span class=\"mark " +
               (letter == 's' ? "s_" : std::string(1, letter)) +
               "\" aria-hidden=\"true\"></span> " + std::string(NameOf(verdict)) + "</label>\n";
    }
    text_ +=
        "</fieldset>\n<button type=\"button\" id=\"ui-unfold\">Unfold all</button>\n"
        "<button type=\"button\" id=\"ui-fold\">Fold all</button>\n"
        "<span class=\"pale\" id=\"ui-count\" role=\"status\"></span>\n</div>\n"
        "<p class=\"pale\">A filled mark is not as expected; a broken edge is a known failure.</p>\n";
  }

  /// The table, which is a table where no script runs, whatever the reason. Where scripts run, the first writes
  /// the start tag of a <noscript> around it, which makes it text that the browser does not parse: the page's
  /// script makes the table of that text, without the verdicts of columns that are out of view. It finds the
  /// verdicts of a row by their line: each row of a group or of a check has one that begins with kCell, and no
  /// other line does.
  void WriteTable() {
    std::string look = columns_ <= kMostWithWords ? "words" : "tall";
    if (columns_ > kMostUnfolded) look += " dense";
    if (columns_ > kMostOnPaper) look += " many";
    text_ +=
        "<div class=\"scroll" + std::string(columns_ > 1 ? " high" : "") +
        "\" role=\"region\" aria-label=\"Checks and their verdicts\" tabindex=\"0\">\n"
        "<div id=\"ui-place\"></div>\n<script>document.write('<noscript id=\"ui-source\">');</script>\n<table id=\"ui-table\" class=\"" +
        look + "\">\n<thead>\n<tr><th scope=\"col\">Check</th>";
    if (columns_ > 1) text_ += "<th scope=\"col\">not as expected</th>";
    for (std::size_t i = 0; i < columns_; ++i) {
      text_ += "<th scope=\"col\" class=\"run\"><a href=\"#run-" + std::to_string(i + 1) + "\">" +
               Numbered(i, MarkupText(LabelOf(*table_.runs[i].record))) + "</a></th>";
    }
    text_ += "</tr>\n</thead>\n<tbody>\n";
    const std::span<const CheckRow> rows = table_.checks;
    for (std::size_t first = 0; first < rows.size();) {
      std::size_t end = first + 1;
      while (end < rows.size() && rows[end].group == rows[first].group) ++end;
      WriteGroup(rows.subspan(first, end - first));
      for (; first < end; ++first) WriteCheck(rows[first]);
    }
    text_ +=
        "</tbody>\n</table>\n</noscript>\n<p class=\"none\" id=\"ui-none\" hidden>No check is like that.</p>\n"
        "</div>\n</section>\n";
  }

  void WriteGroup(std::span<const CheckRow> rows) {
    const auto bad = static_cast<std::size_t>(std::count_if(
        rows.begin(), rows.end(), [](const CheckRow& row) { return !row.is_fine(); }));
    const std::string name = MarkupText(rows.front().group);
    text_ += "<tr class=\"g\" id=\"" + name + "\"" +
             (bad > 0 && columns_ <= kMostOnPaper ? " data-open" : "") +
             "><th scope=\"row\"><button type=\"button\" aria-expanded=\"true\">" +
             NameHtml(rows.front().group) + "<span class=\"no\">" + Plural(rows.size(), "check") +
             "</span></button></th>";
    WriteSum(bad, rows.size());
    text_ += '\n';
    for (std::size_t run = 0; run < columns_; ++run) text_ += GroupCell(rows, run);
    text_ += "\n</tr>\n";
  }

  /// The worst that is not as expected; else the worst.
  std::string GroupCell(std::span<const CheckRow> rows, std::size_t run) const {
    const Outcome* worst = nullptr;
    for (const CheckRow& row : rows) {
      if (row.of_run[run] == CheckRow::kNone) continue;
      const Outcome& outcome = row.outcomes[row.of_run[run]];
      const bool is_worse =
          worst == nullptr || (worst->judgement.is_fine() != outcome.judgement.is_fine()
                                   ? worst->judgement.is_fine()
                                   : outcome.check->verdict > worst->check->verdict);
      if (is_worse) worst = &outcome;
    }
    return worst == nullptr ? kNoVerdict : Cell(worst->check->verdict, worst->judgement.type);
  }

  void WriteSum(std::size_t bad, std::size_t all) {
    if (columns_ == 1) return;
    text_ += bad == 0 ? "<td class=\"s\">0"
                      : "<td class=\"s not\">" + std::to_string(bad) + " of " + std::to_string(all);
  }

  void WriteCheck(const CheckRow& row) {
    const CheckEvent& first = *row.first;
    const std::string id = MarkupText(first.id);
    std::string verdicts;
    std::size_t bad = 0;
    for (const Outcome& outcome : row.outcomes) {
      verdicts += LetterOf(outcome.check->verdict);
      if (!outcome.judgement.is_fine()) bad += outcome.runs.size();
    }
    if (bad > 0) verdicts += 'u';
    const std::string rule = first.id.substr(std::min(first.id.size(), row.group.size() + 1));
    text_ += "<tr class=\"c\" id=\"" + id + "\" data-v=\"" + verdicts +
             "\"><th scope=\"row\"><button type=\"button\" aria-expanded=\"true\">" +
             NameHtml(rule.empty() ? first.id : rule) + "</button></th>";
    WriteSum(bad, columns_);
    text_ += '\n';
    for (std::size_t run = 0; run < columns_; ++run) {
      const std::uint32_t number = row.of_run[run];
      if (number == CheckRow::kNone) {
        text_ += kNoVerdict;
        continue;
      }
      const Outcome& outcome = row.outcomes[number];
      text_ += Cell(outcome.check->verdict, outcome.judgement.type);
      if (columns_ == 1 && !outcome.lines.empty()) {
        text_ += " <small>" + MarkupText(outcome.lines.front()) + "</small>";
      }
    }
    text_ += "\n</tr>\n";
    WriteMore(row, id);
  }

  /// All that is to be said of a check: each outcome once, whichever runs had it, and what it is about.
  void WriteMore(const CheckRow& row, const std::string& id) {
    const CheckEvent& first = *row.first;
    text_ += "<tr class=\"d\"><td colspan=\"" + std::to_string(columns_ == 1 ? 2 : columns_ + 2) +
             "\"><div class=\"more\"><p><a href=\"#" + id + "\">" + id + "</a>";
    if (first.row > 0) {
      text_ += "<span class=\"no\">test " + std::to_string(first.row) + ", check " +
               std::to_string(first.number) + "</span>";
    }
    text_ += "</p>\n<ul class=\"o\">\n";
    std::vector<const Outcome*> outcomes;
    for (const Outcome& outcome : row.outcomes) outcomes.push_back(&outcome);
    std::stable_sort(outcomes.begin(), outcomes.end(), [](const Outcome* a, const Outcome* b) {
      return a->check->verdict > b->check->verdict;
    });
    for (const Outcome* const outcome : outcomes) WriteOutcome(*outcome);
    text_ += "</ul>\n";
    const std::string explanation = input_.explain ? input_.explain(first.id) : std::string();
    if (!explanation.empty()) {
      text_ += "<div class=\"why\">" + ExplanationHtml(explanation) + "</div>\n";
    }
    text_ += "</div></td></tr>\n";
  }

  void WriteOutcome(const Outcome& outcome) {
    const Verdict verdict = outcome.check->verdict;
    const Judgement::Type type = outcome.judgement.type;
    text_ += "<li class=\"" + CellClass(verdict, type) + "\"><strong>" + WordOf(verdict, type) +
             "</strong>";
    if (columns_ > 1) text_ += " in " + RunList(outcome);
    if (!outcome.lines.empty()) {
      text_ += "\n<pre>";
      for (std::size_t i = 0; i < outcome.lines.size(); ++i) {
        text_ += (i == 0 ? "" : "\n") + MarkupText(outcome.lines[i]);
      }
      text_ += "</pre>";
    }
    if (!outcome.judgement.is_fine()) {
      const RunEvent& start = table_.runs[outcome.runs.front()].record->start;
      const std::string command = CommandFor(start, outcome.check->id);
      if (!command.empty()) {
        text_ += "\n<p class=\"only\">Alone: <code>" + MarkupText(command) + "</code></p>";
      }
    }
    text_ += "</li>\n";
  }

  /// "all 3 runs", "2 runs: ffs, fat" or, of many, their numbers.
  std::string RunList(const Outcome& outcome) const {
    const std::vector<std::uint32_t>& runs = outcome.runs;
    if (runs.size() == columns_) return "all " + Plural(columns_, "run");
    std::string text = Plural(runs.size(), "run");
    // Who passed in silence is who is not named elsewhere.
    if (outcome.lines.empty() && runs.size() > kMostNamed) return text;
    text += ":";
    for (std::size_t i = 0; i < runs.size(); ++i) {
      const std::string number = std::to_string(runs[i] + 1);
      const std::string label = MarkupText(LabelOf(*table_.runs[runs[i]].record));
      text += i == 0 ? " " : ", ";
      if (runs.size() <= kMostNamed) {
        text += "<a href=\"#run-";
        text += number + "\">";
        text += label + "</a>";
      } else {
        text += number;
        // A row of neighbours is one range.
        std::size_t last = i;
        while (last + 1 < runs.size() && runs[last + 1] == runs[last] + 1) ++last;
        if (last >= i + 2) {
          text += "\xE2\x80\x93" + std::to_string(runs[last] + 1);
          i = last;
        }
      }
    }
    return text;
  }

  static constexpr const char* kNoVerdict = "<td class=\"v x\">no verdict";

  const OutcomeTable& table_;
  const ReportInput& input_;
  std::size_t columns_;
  std::string text_;
};

}  // namespace

std::string HtmlReport(const ReportInput& input) {
  const OutcomeTable table = MakeOutcomeTable(input);
  return HtmlWriter(table, input).Write();
}

}  // namespace quorle
