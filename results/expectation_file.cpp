#include "results/expectation_file.h"

#include <toml++/toml.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <utility>

#include "results/toml_text.h"

namespace quorle {
namespace {

/// A larger file is something else.
constexpr std::size_t kLargestFile = 1 << 20;

/// Whether `byte` goes on with a UTF-8 character that began before it.
bool IsInsideCharacter(char byte) {
  constexpr unsigned kTopBits = 0xC0;
  constexpr unsigned kContinues = 0x80;
  return (static_cast<unsigned char>(byte) & kTopBits) == kContinues;
}

/// Where the lines of a text begin.
class LineStarts {
 public:
  explicit LineStarts(const std::string& text) : text_(text) {
    starts_.push_back(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\n') starts_.push_back(i + 1);
    }
  }

  /// The byte at `position`, whose columns are characters, not bytes.
  std::size_t ByteAt(const toml::source_position& position) const {
    const std::size_t line = std::min<std::size_t>(position.line, starts_.size());
    std::size_t byte = starts_[line - 1];
    for (std::size_t column = 1; column < position.column && byte < text_.size(); ++column) {
      ++byte;
      while (byte < text_.size() && IsInsideCharacter(text_[byte])) ++byte;
    }
    return byte;
  }
  TextPart PartAt(const toml::source_region& region) const {
    return {ByteAt(region.begin), ByteAt(region.end)};
  }
  /// The end of the line that `byte` is in, before its line break.
  std::size_t LineEnd(std::size_t byte) const {
    std::size_t end = std::min(text_.find('\n', byte), text_.size());
    if (end > byte && text_[end - 1] == '\r') --end;
    return end;
  }

 private:
  const std::string& text_;
  std::vector<std::size_t> starts_;
};

/// Why a file is refused.
class WrongExpectation final : public std::exception {
 public:
  explicit WrongExpectation(std::string problem) : problem_(std::move(problem)) {}
  const char* what() const noexcept override { return problem_.c_str(); }

 private:
  std::string problem_;
};

std::size_t LineOfNode(const toml::node& node) {
  return node.source().begin.line;
}

/// Where the last of what belongs to `table` ends. Its own region is that of its header.
toml::source_position EndOf(const toml::table& table) {
  toml::source_position end = table.source().end;
  for (const auto& [key, value] : table) {
    const toml::table* const inner = value.as_table();
    end = std::max(end, inner == nullptr ? value.source().end : EndOf(*inner));
  }
  return end;
}

bool HasNoText(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// Reads one [[expect]].
class EntryReader {
 public:
  EntryReader(const std::string& path, const LineStarts& starts, ExpectationEntry& entry)
      : path_(path), starts_(starts), entry_(entry) {}

  void Read(const toml::table& table) {
    entry_.line = LineOfNode(table);
    entry_.body = starts_.PartAt({table.source().begin, EndOf(table), nullptr});
    entry_.body.end = starts_.LineEnd(entry_.body.end);
    // First, since every message names it.
    if (const toml::node* const check = table.get("check")) ReadCheck(*check);
    for (const auto& [key, value] : table) ReadMember(key, value);
    if (entry_.check.empty()) Refuse(entry_.line, "\"check\" is missing");
    if (entry_.verdicts.empty()) Refuse(entry_.line, "\"verdict\" is missing");
    if (entry_.reason.empty()) Refuse(entry_.line, "\"reason\" is missing");
  }

 private:
  [[noreturn]] void Refuse(std::size_t line, const std::string& what) const {
    throw WrongExpectation(EntryProblem(path_, line, entry_, what));
  }

  void ReadMember(const toml::key& key, const toml::node& value) {
    const std::string_view name = key.str();
    if (name == "check") return;
    if (name == "verdict") return ReadVerdicts(value);
    if (name == "code") return ReadCode(value);
    if (name == "when") return ReadWhen(value);
    if (name == "reason") return ReadReason(value);
    Refuse(key.source().begin.line,
           QuotedBriefly(name) + " is no key; there are check, verdict, code, when, reason");
  }

  std::string TextOf(const char* name, const toml::node& value) const {
    const toml::value<std::string>* const text = value.as_string();
    if (text == nullptr) Refuse(LineOfNode(value), std::string("\"") + name + "\" is no text");
    if (HasNoText(text->get())) Refuse(LineOfNode(value), std::string("\"") + name + "\" is empty");
    return text->get();
  }

  void ReadCheck(const toml::node& value) {
    entry_.check = TextOf("check", value);
    entry_.check_line = LineOfNode(value);
  }

  void AddVerdict(const toml::node& value) {
    const toml::value<std::string>* const text = value.as_string();
    if (text == nullptr) {
      Refuse(LineOfNode(value), "\"verdict\" is neither a text nor a list of texts");
    }
    const std::optional<Verdict> verdict = VerdictNamed(text->get());
    if (!verdict || verdict == Verdict::kNote) {
      Refuse(LineOfNode(value),
             QuotedBriefly(text->get()) +
                 " is no verdict; there are pass, warn, unsupported, fail, skipped");
    }
    if (verdict == Verdict::kBlocked) {
      Refuse(LineOfNode(value), "\"blocked\" is never expected; what is in the way can be");
    }
    if (!entry_.Lists(*verdict)) entry_.verdicts.push_back(*verdict);
  }

  void ReadVerdicts(const toml::node& value) {
    entry_.verdict_value = starts_.PartAt(value.source());
    const toml::array* const list = value.as_array();
    if (list == nullptr) return AddVerdict(value);
    entry_.verdict_is_list = true;
    for (const toml::node& item : *list) {
      AddVerdict(item);
      entry_.last_verdict = starts_.PartAt(item.source());
    }
    if (list->empty()) Refuse(LineOfNode(value), "\"verdict\" is an empty list");
  }

  void ReadCode(const toml::node& value) {
    const toml::value<std::int64_t>* const number = value.as_integer();
    if (number == nullptr || number->get() < 1 ||
        number->get() > std::numeric_limits<std::int32_t>::max()) {
      Refuse(LineOfNode(value), "\"code\" is no error code, which is a number from 1");
    }
    entry_.code = static_cast<std::int32_t>(number->get());
    entry_.code_value = starts_.PartAt(value.source());
  }

  void ReadReason(const toml::node& value) { entry_.reason = TextOf("reason", value); }

  void ReadWhen(const toml::node& value) {
    const toml::table* const table = value.as_table();
    if (table == nullptr) {
      Refuse(LineOfNode(value), "\"when\" is no table such as { port = \"packet\" }");
    }
    for (const auto& [key, condition] : *table) ReadCondition(key, condition);
  }

  void ReadCondition(const toml::key& key, const toml::node& value) {
    const std::string_view name = key.str();
    const std::size_t line = LineOfNode(value);
    if (name == "port") {
      entry_.when.port = TextOf("port", value);
      for (const char* const port : {"vector", "packet", "classic"}) {
        if (entry_.when.port == port) return;
      }
      Refuse(line,
             QuotedBriefly(entry_.when.port) + " is no port; there are vector, packet, classic");
    }
    if (name == "handler") {
      entry_.when.handler = TextOf("handler", value);
      return;
    }
    if (name == "dostype") {
      const std::string text = TextOf("dostype", value);
      entry_.when.dostype = ReadDosType(text);
      if (entry_.when.dostype) return;
      Refuse(line, QuotedBriefly(text) + " is no DOS type such as \"0x444F5303\"");
    }
    if (name == "version") {
      const std::string text = TextOf("version", value);
      std::string problem;
      if (!ReadVersions(text, entry_.when, problem)) Refuse(line, problem);
      return;
    }
    Refuse(
        key.source().begin.line,
        QuotedBriefly(name) + " is no key of \"when\"; there are port, handler, dostype, version");
  }

  const std::string& path_;
  const LineStarts& starts_;
  ExpectationEntry& entry_;
};

/// Reads what stands in no entry, and has each entry read.
class FileReader {
 public:
  explicit FileReader(ExpectationFile& file) : file_(file), starts_(file.text) {}

  void Read(const toml::table& table) {
    for (const auto& [key, value] : table) {
      const std::string_view name = key.str();
      if (name == "strict") {
        ReadStrict(value);
      } else if (name == "expect") {
        ReadEntries(value);
      } else if (name == "difference") {
        ReadDifferences(value);
      } else {
        Refuse(key.source().begin.line,
               QuotedBriefly(name) + " is no key; there are strict, [[expect]] and [[difference]]");
      }
    }
  }

 private:
  [[noreturn]] void Refuse(std::size_t line, const std::string& what) const {
    throw WrongExpectation(LineOf(file_.path, line) + ": " + what);
  }

  void ReadStrict(const toml::node& value) {
    const toml::value<bool>* const strict = value.as_boolean();
    if (strict == nullptr) Refuse(LineOfNode(value), "\"strict\" is not true or false");
    file_.strict = strict->get();
  }

  void ReadEntries(const toml::node& value) {
    const toml::array* const list = value.as_array();
    if (list == nullptr || list->empty()) {
      Refuse(LineOfNode(value), "an entry begins with [[expect]], in a line of its own");
    }
    for (const toml::node& item : *list) {
      const toml::table* const table = item.as_table();
      // --bless appends to the file, which a list in brackets would not allow.
      if (table == nullptr || table->is_inline()) {
        Refuse(LineOfNode(item), "an entry begins with [[expect]], in a line of its own");
      }
      ExpectationEntry entry;
      entry.number = file_.entries.size() + 1;
      EntryReader(file_.path, starts_, entry).Read(*table);
      file_.entries.push_back(std::move(entry));
    }
  }

  void ReadDifferences(const toml::node& value) {
    const toml::array* const list = value.as_array();
    if (list == nullptr || list->empty()) {
      Refuse(LineOfNode(value),
             "a known difference begins with [[difference]], in a line of its own");
    }
    for (const toml::node& item : *list) {
      const toml::table* const table = item.as_table();
      if (table == nullptr) {
        Refuse(LineOfNode(item),
               "a known difference begins with [[difference]], in a line of its own");
      }
      ReadDifference(*table);
    }
  }

  void ReadDifference(const toml::table& table) {
    ExpectedDifference difference;
    difference.line = LineOfNode(table);
    for (const auto& [key, value] : table) {
      const std::string_view name = key.str();
      if (name != "id" && name != "reason") {
        Refuse(key.source().begin.line, QuotedBriefly(name) + " is no key; there are id, reason");
      }
      const toml::value<std::string>* const text = value.as_string();
      if (text == nullptr || HasNoText(text->get())) {
        Refuse(LineOfNode(value), QuotedBriefly(name) + " is no text, or empty");
      }
      (name == "id" ? difference.id : difference.reason) = text->get();
    }
    if (difference.id.empty()) Refuse(difference.line, "\"id\" is missing");
    if (difference.reason.empty()) Refuse(difference.line, "\"reason\" is missing");
    for (const ExpectedDifference& other : file_.differences) {
      if (other.id != difference.id) continue;
      Refuse(difference.line, QuotedBriefly(difference.id) + " is there twice, at first in line " +
                                  std::to_string(other.line));
    }
    file_.differences.push_back(std::move(difference));
  }

  ExpectationFile& file_;
  LineStarts starts_;
};

}  // namespace

bool ExpectationEntry::Lists(Verdict verdict) const {
  return std::find(verdicts.begin(), verdicts.end(), verdict) != verdicts.end();
}

std::string OnOneLine(std::string_view text) {
  std::string line(text);
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; };
  std::replace_if(line.begin(), line.end(), is_control, '?');
  return line;
}

std::string LineOf(const std::string& path, std::size_t line) {
  return path + ":" + std::to_string(line);
}

std::string QuotedBriefly(std::string_view text) {
  constexpr std::size_t kLongest = 80;
  std::size_t length = std::min(text.size(), kLongest);
  while (length < text.size() && IsInsideCharacter(text[length])) --length;
  std::string quoted(1, '"');
  quoted += OnOneLine(text.substr(0, length));
  return quoted + (length < text.size() ? "...\"" : "\"");
}

std::string EntryProblem(const std::string& path, std::size_t line, const ExpectationEntry& entry,
                         std::string_view what) {
  std::string problem = LineOf(path, line) + ": entry " + std::to_string(entry.number);
  if (!entry.check.empty()) problem += ", " + QuotedBriefly(entry.check);
  problem += ": ";
  problem += what;
  return problem;
}

bool ReadExpectationText(const std::string& path, std::string& text, std::string& problem) {
  const auto close = [](std::FILE* file) { std::fclose(file); };
  const std::unique_ptr<std::FILE, decltype(close)> file(std::fopen(path.c_str(), "re"), close);
  std::string read(kLargestFile + 1, '\0');
  if (file != nullptr) read.resize(std::fread(read.data(), 1, read.size(), file.get()));
  if (file == nullptr || std::ferror(file.get()) != 0) {
    problem = "cannot read " + path + ": " + std::strerror(errno);
    return false;
  }
  if (read.size() > kLargestFile) {
    problem = path + ": no file of expectations: it is larger than " +
              std::to_string(kLargestFile) + " bytes";
    return false;
  }
  text = std::move(read);
  return true;
}

bool ParseExpectations(const std::string& path, std::string text, ExpectationFile& file,
                       std::string& problem) {
  ExpectationFile read;
  read.path = path;
  read.text = std::move(text);
  toml::table table;
  if (!ParseToml(path, read.text, table, problem)) return false;
  try {
    FileReader(read).Read(table);
  } catch (const WrongExpectation& error) {
    problem = error.what();
    return false;
  }
  file = std::move(read);
  return true;
}

bool ReadExpectedDifferences(const std::string& path, std::map<std::string, std::string>& reasons,
                             std::string& problem) {
  ExpectationFile file;
  std::string text;
  if (!ReadExpectationText(path, text, problem) ||
      !ParseExpectations(path, std::move(text), file, problem)) {
    return false;
  }
  for (ExpectedDifference& difference : file.differences) {
    reasons.emplace(std::move(difference.id), std::move(difference.reason));
  }
  return true;
}

}  // namespace quorle
