#include "hosted/dos/console.h"

#include <sys/ioctl.h>

#include <cstring>

#include "hosted/dos/descriptors.h"
#include "platform/control_characters.h"

namespace quorle {
namespace {

constexpr char kFormFeed = '\f';

/// A fresh screen of `lines` lines. The sequences that clear a screen lose what stands there on many
/// terminals, and one of them what scrolled off before. As many line feeds as there are lines move
/// everything above the cursor off the top, wherever the cursor is; then cursor home, and clear what
/// stood below it.
std::string FreshScreen(std::size_t lines) {
  return lines == 0 ? std::string() : std::string(lines, '\n') + "\x1b[H\x1b[J";
}

}  // namespace

bool DescriptorSink::Write(std::string_view bytes) {
  return WriteAll(descriptor_, bytes, errno_) == bytes.size();
}

std::string DescriptorSink::Problem() const {
  return std::strerror(errno_);
}

std::size_t DescriptorSink::ScreenLines() const {
  winsize size{};
  return ::ioctl(descriptor_, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
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

std::string Console::ForTerminal(std::string_view text) const {
  std::string result;
  for (const char c : text) {
    if (c == kFormFeed) {
      result += FreshScreen(output_.ScreenLines());
    } else {
      result += c;
    }
  }
  return result;
}

void Console::Report(std::string_view line) {
  PrintError("quorle: " + ShowControlsOfLine(line) + "\n");
}

void Console::ShowProgress(std::string_view text) {
  if (text.empty() && !has_progress_) return;
  // To the start of the line, and clear it.
  static_cast<void>(errors_.Write("\r\x1b[K" + std::string(text)));
  has_progress_ = !text.empty();
}

void Console::PrintError(std::string_view text) {
  ShowProgress({});
  // There is nowhere to report a failure of this.
  static_cast<void>(errors_.Write(text));
}

}  // namespace quorle
