#include "results/judged_run.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

#include "results/event_json.h"

namespace quorle {
namespace {

// ---- Findings ----------------------------------------------------------------------------------

/// Where in the run what is said of `id`, a check or a group, belongs.
std::size_t PlaceOf(const std::string& id, const RunRecord& record) {
  const std::size_t count = record.checks.size();
  if (id.empty()) return count;
  const std::string prefix = id + ".";
  for (std::size_t i = count; i > 0; --i) {
    const std::string& check = record.checks[i - 1].id;
    if (check == id || check.starts_with(prefix)) return i - 1;
  }
  return count;
}

bool HasFailed(const std::string& id, const RunRecord& record) {
  return std::any_of(record.checks.begin(), record.checks.end(), [&](const CheckEvent& check) {
    return check.id == id && check.verdict == Verdict::kFail;
  });
}

/// The lines of `text`, which may end as those of other systems do, but for empty ones.
void AppendLines(std::string_view text, std::vector<std::string>& lines) {
  constexpr std::string_view kBreaks = "\r\n";
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of(kBreaks), text.size());
    if (end != 0) lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

std::string CutOffText(const RunRecord& record) {
  if (record.checks.empty()) return "the run was cut off before a check had its verdict";
  return "the run was cut off after " + record.checks.back().id + ": " +
         Plural(record.checks.size(), "check") +
         (record.checks.size() == 1 ? " has its verdict" : " have their verdicts");
}

std::vector<Finding> FindingsOf(const RunRecord& record) {
  std::vector<Finding> findings;
  const auto add = [&](const std::string& id, const char* name, std::string text) {
    findings.push_back(
        {.id = id, .name = name, .text = std::move(text), .place = PlaceOf(id, record)});
  };
  // The end of a handler during a check is that check's failure.
  for (const HandlerEndedEvent& end : record.handler_ends) {
    if (!HasFailed(end.id, record)) add(end.id, "handler-ended", EndText(end));
  }
  for (const LeftBehindEvent& left : record.left_behind) {
    std::string text = "left behind: \"" + left.object + "\"";
    if (left.code != 0) text += " (error " + std::to_string(left.code) + ")";
    add(left.id, "left-behind", std::move(text));
  }
  for (const ComplaintEvent& complaint : record.complaints) {
    add(complaint.id, "complaint", complaint.text);
  }
  for (const RemountEvent& remount : record.remounts) {
    if (remount.ok) continue;
    add(remount.id, "remount", remount.text.empty() ? "mounting again failed" : remount.text);
  }
  for (const DifferenceEvent& difference : record.differences) {
    if (difference.weight == "note" || difference.expected) continue;
    add({}, "difference", "difference " + difference.id + ": " + difference.text);
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return a.place < b.place; });
  const auto missing = static_cast<std::size_t>(
      std::count_if(record.checks.begin(), record.checks.end(),
                    [](const CheckEvent& check) { return check.was_missed(); }));
  if (missing > 0) add({}, "interrupted", "the run ended before " + Plural(missing, "check"));
  if (!record.end) {
    add({}, "cut-off", CutOffText(record));
  } else if (record.was_refused()) {
    add({}, "refused", "the run ended with " + std::to_string(record.end->result));
  } else if (record.search && record.end->result != 0 && findings.empty()) {
    add({}, "search", "the search ended with " + std::to_string(record.end->result));
  }
  if (record.cell && !record.cell->how.empty()) add({}, "cell", "the cell " + record.cell->how);
  return findings;
}

/// "a search: 5 sequences, 657 pairs of calls, 1 difference".
std::string SearchLine(const ExploreEvent& search) {
  const auto count = [](std::int64_t number, const std::string& what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
  };
  std::string line = "a search: " + count(search.sequences, "sequence") + ", " +
                     count(search.calls, "pair") + " of calls, " +
                     count(search.differences, "difference");
  if (search.expected > 0) line += ", " + std::to_string(search.expected) + " known";
  return line;
}

// ---- Commands ----------------------------------------------------------------------------------

/// Options of the host that choose checks or say where results go. Each has a value.
constexpr std::array<std::string_view, 7> kDropped = {"--select", "--skip",  "--failed", "--events",
                                                      "--expect", "--bless", "--repeat"};
/// Words of the tester that choose groups by their number.
constexpr std::array<std::string_view, 6> kNumberWords = {
    "TN", "FTN", "LTN", "TESTNUMBER", "FIRSTTESTNUMBER", "LASTTESTNUMBER"};

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

template <std::size_t count>
bool IsOneOf(const std::array<std::string_view, count>& words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool IsPlain(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
         std::string_view("_-./:=,+@%").find(c) != std::string_view::npos;
}

bool IsControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

/// `word` so that a shell takes it for one word. Control characters are written as a shell's $'...'
/// has them: a command stays one line that a terminal can show.
std::string QuotedForShell(std::string_view word) {
  if (!word.empty() && std::all_of(word.begin(), word.end(), IsPlain)) return std::string(word);
  const bool has_controls = std::any_of(word.begin(), word.end(), IsControl);
  std::string quoted = has_controls ? "$'" : "'";
  for (const char c : word) {
    if (c == '\'') {
      quoted += has_controls ? "\\'" : "'\\''";
    } else if (has_controls && c == '\\') {
      quoted += "\\\\";
    } else if (IsControl(c)) {
      constexpr char kDigits[] = "01234567";
      const auto byte = static_cast<unsigned char>(c);
      quoted += {'\\', kDigits[byte >> 6], kDigits[byte >> 3 & 7], kDigits[byte & 7]};
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

}  // namespace

bool JudgedRun::is_fine() const {
  return findings.empty() && unexpected == 0;
}

JudgedRun JudgeRun(const RunRecord& record, const Expectations& expectations) {
  JudgedRun run;
  run.record = &record;
  run.checks.reserve(record.checks.size());
  for (const CheckEvent& check : record.checks) {
    Judgement judgement = expectations.Judge(record, check);
    VerdictCount& count = run.counts[check.verdict];
    ++count.all;
    if (judgement.type == Judgement::Type::kKnownFailure) ++count.known;
    if (judgement.type == Judgement::Type::kSurprisePass) ++count.surprise;
    if (!judgement.is_fine()) ++run.unexpected;
    run.checks.push_back({.check = &check, .judgement = std::move(judgement)});
  }
  run.findings = FindingsOf(record);
  return run;
}

std::string CountsLine(const JudgedRun& run) {
  if (run.record->checks.empty()) {
    return run.record->search ? SearchLine(*run.record->search) : "no checks";
  }
  struct Word {
    Verdict verdict;
    const char* word;
  };
  constexpr Word kWords[] = {{Verdict::kFail, "failed"},
                             {Verdict::kBlocked, "blocked"},
                             {Verdict::kUnsupported, "unsupported"},
                             {Verdict::kWarn, "with a warning"},
                             {Verdict::kPass, "passed"},
                             {Verdict::kSkipped, "skipped"}};
  std::string text;
  for (const Word& word : kWords) {
    const auto found = run.counts.find(word.verdict);
    if (found == run.counts.end() || found->second.all == 0) continue;
    const VerdictCount& count = found->second;
    text += text.empty() ? Plural(run.record->checks.size(), "check") + ": " : ", ";
    text += std::to_string(count.all) + " " + word.word;
    if (count.known > 0) text += " (" + std::to_string(count.known) + " known)";
    if (count.surprise > 0) text += " (" + std::to_string(count.surprise) + " unexpectedly)";
  }
  return text;
}

std::string HeadLine(const CheckEvent& check) {
  const Diagnostic* head = nullptr;
  for (const DiagnosticClass type : {DiagnosticClass::kError, DiagnosticClass::kWarn}) {
    if (head != nullptr) break;
    const auto found = std::find_if(check.diagnostics.begin(), check.diagnostics.end(),
                                    [&](const Diagnostic& line) { return line.type == type; });
    if (found != check.diagnostics.end()) head = &*found;
  }
  if (head == nullptr && !check.diagnostics.empty()) head = &check.diagnostics.front();
  if (head != nullptr) return std::string(NameOf(head->type)) + ": " + head->text;
  std::string cause = CauseText(check);
  if (!cause.empty()) return cause;
  if (check.verdict == Verdict::kUnsupported) return "answered 209 (not implemented)";
  if (check.result != 0) return "returned " + std::to_string(check.result) + " without a message";
  return {};
}

std::string CauseText(const CheckEvent& check) {
  if (!check.objects.empty()) {
    std::string text = "no unique name is left; in the way:";
    for (const std::string& object : check.objects) text += " " + object;
    return text;
  }
  if (check.verdict == Verdict::kBlocked) {
    return check.cause.empty() ? "blocked" : "blocked by " + check.cause;
  }
  if (check.verdict == Verdict::kUnsupported && !check.cause.empty()) {
    return "did not run: " + check.cause + " is unsupported";
  }
  if (check.cause.empty()) return check.why;
  return (check.why.empty() ? "did not run" : check.why) + ", because of " + check.cause;
}

std::vector<std::string> DetailLines(const JudgedRun& run, const JudgedCheck& check) {
  std::vector<std::string> lines;
  const CheckEvent& event = *check.check;
  if (check.judgement.type == Judgement::Type::kSurprisePass) {
    lines.push_back(ExpectationText(check.judgement));
    AppendLines(check.judgement.entry, lines);
  } else if (!check.judgement.reason.empty()) {
    lines.push_back(ExpectationText(check.judgement));
  }
  const std::size_t before = lines.size();
  for (const Diagnostic& diagnostic : event.diagnostics) {
    lines.push_back(std::string(NameOf(diagnostic.type)) + ": " + diagnostic.text);
  }
  for (const HandlerEndedEvent& end : run.record->handler_ends) {
    if (end.id == event.id) lines.push_back(EndText(end));
  }
  std::string cause = CauseText(event);
  if (!cause.empty()) lines.push_back(std::move(cause));
  if (lines.size() == before && event.verdict != Verdict::kPass) {
    std::string line = HeadLine(event);
    if (!line.empty()) lines.push_back(std::move(line));
  }
  if (event.ambiguous) lines.push_back("the text fits other checks too; this is the first of them");
  return lines;
}

std::string ExpectationText(const Judgement& judgement) {
  switch (judgement.type) {
    case Judgement::Type::kSurprisePass:
      return "passed, where " + judgement.at + " expects " + judgement.expected + " (" +
             judgement.reason + "); the entry to delete:";
    case Judgement::Type::kUnexpected:
      if (judgement.at.empty()) return {};
      if (judgement.missing_code != 0) {
        return "no message shows the code " + std::to_string(judgement.missing_code) + ", which " +
               judgement.at + " expects";
      }
      return judgement.at + " expects " + judgement.expected + ": " + judgement.reason;
    default:
      return judgement.at.empty() ? std::string() : "expected: " + judgement.reason;
  }
}

std::string EndText(const HandlerEndedEvent& end) {
  return "the handler ended" + (end.call.empty() ? "" : " in " + end.call + "()") +
         (end.how.empty() ? "" : ": " + end.how);
}

std::string CommandFor(const RunEvent& run, const std::string& id) {
  if (run.arguments.empty()) return {};
  std::string command = "quorle --select " + QuotedForShell(id);
  bool is_host = true;  // until a lone "--"
  for (std::size_t i = 0; i < run.arguments.size(); ++i) {
    const std::string_view word = run.arguments[i];
    const std::size_t equals = word.find('=');
    const std::string_view name = word.substr(0, equals);
    const bool is_dropped =
        (is_host && IsOneOf(kDropped, name)) || IsOneOf(kNumberWords, UpperCase(name));
    if (word == "--") is_host = false;
    if (!is_dropped) {
      command += ' ';
      command += QuotedForShell(word);
    } else if (equals == std::string_view::npos) {
      ++i;  // and its value
    }
  }
  return command;
}

std::string LabelOf(const RunRecord& record) {
  std::string label = record.source.substr(record.source.rfind('/') + 1);
  for (const std::string_view ending : {".jsonl", ".ndjson", ".json", ".events"}) {
    const std::size_t at = label.rfind(ending);
    if (at == std::string::npos || at == 0) continue;
    const std::size_t behind = at + ending.size();
    if (behind == label.size() || label[behind] == ' ') return label.erase(at, ending.size());
  }
  return label;
}

std::string TargetText(const RunRecord& record) {
  std::string text = record.start.device;
  const auto add = [&](const std::string& part) {
    if (part.empty()) return;
    text += text.empty() ? part : ", " + part;
  };
  if (record.target) add(record.target->filesystem);
  if (!record.start.port.empty()) add(record.start.port + " port");
  if (record.start.catalogue != kStandardName) add(record.start.catalogue + " catalogue");
  return text;
}

std::string Plural(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace quorle
