#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "explore/choices.h"
#include "explore/difference.h"
#include "explore/trial.h"

namespace quorle::explore {

/// Which sequences a search runs, and until when.
struct SearchSettings {
  std::uint64_t first_seed = 1;
  std::optional<std::uint64_t> last_seed;    ///< none: until the time is over
  std::optional<std::chrono::seconds> time;  ///< none: all seeds
  std::uint32_t shard = 1;                   ///< 1 to `shards`
  std::uint32_t shards = 1;
  std::size_t calls = 200;  ///< of a sequence
};

/// A difference with its shortest sequence.
struct Finding {
  Difference difference;
  std::uint64_t seed = 0;   ///< of the sequence that showed it first
  std::size_t calls = 0;    ///< of that sequence, up to the difference
  std::uint64_t times = 1;  ///< how often it was found
  bool comes_again = true;  ///< false: the same choices did not show it a second time
  Choices choices;
  std::chrono::microseconds shrinking{0};
};

/// What a search came to.
struct SearchSummary {
  std::uint64_t sequences = 0;
  std::uint64_t calls = 0;  ///< pairs, those of shrinking left aside
  std::chrono::microseconds time{0};
};

/// Runs sequences, and shrinks what differs to the fewest and plainest calls that still differ. The same
/// defect found a thousand times is one finding; the shortest sequence is kept.
class Search {
 public:
  /// Called when something is found that has not been, or with a shorter sequence; `first` says which.
  using OnFinding = std::function<void(const Finding& finding, bool first)>;
  /// Asked before each sequence; true ends the search.
  using IsOver = std::function<bool()>;

  Search(Trial& trial, SearchSettings settings, OnFinding on_finding, IsOver is_over);

  SearchSummary Run();
  /// Runs one sequence, that of `choices`; its seed is 0.
  SearchSummary RunOne(const Choices& choices);
  /// What was found, by its id.
  const std::map<std::string, Finding>& findings() const { return findings_; }

 private:
  void RunSequence(std::uint64_t seed, Choices choices, SearchSummary& summary);
  /// Whether they show a difference of that kind a few times in a row.
  bool ComesEachTime(const Choices& choices, const std::string& kind);
  /// Others may use the disk that a volume is on: makes what did not come again a note without calls, the
  /// last of its kind in this search.
  void LeaveBlocksToOthers(Difference& difference);
  /// Shrinks `choices`, run in that manner. Returns the difference that is left, with texts; none when the
  /// choices differ in nothing. Whichever difference comes first is the one that is shrunk: an earlier sign of
  /// the same thing, most often.
  std::optional<Difference> ShrinkIn(Manner manner, Choices& choices);
  void Take(std::uint64_t seed, Choices choices, Difference difference);
  /// Whether a difference of that kind is worth the time of shrinking it once more.
  bool IsWorthShrinking(const std::string& kind);

  Trial& trial_;
  SearchSettings settings_;
  OnFinding on_finding_;
  IsOver is_over_;
  std::map<std::string, Finding> findings_;
  bool is_lost_ = false;  ///< the device cannot be worked on any more
  /// What is known of a kind of difference.
  struct Kind {
    std::uint64_t times = 0;
    std::string id;  ///< of the finding that it came to last
  };
  std::map<std::string, Kind> kinds_;
};

}  // namespace quorle::explore
