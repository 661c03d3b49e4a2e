#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "harness/catalogue.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/console.h"
#include "program/event_file.h"
#include "program/host_options.h"
#include "results/event_sink.h"
#include "results/expectations.h"
#include "results/repeats.h"
#include "results/run_record.h"
#include "results/run_recorder.h"
#include "results/selection.h"

namespace quorle {

/// What the options make of the results of one run, or of several in turn: which checks run, where the
/// events go, what is expected, what people get to see, and the exit status.
class ResultSession final : public WatchListener, private EventSink {
 public:
  /// What standard error can show.
  struct Screen {
    bool summary = false;   ///< whether there is one, unless the options say
    bool colours = false;   ///< whether it is in colours
    bool progress = false;  ///< whether a run that takes longer than a second shows where it is
  };

  /// For runs of `catalogues`, one at least. All that is handed over must outlive this.
  ResultSession(const ResultOptions& options, std::span<const Catalogue* const> catalogues,
                const Screen& screen, Console& console);

  /// Reads the files that the options name. The exit status when there is nothing to run: 20 for a
  /// file or a pattern that is wrong, 0 when --failed finds nothing; one line says which.
  std::optional<std::int32_t> Prepare();
  /// The catalogues of which something was selected, in their order.
  std::vector<const Catalogue*> SelectedCatalogues() const;

  /// A run of `catalogue` begins. False, with one line, when its events cannot be written.
  bool BeginRun(const RunEvent& start, const Catalogue& catalogue);
  /// What is run: the catalogue, or what was selected of it.
  const Catalogue& catalogue() const;
  /// What was selected of it.
  const Selection& selection() const { return *selection_; }
  /// What is to be called about the run, until EndRun().
  RunRecorder& recorder() { return *recorder_; }
  /// The run has ended with `result`; `is_whole` unless a part of what was asked for is missing.
  /// Returns the exit status for it.
  std::int32_t EndRun(std::int32_t result, bool is_whole);
  /// All runs have ended; `status` is the worst exit status of them. Prints what people shall see,
  /// writes --bless, and returns the exit status of the program.
  std::int32_t Finish(std::int32_t status);

  // What the watch reports.
  void OnReport(const std::string& line) override;
  void OnHandlerEnd(const HandlerEnd& end) override;
  void OnLimit(const std::string& took) override;
  void OnRestartFailed() override;
  void OnRemountFailed() override;

 private:
  /// The runs of one catalogue.
  struct Runs {
    RunRecord shown;  ///< the first that was not as it should be, or the last one
    bool is_fine = true;
    Repeats repeats;
  };

  void Take(Event event) override;
  /// Writes --bless. The exit status that follows from what is expected now.
  std::int32_t WriteBlessed();
  /// Prints what people shall see of `runs`, and returns the exit status that follows from `status`.
  std::int32_t Show(const Runs& runs, std::int32_t status);
  /// The runs of the catalogue of the run that goes on.
  Runs& RunsOfCatalogue();
  /// "; --catalogue all has it" when the patterns fit what there is at all.
  static std::string WhereElse(const std::string& patterns);
  /// Selects what was not as expected in the run that the event file `path` is of.
  std::optional<std::int32_t> SelectFailed(const std::string& path);
  /// Takes from `ids` those that no check of the catalogue has, and returns them.
  std::vector<std::string> TakeUnknown(std::set<std::string>& ids) const;
  /// Whether the run that has ended did nothing, since the selected checks and rows exclude each other.
  bool DidNothing() const;

  const ResultOptions& options_;
  std::span<const Catalogue* const> catalogues_;
  Screen screen_;
  Console& console_;
  Selection chosen_;                           ///< of all catalogues
  const Catalogue* catalogue_ = nullptr;       ///< of the run
  std::optional<Selection> selection_;         ///< of its catalogue
  std::optional<SelectedCatalogue> selected_;  ///< none: it is run as a whole
  Expectations expectations_;
  EventFile events_;
  std::optional<RunRecorder> recorder_;
  RunRecord record_;  ///< of the run that goes on, or the last one
  std::vector<std::pair<const Catalogue*, Runs>> runs_;  ///< in the order of the catalogues
  std::vector<RunRecord> to_bless_;                      ///< all runs, when --bless is given
  bool is_whole_ =
      true;  ///< nothing of what was asked for is missing of a run, an event or a trace
};

}  // namespace quorle
