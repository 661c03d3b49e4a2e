#pragma once

#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace quorle {

/// What every command line has.
inline constexpr const char* kHelpOption = "--help";
inline constexpr const char* kHelpHelp = "Shows this text.";
/// What the command line of a run has.
inline constexpr const char* kVersionOption = "--version";
inline constexpr const char* kVersionHelp = "Shows the version of the host program.";

/// One option of a command line.
struct CommandOption {
  const char* name;  ///< "--mount"
  const char* type;  ///< of its value, as --help shows it; null: it takes none
  const char* help;
  /// Takes the value; returns why it cannot be, or nothing. Null: whether it is given is all.
  std::function<std::string(const std::string& value)> read;
  bool is_repeatable = false;
};

/// What --help says around the options, and --version.
struct CommandTexts {
  std::string name;  ///< "quorle replay"
  std::string about;
  std::string usage;  ///< ends with a line break
  std::string footer;
  std::string version;  ///< empty: there is no --version
};

/// What may stand on a command line, for shells that complete one.
struct CommandSyntax {
  std::vector<CommandOption> options;  ///< nothing reads their values; one can be "-o,--output"
  /// What stands beside the options, a word each: its type as --help shows it, or all words that it can
  /// be, "bash|zsh". A last "..." means any number of the one before it.
  std::vector<std::string> operands;
  bool is_option_anywhere = false;  ///< else options come first
};

/// A command line that was separated into options and what stands behind them.
struct CommandLine {
  enum class Type : std::uint8_t {
    kRun,
    kAnswer,   ///< print `text` and end well: --help, --version
    kRefused,  ///< `text` is one line that says what is wrong
  };
  Type type = Type::kRun;
  std::string text;
  std::map<std::string, std::vector<std::string>> values;  ///< of each option that was given
  std::span<const char* const> rest;                       ///< the words behind the options

  bool Has(const std::string& option) const { return values.count(option) != 0; }
};

/// Separates `words`. Options come first; from the first word that does not begin with "--", or after a
/// lone "--", all words are the rest. No value has been read yet.
CommandLine SeparateOptions(std::span<const char* const> words,
                            std::span<const CommandOption> options, const CommandTexts& texts);

/// Reads the values of the options that `line` has, in the order of `options`. Returns what is wrong with
/// the first that cannot be, or nothing.
std::string ReadOptionValues(std::span<const CommandOption> options, const CommandLine& line);

/// The same options with nothing that reads their values.
std::vector<CommandOption> WithoutReaders(std::vector<CommandOption> options);

/// Reads a number of decimal digits, with '-' in front of it where `Number` has a sign; false for anything
/// else, and for one that it cannot hold.
template <class Number>
bool ReadNumber(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  return problem == std::errc() && stop == end;
}

}  // namespace quorle
