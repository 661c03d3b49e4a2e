#include "program/completions_command.h"

#include <algorithm>
#include <string>
#include <vector>

#include "platform/constants.h"
#include "program/host_options.h"
#include "program/sub_commands.h"

namespace quorle {
namespace {

constexpr const char* kCompletionsHelp =
    "Prints what a shell needs to complete the command lines of this program.\n"
    "Usage: quorle completions bash|zsh\n\n"
    "An installed program is completed without it. In a shell that is running:\n"
    "  source <(quorle completions bash)\n";

constexpr std::string_view kAnyNumber = "...";

/// What values of one type are completed with. Of a type that is not here nothing is known: numbers.
struct ValueType {
  std::string_view type;  ///< CommandOption::type, or one of CommandSyntax::operands
  const char* bash;       ///< a kind of _quorle_complete()
  const char* zsh;        ///< an action of _arguments
};

constexpr ValueType kValueTypes[] = {
    {"FILE", "files", "_files"},
    {"EVENTS", "files", "_files"},
    {"LOG", "files", "_files"},
    {"DIR", "directories", "_files -/"},
    {"PATTERNS", "checks", "_quorle_checks"},
    {"ID", "checks", "_quorle_checks"},
    {"DEVICE", "devices", "_quorle_devices"},
    {"SPEC", "mounts", "_quorle_mounts"},
    {"CMD", "commands", "_command_names -e"},
};

const ValueType* FindValueType(std::string_view type) {
  const auto* const found = std::find_if(std::begin(kValueTypes), std::end(kValueTypes),
                                         [&](const ValueType& row) { return row.type == type; });
  return found == std::end(kValueTypes) ? nullptr : found;
}

/// The words that a type stands for, with blanks between them: "bash|zsh", "NI|NW", "each". Empty for a
/// type that is a name of something, which has no small letter and no "|".
std::string WordsOf(std::string_view type) {
  const bool is_list = type.find('|') != std::string_view::npos;
  const bool is_word =
      std::all_of(type.begin(), type.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  if (!is_list && !is_word) return {};
  std::string words(type);
  std::replace(words.begin(), words.end(), '|', ' ');
  return words;
}

std::string BashKind(std::string_view type) {
  if (const ValueType* const found = FindValueType(type)) return found->bash;
  const std::string words = WordsOf(type);
  return words.empty() ? "value" : "words " + words;
}

std::string ZshAction(std::string_view type) {
  if (const ValueType* const found = FindValueType(type)) return found->zsh;
  const std::string words = WordsOf(type);
  return words.empty() ? " " : "(" + words + ")";
}

/// `text` as one word of a shell.
std::string Quote(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

/// "-o", "--output" of "-o,--output".
std::vector<std::string> NamesOf(std::string_view names) {
  std::vector<std::string> list;
  for (std::size_t comma = names.find(','); comma != std::string_view::npos;
       comma = names.find(',')) {
    list.emplace_back(names.substr(0, comma));
    names.remove_prefix(comma + 1);
  }
  list.emplace_back(names);
  return list;
}

/// A command line, its words and what they are for.
struct NamedSyntax {
  std::string_view name;  ///< of the sub-command; empty: a run
  CommandSyntax syntax;
};

std::vector<NamedSyntax> AllSyntaxes() {
  std::vector<NamedSyntax> all = {{.name = {}, .syntax = RunSyntax()}};
  for (const SubCommand& command : SubCommands()) {
    all.push_back({.name = command.name, .syntax = command.syntax()});
  }
  for (NamedSyntax& one : all) {
    one.syntax.options.push_back(
        {.name = kHelpOption, .type = nullptr, .help = kHelpHelp, .read = nullptr});
  }
  return all;
}

std::string BashTable() {
  std::string text = "\n_quorle_syntax() {\n  commands=(";
  for (const SubCommand& command : SubCommands()) text.append(" ").append(command.name);
  text += " )\n  case $1 in\n";
  for (const auto& [name, syntax] : AllSyntaxes()) {
    text.append("    ").append(Quote(name)).append(")\n      options=(");
    for (const CommandOption& option : syntax.options) {
      const std::string kind = option.type == nullptr ? "" : BashKind(option.type);
      for (const std::string& word : NamesOf(option.name)) {
        text.append(" [").append(word).append("]=").append(Quote(kind));
      }
    }
    text += " )\n      operands=(";
    for (const std::string& operand : syntax.operands) {
      text.append(" ").append(Quote(operand == kAnyNumber ? operand : BashKind(operand)));
    }
    text += " )\n      is_option_anywhere=";
    text += syntax.is_option_anywhere ? "1\n      ;;\n" : "\n      ;;\n";
  }
  return text + "  esac\n}\n";
}

/// The first sentence of `help`, as _arguments takes it in brackets.
std::string ZshExplanation(std::string_view help) {
  std::string_view sentence = help.substr(0, help.find(". "));
  if (sentence.ends_with('.')) sentence.remove_suffix(1);
  std::string explanation = "[";
  for (const char c : sentence) {
    if (c == '[' || c == ']' || c == '\\') explanation += '\\';
    explanation += c;
  }
  return explanation + "]";
}

/// The words by which _arguments knows an option: one for each of its names.
std::string ZshOption(const CommandOption& option) {
  std::string words;
  const std::vector<std::string> names = NamesOf(option.name);
  for (const std::string& name : names) {
    std::string word = option.is_repeatable ? "*" : "(";
    for (const std::string& other : names) word += option.is_repeatable ? "" : other + " ";
    if (!option.is_repeatable) word.back() = ')';
    word += name;
    if (option.type != nullptr && name.starts_with("--")) word += '=';
    word += ZshExplanation(option.help);
    if (option.type != nullptr)
      word.append(":").append(option.type).append(":").append(ZshAction(option.type));
    words.append("\n        ").append(Quote(word));
  }
  return words;
}

std::string ZshTable() {
  std::string text = "\n_quorle_syntax() {\n  commands=(";
  for (const SubCommand& command : SubCommands()) {
    text += "\n    " + Quote(std::string(command.name) + ":" + command.about);
  }
  text += ")\n  case $1 in\n";
  for (const auto& [name, syntax] : AllSyntaxes()) {
    text += "    (" + Quote(name) + ")\n      syntax=(";
    if (!syntax.is_option_anywhere) text += "-A '-*'";
    for (const CommandOption& option : syntax.options) text += ZshOption(option);
    for (std::size_t i = 0; i < syntax.operands.size() && syntax.operands[i] != kAnyNumber; ++i) {
      const std::string& operand = syntax.operands[i];
      const bool repeats = i + 1 < syntax.operands.size() && syntax.operands[i + 1] == kAnyNumber;
      const std::string message = WordsOf(operand).empty() ? operand : "argument";
      text += "\n        " + Quote((repeats ? "*:" : ":") + message + ":" + ZshAction(operand));
    }
    text += ")\n      ;;\n";
  }
  return text +
         "  esac\n}\n\n"
         "# Loaded as a function from $fpath, or read by a shell that runs.\n"
         "if [[ $funcstack[1] == _quorle ]]; then _quorle \"$@\"; else compdef _quorle quorle; fi\n";
}

}  // namespace

CommandSyntax CompletionsSyntax() {
  return {.options = {}, .operands = {"bash|zsh"}};
}

std::int32_t PrintCompletions(std::span<const char* const> words, Console& console) {
  const std::string_view word = words.size() == 1 ? words.front() : "";
  if (word == kHelpOption) {
    console.Print(kCompletionsHelp);
  } else if (word == "bash") {
    console.Print(std::string(BashCompletion()) + BashTable());
  } else if (word == "zsh") {
    console.Print(std::string(ZshCompletion()) + ZshTable());
  } else {
    console.Report("usage: quorle completions bash|zsh");
    return RETURN_FAIL;
  }
  return RETURN_OK;
}

}  // namespace quorle
