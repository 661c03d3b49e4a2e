#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorle::selftest {

/// One whole run of the tester and what comes of it.
struct Transcript {
  /// A setting of a case has the case's name, a "+" and its own.
  std::string name;
  std::string comment;                ///< lines above it, with their "#"
  std::string args;                   ///< the command line, host options first
  std::vector<std::string> rules;     ///< fault rules, as fault_rules.h has them
  std::string start;                  ///< names what is printed before the tests
  std::string returns;                ///< of the sub-tests, in their order, blanks between them
  std::string result;                 ///< the exit status
  std::optional<std::string> prints;  ///< what follows the start; none: not approved yet
  std::optional<std::string> calls;   ///< of the tests, one a line; none: they are not compared
};

/// The start of a run that has none in common with others.
inline constexpr std::string_view kNoStart = "none";

/// The cases of one group as a text that people read and edit. A line is
///
///   # ...              a comment on the case that follows
///   == NAME            begins a case
///   + NAME             begins a setting of the case: only what differs from the case stands below it
///   args WORDS         the command line
///   with WORDS         of a setting: these words follow those of the case
///   rule RULE          a fault rule; in a setting instead of those of the case
///   also RULE          of a setting: a rule beside those of the case
///   rules none         of a setting: without those of the case
///   start NAME         which start; without this line the one that is named as the target
///   returns N N N      of the sub-tests
///   result N           the exit status
///   prints:            the console's text follows, a line each behind "|"
///   calls:             so do the calls
///   calls none         of a setting: they are not compared
///
/// In a text behind "|" "\e" is the escape character; "\f", "\r", "\t", "\\" and "\xNN" are what they
/// are in C; "\s" is a blank at the end of a line, and a "\" there says that no line break follows.
class TranscriptFile {
 public:
  /// A text that is none gives null and says why in `problem`.
  static std::optional<TranscriptFile> Parse(std::string_view text, std::string& problem);

  /// The text, written in one way whatever it was read from.
  std::string Text() const;

  /// All cases and settings, whole.
  std::vector<Transcript>& transcripts() { return transcripts_; }
  const std::vector<Transcript>& transcripts() const { return transcripts_; }
  /// Null when there is none of that name.
  const Transcript* Find(std::string_view name) const;

 private:
  std::vector<Transcript> transcripts_;
  std::string last_comment_;  ///< after the last case
};

/// The lines of `text` as they stand behind "|", without it.
std::vector<std::string> EscapedLines(std::string_view text);

}  // namespace quorle::selftest
