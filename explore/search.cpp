#include "explore/search.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "explore/shrinker.h"

namespace quorle::explore {

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
    if (is_over_() || is_lost_) break;
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

std::optional<Difference> Search::RunAgain(const Choices& choices, const Manner& manner) {
  std::optional<Difference> again = trial_.Run(choices, manner);
  is_lost_ = is_lost_ || (again && again->rule == kStartRule);
  // What differed before there was no device any more is the difference.
  if (is_lost_) again.reset();
  return again;
}

void Search::RunSequence(std::uint64_t seed, Choices choices, SearchSummary& summary) {
  const std::uint64_t before = trial_.calls_made();
  std::optional<Difference> difference = trial_.Run(choices);
  summary.calls += trial_.calls_made() - before;
  ++summary.sequences;
  is_lost_ = is_lost_ || (difference && difference->rule == kStartRule);
  if (difference) Take(seed, std::move(choices), std::move(*difference));
}

bool Search::IsWorthShrinking(const std::string& kind) {
  // The first few, since the same kind may be several defects, and then less and less often.
  constexpr std::uint64_t kAlways = 4;
  const std::uint64_t times = ++kinds_[kind].times;
  return times <= kAlways || std::has_single_bit(times);
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
  // Without the walks in between a sequence can be cut anywhere. What comes with them alone, since looking
  // at a tree opens and closes its files, comes again when there is one after each call.
  Manner manner{.walks = Walks::kAtLast};
  std::optional<Difference> again = RunAgain(choices, manner);
  if (!again && !is_lost_) {
    manner.walks = Walks::kEach;
    again = RunAgain(choices, manner);
  }
  // Nobody knows of one that was interrupted.
  finding.comes_again = again.has_value() || is_over_();
  if (again) {
    const std::string kind = again->kind;
    const auto differs = [&](const Choices& candidate) {
      if (is_over_()) return false;
      const std::optional<Difference> found = trial_.Run(candidate, manner);
      return found && found->kind == kind;
    };
    choices.resize(std::min(choices.size(), again->calls.size() * kChoicesPerCall));
    choices = Shrink(std::move(choices), differs);
    manner.texts = true;
    if (auto shown = trial_.Run(choices, manner); shown && shown->kind == kind)
      again = std::move(shown);
    difference = std::move(*again);
    if (manner.walks == Walks::kEach) {
      difference.then.emplace_back("it shows when the files are opened and read after each call");
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
