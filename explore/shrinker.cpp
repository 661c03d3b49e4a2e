#include "explore/shrinker.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_set>
#include <utility>
#include <vector>

namespace quorle::explore {
namespace {

/// One reduction. Each step that is kept makes the sequence shorter or, of the same length, its first
/// changed choice lower: so it ends.
class Shrinking {
 public:
  Shrinking(Choices choices, const std::function<bool(const Choices&)>& differs,
            const ShrinkBounds& bounds)
      : best_(std::move(choices)),
        differs_(differs),
        attempts_(bounds.attempts),
        until_(bounds.until) {
    best_.resize(best_.size() / kChoicesPerCall * kChoicesPerCall);
    tried_.insert(HashOf(best_));
  }

  Choices Run() {
    KeepEnd();
    do {
      changed_ = false;
      RemoveCalls();
      LowerCalls();
      LowerTogether();
      Reorder();
      if (!changed_) RemoveTogether();
    } while (changed_ && attempts_ != 0);
    return std::move(best_);
  }

 private:
  std::size_t calls() const { return best_.size() / kChoicesPerCall; }

  static std::uint64_t HashOf(const Choices& choices) {
    std::uint64_t hash = choices.size();
    for (const Choice choice : choices) {
      hash = (hash ^ choice) * 0x9E3779B97F4A7C15;
      hash ^= hash >> 29;
    }
    return hash;
  }

  /// Whether `choices` differ, which then are the best there are.
  bool Try(const Choices& choices) {
    if (attempts_ == 0 || !tried_.insert(HashOf(choices)).second) return false;
    --attempts_;
    if (std::chrono::steady_clock::now() >= until_) {
      attempts_ = 0;
      return false;
    }
    if (!differs_(choices)) return false;
    best_ = choices;
    changed_ = true;
    return true;
  }

  /// Without `count` calls from `first` on.
  bool TryWithout(std::size_t first, std::size_t count) {
    const auto begin = best_.begin() + Offset(first);
    trial_.assign(best_.begin(), begin);
    trial_.insert(trial_.end(), begin + Offset(count), best_.end());
    return Try(trial_);
  }
  static std::ptrdiff_t Offset(std::size_t calls) {
    return static_cast<std::ptrdiff_t>(calls * kChoicesPerCall);
  }

  /// The last calls alone, as few as do: those are quickly tried, and often enough.
  void KeepEnd() {
    for (std::size_t count = 1; count < calls(); count *= 2) {
      if (TryWithout(0, calls() - count)) return;
    }
  }

  /// Chunks of calls, from the end: twice as many while that works, then half as many.
  void RemoveCalls() {
    for (std::size_t end = calls(); end != 0 && calls() > 1;) {
      std::size_t removed = 0;
      std::size_t count = 1;
      while (count <= end && TryWithout(end - count, count)) {
        removed += count;
        end -= count;
        count *= 2;
      }
      for (count /= 2; count != 0 && removed != 0; count /= 2) {
        if (count <= end && TryWithout(end - count, count)) end -= count;
      }
      if (end != 0) --end;
    }
  }

  /// Two calls that need each other alone, as what makes an object and what gives it back, and in few calls
  /// three.
  void RemoveTogether() {
    for (std::size_t i = 0; i < calls() && calls() <= kMostCallsForPairs; ++i) {
      for (std::size_t j = i + 1; j < calls(); ++j) {
        if (TryWithoutThese({i, j, j})) return;
        for (std::size_t k = j + 1; k < calls() && calls() <= kMostCallsForTriples; ++k) {
          if (TryWithoutThese({i, j, k})) return;
        }
      }
    }
  }

  /// Without the calls at `places`, which are in their order.
  bool TryWithoutThese(const std::array<std::size_t, 3>& places) {
    trial_.clear();
    for (std::size_t call = 0; call != calls(); ++call) {
      if (std::find(places.begin(), places.end(), call) != places.end()) continue;
      trial_.insert(trial_.end(), best_.begin() + Offset(call), best_.begin() + Offset(call + 1));
    }
    return !trial_.empty() && Try(trial_);
  }

  bool TrySet(std::size_t place, Choice value) {
    trial_ = best_;
    trial_[place] = value;
    return Try(trial_);
  }

  /// The lowest value that `try_value` takes between `from`, which differs, and 0.
  template <class TryValue>
  void Lower(Choice from, const TryValue& try_value) {
    if (from == 0 || try_value(Choice{0})) return;
    std::uint32_t low = 0;
    std::uint32_t high = from;
    while (high - low > 1 && attempts_ != 0) {
      const std::uint32_t middle = (low + high) / 2;
      if (try_value(static_cast<Choice>(middle))) {
        high = middle;
      } else {
        low = middle;
      }
    }
  }

  /// Every value of each call, all but the operation at once where that works.
  void LowerCalls() {
    for (std::size_t call = 0; call != calls() && attempts_ != 0; ++call) {
      trial_ = best_;
      std::fill(trial_.begin() + Offset(call) + 1, trial_.begin() + Offset(call + 1), Choice{0});
      const bool is_plain = trial_ == best_ || Try(trial_);
      for (std::size_t use = is_plain ? kChoicesPerCall : 1; use < kChoicesPerCall; ++use) {
        const std::size_t place = call * kChoicesPerCall + use;
        Lower(best_[place], [&](Choice value) { return TrySet(place, value); });
      }
      const std::size_t operation = call * kChoicesPerCall;
      Lower(best_[operation], [&](Choice value) { return TrySet(operation, value); });
    }
  }

  /// Where names stand: what makes two names one, or one of two both plain.
  std::vector<std::size_t> NamePlaces() {
    std::vector<std::size_t> places;
    for (std::size_t call = 0; call != calls(); ++call) {
      for (const ChoiceUse use : {kNameChoice, kSecondChoice}) {
        const std::size_t place = call * kChoicesPerCall + use;
        if (best_[place] != 0) places.push_back(place);
      }
    }
    return places;
  }

  /// Names that are the same stay so and become plainer; names that differ become the same one.
  void LowerTogether() {
    if (calls() > kMostCallsForPairs) return;
    const std::vector<std::size_t> places = NamePlaces();
    for (std::size_t i = 0; i != places.size() && attempts_ != 0; ++i) {
      const Choice value = best_[places[i]];
      Lower(value, [&](Choice lower) {
        trial_ = best_;
        for (const std::size_t place : places) {
          if (best_[place] == best_[places[i]]) trial_[place] = lower;
        }
        return Try(trial_);
      });
      for (std::size_t j = i + 1; j != places.size() && attempts_ != 0; ++j) {
        const Choice lower = std::min(best_[places[i]], best_[places[j]]);
        for (const Choice both : {Choice{0}, lower}) {
          trial_ = best_;
          trial_[places[i]] = trial_[places[j]] = both;
          if (trial_ != best_ && Try(trial_)) break;
        }
      }
    }
  }

  /// A call that is plainer than one before it changes places with it.
  void Reorder() {
    for (std::size_t second = 1; second < calls(); ++second) {
      for (std::size_t first = second; first-- != 0 && attempts_ != 0;) {
        const auto a = best_.begin() + Offset(first);
        const auto b = best_.begin() + Offset(second);
        if (!std::lexicographical_compare(b, b + kChoicesPerCall, a, a + kChoicesPerCall)) continue;
        trial_ = best_;
        std::swap_ranges(trial_.begin() + Offset(first), trial_.begin() + Offset(first + 1),
                         trial_.begin() + Offset(second));
        Try(trial_);
      }
    }
  }

  /// Pairs of names, or of calls, are tried; of a longer sequence that would take too long.
  static constexpr std::size_t kMostCallsForPairs = 12;
  static constexpr std::size_t kMostCallsForTriples = 10;

  Choices best_;
  const std::function<bool(const Choices&)>& differs_;
  std::size_t attempts_;  ///< left
  std::chrono::steady_clock::time_point until_;
  bool changed_ = false;
  Choices trial_;
  std::unordered_set<std::uint64_t> tried_;  ///< of what was tried already
};

}  // namespace

Choices Shrink(Choices choices, const std::function<bool(const Choices&)>& differs,
               const ShrinkBounds& bounds) {
  return Shrinking(std::move(choices), differs, bounds).Run();
}

}  // namespace quorle::explore
