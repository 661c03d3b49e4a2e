#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hosted/dos/hosted_dos.h"
#include "hosted/dos/hosted_exec.h"
#include "hosted/dos/mount_spec.h"
#include "program/option_list.h"

namespace quorle {

/// As --version shows it, and events.
inline constexpr const char* kProgramVersion = "53.24";

/// What is run, and what becomes of its results.
struct ResultOptions {
  std::string catalogue = "standard";  ///< as FindCatalogues() has it
  std::optional<std::string> events;   ///< a file, or "fd:" and the number of a descriptor
  std::optional<std::string> expect;   ///< a file of expectations
  std::optional<std::string> bless;    ///< the same, to be written
  std::optional<std::string> select;   ///< patterns, separated by commas
  std::optional<std::string> skip;     ///< the same
  std::optional<std::string> failed;   ///< an event file of an earlier run
  std::optional<bool> summary;         ///< none: on a terminal alone
  std::int32_t repeat = 1;             ///< how many runs there are
};

/// What happens between the groups, and behind the run.
struct RemountOptions {
  bool each = false;  ///< the device is mounted again after each group, and its tree compared
  std::optional<std::string> after_group;  ///< a command of the shell, run while it is unmounted
  std::optional<std::string> after_run;    ///< the same when the run is over
};

/// The machine that the tester runs on, as the command line of the host program describes it.
struct HostOptions {
  std::vector<MountSpec> mounts;  ///< in the order given
  HostedExecSettings exec;
  HostedDosSettings dos;  ///< with the tester's own command line
  std::optional<std::string> trace_file;
  std::chrono::seconds limit{60};  ///< what the handlers may take for one group
  RemountOptions remount;
  bool may_destroy = false;  ///< tests may do what loses all that is on the volume
  ResultOptions results;
  std::vector<std::string> arguments;  ///< all words of the command line
};

/// What the words of a command line came to.
struct HostCommand {
  enum class Type : std::uint8_t {
    kRun,             ///< run the tester as `options` say
    kAnswer,          ///< print `text` and end well: --help, --version
    kListDeviations,  ///< print the deviations that there are
    kListChecks,      ///< print the checks that there are
    kRefused,         ///< `text` is one line that says what is wrong
  };
  Type type = Type::kRun;
  HostOptions options;
  std::string text;
};

/// Reads the words after the program's name. Options of the host come first; from the first word
/// that does not begin with "--", or after a lone "--", all words are the tester's own.
HostCommand ReadHostCommand(std::span<const char* const> words);

/// What may stand on the command line of a run.
CommandSyntax RunSyntax();

/// The options that say which machine it is, for a sub-command that has one: --mount, --trace, --limit. Their
/// values go to `options`, which must outlive the list.
std::vector<CommandOption> MachineOptionList(HostOptions& options);

/// Joins words that a shell has separated to a line that ReadArgs() separates in the same way. A
/// word with a blank in it is quoted, with the platform's escapes; in KEY=VALUE only the value is,
/// since a quoted item is never a keyword. A word that begins with a quote was quoted for ReadArgs()
/// and, as all other words, stays as it stands.
std::string JoinArguments(std::span<const char* const> words);

}  // namespace quorle
