#include <string>
#include <string_view>

#include "hosted/dos/date_text.h"
#include "hosted/dos/hosted_dos.h"
#include "platform/control_characters.h"
#include "platform/format_text.h"

namespace quorle {
namespace {

/// Keeps a whole text for a console.
class ConsoleText final : public TextSink {
 public:
  explicit ConsoleText(const Console& console) : terminal_(console.terminal()) {}

  void Put(char c) override { text_ += c; }
  void PutArgument(const char* text, std::size_t length) override {
    const std::string_view argument(text, length);
    if (!terminal_) {
      text_ += argument;
      return;
    }
    // The tester's version line is an argument too and brings its line end with it.
    const std::size_t line_end = argument.ends_with(kLineEnd) ? kLineEnd.size() : 0;
    text_ += ShowControls(argument.substr(0, length - line_end));
    text_ += argument.substr(length - line_end);
  }
  const std::string& text() const { return text_; }

 private:
  static constexpr std::string_view kLineEnd = "\r\n";

  bool terminal_;
  std::string text_;
};

/// Asks on the console.
class ConsolePrompter final : public Prompter {
 public:
  ConsolePrompter(Console& console, LineInput& input) : console_(console), input_(input) {}

  bool Ask(std::string_view prompt, std::string& line) override {
    console_.Print(prompt);
    return input_.ReadLine(line);
  }

 private:
  Console& console_;
  LineInput& input_;
};

constexpr std::int32_t kSecondsPerDay = 24 * 60 * 60;

}  // namespace

void* HostedDos::SetProcWindow(void* window) {
  return std::exchange(window_, window);
}

RdArgsHandle HostedDos::ReadArgs(const char* argument_template, ArgumentWord* words, RdArgsHandle) {
  if (argument_template == nullptr || words == nullptr) {
    return Fail<RdArgsHandle>(ERROR_REQUIRED_ARG_MISSING);
  }
  ConsolePrompter prompter(parts_.console, parts_.input);
  ReadArgsResult result = ParseArguments(argument_template, settings_.arguments, words, &prompter);
  if (result.arguments == nullptr) return Fail<RdArgsHandle>(result.error);
  return arguments_.Add(std::move(result.arguments));
}

void HostedDos::FreeArgs(RdArgsHandle rdargs) {
  arguments_.Remove(rdargs);
}

void HostedDos::VPrintf(const char* format, const FormatArgument* args, std::size_t count) {
  ConsoleText sink(parts_.console);
  FormatText(format, args, count, {.code = error_, .expand = true}, sink);
  parts_.console.Print(sink.text());
}

void HostedDos::PutStr(const char* text) {
  parts_.console.Print(text);
}

std::int32_t HostedDos::IoErr() {
  return error_;
}

void HostedDos::SetIoErr(std::int32_t code) {
  error_ = code;
}

std::uint32_t HostedDos::CheckSignal(std::uint32_t mask) {
  // ^C is the only signal there is.
  if ((mask & SIGBREAKF_CTRL_C) == 0 || !parts_.breaks.TakeBreak()) return 0;
  return SIGBREAKF_CTRL_C;
}

void HostedDos::Delay(std::uint32_t ticks) {
  if (settings_.delays) parts_.clock.Sleep(ticks);
}

std::int32_t HostedDos::TimedDosRequesterTags(std::uint32_t, const char* body, const char*,
                                              std::int32_t) {
  // There is no window to show it in, and nobody to press a button: its time runs out at once.
  parts_.console.PrintError(std::string(body) + "\n");
  return 0;
}

void HostedDos::DateStamp(quorle::DateStamp& now) {
  now = parts_.clock.Now();
  const std::int64_t seconds = std::int64_t{now.ds_Days} * kSecondsPerDay + now.ds_Minute * 60 +
                               now.ds_Tick / TICKS_PER_SECOND;
  error_ = static_cast<std::int32_t>(seconds);
}

bool HostedDos::DateToStr(DateTime& date) {
  return DateToText(date);
}

}  // namespace quorle
