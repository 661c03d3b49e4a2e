#include "program/explain_command.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "platform/constants.h"
#include "results/check_list.h"
#include "results/explanations.h"

namespace quorle {
namespace {

constexpr std::size_t kColumns = 80;

constexpr const char* kExplainHelp =
    "Prints what a check calls and expects, why that matters, and where authors go wrong.\n"
    "Usage: quorle explain ID\n\n"
    "ID is a check (Lock.MissingObject), a group (Lock), or a glob that fits several ('*.RootDirectory').\n"
    "Exit status: 0, or 20 when nothing is called so.\n";

/// A group and those of its checks that are asked for.
struct Answer {
  const ExplainedGroup* group;
  std::vector<const ExplainedGroup::Check*> checks;
};

/// `text` with a line break where the line would be wider than the terminal; each line begins with
/// `indent` blanks. What is too long for a line by itself is not cut.
std::string Wrapped(std::string_view text, std::size_t indent) {
  std::string wrapped(indent, ' ');
  std::size_t column = indent;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const bool first = column == indent;
    if (!first && column + 1 + end > kColumns) {
      wrapped += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!first) {
      wrapped += ' ';
      ++column;
    }
    wrapped += text.substr(0, end);
    column += end;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return wrapped + '\n';
}

/// A terminal shows code as it is.
std::string WithoutBackticks(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '`'), text.end());
  return text;
}

/// The paragraphs of `text`, each behind an empty line.
std::string Paragraphs(const std::string& text, std::size_t indent = 0) {
  constexpr std::string_view kBreak = "\n\n";
  std::string shown;
  const std::string plain = WithoutBackticks(text);
  for (std::size_t at = 0; at < plain.size();) {
    const std::size_t end = std::min(plain.find(kBreak, at), plain.size());
    shown += '\n' + Wrapped(std::string_view(plain).substr(at, end - at), indent);
    at = end + kBreak.size();
  }
  return shown;
}

std::string Shown(const Answer& answer) {
  const ExplainedGroup& group = *answer.group;
  std::string text =
      Wrapped(group.id + (group.id.starts_with("Further.") ? ", further test " : ", test ") +
                  std::to_string(group.row) + ": " + group.title,
              0);
  text += Paragraphs(group.what);
  for (const ExplainedGroup::Check* const check : answer.checks) {
    text += '\n' + check->id + '\n' + Wrapped(WithoutBackticks(check->what), 4);
  }
  const auto add = [&](std::string_view heading, const std::string& part) {
    if (!part.empty()) text += Paragraphs(std::string(heading).append(part));
  };
  add("Why it matters: ", group.why);
  add("Diagnostics: ", group.diagnostics);
  add("Where authors go wrong: ", group.mistakes);
  return text;
}

std::vector<Answer> AnswersTo(const std::string& pattern) {
  std::vector<Answer> answers;
  for (const ExplainedGroup& group : ExplainedGroups()) {
    Answer answer = {.group = &group, .checks = {}};
    const bool whole = FitsPattern(pattern, group.id);
    for (const ExplainedGroup::Check& check : group.checks) {
      if (whole || FitsPattern(pattern, check.id)) answer.checks.push_back(&check);
    }
    if (whole || !answer.checks.empty()) answers.push_back(std::move(answer));
  }
  return answers;
}

std::string Nearest(const std::string& text) {
  std::vector<CheckInfo> known;
  const auto add = [&](const std::string& id, const std::string& group) {
    CheckInfo& check = known.emplace_back();
    check.id = id;
    check.group = group;
  };
  for (const ExplainedGroup& group : ExplainedGroups()) {
    add(group.id, group.id);
    for (const ExplainedGroup::Check& check : group.checks) add(check.id, group.id);
  }
  return NearestId(text, known);
}

}  // namespace

CommandSyntax ExplainSyntax() {
  return {.options = {}, .operands = {"ID"}};
}

std::int32_t ExplainCommand(std::span<const char* const> words, Console& console) {
  if (words.size() != 1) {
    console.Report(
        "usage: quorle explain ID, where ID is a check (Lock.MissingObject), a group (Lock) or a glob");
    return RETURN_FAIL;
  }
  const std::string pattern = words.front();
  if (pattern == kHelpOption) {
    console.Print(kExplainHelp);
    return RETURN_OK;
  }
  const std::vector<Answer> answers = AnswersTo(pattern);
  if (answers.empty()) {
    const std::string nearest = Nearest(pattern);
    console.Report("no check or group is called \"" + pattern + "\"" +
                   (nearest.empty() ? "" : "; did you mean " + nearest + "?"));
    return RETURN_FAIL;
  }
  std::string text;
  for (const Answer& answer : answers) {
    if (!text.empty()) text += "\n\n";
    text += Shown(answer);
  }
  console.Print(text);
  return RETURN_OK;
}

}  // namespace quorle
