#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "hosted/dos/console.h"
#include "hosted/dos/descriptors.h"
#include "platform/constants.h"
#include "program/built_in_handlers.h"
#include "program/catalogues.h"
#include "program/host_options.h"
#include "program/sub_commands.h"
#include "program/tester_run.h"
#include "results/check_list.h"

namespace quorle {
namespace {

/// Returns a descriptor of standard output that is the tester's alone. What a handler in this process
/// prints goes to standard error, and at once, as it does from a process of its own.
int KeepStandardOutput() {
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (output < 0) return STDOUT_FILENO;
  dup2(STDERR_FILENO, STDOUT_FILENO);
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  return output;
}

/// A line for each check.
std::string CheckList() {
  std::string text;
  for (const CheckInfo& check : ListChecks(KnownCatalogues())) {
    text += check.id + "\t" + check.catalogue + "\t" + std::to_string(check.row) + "\t" +
            std::to_string(check.number) + "\t" + check.title + "\n";
  }
  return text;
}

/// People sit before a terminal; colours are theirs to refuse (no-color.org). Where the tester's output is
/// on a terminal as well, it shows by itself how far the run is.
ResultSession::Screen ScreenOf(int errors, bool output_is_terminal) {
  const bool terminal = isatty(errors) == 1;
  const char* const no_color = std::getenv("NO_COLOR");
  return {.summary = terminal,
          .colours = terminal && (no_color == nullptr || *no_color == '\0'),
          .progress = terminal && !output_is_terminal};
}

std::int32_t Obey(const HostCommand& command, Console& console) {
  switch (command.type) {
    case HostCommand::Type::kAnswer:
      console.Print(command.text);
      return RETURN_OK;
    case HostCommand::Type::kListDeviations:
      console.Print(DeviationList());
      return RETURN_OK;
    case HostCommand::Type::kListChecks:
      console.Print(CheckList());
      return RETURN_OK;
    case HostCommand::Type::kRefused:
      console.Report(command.text);
      return RETURN_FAIL;
    default:
      return RunTester(command.options, ScreenOf(STDERR_FILENO, console.terminal()), console);
  }
}

}  // namespace
}  // namespace quorle

int main(int argc, char** argv) {
  // A reader that went away is a failed write, not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  // Nor is a file that would get larger than the host allows.
  std::signal(SIGXFSZ, SIG_IGN);
  // Whoever started the program may ignore the ends of his children; here they are reaped.
  std::signal(SIGCHLD, SIG_DFL);
  const int closed = quorle::OpenStandardDescriptors();
  const bool terminal = isatty(STDOUT_FILENO) == 1;
  quorle::DescriptorSink output(quorle::KeepStandardOutput());
  quorle::DescriptorSink errors(STDERR_FILENO);
  quorle::Console console(output, errors, terminal);
  if (closed != 0) {
    console.Report(std::string("cannot open /dev/null for a standard descriptor that is closed: ") +
                   std::strerror(closed));
    return quorle::RETURN_FAIL;
  }
  try {
    const std::span<const char* const> all(argv, static_cast<std::size_t>(argc));
    const std::span<const char* const> words = all.empty() ? all : all.subspan(1);
    const quorle::SubCommand* const command = quorle::FindSubCommand(words);
    const std::int32_t result = command != nullptr
                                    ? command->run(words.subspan(1), console)
                                    : quorle::Obey(quorle::ReadHostCommand(words), console);
    return console.failed() ? std::max<std::int32_t>(result, quorle::RETURN_ERROR) : result;
  } catch (const std::exception& error) {
    // Nothing above throws but a bug, or a host without memory.
    console.Report(std::string("internal error: ") + error.what());
    return quorle::RETURN_FAIL;
  }
}
