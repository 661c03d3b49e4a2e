#include "explore/search.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "explore/shrinker.h"

namespace quorle::explore {
namespace {

/// A sequence that stays longer than this is shrunk once more in another way.
constexpr std::size_t kManyCalls = 8;

}  // namespace

Search::Search(Trial& trial, SearchSettings settings, OnFinding on_finding, IsOver is_over)
    : trial_(trial),
      settings_(std::move(settings)),
      on_finding_(std::move(on_finding)),
      is_over_(std::move(is_over)) {}

SearchSummary Search::Run() {
  using Moment = std::chrono::steady_clock;
  const Moment::time_point begun = Moment::now();
  SearchSummary summary;
  for (std::uint64_t seed = settings_.first_seed;; ++seed) {
    if (settings_.last_seed && seed > *settings_.last_seed) break;
    if (seed % settings_.shards != settings_.shard % settings_.shards) continue;
    if (settings_.time && Moment::now() - begun >= *settings_.time) break;
    if (is_over_() || is_lost_ || !trial_.has_room()) break;
    RunSequence(seed, DrawChoices(seed, settings_.calls), summary);
    if (seed == UINT64_MAX) break;
  }
  summary.time = std::chrono::duration_cast<std::chrono::microseconds>(Moment::now() - begun);
  return summary;
}

SearchSummary Search::RunOne(const Choices& choices) {
  const auto begun = std::chrono::steady_clock::now();
  SearchSummary summary;
  RunSequence(0, choices, summary);
  summary.time = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - begun);
  return summary;
}

void Search::RunSequence(std::uint64_t seed, Choices choices, SearchSummary& summary) {
  const std::uint64_t before = trial_.calls_made();
  std::optional<Difference> difference = trial_.Run(choices);
  summary.calls += trial_.calls_made() - before;
  ++summary.sequences;
  is_lost_ = difference && difference->rule == kStartRule;
  if (difference) Take(seed, std::move(choices), std::move(*difference));
}

bool Search::IsWorthShrinking(const std::string& kind) {
  // The first few, since the same kind may be several defects, and then less and less often.
  constexpr std::uint64_t kAlways = 4;
  const std::uint64_t times = ++kinds_[kind].times;
  return times <= kAlways || std::has_single_bit(times);
}

bool Search::ComesEachTime(const Choices& choices, const std::string& kind) {
  for (int i = 0; i != 4; ++i) {
    const std::optional<Difference> found = trial_.Run(choices);
    if (!found || found->kind != kind) return false;
  }
  return true;
}

void Search::LeaveBlocksToOthers(Difference& difference) {
  trial_.IgnoreBlocks();
  difference.weight = Difference::Weight::kNote;
  difference.calls.clear();
  difference.then.emplace_back(
      "the same calls did not show it a second time: others may use the disk, and blocks are not counted "
      "any more in this search");
}

std::optional<Difference> Search::ShrinkIn(Manner manner, Choices& choices) {
  if (is_lost_) return std::nullopt;
  std::optional<Difference> found = trial_.Run(choices, manner);
  // What differed while there was a device is the difference.
  is_lost_ = found && found->rule == kStartRule;
  if (!found || is_lost_) return std::nullopt;
  const std::string kind = found->kind;
  const auto differs = [&](const Choices& candidate) {
    if (!trial_.has_room()) return false;
    const std::optional<Difference> difference = trial_.Run(candidate, manner);
    return difference && difference->kind == kind;
  };
  // Calls behind the one that showed it were not made.
  const std::size_t made = found->calls.size() * kChoicesPerCall;
  Choices outright = trial_.outright();
  outright.resize(std::min(outright.size(), made));
  choices.resize(std::min(choices.size(), made));
  choices = Shrink(differs(outright) ? std::move(outright) : std::move(choices), differs);
  manner.texts = true;
  if (auto shown = trial_.Run(choices, manner); shown && shown->kind == kind) {
    found = std::move(shown);
  }
  return found;
}

void Search::Take(std::uint64_t seed, Choices choices, Difference difference) {
  const std::string first_kind = difference.kind;
  if (!IsWorthShrinking(first_kind)) {
    if (const auto known = findings_.find(kinds_[first_kind].id); known != findings_.end()) {
      ++known->second.times;
    }
    return;
  }
  const auto begun = std::chrono::steady_clock::now();
  Finding finding;
  finding.seed = seed;
  finding.calls = difference.calls.size();
  // Calls behind the one that showed it were not made.
  choices.resize(std::min(choices.size(), difference.calls.size() * kChoicesPerCall));
  if (difference.rule == "use" && !ComesEachTime(choices, first_kind)) {
    finding.comes_again = false;
    LeaveBlocksToOthers(difference);
  } else if (std::optional<Difference> again = ShrinkIn({.walks = Walks::kAtLast}, choices)) {
    difference = std::move(*again);
    // What is left of a long sequence may have been chance.
    if (difference.rule == "use" && !ComesEachTime(choices, difference.kind)) {
      finding.comes_again = false;
      LeaveBlocksToOthers(difference);
    }
  } else if (again = ShrinkIn({.walks = Walks::kEach}, choices); again) {
    difference = std::move(*again);
    difference.then.emplace_back("it shows when the files are opened and read after each call");
  } else {
    finding.comes_again = false;
  }
  // What depends on more than the calls, as on an earlier sequence, leads astray.
  if (finding.comes_again && difference.calls.size() > kManyCalls) {
    Choices fresh = choices;
    std::optional<Difference> again = ShrinkIn({.walks = Walks::kAtLast, .fresh = true}, fresh);
    if (again && again->calls.size() < difference.calls.size()) {
      difference = std::move(*again);
      choices = std::move(fresh);
    }
  }
  finding.choices = std::move(choices);
  finding.difference = std::move(difference);
  finding.shrinking = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - begun);
  const std::string& id = finding.difference.id;
  kinds_[first_kind].id = id;
  const auto [known, first] = findings_.try_emplace(id);
  if (!first) {
    ++known->second.times;
    if (known->second.difference.calls.size() <= finding.difference.calls.size()) return;
    finding.times = known->second.times;
  }
  known->second = std::move(finding);
  on_finding_(known->second, first);
}

}  // namespace quorle::explore
