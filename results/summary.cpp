#include "results/summary.h"

#include <cstddef>
#include <map>
#include <string_view>

#include "platform/control_characters.h"
#include "results/explanations.h"
#include "results/judged_run.h"

namespace quorle {
namespace {

/// --bless can leave a great many reasons to be written.
constexpr std::size_t kMostToDo = 5;

/// What is still to be written in the file of expectations.
std::string ToDoText(const Expectations& expectations) {
  const std::vector<std::string> lines = expectations.TodoLines();
  std::string text;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i == kMostToDo) return text + "and " + std::to_string(lines.size() - i) + " more\n";
    text += ShowControlsOfUtf8(lines[i]) + "\n";
  }
  return text;
}

/// What blocked others: the id of a check, or the names that were taken.
std::string BlockerOf(const CheckEvent& check) {
  return check.cause.empty() ? CauseText(check) : check.cause;
}

struct Blocked {
  std::size_t count = 0;
  const CheckEvent* first = nullptr;
};

/// Writes the summary of one run.
class SummaryWriter {
 public:
  SummaryWriter(const JudgedRun& run, bool colours) : run_(run), colours_(colours) {
    for (const JudgedCheck& check : run_.checks) {
      const bool is_blocked = check.check->verdict == Verdict::kBlocked;
      if (check.judgement.is_fine()) continue;
      if (!is_blocked) {
        listed_[check.check->id] = check.check;
        continue;
      }
      Blocked& blocked = blocked_[BlockerOf(*check.check)];
      if (blocked.count++ == 0) blocked.first = check.check;
    }
  }

  std::string Write() {
    text_ = CountsLine(run_) + "\n";
    std::size_t finding = 0;
    const std::vector<Finding>& findings = run_.findings;
    for (std::size_t i = 0; i < run_.checks.size(); ++i) {
      const JudgedCheck& check = run_.checks[i];
      const std::string& id = check.check->id;
      const bool is_open = WriteCheck(check);
      for (; finding < findings.size() && findings[finding].place == i; ++finding) {
        WriteFinding(findings[finding], is_open && findings[finding].id == id);
      }
      if (is_open) WriteCommand(id);
    }
    for (; finding < findings.size(); ++finding) WriteFinding(findings[finding], false);
    return std::move(text_);
  }

 private:
  enum class Colour : std::uint8_t { kBad, kPale };

  /// True when the check has an entry, which its command then closes.
  bool WriteCheck(const JudgedCheck& check) {
    if (check.judgement.is_fine()) return false;
    if (check.check->verdict == Verdict::kBlocked) return WriteBlocked(*check.check);
    const std::string& id = check.check->id;
    if (check.judgement.type == Judgement::Type::kSurprisePass) {
      WriteHeading(id, "pass");
      for (const std::string& line : DetailLines(run_, check)) WriteLine(line);
      return true;
    }
    WriteHeading(id, std::string(NameOf(check.check->verdict)));
    WriteHeadLine(*check.check);
    if (const std::string rule = RuleOf(id); !rule.empty()) WriteLine("the rule: " + rule);
    const std::string expectation = ExpectationText(check.judgement);
    if (!expectation.empty()) WriteLine(expectation);
    if (const auto found = blocked_.find(id); found != blocked_.end()) {
      WriteLine(Plural(found->second.count, "check") + " blocked by " + id);
    }
    return true;
  }

  /// A blocked check is named when it is the first that its blocker blocked, and that has no entry.
  bool WriteBlocked(const CheckEvent& check) {
    const Blocked& blocked = blocked_.at(BlockerOf(check));
    if (blocked.first != &check || listed_.contains(check.cause)) return false;
    WriteHeading(
        check.id,
        "blocked" + (blocked.count == 1 ? std::string()
                                        : ", and " + std::to_string(blocked.count - 1) + " more"));
    if (check.cause.empty()) {
      WriteLine(CauseText(check));
    } else {
      WriteLine(Plural(blocked.count, "check") + " blocked by " + check.cause);
    }
    return true;
  }

  void WriteHeadLine(const CheckEvent& check) {
    std::string ends;
    for (const HandlerEndedEvent& end : run_.record->handler_ends) {
      if (end.id == check.id) ends += (ends.empty() ? "" : "; ") + EndText(end);
    }
    // The end of a handler explains more than that there is no message.
    const std::string line = check.diagnostics.empty() && !ends.empty() ? "" : HeadLine(check);
    if (!line.empty()) WriteLine(line);
    if (!ends.empty()) WriteLine(ends);
  }

  void WriteFinding(const Finding& finding, bool is_in_entry) {
    if (!is_in_entry) {
      WriteHeading(finding.id, finding.text);
    } else {
      WriteLine(finding.text);
    }
  }

  void WriteHeading(const std::string& id, const std::string& what) {
    if (!id.empty()) text_ += Coloured(Shown(id), Colour::kBad) + ": ";
    text_ += Shown(what) + "\n";
  }
  void WriteLine(const std::string& line) { text_ += "    " + Shown(line) + "\n"; }
  void WriteCommand(const std::string& id) {
    const std::string command = CommandFor(run_.record->start, id);
    if (!command.empty()) text_ += "    " + Coloured(Shown(command), Colour::kPale) + "\n";
  }

  static std::string Shown(const std::string& text) { return ShowControlsOfUtf8(text); }
  std::string Coloured(const std::string& text, Colour colour) const {
    if (!colours_) return text;
    return (colour == Colour::kBad ? "\033[1;31m" : "\033[2m") + text + "\033[0m";
  }

  const JudgedRun& run_;
  bool colours_;
  std::map<std::string, const CheckEvent*> listed_;
  std::map<std::string, Blocked> blocked_;
  std::string text_;
};

}  // namespace

std::string SummaryOf(const RunRecord& run, const Expectations& expectations, bool colours) {
  const JudgedRun judged = JudgeRun(run, expectations);
  return SummaryWriter(judged, colours).Write() + ToDoText(expectations);
}

std::string SurprisesOf(const RunRecord& run, const Expectations& expectations) {
  const JudgedRun judged = JudgeRun(run, expectations);
  std::string text;
  for (const JudgedCheck& check : judged.checks) {
    if (check.judgement.type != Judgement::Type::kSurprisePass) continue;
    text += check.check->id + ": pass\n";
    for (const std::string& line : DetailLines(judged, check)) {
      text += "    " + ShowControlsOfUtf8(line) + "\n";
    }
  }
  return text;
}

std::string SummaryReport(std::span<const RunRecord> runs, const Expectations& expectations,
                          bool colours) {
  std::string text;
  std::size_t fine = 0;
  for (const RunRecord& record : runs) {
    const JudgedRun run = JudgeRun(record, expectations);
    if (run.is_fine()) ++fine;
    if (!text.empty()) text += '\n';
    const std::string target = TargetText(record);
    text += ShowControlsOfUtf8(record.source + (target.empty() ? "" : " (" + target + ")")) + "\n";
    text += SummaryWriter(run, colours).Write();
  }
  if (runs.size() > 1) {
    text += "\n" + std::to_string(fine) + " of " + Plural(runs.size(), "run") + " as expected\n";
  }
  return text + ToDoText(expectations);
}

}  // namespace quorle
