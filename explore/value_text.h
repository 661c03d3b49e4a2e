#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "explore/operation.h"
#include "platform/records.h"

/// How the values in calls and results are written.
namespace quorle::explore {

/// A constant of the platform.
struct Word {
  std::string_view name;
  std::int64_t value;
};

/// The constants that one argument or field can be.
struct WordSet {
  std::span<const Word> words;
  bool are_flags = false;  ///< several may be joined by '|'
  bool is_hex = false;     ///< what has no name is written as 0x...
};

/// Those of an argument that is a number; empty for one that is just that.
WordSet WordsOf(Argument argument);
/// LOCK_SAME, LOCK_SAME_VOLUME, LOCK_DIFFERENT.
WordSet RelationWords();
/// FSO_TYPE_...
WordSet TypeWords();
/// The constant that an argument with IsWord() always is: "LINK_HARD".
std::string_view FixedWord(Argument argument);
/// The letter that the numbers of an object begin with, by Argument's or Result's kind: 'l', 'f', 's', 'n'.
char LetterOf(Argument argument);
char LetterOf(Result result);
/// An object without a number: "a lock", "a file", "a scan", "a request".
std::string_view SomeObject(Result result);

/// `value` by its name, else as a number.
std::string NumberText(const WordSet& set, std::int64_t value);
/// What NumberText() wrote: names and numbers, joined by '|' where they are flags; none when it is not.
std::optional<std::int64_t> NumberIn(const WordSet& set, std::string_view text);
/// "-5", "0x1F"; none when `text` is anything else or has more than 64 bits.
std::optional<std::int64_t> PlainNumberIn(std::string_view text);

/// `text`, Latin-1 or any bytes, in quotes and ASCII: \" \\ \n \xE4. What repeats itself over a long way is
/// written once: "a" * 108, parts are joined by +.
std::string Quoted(std::string_view text);

/// "2000-02-29 12:30:05.20", the last two digits being ticks; {days minutes ticks} of what is no moment
/// of the years 1978 to 9999.
std::string DateText(const DateStamp& date);

/// FNV-1a, 64 bits: what a file's content and long data are compared by. The same as VolumeListing has.
class Checksum {
 public:
  void Add(std::string_view bytes) {
    for (const char byte : bytes) {
      value_ = (value_ ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
  }
  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 14695981039346656037U;
};

}  // namespace quorle::explore
