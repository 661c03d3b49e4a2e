#include "program/tester_line.h"

#include <array>

#include "harness/context.h"
#include "hosted/dos/read_args.h"

namespace quorle {
namespace {

struct WordName {
  ArgumentIndex index;
  const char* name;
};

constexpr WordName kSwitches[] = {{kNoInfoMessagesArgument, "NI"},
                                  {kNoWarnMessagesArgument, "NW"},
                                  {kNoRootMessagesArgument, "NR"},
                                  {kAbortOnErrArgument, "AOE"}};
constexpr WordName kNumbers[] = {{kFirstTestNumberArgument, "FTN"},
                                 {kLastTestNumberArgument, "LTN"},
                                 {kTestNumberArgument, "TN"}};

}  // namespace

TesterLine ReadTesterLine(const std::string& line) {
  std::array<ArgumentWord, kArgumentCount> words{};
  const ReadArgsResult read = ParseArguments(kArgumentTemplate, line, words.data(), nullptr);
  if (read.arguments == nullptr) return {.device = {}, .words = line};
  TesterLine parts;
  parts.device = words[kDeviceArgument].text;
  const auto add = [&](const std::string& word) {
    parts.words += (parts.words.empty() ? "" : " ") + word;
  };
  for (const WordName& word : kSwitches) {
    if (words[word.index].flag != 0) add(word.name);
  }
  for (const WordName& word : kNumbers) {
    const std::int32_t* const number = words[word.index].number;
    if (number == nullptr) continue;
    add(std::string(word.name) + "=" + std::to_string(*number));
    parts.has_numbers = true;
  }
  return parts;
}

}  // namespace quorle
