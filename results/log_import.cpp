#include "results/log_import.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "results/diagnostics_reader.h"
#include "results/log_items.h"

namespace quorle {
namespace {

constexpr std::string_view kLogStart = "Starting tests for Device Name= ";
constexpr std::string_view kVolume = "        Volume Name= ";
constexpr std::string_view kFilesystem = "Host Filesystem = ";
constexpr std::string_view kDosType = "   DOSType:";
constexpr std::string_view kNoName = "Cannot build unique object name string.";
/// Behind the start of a run: a row without checks that has no note.
constexpr std::string_view kEmptyNote = "]\n\n\x1b[0m\x1b[3m\x1b[0m";
constexpr std::string_view kClear = "\n\f\n";
constexpr std::string_view kNotShown = "the log does not show which check of the group failed";

constexpr std::int32_t kLogPassed = 0;
constexpr std::int32_t kLogFailed = 10;
constexpr std::int32_t kLogRefused = 20;

/// More than any run prints by far.
constexpr std::size_t kLargestLog = std::size_t{16} << 20;

/// How many line breaks `text` ends with. An empty note may stand between them; behind a style that is
/// switched on there would be a message.
std::size_t EndingBreaks(std::string_view text) {
  constexpr std::string_view kOff = "\x1b[0m";
  constexpr std::string_view kItalic = "\x1b[3m";
  std::size_t breaks = 0;
  for (;;) {
    if (text.ends_with('\n')) {
      text.remove_suffix(1);
      ++breaks;
    } else if (text.ends_with(kOff)) {
      text.remove_suffix(kOff.size());
      if (text.ends_with(kItalic)) text.remove_suffix(kItalic.size());
    } else {
      return text.ends_with("\x1b[1m") || text.ends_with(kItalic) ? 0 : breaks;
    }
  }
}

/// What the start of a run says of its target.
struct LogStart {
  std::string device;
  std::string volume;
  std::string filesystem;
  std::string dostype;

  void Read(std::string_view line) {
    if (line.starts_with(kLogStart)) {
      line.remove_prefix(kLogStart.size());
      const std::size_t at = line.find(kVolume);
      device = ToPlainUtf8(TrimmedLine(line.substr(0, at)));
      if (at != line.npos) volume = ToPlainUtf8(line.substr(at + kVolume.size()));
    } else if (line.starts_with(kFilesystem)) {
      line.remove_prefix(kFilesystem.size());
      const std::size_t at = line.rfind(kDosType);
      filesystem = ToPlainUtf8(line.substr(0, at));
      if (at != line.npos) ReadDosType(line.substr(at + kDosType.size()));
    }
  }

  /// "0x444f5309 [DOS\09]"
  void ReadDosType(std::string_view text) {
    dostype = ToPlainUtf8(text.substr(0, text.find(' ')));
    std::transform(dostype.begin(), dostype.end(), dostype.begin(), [](unsigned char c) {
      return static_cast<char>(c == 'x' ? c : std::toupper(c));
    });
  }
};

/// The log of one run.
class RunLog {
 public:
  explicit RunLog(const LogSlots& slots) : slots_(slots) {}

  /// False when the text has more messages than a run can have.
  bool Read(std::string_view text);
  void AppendEvents(std::vector<Event>& events) {
    RunEvent run;
    run.device = start_.device;
    events.emplace_back(std::move(run));
    if (!start_.filesystem.empty() || !start_.dostype.empty()) {
      events.emplace_back(TargetEvent{.device = start_.device,
                                      .volume = start_.volume,
                                      .filesystem = start_.filesystem,
                                      .dostype = start_.dostype});
    }
    FindSources(slots_, items_);
    if (!items_.empty()) AppendRows(events);
    if (refused_ || (complete_ && !items_.empty())) {
      end_.result = refused_ ? kLogRefused : result_;
      events.emplace_back(end_);
    }
  }

 private:
  /// What the log has of a row.
  struct Row {
    bool closed = false;                 ///< its closing line is there
    bool skips = false;                  ///< it says that none of its checks is run
    std::size_t unsupported = kNowhere;  ///< the check that ended it with 209
    bool unsupported_is_ambiguous = false;
    std::size_t stop = kNowhere;  ///< the check that ended it otherwise
    std::map<std::size_t, std::vector<const LogItem*>> messages;  ///< by their check
  };
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  // ---- Reading ---------------------------------------------------------------------------------

  void ReadProgress(std::string_view line) {
    start_.Read(line);
    const std::size_t slot = slots_.Find(PassedGroup(line));
    if (PassedGroup(line).empty() || slot == slots_.all().size()) return;
    LogItem item;
    item.closing = true;
    item.candidates = {{.slot = slot, .effect = TextEffect::kSkips}};
    items_.push_back(std::move(item));
  }

  // ---- Writing ---------------------------------------------------------------------------------

  void AppendRows(std::vector<Event>& events) {
    std::map<std::int32_t, Row> rows;
    for (const LogItem& item : items_) {
      const std::size_t slot = item.source.slot;
      Row& row = rows[slots_.all()[slot].row];
      const TextEffect effect = item.source.effect;
      if (item.closing) {
        row.closed = true;
      } else if (effect == TextEffect::kSkips) {
        row.skips = true;
      } else if (effect == TextEffect::kUnsupported) {
        row.unsupported = slot;
        row.unsupported_is_ambiguous = item.ambiguous;
      } else {
        row.messages[slot].push_back(&item);
        if (effect == TextEffect::kStops && row.stop == kNowhere) row.stop = slot;
      }
    }
    const std::int32_t first = FirstRow(rows.begin()->first);
    const std::int32_t last = rows.rbegin()->first;
    for (std::size_t slot = 0; slot < slots_.all().size(); slot = slots_.EndOfRow(slot) + 1) {
      const std::int32_t number = slots_.all()[slot].row;
      if (number < first || number > last) continue;
      AppendRow(slot, rows[number], number < last || complete_, events);
    }
  }

  /// The first row that ran, where `seen` is the first one that printed a line: those before it that have
  /// neither checks nor a note show as an empty note.
  std::int32_t FirstRow(std::int32_t seen) const {
    if (!begins_with_empty_note_) return seen;
    for (std::size_t slot = slots_.all().size(); slot-- > 0;) {
      const TestGroup& group = *slots_.Entry(slot).group;
      if (slots_.all()[slot].row >= seen) continue;
      if (group.sub_tests != nullptr || group.note != nullptr) break;
      seen = slots_.all()[slot].row;
    }
    return seen;
  }

  /// The events of the row whose first slot is `first`; `finished`: the log goes on behind it.
  void AppendRow(std::size_t first, Row& row, bool finished, std::vector<Event>& events) {
    const std::size_t end = slots_.EndOfRow(first);
    GroupEvent group = {.id = slots_.all()[end].id, .row = slots_.all()[end].row};
    group.verdict = Verdict::kNote;
    finished =
        finished || row.closed || row.skips || row.unsupported != kNowhere || row.stop != kNowhere;
    // Relabel() runs nothing on a volume without a name, and with NI says nothing of it.
    const bool silent = !row.closed && row.messages.empty() && row.unsupported == kNowhere;
    if (silent && start_.volume.empty() && slots_.Entry(first).group->run != RunTestGroup)
      row.skips = true;

    std::vector<CheckEvent> checks;
    const std::size_t reached = finished               ? end
                                : row.messages.empty() ? first
                                                       : row.messages.rbegin()->first + 1;
    for (std::size_t slot = first; slot < reached; ++slot) checks.push_back(CheckAt(slot, row));
    const bool failed = finished && first != end && !row.closed && !row.skips;
    const bool is_shown = std::any_of(checks.begin(), checks.end(), [](const CheckEvent& check) {
      return check.result != kLogPassed;
    });
    if (failed && !is_shown) HideFailure(checks);
    for (CheckEvent& check : checks) {
      ++end_.checks[check.verdict];
      group.verdict = std::max(group.verdict, check.verdict);
      AppendLeftBehind(check, events);
      events.emplace_back(std::move(check));
    }
    if (!finished) return;
    group.result = failed ? kLogFailed : kLogPassed;
    if (failed) result_ = kLogFailed;
    events.emplace_back(std::move(group));
  }

  /// The checks of a group that failed without a word: one of them did, and behind it none may have run.
  static void HideFailure(std::vector<CheckEvent>& checks) {
    for (CheckEvent& check : checks) {
      check.why = kNotShown;
      if (&check == &checks.front()) {
        check.verdict = Verdict::kFail;
        check.result = kLogFailed;
        check.ambiguous = true;
      } else if (check.diagnostics.empty()) {
        check.verdict = Verdict::kSkipped;
        check.cause = checks.front().id;
      }
    }
  }

  CheckEvent CheckAt(std::size_t slot, const Row& row) const {
    CheckEvent check;
    check.id = slots_.all()[slot].id;
    check.row = slots_.all()[slot].row;
    check.number = slots_.all()[slot].number;
    check.verdict = Verdict::kPass;
    if (row.skips || slots_.all()[slot].silent) {
      check.verdict = Verdict::kSkipped;
      check.why = kNothingToDo;
      return check;
    }
    if (row.stop < slot) {
      check.verdict = Verdict::kSkipped;
      check.why = kGroupEnded;
      check.cause = slots_.all()[row.stop].id;
      return check;
    }
    if (row.unsupported < slot) {
      check.verdict = Verdict::kUnsupported;
      check.cause = slots_.all()[row.unsupported].id;
      return check;
    }
    if (const auto messages = row.messages.find(slot); messages != row.messages.end()) {
      for (const LogItem* const item : messages->second) AddMessage(*item, check);
    }
    if (row.unsupported == slot) {
      check.verdict = Verdict::kUnsupported;
      check.result = kLogRefused;
      check.ambiguous = check.ambiguous || row.unsupported_is_ambiguous;
    } else if (row.stop == slot) {
      check.result = kLogRefused;
    }
    return check;
  }

  static void AddMessage(const LogItem& item, CheckEvent& check) {
    check.diagnostics.push_back(item.diagnostic);
    const TextEffect effect = item.source.effect;
    if (effect == TextEffect::kFails || effect == TextEffect::kEnds ||
        effect == TextEffect::kStops) {
      const bool blocked = item.diagnostic.text == kNoName;
      check.verdict = std::max(check.verdict, blocked ? Verdict::kBlocked : Verdict::kFail);
      check.result = kLogFailed;
    } else if (item.diagnostic.type == DiagnosticClass::kWarn) {
      check.verdict = std::max(check.verdict, Verdict::kWarn);
    }
    check.ambiguous = check.ambiguous || item.ambiguous;
  }

  /// `Lock() test left the object "FILE01" behind, error; 222 ...`
  static void AppendLeftBehind(const CheckEvent& check, std::vector<Event>& events) {
    constexpr std::string_view kBefore = " test left the object \"";
    constexpr std::string_view kBehind = "\" behind, error; ";
    for (const Diagnostic& diagnostic : check.diagnostics) {
      const std::size_t begin = diagnostic.text.find(kBefore);
      const std::size_t end = diagnostic.text.rfind(kBehind);
      if (diagnostic.type != DiagnosticClass::kCleanup || begin == std::string::npos ||
          end == std::string::npos || end < begin + kBefore.size()) {
        continue;
      }
      const std::size_t name = begin + kBefore.size();
      events.emplace_back(LeftBehindEvent{.id = check.id,
                                          .object = diagnostic.text.substr(name, end - name),
                                          .code = diagnostic.code});
    }
  }

  const LogSlots& slots_;
  LogStart start_;
  std::vector<LogItem> items_;
  bool begins_with_empty_note_ = false;
  bool refused_ = false;   ///< the target cannot be tested
  bool complete_ = false;  ///< the log has its last line
  std::int32_t result_ = kLogPassed;
  EndEvent end_;
};

bool RunLog::Read(std::string_view text) {
  DiagnosticsReader reader;
  reader.Add(text);
  std::size_t breaks = 1;
  for (const ConsoleMessage& message : reader.TakeMessages()) {
    if (message.progress) {
      ReadProgress(TrimmedLine(message.lines.front()));
      breaks = 1;
      continue;
    }
    // Before the first group: the target was refused.
    const bool refusal =
        items_.empty() && TrimmedLine(message.lines.front()).starts_with("ERROR, ");
    if (refusal) {
      refused_ = true;
      continue;
    }
    LogItem item;
    if (!ReadItem(message, slots_, item)) continue;
    breaks = item.breaks;
    items_.push_back(std::move(item));
    if (items_.size() > kMostLogItems) return false;
  }
  begins_with_empty_note_ = text.find(kEmptyNote) != text.npos;
  // A run prints an empty line behind everything else.
  complete_ = EndingBreaks(text) > breaks;
  return true;
}

/// The texts of the runs in `log`, each from its first line on.
std::vector<std::string_view> RunsIn(std::string_view log) {
  std::vector<std::string_view> runs;
  std::size_t begin = log.find(kLogStart);
  while (begin != log.npos) {
    const std::size_t next = log.find(kLogStart, begin + kLogStart.size());
    std::string_view run = log.substr(begin, next == log.npos ? next : next - begin);
    // The next one begins by clearing the console.
    while (next != log.npos && run.ends_with(kClear)) run.remove_suffix(kClear.size());
    runs.push_back(run);
    begin = next;
  }
  return runs;
}

/// `log` with the line ends of the platform, and without what a transfer in blocks puts behind it.
std::string Cleaned(std::string_view log) {
  while (!log.empty() && (log.back() == '\0' || log.back() == '\x1a')) log.remove_suffix(1);
  std::string cleaned;
  cleaned.reserve(log.size());
  for (std::size_t i = 0; i < log.size(); ++i) {
    if (log[i] != '\r' || i + 1 == log.size() || log[i + 1] != '\n') cleaned += log[i];
  }
  return cleaned;
}

}  // namespace

bool ImportLog(std::string_view log, const Catalogue& catalogue, std::vector<Event>& events,
               std::string& problem) {
  const std::string cleaned = Cleaned(log);
  const std::vector<std::string_view> runs = RunsIn(cleaned);
  if (runs.empty()) {
    problem =
        "no log of a run: no line begins with \"" + std::string(TrimmedLine(kLogStart)) + "\"";
    return false;
  }
  const LogSlots slots(catalogue);
  std::vector<Event> made;
  for (const std::string_view text : runs) {
    RunLog run(slots);
    if (!run.Read(text)) {
      problem = "no log of a run: it has more messages than any";
      return false;
    }
    run.AppendEvents(made);
  }
  events.insert(events.end(), std::make_move_iterator(made.begin()),
                std::make_move_iterator(made.end()));
  return true;
}

bool ImportLogFile(const std::string& path, const Catalogue& catalogue, std::vector<Event>& events,
                   std::string& problem) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  std::string log;
  std::vector<char> block(std::size_t{64} << 10);
  while (file != nullptr && log.size() <= kLargestLog) {
    const std::size_t count = std::fread(block.data(), 1, block.size(), file.get());
    if (count == 0) break;
    log.append(block.data(), count);
  }
  if (file == nullptr || std::ferror(file.get()) != 0) {
    problem = "cannot read " + path + ": " + std::strerror(errno);
    return false;
  }
  if (log.size() > kLargestLog) {
    problem = path + ": no log of a run: it is larger than any";
    return false;
  }
  if (ImportLog(log, catalogue, events, problem)) return true;
  problem = path + ": " + problem;
  return false;
}

}  // namespace quorle
