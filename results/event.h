#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "results/verdict.h"

/// What happens in a run, as the event stream has it (`--events`): one of these a line. All texts are
/// UTF-8. Where the stream leaves a field out it has the value that stands here.
namespace quorle {

/// The version of the stream that this program writes, and the newest that it reads.
inline constexpr std::int32_t kEventVersion = 1;

/// The catalogue that a run is of unless it says another.
inline constexpr const char* kStandardName = "standard";

/// A run begins.
struct RunEvent {
  std::int32_t version = kEventVersion;
  std::string program;  ///< "53.24"
  std::string device;   ///< "DH0:", as the command line names it
  std::string words;    ///< the tester's own command line behind the device: "NI TN=34"
  std::vector<std::string> arguments;  ///< of the host program, all of them
  std::string port;                    ///< "vector", "packet", "classic"; empty when nobody knows
  std::string handler;                 ///< "ram", "plugin"; empty when nobody knows
  std::string time;                    ///< UTC: "2026-11-21T19:00:00Z"
  std::int32_t repeat = 1;             ///< which of several runs with the same arguments, from 1
  std::string catalogue = kStandardName;  ///< "standard", "further"
};

/// What is tested, once it is identified.
struct TargetEvent {
  std::string device;
  std::string volume;
  std::string filesystem;  ///< "ram-handler 53.1 (21.11.2026)"
  std::string dostype;     ///< "0x444F5309"
};

/// The class of a diagnostic.
enum class DiagnosticClass : std::uint8_t { kError, kWarn, kInfo, kCleanup, kNote };

/// One message of a check.
struct Diagnostic {
  DiagnosticClass type = DiagnosticClass::kNote;
  bool bold = false;
  std::int32_t code = 0;  ///< the first error code that it shows; 0 when it shows none
  std::string text;       ///< its lines joined by blanks, without the class and without style codes

  friend bool operator==(const Diagnostic&, const Diagnostic&) = default;
};

/// The first and the last line of the call trace that belong to a check, from 1; {0, 0} without any.
struct CallRange {
  std::int64_t first = 0;
  std::int64_t last = 0;
};

/// Why a check was skipped.
inline constexpr const char* kNotSelected = "not selected";
inline constexpr const char* kGroupEnded = "the group ended";
inline constexpr const char* kRunEnded = "the run ended";
inline constexpr const char* kNothingToDo = "nothing to do";

/// A check has its verdict.
struct CheckEvent {
  std::string id;                         ///< "Lock.MissingObject"
  std::string catalogue = kStandardName;  ///< as of the run
  std::int32_t row = 0;                   ///< of its group in the catalogue, from 1
  std::int32_t number = 0;                ///< in its group, from 1
  Verdict verdict = Verdict::kSkipped;
  std::int32_t result = 0;  ///< what it returned; 0 when it did not run
  CallRange calls;
  std::int64_t us = 0;  ///< how long it took, in microseconds
  std::vector<Diagnostic> diagnostics;
  /// Of a check that is blocked, of one that is unsupported because an earlier one was, and of one that
  /// was skipped because its group or the run ended: the id of the check that is the cause.
  std::string cause;
  /// Of a check that is blocked because no unique name was left: the objects in the way.
  std::vector<std::string> objects;
  /// Why it was skipped, kNotSelected and the like. Of an imported log also why a failure is ambiguous.
  std::string why;
  /// Of an imported log: the text fits several checks, of which this is the first.
  bool ambiguous = false;

  /// Whether it was selected and the run ended before it: it has no verdict.
  bool was_missed() const { return verdict == Verdict::kSkipped && why == kRunEnded; }
};

/// A group has ended.
struct GroupEvent {
  std::string id;  ///< "Lock"
  std::int32_t row = 0;
  Verdict verdict = Verdict::kSkipped;
  std::int32_t result = 0;
  std::int64_t us = 0;
};

/// A handler's process has ended, or was ended.
struct HandlerEndedEvent {
  std::string id;    ///< of the check; of the group between checks; empty outside of the tests
  std::string call;  ///< "FSLock"
  std::string how;   ///< "signal 11 (SIGSEGV)"
  bool restarted = false;  ///< the next group gets another process
};

/// A scratch object is still on the volume.
struct LeftBehindEvent {
  std::string id;
  std::string object;
  std::int32_t code = 0;  ///< of the call that failed to remove or to find it
};

/// Something about a handler that no check looks at.
struct ComplaintEvent {
  std::string id;
  std::string text;
};

/// A device was unmounted and mounted again.
struct RemountEvent {
  std::string id;
  bool ok = true;
  std::string text;
};

/// A run has ended.
struct EndEvent {
  std::int32_t result = 0;                 ///< of the tester: 0, 10 or 20
  std::map<Verdict, std::int32_t> checks;  ///< how many have which verdict
  std::int64_t us = 0;
};

/// A search (`quorle explore`) found where the device is unlike the reference.
struct DifferenceEvent {
  std::string id;                  ///< "rename-refused-changes-source"
  std::string rule;                ///< "refusal-is-harmless"
  std::string weight;              ///< "error"; "note" where what is due is unknown or disputed
  std::string text;                ///< one line: "a refused call changed what it named"
  std::vector<std::string> calls;  ///< the shortest sequence, as it is printed
  std::int64_t seed = 0;           ///< of the sequence that showed it first; 0 of one from a file
  std::int64_t found_in = 0;       ///< how many calls that sequence had when it showed it
  std::int64_t times = 1;
  bool comes_again = true;  ///< the same calls showed it a second time
  bool expected = false;    ///< an entry of the file of expectations says so
  std::string reason;       ///< of that entry
};

/// A search has ended.
struct ExploreEvent {
  std::int64_t sequences = 0;
  std::int64_t calls = 0;  ///< pairs: one on the device and one on the reference
  std::int64_t us = 0;
  std::int64_t differences = 0;  ///< that are not expected
  std::int64_t expected = 0;
  std::int64_t notes = 0;
  std::vector<std::string> traits;  ///< what the filesystem cannot do, a line each
};

/// A cell of a matrix has ended (`quorle matrix`): the last line of its file.
struct CellEvent {
  std::string id;                      ///< "ram/plain/standard"
  std::vector<std::string> arguments;  ///< of the program, but for where its events went
  std::int32_t status = 0;             ///< 0: it came out as expected, or 10
  std::string how;     ///< when it did not end by itself: "did not end within 60 seconds"
  std::string expect;  ///< a fingerprint of the file of expectations; empty without one
};

using Event =
    std::variant<RunEvent, TargetEvent, CheckEvent, GroupEvent, HandlerEndedEvent, LeftBehindEvent,
                 ComplaintEvent, RemountEvent, DifferenceEvent, ExploreEvent, EndEvent, CellEvent>;

}  // namespace quorle
