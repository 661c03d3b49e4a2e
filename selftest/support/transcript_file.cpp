#include "selftest/support/transcript_file.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <sstream>
#include <utility>

namespace quorle::selftest {
namespace {

constexpr std::string_view kHex = "0123456789abcdef";

/// One line without its line break.
std::string Escape(std::string_view line) {
  std::string result;
  for (const char c : line) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '\\':
        result += "\\\\";
        break;
      case '\x1b':
        result += "\\e";
        break;
      case '\f':
        result += "\\f";
        break;
      case '\r':
        result += "\\r";
        break;
      case '\t':
        result += "\\t";
        break;
      default:
        if (byte >= 0x20 && byte < 0x7F) {
          result += c;
        } else {
          result += {'\\', 'x', kHex[byte >> 4], kHex[byte & 0xF]};
        }
    }
  }
  if (result.ends_with(' ')) result.replace(result.size() - 1, 1, "\\s");
  return result;
}

/// Appends what the line behind a "|" stands for, its line break included. False when it is none.
bool Unescape(std::string_view line, std::string& text) {
  while (!line.empty()) {
    const char c = line.front();
    line.remove_prefix(1);
    if (c != '\\') {
      text += c;
      continue;
    }
    if (line.empty()) return true;  // no line break follows
    const char code = line.front();
    line.remove_prefix(1);
    constexpr std::string_view kCodes = "\\efrts";
    constexpr std::string_view kMeanings = "\\\x1b\f\r\t ";
    if (const std::size_t at = kCodes.find(code); at != std::string_view::npos) {
      text += kMeanings[at];
      continue;
    }
    unsigned byte = 0;
    if (code != 'x' || line.size() < 2 ||
        std::from_chars(line.data(), line.data() + 2, byte, 16).ptr != line.data() + 2) {
      return false;
    }
    text += static_cast<char>(byte);
    line.remove_prefix(2);
  }
  text += '\n';
  return true;
}

/// The word of a command line that names the target: "RAM:".
std::string TargetOf(const std::string& args) {
  std::istringstream words(args);
  std::string target;
  for (std::string word; words >> word;) {
    if (word.ends_with(':')) target = word;
  }
  return target;
}

/// Reads line after line.
class Reader {
 public:
  explicit Reader(std::vector<Transcript>& transcripts) : transcripts_(transcripts) {}

  bool Line(std::string_view line) {
    if (line.starts_with('|')) return text_ != nullptr && Unescape(line.substr(1), *text_);
    text_ = nullptr;
    if (line.starts_with('#')) {
      comment.append(line).append("\n");
      return true;
    }
    if (line.empty()) return true;
    const std::string_view key = line.substr(0, line.find(' '));
    const std::string rest(line.substr(std::min(key.size() + 1, line.size())));
    if (key == "==" || key == "+") return Begin(key == "+", rest);
    return !transcripts_.empty() && Fill(key, rest);
  }

  std::string comment;

 private:
  bool Begin(bool setting, const std::string& name) {
    if (name.empty() || name.find_first_of("+ ") != std::string::npos) return false;
    if (setting) {
      if (transcripts_.empty()) return false;
      const Transcript& base = transcripts_[base_];
      Transcript added = base;
      added.name = base.name + "+" + name;
      transcripts_.push_back(std::move(added));
    } else {
      base_ = transcripts_.size();
      transcripts_.push_back({});
      transcripts_.back().name = name;
    }
    transcripts_.back().comment = std::exchange(comment, {});
    in_setting_ = setting;
    own_rules_ = !setting;
    return true;
  }

  bool Fill(std::string_view key, const std::string& rest) {
    Transcript& now = transcripts_.back();
    if (key == "args") {
      now.args = rest;
      if (!in_setting_) now.start = TargetOf(rest);
    } else if (key == "with" && in_setting_) {
      now.args += " " + rest;
    } else if (key == "rule") {
      if (!own_rules_) now.rules.clear();
      own_rules_ = true;
      now.rules.push_back(rest);
    } else if (key == "also" && in_setting_) {
      now.rules.push_back(rest);
    } else if (key == "rules" && rest == "none" && in_setting_) {
      now.rules.clear();
    } else if (key == "start") {
      now.start = rest;
    } else if (key == "returns") {
      now.returns = rest;
    } else if (key == "result") {
      now.result = rest;
    } else if (key == "prints:" && rest.empty()) {
      text_ = &now.prints.emplace();
    } else if (key == "calls:" && rest.empty()) {
      text_ = &now.calls.emplace();
    } else if (key == "calls" && rest == "none" && in_setting_) {
      now.calls.reset();
    } else {
      return false;
    }
    return true;
  }

  std::vector<Transcript>& transcripts_;
  std::size_t base_ = 0;
  bool in_setting_ = false;
  bool own_rules_ = false;
  std::string* text_ = nullptr;
};

void WriteText(std::string_view key, const std::string& content, std::string& text) {
  text.append(key).append(":\n");
  for (const std::string& line : EscapedLines(content)) text.append("|").append(line).append("\n");
}

void WriteLine(std::string_view key, const std::string& content, std::string& text) {
  text.append(key);
  if (!content.empty()) text.append(" ").append(content);
  text += '\n';
}

void WriteArgs(const Transcript& setting, const Transcript& base, std::string& text) {
  if (setting.args.starts_with(base.args + " ")) {
    WriteLine("with", setting.args.substr(base.args.size() + 1), text);
  } else if (setting.args != base.args) {
    WriteLine("args", setting.args, text);
  }
}

void WriteRules(const Transcript& setting, const Transcript& base, std::string& text) {
  const auto& rules = setting.rules;
  if (rules == base.rules) return;
  if (rules.empty()) {
    WriteLine("rules", "none", text);
    return;
  }
  const bool adds = rules.size() > base.rules.size() &&
                    std::equal(base.rules.begin(), base.rules.end(), rules.begin());
  for (std::size_t i = adds ? base.rules.size() : 0; i < rules.size(); ++i) {
    WriteLine(adds ? "also" : "rule", rules[i], text);
  }
}

void WriteSetting(const Transcript& setting, const Transcript& base, std::string& text) {
  WriteLine("+", setting.name.substr(base.name.size() + 1), text);
  WriteArgs(setting, base, text);
  WriteRules(setting, base, text);
  if (setting.start != base.start) WriteLine("start", setting.start, text);
  if (setting.returns != base.returns) WriteLine("returns", setting.returns, text);
  if (setting.result != base.result) WriteLine("result", setting.result, text);
  if (setting.prints != base.prints) WriteText("prints", setting.prints.value_or(""), text);
  if (setting.calls == base.calls) return;
  if (setting.calls) {
    WriteText("calls", *setting.calls, text);
  } else {
    WriteLine("calls", "none", text);
  }
}

void WriteCase(const Transcript& test, std::string& text) {
  WriteLine("==", test.name, text);
  if (!test.args.empty()) WriteLine("args", test.args, text);
  for (const std::string& rule : test.rules) WriteLine("rule", rule, text);
  if (test.start != TargetOf(test.args)) WriteLine("start", test.start, text);
  if (!test.returns.empty()) WriteLine("returns", test.returns, text);
  if (!test.result.empty()) WriteLine("result", test.result, text);
  if (test.prints) WriteText("prints", *test.prints, text);
  if (test.calls) WriteText("calls", *test.calls, text);
}

}  // namespace

std::vector<std::string> EscapedLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) {
      lines.push_back(Escape(text) + "\\");
      break;
    }
    lines.push_back(Escape(text.substr(0, end)));
    text.remove_prefix(end + 1);
  }
  return lines;
}

std::optional<TranscriptFile> TranscriptFile::Parse(std::string_view text, std::string& problem) {
  TranscriptFile file;
  Reader reader(file.transcripts_);
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (reader.Line(line)) continue;
    problem =
        "line " + std::to_string(number) + " is not one of a transcript: " + std::string(line);
    return std::nullopt;
  }
  file.last_comment_ = reader.comment;
  for (const Transcript& test : file.transcripts_) {
    if (file.Find(test.name) == &test) continue;
    problem = "there are two cases " + test.name;
    return std::nullopt;
  }
  return file;
}

std::string TranscriptFile::Text() const {
  std::string text;
  const Transcript* base = nullptr;
  for (const Transcript& test : transcripts_) {
    const bool is_setting = base != nullptr && test.name.starts_with(base->name + "+");
    if (!text.empty() && !is_setting) text += '\n';
    text += test.comment;
    if (is_setting) {
      WriteSetting(test, *base, text);
    } else {
      WriteCase(test, text);
      base = &test;
    }
  }
  return text + last_comment_;
}

const Transcript* TranscriptFile::Find(std::string_view name) const {
  const auto found = std::find_if(transcripts_.begin(), transcripts_.end(),
                                  [name](const Transcript& test) { return test.name == name; });
  return found == transcripts_.end() ? nullptr : &*found;
}

}  // namespace quorle::selftest
