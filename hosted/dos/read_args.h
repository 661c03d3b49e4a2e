#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/records.h"

namespace quorle {

/// Everything that the words of a parsed command line point to.
class ParsedArguments {
 public:
  const char* AddText(std::string text);
  const std::int32_t* AddNumber(std::int32_t number);
  /// A null-ended array of the given pointers.
  const void* const* AddList(std::vector<const void*> pointers);

 private:
  // Deques: what was added stays where it is.
  std::deque<std::string> texts_;
  std::deque<std::int32_t> numbers_;
  std::deque<std::vector<const void*>> lists_;
};

/// Asks the user for a line when the command line ends in a question mark.
class Prompter {
 public:
  /// Shows `prompt` and reads a line, without its line break, into `line`. False when there is none.
  virtual bool Ask(std::string_view prompt, std::string& line) = 0;

 protected:
  ~Prompter() = default;
};

struct ReadArgsResult {
  std::unique_ptr<ParsedArguments> arguments;  ///< null when the line does not fit the template
  std::int32_t error = 0;                      ///< then one of ERROR_... 114 to 120
};

/// The longest command line in bytes; a choice of ours.
inline constexpr std::size_t kMaxLineLength = 65536;

/// Parses `line` by `argument_template`, the platform's way, into `words`: one word for each field.
///
/// A template is fields with a comma between them, a field NAME[=ALIAS...][/MODIFIER...]: /A must be
/// given, /K only by its name, /S a switch, /T a switch with yes, no, on or off, /N a decimal number,
/// /M any number of items, /F the rest of the line. Text words get `text`, /S and /T `flag`, /N
/// `number`; /M gets in `flag` the address of a null-ended array of texts or, with /N, of pointers
/// to numbers, 0 for none. A field that was not given leaves its word alone.
///
/// A line ends at a line feed or a zero; a ';' where an item begins ends it, too. A '?' as its last
/// word asks `prompter` for more, with the template as the prompt; null: it is a word like others.
///
/// Codes: 114 a wrong template, or a '=' where none belongs; 115 a /N that is no number of 32 bits;
/// 116 a missing /A; 117 a name without its value, or a /T without one of its four words; 118 more
/// items than fields; 119 an unclosed quote; 120 a line above kMaxLineLength.
ReadArgsResult ParseArguments(std::string_view argument_template, std::string_view line,
                              ArgumentWord* words, Prompter* prompter);

/// How many words a template fills; 0 for one that is wrong.
std::size_t CountFields(std::string_view argument_template);

}  // namespace quorle
