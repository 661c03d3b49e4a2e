#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "hosted/dos/read_args.h"
#include "platform/constants.h"

// Argument lines and templates. The input is a template, a line feed, and a line; an empty template
// stands for the tester's own.

namespace {

constexpr std::string_view kTesterTemplate =
    "Device/A,NoInfoMessages=NI/S,NoWarnMessages=NW/S,NoRootMessages=NR/S,AbortOnErr=AOE/S,FirstTestNumber=FTN/K/N,LastTestNumber=LTN/K/N,TestNumber=TN/K/N";

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t end = input.find('\n');
  std::string_view argument_template = input.substr(0, end);
  const std::string_view line =
      end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
  const bool own = argument_template.empty();
  if (own) argument_template = kTesterTemplate;

  const std::size_t fields = quorle::CountFields(argument_template);
  std::vector<quorle::ArgumentWord> words(fields + 1);
  words[fields].flag = 0x5A5A;  // one past the words: never written
  const quorle::ReadArgsResult result =
      quorle::ParseArguments(argument_template, line, words.data(), nullptr);
  Require(words[fields].flag == 0x5A5A);
  Require((result.arguments != nullptr) == (result.error == 0));
  Require(result.error == 0 || (result.error >= quorle::ERROR_BAD_TEMPLATE &&
                                result.error <= quorle::ERROR_LINE_TOO_LONG));
  if (result.error == 0 && own) {
    Require(words[0].text != nullptr);
    // What an item holds was in the line, escapes apart.
    Require(std::string_view(words[0].text).size() <= line.size());
    for (std::size_t i = 5; i < 8; ++i) {
      if (words[i].number != nullptr) Require(std::to_string(*words[i].number).size() <= 11);
    }
  }
  // Once more, the same: nothing is kept between calls.
  std::vector<quorle::ArgumentWord> again(fields + 1);
  Require(quorle::ParseArguments(argument_template, line, again.data(), nullptr).error ==
          result.error);
  return 0;
}
