#include "explore/call_text.h"

#include <array>
#include <cstdio>

#include "explore/due_outcome.h"
#include "explore/value_text.h"

namespace quorle::explore {
namespace {

std::string ObjectText(char letter, std::int64_t number) {
  return number == 0 ? "0" : letter + std::to_string(number);
}

std::string PatternText(std::int64_t bytes, std::uint32_t pattern) {
  return std::to_string(bytes) + " bytes of " + std::to_string(pattern);
}

/// What one argument of `call` is; `texts` counts those that were written.
std::string ArgumentText(const Call& call, std::size_t place, std::size_t& texts) {
  const Argument argument = RowOf(call.operation).arguments[place];
  if (IsWord(argument)) return std::string(FixedWord(argument));
  if (IsObject(argument)) return ObjectText(LetterOf(argument), call.number[place]);
  switch (argument) {
    case Argument::kName:
    case Argument::kText:
      return Quoted(call.text[texts++]);
    case Argument::kData:
      return call.pattern == Call::kQuoted ? Quoted(call.text[0])
                                           : PatternText(call.number[place], call.pattern);
    case Argument::kDate:
      return DateText(call.date);
    default:
      return NumberText(WordsOf(argument), call.number[place]);
  }
}

std::string CodesText(const DueOutcome& due) {
  std::string text;
  for (const std::int32_t code : due.codes) {
    text += (text.empty() ? " " : "|") + std::to_string(code);
  }
  return text;
}

std::string FieldsText(Result result, const DueOutcome& due) {
  std::string text;
  for (const DueField& field : due.fields) {
    text += (text.empty() ? "" : " ") + std::string(FieldsOf(result)[field.field].name) + "=" +
            field.value;
  }
  return text;
}

/// What came back when it was not refused.
std::string DoneText(const Call& call, Result result, const DueOutcome& due) {
  switch (result) {
    case Result::kTruth:
      return "TRUE";
    case Result::kRecord:
    case Result::kInfo:
      return due.fields.empty() ? "done" : FieldsText(result, due);
    case Result::kNumber:
      return due.value ? std::to_string(*due.value) : "done";
    case Result::kRelation:
      return due.value ? NumberText(RelationWords(), *due.value) : "done";
    case Result::kData:
    case Result::kText: {
      const std::string text = DataText(due);
      return text.empty() ? "done" : text;
    }
    case Result::kNothing:
      return "";
    default:
      return call.result == 0 ? std::string(SomeObject(result))
                              : ObjectText(LetterOf(result), call.result);
  }
}

std::string WithoutResult(const Call& call) {
  const OperationRow& row = RowOf(call.operation);
  std::string text = std::string(row.name) + "(";
  std::size_t texts = 0;
  for (std::size_t i = 0; i != row.Arguments().size(); ++i) {
    text += (i == 0 ? "" : ", ") + ArgumentText(call, i, texts);
  }
  return text + ")";
}

}  // namespace

std::string TextOf(const Call& call) {
  const OperationRow& row = RowOf(call.operation);
  std::string text = WithoutResult(call);
  if (IsObject(row.result) && call.result != 0) {
    text += " = " + ObjectText(LetterOf(row.result), call.result);
  }
  return text;
}

std::string MadeText(const Call& call, const std::string& outcome) {
  return WithoutResult(call) + (outcome.empty() ? "" : " = " + outcome);
}

std::string DataText(const DueOutcome& due) {
  if (due.bytes) return Quoted(*due.bytes);
  if (!due.value) return "";
  if (due.pattern) return PatternText(*due.value, *due.pattern);
  std::string text = std::to_string(*due.value) + " bytes";
  if (due.checksum) {
    std::array<char, 48> checksum;
    std::snprintf(checksum.data(), checksum.size(), " with checksum 0x%016llX",
                  static_cast<unsigned long long>(*due.checksum));
    text += checksum.data();
  }
  return text;
}

std::string TextOf(const Call& call, const DueOutcome& due) {
  const Result result = RowOf(call.operation).result;
  if (due.done) return DoneText(call, result, due);
  if (result == Result::kTruth || result == Result::kInfo) return "FALSE" + CodesText(due);
  if (due.value) return std::to_string(*due.value) + CodesText(due);
  return (IsObject(result) || result == Result::kRecord ? "0" : "-1") + CodesText(due);
}

std::string TextOf(const Call& call, const Outcome& outcome) {
  return TextOf(call, AllOf(call, outcome));
}

}  // namespace quorle::explore
