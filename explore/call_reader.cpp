#include "explore/call_reader.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>
#include <vector>

#include "explore/call_text.h"
#include "explore/side.h"
#include "explore/value_text.h"

namespace quorle::explore {
namespace {

/// What stands at one place between the parentheses, before it is known what the operation wants there.
struct GivenValue {
  enum class Type : std::uint8_t { kWord, kText, kData, kDate };
  Type type = Type::kWord;
  std::string word;  ///< also a number, or an object: "l1"
  std::string text;
  std::int64_t bytes = 0;
  std::uint32_t pattern = 0;
  DateStamp date{};
};

bool Fails(std::string& problem, std::string text) {
  problem = std::move(text);
  return false;
}

template <class Number>
bool ReadWhole(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  return problem == std::errc() && stop == end;
}

/// Takes the pattern behind "300 bytes".
bool TakePattern(TextScanner& scanner, std::uint32_t& pattern, std::string& problem) {
  const std::string_view number = scanner.TakeWord();
  if (ReadWhole(number, pattern) && pattern != Call::kQuoted) return true;
  return Fails(problem, "the number of a pattern is 0 to 4294967294, not " + Quoted(number));
}

bool TakeValue(TextScanner& scanner, GivenValue& value, std::string& problem) {
  if (scanner.Sees("\"")) {
    value.type = GivenValue::Type::kText;
    return scanner.TakeText(value.text, problem);
  }
  if (const std::optional<DateStamp> date = scanner.TakeDate()) {
    value.type = GivenValue::Type::kDate;
    value.date = *date;
    return true;
  }
  if (scanner.SeesDate()) return Fails(problem, "there is no such moment: " + scanner.Next());
  value.word = scanner.TakeWord();
  if (value.word.empty()) return Fails(problem, "no argument begins with " + scanner.Next());
  if (!scanner.Take("bytes") && !scanner.Take("byte")) return true;
  value.type = GivenValue::Type::kData;
  if (!ReadWhole<std::int64_t>(value.word, value.bytes)) {
    return Fails(problem, Quoted(value.word) + " is not a number of bytes");
  }
  if (!scanner.Take("of")) return Fails(problem, "data are written as 300 bytes of 7");
  return TakePattern(scanner, value.pattern, problem);
}

/// "l1" is 1, "0" is 0.
std::optional<std::uint8_t> ObjectIn(std::string_view word, char letter) {
  if (word == "0") return 0;
  std::uint8_t number = 0;
  if (!word.starts_with(letter) || !ReadWhole(word.substr(1), number)) return std::nullopt;
  if (number == 0 || number > kMostObjects) return std::nullopt;
  return number;
}

std::string Expected(const std::string& what, const GivenValue& given) {
  std::string text = what + " is expected";
  if (given.type == GivenValue::Type::kWord) text += ", not " + Quoted(given.word);
  return text;
}

/// Gives `call` the argument at `place`; `texts` counts those that it has.
bool Bind(Call& call, std::size_t place, GivenValue& given, std::size_t& texts,
          std::string& problem) {
  using Type = GivenValue::Type;
  const Argument argument = RowOf(call.operation).arguments[place];
  if (IsWord(argument)) {
    const std::string word(FixedWord(argument));
    return given.word == word || Fails(problem, Expected(word, given));
  }
  if (IsObject(argument)) {
    const char letter = LetterOf(argument);
    const auto number = ObjectIn(given.word, letter);
    if (given.type != Type::kWord || !number) {
      return Fails(problem, Expected(std::string("0, or ") + letter + "1 to " + letter +
                                         std::to_string(kMostObjects),
                                     given));
    }
    call.number[place] = *number;
    return true;
  }
  switch (argument) {
    case Argument::kName:
    case Argument::kText:
      if (given.type != Type::kText) return Fails(problem, Expected("a text in quotes", given));
      if (given.text.find('\0') != std::string::npos) {
        return Fails(problem, "a name or text has no \\x00 in it");
      }
      call.text[texts++] = std::move(given.text);
      return true;
    case Argument::kData:
      if (given.type == Type::kText) {
        call.pattern = Call::kQuoted;
        call.number[place] = static_cast<std::int64_t>(given.text.size());
        call.text[0] = std::move(given.text);
        return true;
      }
      call.pattern = given.pattern;
      call.number[place] = given.bytes;
      return given.type == Type::kData ||
             Fails(problem, Expected("300 bytes of 7, or a text in quotes,", given));
    case Argument::kDate:
      call.date = given.date;
      return given.type == Type::kDate ||
             Fails(problem,
                   Expected("a date, 2000-02-29 12:30:05.20 or {days minutes ticks},", given));
    default: {
      const WordSet words = WordsOf(argument);
      const auto number = NumberIn(words, given.word);
      if (given.type != Type::kWord || !number) {
        return Fails(problem, Expected(words.words.empty() ? "a number"
                                                           : std::string(words.words.front().name) +
                                                                 ", a constant like it or a number",
                                       given));
      }
      const bool is_32_bits = argument != Argument::kPosition;
      if (is_32_bits && (*number < std::numeric_limits<std::int32_t>::min() ||
                         *number > std::numeric_limits<std::uint32_t>::max())) {
        return Fails(problem, given.word + " has more than 32 bits");
      }
      call.number[place] = *number;
      return true;
    }
  }
}

bool BindAll(const OperationRow& row, std::vector<GivenValue> given, Call& call,
             std::string& problem) {
  call = {};
  call.operation = row.operation;
  if (given.size() != row.Arguments().size()) {
    return Fails(problem, std::string(row.name) + "() takes " +
                              std::to_string(row.Arguments().size()) + " arguments, not " +
                              std::to_string(given.size()));
  }
  std::size_t texts = 0;
  for (std::size_t i = 0; i != given.size(); ++i) {
    if (Bind(call, i, given[i], texts, problem)) continue;
    problem = std::string(row.name) + "(), argument " + std::to_string(i + 1) + ": " + problem;
    return false;
  }
  return true;
}

/// Whether the words in `given` that say which way of an operation is meant are those of `row`.
bool IsWayOf(const OperationRow& row, const std::vector<GivenValue>& given) {
  const std::span<const Argument> arguments = row.Arguments();
  for (std::size_t i = 0; i != arguments.size() && i != given.size(); ++i) {
    if (IsWord(arguments[i]) && given[i].word != FixedWord(arguments[i])) return false;
  }
  return true;
}

bool BindToOperation(std::string_view name, std::vector<GivenValue> given, Call& call,
                     std::string& problem) {
  const OperationRow* found = nullptr;
  for (const OperationRow& row : Operations()) {
    if (row.name != name) continue;
    // Where none is meant the first one says what is wrong.
    if (found == nullptr || IsWayOf(row, given)) found = &row;
    if (IsWayOf(row, given)) break;
  }
  if (found == nullptr) return Fails(problem, Quoted(name) + " is not an operation");
  return BindAll(*found, std::move(given), call, problem);
}

bool TakeCall(TextScanner& scanner, Call& call, std::string& problem) {
  const std::string name(scanner.TakeWord());
  if (name.empty() || !scanner.Take("(")) {
    return Fails(problem, "a call is expected, such as Delete(\"a\")");
  }
  std::vector<GivenValue> given;
  while (!scanner.Take(")")) {
    if (!given.empty() && !scanner.Take(",")) {
      return Fails(problem, "a comma or a closing parenthesis is missing before " + scanner.Next());
    }
    if (given.size() == OperationRow::kMostArguments) {
      return Fails(problem, "a call has " + std::to_string(OperationRow::kMostArguments) +
                                " arguments at the most");
    }
    if (!TakeValue(scanner, given.emplace_back(), problem)) return false;
  }
  return BindToOperation(name, std::move(given), call, problem);
}

/// Takes the number that the object of `call` gets; two places must not say different ones.
bool NameObject(std::string_view word, Call& call, std::string& problem) {
  const Result result = RowOf(call.operation).result;
  if (!IsObject(result)) {
    return Fails(problem, std::string(RowOf(call.operation).name) + "() returns no object");
  }
  const char letter = LetterOf(result);
  const auto number = ObjectIn(word, letter);
  if (!number || *number == 0) {
    return Fails(problem, std::string("an object is called ") + letter + "1 to " + letter +
                              std::to_string(kMostObjects) + " here, not " + Quoted(word));
  }
  if (call.result != 0 && call.result != *number) {
    return Fails(problem, "the object has two numbers");
  }
  call.result = *number;
  return true;
}

// ---- What is expected --------------------------------------------------------------------------

/// Takes "203|202", which may be missing.
bool TakeCodes(TextScanner& scanner, DueOutcome& due, std::string& problem) {
  due.done = false;
  if (scanner.IsAtEnd()) return true;
  std::string_view codes = scanner.TakeWord();
  for (;;) {
    const std::size_t bar = std::min(codes.find('|'), codes.size());
    std::int32_t code = 0;
    if (!ReadWhole(codes.substr(0, bar), code)) {
      return Fails(problem, "a code of an error is expected, or several as 203|202");
    }
    due.codes.push_back(code);
    if (bar == codes.size()) return true;
    codes.remove_prefix(bar + 1);
  }
}

bool TakeDueTruth(TextScanner& scanner, DueOutcome& due, std::string& problem) {
  if (scanner.Take("TRUE")) return true;
  if (scanner.Take("FALSE")) return TakeCodes(scanner, due, problem);
  return Fails(problem, "TRUE, FALSE or FALSE and a code is expected");
}

bool TakeDueObject(TextScanner& scanner, Call& call, DueOutcome& due, std::string& problem) {
  if (scanner.Take(SomeObject(RowOf(call.operation).result))) return true;
  const std::string word(scanner.TakeWord());
  if (word == "0") return TakeCodes(scanner, due, problem);
  return NameObject(word, call, problem);
}

/// Takes the value of a field, as it is written.
bool TakeField(TextScanner& scanner, const NamedField& field, std::string& value,
               std::string& problem) {
  if (field.kind == Argument::kText) {
    std::string text;
    if (!scanner.TakeText(text, problem)) return false;
    value = Quoted(text);
    return true;
  }
  if (field.kind == Argument::kDate) {
    const std::optional<DateStamp> date = scanner.TakeDate();
    if (!date) {
      return Fails(problem, std::string(field.name) +
                                " is a date, 2000-02-29 12:30:05.20 or {days minutes ticks}");
    }
    value = DateText(*date);
    return true;
  }
  const std::string_view word = scanner.TakeWord();
  const auto number = NumberIn(field.words(), word);
  if (!number) return Fails(problem, std::string(field.name) + " is a number, not " + Quoted(word));
  value = NumberText(field.words(), *number);
  return true;
}

/// Takes a number, and the codes behind one that is a refusal.
bool TakeDueNumber(TextScanner& scanner, const WordSet& words, DueOutcome& due,
                   std::string& problem) {
  const std::string_view word = scanner.TakeWord();
  due.value = NumberIn(words, word);
  if (!due.value) return Fails(problem, "a number is expected, not " + Quoted(word));
  if (!words.words.empty() || (*due.value >= 0 && scanner.IsAtEnd())) return true;
  return TakeCodes(scanner, due, problem);
}

bool TakeDueData(TextScanner& scanner, DueOutcome& due, std::string& problem) {
  if (scanner.Sees("-")) return TakeDueNumber(scanner, {}, due, problem);
  return TakeData(scanner, due, problem);
}

/// Takes fields of a record or of what a volume says, of which there is at least one field.
bool TakeDueFields(TextScanner& scanner, Result result, DueOutcome& due, std::string& problem) {
  if (!scanner.IsAtEnd()) return TakeFields(scanner, result, due, nullptr, problem);
  return Fails(problem, "what is expected is missing behind =>");
}

bool TakeDue(TextScanner& scanner, Call& call, DueOutcome& due, std::string& problem) {
  const OperationRow& row = RowOf(call.operation);
  if (row.result == Result::kNothing) {
    return Fails(problem, std::string(row.name) + "() has no result");
  }
  if (scanner.Take("done")) return true;
  switch (row.result) {
    case Result::kTruth:
      return TakeDueTruth(scanner, due, problem);
    case Result::kRecord:
      if (scanner.Sees("0")) {
        if (scanner.TakeWord() == "0") return TakeCodes(scanner, due, problem);
        return Fails(problem, "0 and a code, or fields are expected");
      }
      return TakeDueFields(scanner, row.result, due, problem);
    case Result::kInfo:
      if (scanner.Take("FALSE")) return TakeCodes(scanner, due, problem);
      return TakeDueFields(scanner, row.result, due, problem);
    case Result::kNumber:
      return TakeDueNumber(scanner, {}, due, problem);
    case Result::kRelation:
      return TakeDueNumber(scanner, RelationWords(), due, problem);
    case Result::kData:
    case Result::kText:
      return TakeDueData(scanner, due, problem);
    default:
      return TakeDueObject(scanner, call, due, problem);
  }
}

bool EndsHere(const TextScanner& scanner, std::string& problem) {
  if (scanner.IsAtEnd()) return true;
  return Fails(problem, "there is more than a call: " + scanner.Next());
}

}  // namespace

bool ReadCallLine(std::string_view text, CallLine& line, std::string& problem) {
  line = {};
  TextScanner scanner(text);
  if (!TakeCall(scanner, line.call, problem)) return false;
  if (scanner.Sees("=") && !scanner.Sees("=>")) {
    scanner.Take("=");
    if (!NameObject(scanner.TakeWord(), line.call, problem)) return false;
  }
  if (scanner.Take("=>")) {
    if (!TakeDue(scanner, line.call, line.due.emplace(), problem)) return false;
  }
  return EndsHere(scanner, problem);
}

bool ReadDue(std::string_view text, Call& call, DueOutcome& due, std::string& problem) {
  due = {};
  TextScanner scanner(text);
  return TakeDue(scanner, call, due, problem) && EndsHere(scanner, problem);
}

bool TakeData(TextScanner& scanner, DueOutcome& due, std::string& problem) {
  if (scanner.Sees("\"")) {
    if (!scanner.TakeText(due.bytes.emplace(), problem)) return false;
    due.value = static_cast<std::int64_t>(due.bytes->size());
    return true;
  }
  std::int64_t bytes = 0;
  const std::string_view number = scanner.TakeWord();
  if (!ReadWhole(number, bytes) || bytes < 0 || (!scanner.Take("bytes") && !scanner.Take("byte"))) {
    return Fails(
        problem,
        "data are expected: a text in quotes, 300 bytes, 300 bytes of 7 or with checksum 0x...");
  }
  due.value = bytes;
  if (scanner.Take("of")) {
    if (bytes > kMostBytes) {
      return Fails(problem, "no call reads more than " + std::to_string(kMostBytes) + " bytes");
    }
    return TakePattern(scanner, due.pattern.emplace(), problem);
  }
  if (!scanner.Take("with")) return true;
  scanner.Take("checksum");
  const std::string_view checksum = scanner.TakeWord();
  const char* const end = checksum.data() + checksum.size();
  due.checksum.emplace();
  if (checksum.starts_with("0x")) {
    const auto [stop, error] = std::from_chars(checksum.data() + 2, end, *due.checksum, 16);
    if (error == std::errc() && stop == end) return true;
  }
  return Fails(problem, "a checksum is 0x and up to 16 digits of a hexadecimal number");
}

bool TakeFields(TextScanner& scanner, Result result, DueOutcome& due, DueOutcome* content,
                std::string& problem) {
  const std::span<const NamedField> fields = FieldsOf(result);
  while (!scanner.IsAtEnd()) {
    const std::string_view name = scanner.TakeWord();
    if (content != nullptr && !content->value && name == "Content" && scanner.Take("=")) {
      if (!TakeData(scanner, *content, problem)) return false;
      continue;
    }
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const NamedField& field) { return field.name == name; });
    if (found == fields.end() || !scanner.Take("=")) {
      return Fails(problem, "a field such as " + std::string(fields.front().name) +
                                "=... is expected, not " + Quoted(name));
    }
    DueField& field = due.fields.emplace_back();
    field.field = static_cast<std::size_t>(found - fields.begin());
    if (!TakeField(scanner, *found, field.value, problem)) return false;
  }
  std::sort(due.fields.begin(), due.fields.end(),
            [](const DueField& a, const DueField& b) { return a.field < b.field; });
  const auto twice =
      std::adjacent_find(due.fields.begin(), due.fields.end(),
                         [](const DueField& a, const DueField& b) { return a.field == b.field; });
  if (twice == due.fields.end()) return true;
  return Fails(problem, std::string(fields[twice->field].name) + " is given twice");
}

}  // namespace quorle::explore
