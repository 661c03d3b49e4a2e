#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "harness/run_listener.h"
#include "results/diagnostics_reader.h"
#include "results/event_sink.h"
#include "results/selection.h"

namespace quorle {

/// Turns what happens in a run into its events, a verdict for each check among them. The run's listener
/// leads it, a CallRecorder feeds it, and the host reports what it knows of the handler.
class RunRecorder final : public RunListener {
 public:
  /// `selection` is what was asked for, the range of rows left aside. Both must outlive this.
  RunRecorder(const Selection& selection, EventSink& sink);

  /// The first event. Call it before the run.
  void Begin(const RunEvent& start);
  /// What is left of the events, behind the run that returned `result`.
  void End(std::int32_t result);

  // ---- The run ---------------------------------------------------------------------------------

  void OnRunStart(const TestContext& ctx, std::int32_t first, std::int32_t last) override;
  void OnGroupStart(const TestEntry& entry, std::int32_t row) override;
  void OnSubTestStart(const SubTest& sub_test, std::int32_t number) override;
  void OnSubTestEnd(const SubTest& sub_test, std::int32_t status) override;
  void OnGroupEnd(const TestEntry& entry, std::int32_t result) override;

  // ---- Its calls -------------------------------------------------------------------------------

  /// A call was made that call traces have a line for.
  void CountCall() {
    ++calls_;
    ++calls_of_check_;
  }
  /// Whether a text would belong to a check.
  bool wants_texts() const { return !check_.empty(); }
  /// `text`, as it was formatted, is printed, which is a line of call traces as well. `code` is the
  /// error code that it shows; 0 when it shows none.
  void Print(std::string_view text, std::int32_t code);
  /// A lock on `name` was asked for, and `taken` or not.
  void SeeLock(const char* name, bool taken);

  // ---- Its handler -----------------------------------------------------------------------------

  /// The handler ended, or is taken for one that has: see HandlerEndedEvent.
  void HandlerEnded(const std::string& call, const std::string& how, bool restarted);
  /// The handler that was to be there again is not.
  void RestartFailed();
  /// The group's checks are over, and the device is unmounted and mounted again: what comes until
  /// OnGroupEnd() is not of the group's time.
  void BeginRemount();
  /// The handler was mounted again: whatever became of it, it is there.
  void HandlerIsBack() { is_gone_ = false; }
  /// It was not: what comes is blocked by the check or the group that runs.
  void HandlerIsGone();
  /// How it went; see RemountEvent. `group` is empty behind the run.
  void EndRemount(const std::string& group, bool ok, const std::string& text);
  void Complain(const std::string& text);
  void ObjectLeft(const std::string& object, std::int32_t code);

 private:
  using Moment = std::chrono::steady_clock;

  /// Where a name was looked for.
  struct Probe {
    std::string name;
    bool taken = false;
  };

  /// The id of the running check; of the group between checks.
  std::string Here() const;
  Verdict VerdictOf(std::int32_t status, const std::vector<Diagnostic>& said) const;
  CheckEvent SkippedCheck(const CheckInfo& info) const;
  void Send(CheckEvent check);
  /// Sends the checks before index `end` that were not run.
  void SendSkipped(std::size_t end);

  const Selection& selection_;
  EventSink& sink_;
  const TestContext* ctx_ = nullptr;
  std::int32_t first_row_ = 0;  ///< from 1; 0 until the tests begin
  std::int32_t last_row_ = 0;
  std::size_t next_ = 0;  ///< the first check of the catalogue without an event
  std::map<Verdict, std::int32_t> counts_;
  std::int64_t calls_ = 0;
  Moment::time_point begun_;

  // The group.
  std::int32_t row_ = 0;  ///< 0 outside of the groups
  std::string group_;
  Verdict worst_ = Verdict::kSkipped;
  Moment::time_point group_begun_;
  std::optional<std::int64_t> group_us_;  ///< its time, when that is over before the group is
  std::string ended_by_;                  ///< the check that ended it; empty when none did
  bool is_unsupported_ = false;

  // The check.
  std::string check_;  ///< empty between checks
  std::int64_t first_call_ = 0;
  std::int64_t calls_of_check_ = 0;  ///< those that are not texts
  Moment::time_point check_begun_;
  DiagnosticsReader diagnostics_;
  std::vector<Probe> probes_;  ///< since the last object that was not a numbered name
  std::vector<std::string> in_the_way_;
  bool has_no_name_ = false;
  bool ended_here_ = false;  ///< the handler, during this check

  // The handler.
  std::string culprit_;  ///< the check during which it ended; kept until the next end
  bool is_gone_ = false;
  bool comes_back_ = false;  ///< with the next group
  bool was_gone_ = false;    ///< when the check began
};

}  // namespace quorle
