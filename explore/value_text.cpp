#include "explore/value_text.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <limits>

#include "platform/constants.h"

namespace quorle::explore {
namespace {

constexpr Word kOpenModes[] = {{"MODE_READWRITE", MODE_READWRITE},
                               {"MODE_OLDFILE", MODE_OLDFILE},
                               {"MODE_NEWFILE", MODE_NEWFILE}};
constexpr Word kLockModes[] = {{"SHARED_LOCK", SHARED_LOCK}, {"EXCLUSIVE_LOCK", EXCLUSIVE_LOCK}};
constexpr Word kOffsetModes[] = {{"OFFSET_BEGINNING", OFFSET_BEGINNING},
                                 {"OFFSET_CURRENT", OFFSET_CURRENT},
                                 {"OFFSET_END", OFFSET_END}};
constexpr Word kRecordModes[] = {{"REC_EXCLUSIVE", REC_EXCLUSIVE},
                                 {"REC_EXCLUSIVE_IMMED", REC_EXCLUSIVE_IMMED},
                                 {"REC_SHARED", REC_SHARED},
                                 {"REC_SHARED_IMMED", REC_SHARED_IMMED}};
constexpr Word kNotifyFlagWords[] = {{"NRF_SEND_MESSAGE", NRF_SEND_MESSAGE},
                                     {"NRF_SEND_SIGNAL", NRF_SEND_SIGNAL},
                                     {"NRF_WAIT_REPLY", NRF_WAIT_REPLY},
                                     {"NRF_NOTIFY_INITIAL", NRF_NOTIFY_INITIAL}};
constexpr Word kMaskWords[] = {{"EXDF_NO_DELETE", EXDF_NO_DELETE},
                               {"EXDF_NO_EXECUTE", EXDF_NO_EXECUTE},
                               {"EXDF_NO_WRITE", EXDF_NO_WRITE},
                               {"EXDF_NO_READ", EXDF_NO_READ},
                               {"EXDF_ARCHIVE", EXDF_ARCHIVE}};
constexpr Word kTagWords[] = {{"FSA_MaxFileNameLengthR", FSA_MaxFileNameLengthR},
                              {"FSA_VersionNumberR", FSA_VersionNumberR},
                              {"FSA_DOSTypeR", FSA_DOSTypeR}};
constexpr Word kTruthWords[] = {{"FALSE", 0}, {"TRUE", 1}};
constexpr Word kRelationWords[] = {{"LOCK_DIFFERENT", LOCK_DIFFERENT},
                                   {"LOCK_SAME", LOCK_SAME},
                                   {"LOCK_SAME_VOLUME", LOCK_SAME_VOLUME}};
constexpr Word kTypeWords[] = {{"FSO_TYPE_SOFTLINK", FSO_TYPE_SOFTLINK},
                               {"FSO_TYPE_FILE", FSO_TYPE_FILE},
                               {"FSO_TYPE_DIRECTORY", FSO_TYPE_DIRECTORY}};

std::string PlainText(const WordSet& set, std::int64_t value) {
  if (!set.is_hex || value <= 0 || value > std::numeric_limits<std::uint32_t>::max()) {
    return std::to_string(value);
  }
  std::array<char, 16> digits;
  std::snprintf(digits.data(), digits.size(), "0x%llX", static_cast<unsigned long long>(value));
  return digits.data();
}

/// All bits of `value` by their names; empty when one has none.
std::string FlagText(const WordSet& set, std::int64_t value) {
  std::string text;
  std::int64_t rest = value;
  for (const Word& word : set.words) {
    if ((rest & word.value) == 0) continue;
    rest &= ~word.value;
    text += (text.empty() ? "" : "|") + std::string(word.name);
  }
  return rest == 0 ? text : std::string();
}

/// One word, or a number.
std::optional<std::int64_t> OneIn(const WordSet& set, std::string_view text) {
  for (const Word& word : set.words) {
    if (word.name == text) return word.value;
  }
  return PlainNumberIn(text);
}

void AppendEscaped(std::string_view text, std::string& quoted) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    if (c == '\n') {
      quoted += "\\n";
    } else if (code < 0x20 || code > 0x7E) {
      quoted += "\\x";
      quoted += kDigits[code >> 4];
      quoted += kDigits[code & 15];
    } else {
      if (c == '"' || c == '\\') quoted += '\\';
      quoted += c;
    }
  }
}

/// A part at the beginning of a text that comes again and again.
struct Repeat {
  std::size_t period = 0;
  std::size_t times = 0;
};

/// The longest one that is worth writing once; none: 0 times.
Repeat FindRepeat(std::string_view text) {
  constexpr std::size_t kLongestPeriod = 16;
  constexpr std::size_t kShortest = 32;
  Repeat found;
  for (std::size_t period = 1; period <= kLongestPeriod && period < text.size(); ++period) {
    std::size_t same = period;
    while (same < text.size() && text[same] == text[same - period]) ++same;
    const std::size_t times = same / period;
    if (times < 2 || times * period < kShortest) continue;
    if (times * period > found.times * found.period) found = {period, times};
  }
  return found;
}

}  // namespace

WordSet WordsOf(Argument argument) {
  switch (argument) {
    case Argument::kOpenMode:
      return {kOpenModes};
    case Argument::kLockMode:
      return {kLockModes};
    case Argument::kOffsetMode:
      return {kOffsetModes};
    case Argument::kRecordMode:
      return {kRecordModes};
    case Argument::kNotifyFlags:
      return {.words = kNotifyFlagWords, .are_flags = true, .is_hex = true};
    case Argument::kMask:
      return {.words = kMaskWords, .are_flags = true, .is_hex = true};
    case Argument::kTag:
      return {.words = kTagWords, .is_hex = true};
    case Argument::kTruth:
      return {kTruthWords};
    default:
      return {};
  }
}

WordSet RelationWords() {
  return {kRelationWords};
}

WordSet TypeWords() {
  return {.words = kTypeWords, .is_hex = true};
}

std::string_view FixedWord(Argument argument) {
  switch (argument) {
    case Argument::kChangeLockWord:
      return "CHANGE_LOCK";
    case Argument::kChangeFileWord:
      return "CHANGE_FH";
    case Argument::kHardWord:
      return "LINK_HARD";
    case Argument::kSoftWord:
      return "LINK_SOFT";
    case Argument::kOwnerWord:
      return "OI_OwnerUID";
    case Argument::kGroupWord:
      return "OI_OwnerGID";
    case Argument::kStringNameWord:
      return "EX_StringNameInput";
    case Argument::kObjectNameWord:
      return "EX_ObjectNameInput";
    case Argument::kFileHandleWord:
      return "EX_FileHandleInput";
    default:
      return "EX_LockInput";
  }
}

char LetterOf(Argument argument) {
  return "lfsn"[static_cast<std::size_t>(argument) - static_cast<std::size_t>(Argument::kLock)];
}

char LetterOf(Result result) {
  return "lfsn"[static_cast<std::size_t>(result) - static_cast<std::size_t>(Result::kLock)];
}

std::string_view SomeObject(Result result) {
  switch (result) {
    case Result::kLock:
      return "a lock";
    case Result::kFile:
      return "a file";
    case Result::kScan:
      return "a scan";
    default:
      return "a request";
  }
}

std::string NumberText(const WordSet& set, std::int64_t value) {
  for (const Word& word : set.words) {
    if (word.value == value) return std::string(word.name);
  }
  std::string text = set.are_flags && value > 0 ? FlagText(set, value) : std::string();
  return text.empty() ? PlainText(set, value) : text;
}

std::optional<std::int64_t> NumberIn(const WordSet& set, std::string_view text) {
  if (!set.are_flags) return OneIn(set, text);
  std::optional<std::int64_t> flags = 0;
  while (flags) {
    const std::size_t bar = text.find('|');
    const std::optional<std::int64_t> one = OneIn(set, text.substr(0, bar));
    flags = one ? std::optional(*flags | *one) : std::nullopt;
    if (bar == std::string_view::npos) break;
    text.remove_prefix(bar + 1);
  }
  return flags;
}

std::optional<std::int64_t> PlainNumberIn(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x")) {
    base = 16;
    text.remove_prefix(2);
    if (text.starts_with('-')) return std::nullopt;
  }
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, number, base);
  if (problem != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  std::size_t in_quotes = 0;  // of the part that is being written
  while (!text.empty()) {
    const Repeat repeat = FindRepeat(text);
    if (repeat.times == 0) {
      AppendEscaped(text.substr(0, 1), quoted);
      text.remove_prefix(1);
      ++in_quotes;
      continue;
    }
    if (in_quotes != 0) quoted += "\" + \"";
    AppendEscaped(text.substr(0, repeat.period), quoted);
    quoted += "\" * " + std::to_string(repeat.times);
    text.remove_prefix(repeat.period * repeat.times);
    if (text.empty()) return quoted;
    quoted += " + \"";
    in_quotes = 0;
  }
  return quoted + '"';
}

std::string DateText(const DateStamp& date) {
  using std::chrono::days;
  using std::chrono::sys_days;
  using std::chrono::year;
  constexpr sys_days kFirst = year(1978) / 1 / 1;
  constexpr sys_days kLast = year(9999) / 12 / 31;
  std::array<char, 64> text;
  const bool is_moment = date.ds_Days >= 0 && date.ds_Days <= (kLast - kFirst).count() &&
                         date.ds_Minute >= 0 && date.ds_Minute < 24 * 60 && date.ds_Tick >= 0 &&
                         date.ds_Tick < 3000;
  if (!is_moment) {
    std::snprintf(text.data(), text.size(), "{%ld %ld %ld}", static_cast<long>(date.ds_Days),
                  static_cast<long>(date.ds_Minute), static_cast<long>(date.ds_Tick));
    return text.data();
  }
  const std::chrono::year_month_day day(kFirst + days(date.ds_Days));
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d.%02d",
                static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                static_cast<unsigned>(day.day()), static_cast<int>(date.ds_Minute / 60),
                static_cast<int>(date.ds_Minute % 60), static_cast<int>(date.ds_Tick / 50),
                static_cast<int>(date.ds_Tick % 50));
  return text.data();
}

}  // namespace quorle::explore
