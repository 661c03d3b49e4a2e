#include "hosted/console.h"

#include <cstring>

#include "hosted/descriptors.h"

namespace quorle {
namespace {

constexpr char kFormFeed = '\f';
/// Cursor home, clear the screen, clear what scrolled off it.
constexpr std::string_view kClearTerminal = "\x1b[H\x1b[2J\x1b[3J";

std::string ForTerminal(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == kFormFeed) {
      result += kClearTerminal;
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

bool DescriptorSink::Write(std::string_view bytes) {
  return WriteAll(descriptor_, bytes, errno_) == bytes.size();
}

std::string DescriptorSink::Problem() const {
  return std::strerror(errno_);
}

Console::Console(ByteSink& output, ByteSink& errors, bool terminal)
    : output_(output), errors_(errors), terminal_(terminal) {}

void Console::Print(std::string_view text) {
  if (failed_) return;
  const bool translate = terminal_ && text.find(kFormFeed) != std::string_view::npos;
  if (translate ? output_.Write(ForTerminal(text)) : output_.Write(text)) return;
  failed_ = true;
  Report("cannot write the output: " + output_.Problem());
}

void Console::Report(std::string_view line) {
  PrintError("quorle: " + std::string(line) + "\n");
}

void Console::PrintError(std::string_view text) {
  // Nobody is left to be told when this fails.
  static_cast<void>(errors_.Write(text));
}

}  // namespace quorle
