#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/records.h"

namespace quorle::explore {

/// One line of calls, read from its beginning to its end. A '#' ends it.
class TextScanner {
 public:
  explicit TextScanner(std::string_view line) : rest_(line) { SkipBlanks(); }

  /// Whether only blanks or a comment are left.
  bool IsAtEnd() const { return rest_.empty() || rest_.front() == '#'; }
  /// What is left.
  std::string_view rest() const { return rest_; }
  /// Whether `text` comes next.
  bool Sees(std::string_view text) const { return rest_.starts_with(text); }
  /// Takes `text` and the blanks behind it; false when something else comes next.
  bool Take(std::string_view text);
  /// A word, a number or several joined by '|': letters, digits and "_|-". May be empty.
  std::string_view TakeWord();
  /// A text in quotes as Quoted() writes it. False, with `problem`, when it is none.
  bool TakeText(std::string& text, std::string& problem);
  /// A date as DateText() writes it; none, with nothing taken, when there is none.
  std::optional<DateStamp> TakeDate();
  /// Whether what comes next looks like a date and time, which it need not be.
  bool SeesDate() const;
  /// What comes next, as a message shows it.
  std::string Next() const;

 private:
  void SkipBlanks();
  bool TakeQuotedPart(std::string& text, std::string& problem);
  bool TakeCharacter(char& c, std::string& problem);
  std::optional<DateStamp> TakeRawDate();

  std::string_view rest_;
};

}  // namespace quorle::explore
