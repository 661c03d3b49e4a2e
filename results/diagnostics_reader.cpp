#include "results/diagnostics_reader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <utility>

namespace quorle {
namespace {

constexpr char kEscape = '\x1b';
/// A style code is a few characters; what is longer is none.
constexpr std::size_t kLongestStyle = 16;
/// How far at least the lines of a message are indented behind the first.
constexpr std::string_view kIndent = "      ";

struct ClassPrefix {
  std::string_view text;
  DiagnosticClass type;
};

// "ERROR," is how the target is refused.
constexpr std::array<ClassPrefix, 5> kPrefixes = {{
    {"ERROR:", DiagnosticClass::kError},
    {"ERROR,", DiagnosticClass::kError},
    {"WARN:", DiagnosticClass::kWarn},
    {"INFO:", DiagnosticClass::kInfo},
    {"CLEANUP ERROR[", DiagnosticClass::kCleanup},
}};

/// How lines begin that say nothing about a check: the start of a run, and its early end.
constexpr std::array<std::string_view, 5> kProgress = {
    "Starting tests for Device Name= ", "Host Filesystem = ", "----- NOTE: DOSType unavailable ",
    "BREAK ^C - Aborting...", "Error - Aborting..."};

bool IsBlank(char c) {
  return c == ' ' || c == '\r' || c == '\f' || c == '\t';
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

std::optional<std::int32_t> NumberAt(std::string_view text) {
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || (end != text.data() + text.size() && *end != ' '))
    return std::nullopt;
  return number;
}

/// The code that "#%n %m" or a clean-up's "error; %n %m" shows. A name can have a "#" inside.
std::optional<std::int32_t> CodeIn(std::string_view line, DiagnosticClass type) {
  constexpr std::string_view kCleanUp = "error; ";
  if (type == DiagnosticClass::kCleanup) {
    const std::size_t at = line.rfind(kCleanUp);
    return at == line.npos ? std::nullopt : NumberAt(line.substr(at + kCleanUp.size()));
  }
  for (std::size_t at = line.find('#'); at != line.npos; at = line.find('#', at + 1)) {
    if (at != 0 && line[at - 1] != ' ') continue;
    if (const auto code = NumberAt(line.substr(at + 1))) return code;
  }
  return std::nullopt;
}

bool IsProgress(std::string_view line) {
  return !PassedGroup(line).empty() ||
         std::any_of(kProgress.begin(), kProgress.end(),
                     [&](std::string_view start) { return line.starts_with(start); });
}

}  // namespace

void DiagnosticsReader::Add(std::string_view piece, std::int32_t code) {
  if (code != 0) code_ = code;
  for (const char c : piece) Put(c);
  if (!line_has_text_) code_ = 0;
}

std::vector<ConsoleMessage> DiagnosticsReader::TakeMessages() {
  if (!line_.empty() || !escape_.empty()) EndLine();
  code_ = 0;
  open_ = false;
  return std::exchange(messages_, {});
}

std::vector<Diagnostic> DiagnosticsReader::Take() {
  std::vector<Diagnostic> diagnostics;
  for (ConsoleMessage& message : TakeMessages()) {
    if (!message.progress) diagnostics.push_back(std::move(message.diagnostic));
  }
  return diagnostics;
}

void DiagnosticsReader::Put(char c) {
  if (c == '\n') {
    EndLine();
    return;
  }
  if (c == kEscape) {
    line_ += std::exchange(escape_, std::string(1, c));
    return;
  }
  if (!escape_.empty()) {
    escape_ += c;
    if (escape_.size() == 2 ? c == '[' : IsDigit(c) || c == ';') {
      if (escape_.size() < kLongestStyle) return;
    } else if (escape_.size() > 2 && std::isalpha(static_cast<unsigned char>(c)) != 0) {
      ObeyStyle();
      return;
    }
    line_ += std::exchange(escape_, {});
    return;
  }
  if (!IsBlank(c) && !line_has_text_) {
    line_style_ = style_;
    line_has_text_ = true;
  }
  line_ += c;
}

/// "\e[0m" and the like; another sequence, as for colours, changes nothing that is known here.
void DiagnosticsReader::ObeyStyle() {
  if (escape_ == "\x1b[0m") style_ = {};
  if (escape_ == "\x1b[1m") style_.bold = true;
  if (escape_ == "\x1b[3m") style_.italic = true;
  escape_.clear();
}

void DiagnosticsReader::EndLine() {
  std::string line = std::exchange(line_, {}) + std::exchange(escape_, {});
  while (!line.empty() && line.back() == '\r') line.pop_back();
  const std::string_view text = TrimmedLine(line);
  line_has_text_ = false;
  if (text.empty()) {
    after_blank_ = true;
    return;
  }
  const bool after_blank = std::exchange(after_blank_, false);
  if (IsProgress(text)) {
    Begin(DiagnosticClass::kNote, text);
    messages_.back().progress = true;
    messages_.back().lines.push_back(std::move(line));
    code_ = 0;
    return;
  }
  const auto prefix =
      std::find_if(kPrefixes.begin(), kPrefixes.end(),
                   [&](const ClassPrefix& candidate) { return text.starts_with(candidate.text); });
  const bool goes_on = open_ && !line_style_.italic && (line.starts_with(kIndent) || !after_blank);
  if (prefix != kPrefixes.end()) {
    std::string_view rest = text.substr(prefix->text.size());
    if (prefix->type == DiagnosticClass::kCleanup)
      rest.remove_prefix(std::min(rest.find(':') + 1, rest.size()));
    Begin(prefix->type, TrimmedLine(rest));
  } else if (goes_on) {
    Append(text);
  } else {
    Begin(DiagnosticClass::kNote, text);
  }
  if (!code_is_known_) {
    const Diagnostic& last = messages_.back().diagnostic;
    const auto code = code_ != 0 ? code_ : CodeIn(text, last.type);
    code_is_known_ = code.has_value();
    messages_.back().diagnostic.code = code.value_or(0);
  }
  messages_.back().lines.push_back(std::move(line));
  code_ = 0;
}

void DiagnosticsReader::Begin(DiagnosticClass type, std::string_view text) {
  messages_.push_back(
      {.diagnostic = {.type = type, .bold = line_style_.bold, .text = ToPlainUtf8(text)},
       .lines = {}});
  open_ = type != DiagnosticClass::kNote;
  code_is_known_ = false;
}

void DiagnosticsReader::Append(std::string_view text) {
  std::string& joined = messages_.back().diagnostic.text;
  if (!joined.empty()) joined += ' ';
  joined += ToPlainUtf8(text);
}

std::string ToPlainUtf8(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string utf8;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || (byte >= 0x7f && byte < 0xa0)) {
      utf8 += "\\x";
      utf8 += kDigits[byte >> 4];
      utf8 += kDigits[byte & 15];
    } else if (byte >= 0xa0) {
      utf8 += static_cast<char>(0xc0 | byte >> 6);
      utf8 += static_cast<char>(0x80 | (byte & 0x3f));
    } else {
      utf8 += c;
    }
  }
  return utf8;
}

std::string_view TrimmedLine(std::string_view line) {
  while (!line.empty() && IsBlank(line.front())) line.remove_prefix(1);
  while (!line.empty() && IsBlank(line.back())) line.remove_suffix(1);
  return line;
}

std::string_view PassedGroup(std::string_view line) {
  constexpr std::string_view kClosing = " tests passed.";
  constexpr std::string_view kBrackets = "()";
  if (!line.ends_with(kClosing)) return {};
  std::string_view group = line.substr(0, line.size() - kClosing.size());
  const bool is_call = group.ends_with(kBrackets);
  if (is_call) group.remove_suffix(kBrackets.size());
  const bool is_name = std::all_of(group.begin(), group.end(), [&](unsigned char c) {
    return std::isalnum(c) != 0 || (c == ' ' && !is_call);
  });
  return is_name ? group : std::string_view();
}

}  // namespace quorle
