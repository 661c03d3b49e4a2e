#include "results/entry_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace quorle {
namespace {

std::string VersionConditions(const RunConditions& when) {
  if (when.oldest == when.newest) return "=" + VersionText(when.oldest);
  std::string text;
  if (when.oldest != 0) text = ">=" + VersionText(when.oldest);
  if (when.newest == RunConditions::kNewest) return text;
  return text + (text.empty() ? "<" : ", <") + VersionText(when.newest + 1);
}

/// `when = ` and what follows; empty when they hold for every run.
std::string WhenLine(const RunConditions& when) {
  std::vector<std::string> conditions;
  if (!when.port.empty()) conditions.push_back("port = " + TomlText(when.port));
  if (!when.handler.empty()) conditions.push_back("handler = " + TomlText(when.handler));
  if (when.dostype) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08lX", static_cast<unsigned long>(*when.dostype));
    conditions.push_back("dostype = " + TomlText(text.data()));
  }
  if (when.has_versions()) conditions.push_back("version = " + TomlText(VersionConditions(when)));
  if (conditions.empty()) return {};
  std::string line = "when = { ";
  for (std::size_t i = 0; i < conditions.size(); ++i) line += (i > 0 ? ", " : "") + conditions[i];
  return line + " }";
}

std::size_t LineStart(const std::string& text, std::size_t byte) {
  if (byte == 0) return 0;
  const std::size_t before = text.rfind('\n', byte - 1);
  return before == std::string::npos ? 0 : before + 1;
}

/// Behind the line break of the line that `byte` is in.
std::size_t NextLine(const std::string& text, std::size_t byte) {
  const std::size_t end = text.find('\n', byte);
  return end == std::string::npos ? text.size() : end + 1;
}

/// The line that begins at `start`, without blanks around it.
std::string_view LineWithoutBlanks(const std::string& text, std::size_t start) {
  std::string_view line(text);
  line = line.substr(start, NextLine(text, start) - start);
  if (start == 0 && line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
  constexpr std::string_view kBlanks = " \t\r\n";
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  return line.substr(0, line.find_last_not_of(kBlanks) + 1);
}

bool IsCommentAt(const std::string& text, std::size_t start) {
  return start < text.size() && LineWithoutBlanks(text, start).starts_with('#');
}

bool IsBlankAt(const std::string& text, std::size_t start) {
  return start < text.size() && LineWithoutBlanks(text, start).empty();
}

}  // namespace

std::string TomlText(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7F) {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04X", byte);
      quoted += escape.data();
      continue;
    }
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

std::string TomlVerdicts(const std::vector<Verdict>& verdicts) {
  std::string list;
  for (const Verdict verdict : verdicts) {
    list += (list.empty() ? "" : ", ") + TomlText(NameOf(verdict));
  }
  return verdicts.size() == 1 ? list : "[" + list + "]";
}

std::string TextOf(const NewEntry& entry, std::string_view line_break) {
  std::vector<std::string> lines = {"[[expect]]", "check = " + TomlText(entry.check),
                                    "verdict = " + TomlVerdicts(entry.verdicts)};
  if (entry.code) lines.push_back("code = " + std::to_string(*entry.code));
  if (std::string when = WhenLine(entry.when); !when.empty()) lines.push_back(std::move(when));
  lines.emplace_back("reason = \"TODO\"");
  std::string text;
  for (const std::string& line : lines) {
    text += line;
    text += line_break;
  }
  return text;
}

std::string ApplyEdits(const std::string& text, std::vector<TextEdit> edits) {
  std::stable_sort(edits.begin(), edits.end(), [](const TextEdit& one, const TextEdit& other) {
    return one.part.begin < other.part.begin;
  });
  std::string result;
  std::size_t at = 0;
  for (const TextEdit& edit : edits) {
    if (edit.part.begin > at) result += text.substr(at, edit.part.begin - at);
    result += edit.text;
    at = std::max(at, edit.part.end);
  }
  return result + text.substr(std::min(at, text.size()));
}

TextPart LinesOf(const ExpectationFile& file, std::size_t entry) {
  const std::string& text = file.text;
  const TextPart& body = file.entries[entry].body;
  const std::size_t first = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  const std::size_t top = entry == 0 ? 0 : NextLine(text, file.entries[entry - 1].body.end);
  std::size_t begin = std::max(LineStart(text, body.begin), first);
  std::size_t above = begin;
  while (above > top && IsCommentAt(text, LineStart(text, above - 1))) {
    above = LineStart(text, above - 1);
  }
  if (above > 0) begin = above;

  const std::size_t after = NextLine(text, body.end);
  std::size_t end = after;
  while (IsCommentAt(text, end)) end = NextLine(text, end);
  const bool is_of_next =
      entry + 1 < file.entries.size() && end == LineStart(text, file.entries[entry + 1].body.begin);
  if (is_of_next) end = after;
  while (IsBlankAt(text, end)) end = NextLine(text, end);
  return {begin, end};
}

TextPart WholeLine(const std::string& text, const TextPart& part) {
  return {LineStart(text, part.begin), NextLine(text, part.end)};
}

std::string AppendEntries(std::string text, const std::vector<NewEntry>& entries) {
  const std::size_t first_break = text.find('\n');
  const bool has_returns =
      first_break != std::string::npos && first_break > 0 && text[first_break - 1] == '\r';
  const std::string line_break = has_returns ? "\r\n" : "\n";
  for (const NewEntry& entry : entries) {
    if (!text.empty() && !text.ends_with('\n')) text += line_break;
    const bool is_spaced = text.empty() || IsBlankAt(text, LineStart(text, text.size() - 1));
    if (!is_spaced) text += line_break;
    text += TextOf(entry, line_break);
  }
  return text;
}

}  // namespace quorle
