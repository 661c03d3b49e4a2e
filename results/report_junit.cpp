#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "results/judged_run.h"
#include "results/markup_text.h"
#include "results/report.h"

namespace quorle {
namespace {

/// Seconds with three decimals: readers take no more.
std::string Seconds(std::int64_t us) {
  std::array<char, 32> text{};
  const std::int64_t ms = us / 1000;
  std::snprintf(text.data(), text.size(), "%lld.%03lld", static_cast<long long>(ms / 1000),
                static_cast<long long>(ms % 1000));
  return text.data();
}

/// What readers add up of a run.
struct JunitCounts {
  std::size_t tests = 0;
  std::size_t failures = 0;
  std::size_t errors = 0;
  std::size_t skipped = 0;
  std::int64_t us = 0;

  std::string Attributes() const {
    return " tests=\"" + std::to_string(tests) + "\" failures=\"" + std::to_string(failures) +
           "\" errors=\"" + std::to_string(errors) + "\" time=\"" + Seconds(us) + "\"";
  }
};

/// What a test case is to a reader.
enum class JunitState : std::uint8_t { kPassed, kSkipped, kFailure, kError };

JunitState StateOf(const JudgedCheck& check) {
  switch (check.judgement.type) {
    case Judgement::Type::kKnownFailure:
      return JunitState::kSkipped;
    case Judgement::Type::kSurprisePass:
      return JunitState::kFailure;
    case Judgement::Type::kUnexpected:
      return check.check->verdict == Verdict::kBlocked ? JunitState::kError : JunitState::kFailure;
    default:
      return check.check->verdict == Verdict::kSkipped ? JunitState::kSkipped : JunitState::kPassed;
  }
}

JunitCounts CountsOf(const JudgedRun& run) {
  JunitCounts counts;
  counts.tests = run.checks.size() + run.findings.size();
  counts.failures = run.findings.size();
  for (const JudgedCheck& check : run.checks) {
    const JunitState state = StateOf(check);
    if (state == JunitState::kFailure) ++counts.failures;
    if (state == JunitState::kError) ++counts.errors;
    if (state == JunitState::kSkipped) ++counts.skipped;
    if (check.check->us > 0) counts.us += check.check->us;
  }
  return counts;
}

/// Writes the test suite of one run.
class JunitWriter {
 public:
  JunitWriter(const JudgedRun& run, std::string& text) : run_(run), text_(text) {}

  void Write(const JunitCounts& counts) {
    const RunEvent& start = run_.record->start;
    const std::string label = LabelOf(*run_.record);
    // Readers take a point for the end of a package's name.
    for (const char c : label) class_name_ += c == '.' ? '_' : c;
    text_ += "  <testsuite name=\"" + MarkupText(label) + "\"" + counts.Attributes() +
             " skipped=\"" + std::to_string(counts.skipped) + "\"";
    if (!start.time.empty()) text_ += " timestamp=\"" + MarkupText(start.time) + "\"";
    text_ += ">\n";
    WriteProperties();
    for (const JudgedCheck& check : run_.checks) WriteCheck(check);
    for (const Finding& finding : run_.findings) WriteFinding(finding);
    text_ += "  </testsuite>\n";
  }

 private:
  void WriteProperties() {
    const RunRecord& record = *run_.record;
    std::string properties;
    const auto add = [&](const char* name, const std::string& value) {
      if (value.empty()) return;
      properties += std::string("      <property name=\"") + name + "\" value=\"" +
                    MarkupText(value) + "\"/>\n";
    };
    add("program", record.start.program);
    add("device", record.start.device);
    add("words", record.start.words);
    add("port", record.start.port);
    add("handler", record.start.handler);
    if (record.target) {
      add("volume", record.target->volume);
      add("filesystem", record.target->filesystem);
      add("dostype", record.target->dostype);
    }
    if (properties.empty()) return;
    text_ += "    <properties>\n" + properties + "    </properties>\n";
  }

  void WriteCheck(const JudgedCheck& judged) {
    const CheckEvent& check = *judged.check;
    const JunitState state = StateOf(judged);
    const std::vector<std::string> lines = DetailLines(run_, judged);
    Begin(check.id.substr(0, check.id.rfind('.')), check.id, check.us > 0 ? check.us : 0);
    if (state == JunitState::kPassed && lines.empty()) {
      text_ += "/>\n";
      return;
    }
    text_ += ">\n";
    if (state == JunitState::kSkipped) {
      const bool is_known = judged.judgement.type == Judgement::Type::kKnownFailure;
      const std::string why = is_known ? judged.judgement.reason : CauseText(check);
      text_ += "      <skipped message=\"" + MarkupText(why) + "\"/>\n";
    } else if (state != JunitState::kPassed) {
      const bool is_surprise = judged.judgement.type == Judgement::Type::kSurprisePass;
      const char* const element = state == JunitState::kError ? "error" : "failure";
      text_ +=
          std::string("      <") + element + " type=\"" +
          (is_surprise ? "surprise-pass" : std::string(NameOf(check.verdict))) + "\" message=\"" +
          MarkupText(is_surprise ? ExpectationText(judged.judgement) : HeadLine(check)) + "\">";
      WriteLines(lines);
      const std::string command = CommandFor(run_.record->start, check.id);
      if (!command.empty()) text_ += "\n" + MarkupText(command);
      text_ += std::string("</") + element + ">\n";
    }
    if (!lines.empty() && check.verdict != Verdict::kSkipped) {
      text_ += "      <system-out>";
      WriteLines(lines);
      text_ += "</system-out>\n";
    }
    text_ += "    </testcase>\n";
  }

  void WriteFinding(const Finding& finding) {
    const std::string id = finding.id.empty() ? "run" : finding.id;
    Begin(id.substr(0, id.rfind('.')), id + " " + finding.name, 0);
    text_ += ">\n      <failure type=\"" + MarkupText(finding.name) + "\" message=\"" +
             MarkupText(finding.text) + "\">" + MarkupText(finding.text) +
             "</failure>\n      <system-out>" + MarkupText(finding.text) +
             "</system-out>\n    </testcase>\n";
  }

  void Begin(const std::string& group, const std::string& name, std::int64_t us) {
    text_ += "    <testcase classname=\"" + MarkupText(class_name_ + "." + group) + "\" name=\"" +
             MarkupText(name) + "\" time=\"" + Seconds(us) + "\"";
  }
  void WriteLines(const std::vector<std::string>& lines) {
    for (std::size_t i = 0; i < lines.size(); ++i)
      text_ += (i == 0 ? "" : "\n") + MarkupText(lines[i]);
  }

  const JudgedRun& run_;
  std::string& text_;
  std::string class_name_;
};

}  // namespace

std::string JunitReport(const ReportInput& input) {
  std::string suites;
  JunitCounts total;
  for (const RunRecord& record : input.runs) {
    const JudgedRun run = JudgeRun(record, input.expectations);
    const JunitCounts counts = CountsOf(run);
    total.tests += counts.tests;
    total.failures += counts.failures;
    total.errors += counts.errors;
    total.us += counts.us;
    JunitWriter(run, suites).Write(counts);
  }
  suites.insert(0, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"quorle\"" +
                       total.Attributes() + ">\n");
  suites += "</testsuites>\n";
  return suites;
}

}  // namespace quorle
