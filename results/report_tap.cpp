#include <cstddef>
#include <string_view>

#include "platform/control_characters.h"
#include "results/judged_run.h"
#include "results/report.h"

namespace quorle {
namespace {

/// A description or a reason: a backslash escapes what would begin a directive.
std::string TapText(std::string_view text) {
  std::string escaped;
  for (const char c : ShowControlsOfUtf8(text)) {
    if (c == '#' || c == '\\') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

/// A text in YAML, on one line.
std::string YamlText(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : ShowControlsOfUtf8(text)) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

/// Writes the test points of one run, each line behind `indent`.
class TapWriter {
 public:
  TapWriter(const JudgedRun& run, std::string_view indent, std::string& text)
      : run_(run), indent_(indent), text_(text) {}

  void Write() {
    const std::size_t count = run_.checks.size() + run_.findings.size();
    Line("1.." + std::to_string(count) + (count == 0 ? " # SKIP no checks" : ""));
    for (const JudgedCheck& check : run_.checks) WriteCheck(check);
    for (const Finding& finding : run_.findings) WriteFinding(finding);
  }

 private:
  void WriteCheck(const JudgedCheck& judged) {
    const CheckEvent& check = *judged.check;
    const Judgement& judgement = judged.judgement;
    const bool is_surprise = judgement.type == Judgement::Type::kSurprisePass;
    const bool is_known = judgement.type == Judgement::Type::kKnownFailure;
    std::string directive;
    if (is_known) directive = " # TODO " + TapText(judgement.reason);
    if (check.verdict == Verdict::kSkipped) directive = " # SKIP " + TapText(CauseText(check));
    Point(!is_known && judgement.is_fine(), TapText(check.id) + directive);
    const std::vector<std::string> lines = DetailLines(run_, judged);
    if (lines.empty() || check.verdict == Verdict::kSkipped) return;
    Line("  ---");
    Line("  verdict: " + std::string(NameOf(check.verdict)));
    Line("  message: " + YamlText(is_surprise ? ExpectationText(judgement) : HeadLine(check)));
    if (check.result != 0) Line("  result: " + std::to_string(check.result));
    if (!check.cause.empty()) Line("  cause: " + YamlText(check.cause));
    if (check.calls.last != 0) {
      Line("  calls: [" + std::to_string(check.calls.first) + ", " +
           std::to_string(check.calls.last) + "]");
    }
    Line("  details:");
    for (const std::string& line : lines) Line("    - " + YamlText(line));
    if (!judgement.is_fine()) {
      const std::string command = CommandFor(run_.record->start, check.id);
      if (!command.empty()) Line("  command: " + YamlText(command));
    }
    Line("  ...");
  }

  void WriteFinding(const Finding& finding) {
    Point(false, TapText((finding.id.empty() ? "run" : finding.id) + " " + finding.name));
    Line("  ---");
    Line("  message: " + YamlText(finding.text));
    Line("  ...");
  }

  void Point(bool ok, const std::string& description) {
    Line((ok ? "ok " : "not ok ") + std::to_string(++number_) + " - " + description);
  }
  void Line(std::string_view line) {
    text_ += indent_;
    text_ += line;
    text_ += '\n';
  }

  const JudgedRun& run_;
  std::string_view indent_;
  std::string& text_;
  std::size_t number_ = 0;
};

}  // namespace

std::string TapReport(const ReportInput& input) {
  std::string text = "TAP version 14\n";
  if (input.runs.size() == 1) {
    const JudgedRun run = JudgeRun(input.runs.front(), input.expectations);
    TapWriter(run, "", text).Write();
    return text;
  }
  text += "1.." + std::to_string(input.runs.size()) + "\n";
  std::size_t number = 0;
  for (const RunRecord& record : input.runs) {
    const JudgedRun run = JudgeRun(record, input.expectations);
    const std::string name = TapText(record.source);
    text += "# Subtest: " + name + "\n";
    TapWriter(run, "    ", text).Write();
    text += (run.is_fine() ? "ok " : "not ok ") + std::to_string(++number) + " - " + name + "\n";
  }
  return text;
}

}  // namespace quorle
