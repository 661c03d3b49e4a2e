#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "hosted/calls/mount.h"
#include "hosted/dos/read_args.h"
#include "platform/constants.h"
#include "platform/control_characters.h"
#include "program/host_options.h"

// The words that a shell hands over, one a line.

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

bool IsOneLine(std::string_view text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) return false;
  }
  return !text.empty();
}

/// Words that need no quoting by hand come out of the tester's own parsing as they went in.
void CheckJoining(const std::vector<std::string>& words) {
  std::vector<const char*> pointers;
  for (const std::string& word : words) {
    // A quote or an equals sign is the user's own way with ReadArgs(); a keyword is one; a zero, a
    // line end or a semicolon at the start of a word ends the line there.
    if (word.empty() || word.find_first_of("\"=\n*+;?") != std::string::npos) return;
    pointers.push_back(word.c_str());
  }
  if (pointers.empty() || pointers.size() > 20) return;
  const std::string line = quorle::JoinArguments(pointers);
  quorle::ArgumentWord list{};
  const quorle::ReadArgsResult result = quorle::ParseArguments("Words/M", line, &list, nullptr);
  Require(result.error == 0 || result.error == quorle::ERROR_LINE_TOO_LONG);
  if (result.error != 0) return;
  // A multiple argument is a list of texts, ended by null.
  const auto* const texts = reinterpret_cast<const char* const*>(list.flag);
  std::size_t n = 0;
  for (; texts[n] != nullptr; ++n) Require(n < words.size() && words[n] == texts[n]);
  Require(n == words.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> words;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty()) {
    const std::string_view word = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(word.size() < rest.size() ? word.size() + 1 : word.size());
    words.emplace_back(word.substr(0, word.find('\0')));  // as in an argv
  }
  std::vector<const char*> pointers;
  for (const std::string& word : words) pointers.push_back(word.c_str());

  const quorle::HostCommand command = quorle::ReadHostCommand(pointers);
  switch (command.type) {
    case quorle::HostCommand::Type::kRefused:
      Require(IsOneLine(quorle::ShowControlsOfLine(command.text)));
      break;
    case quorle::HostCommand::Type::kAnswer:
      Require(command.text.ends_with('\n'));
      break;
    case quorle::HostCommand::Type::kListChecks:
    case quorle::HostCommand::Type::kListDeviations:
      break;
    case quorle::HostCommand::Type::kRun:
      for (const quorle::MountSpec& spec : command.options.mounts) {
        Require(!spec.name.empty() && spec.name.find(':') == std::string::npos);
        Require(!spec.handler.empty());
        for (const auto& [key, value] : spec.keys) Require(!key.empty() && key != "port");
      }
      break;
  }
  CheckJoining(words);
  return 0;
}
