#include "explore/engine/mutation.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quorle::explore {
namespace {

using Place = Choices::difference_type;

constexpr auto kWidth = static_cast<Place>(kChoicesPerCall);

/// The random numbers of one change.
class Randoms {
 public:
  explicit Randoms(std::uint64_t seed) : numbers_(DrawChoices(seed, 5)) {}

  Choice Next() { return numbers_[at_++ % numbers_.size()]; }
  /// 0 to `count` - 1; `count` is at least 1.
  std::size_t Below(std::size_t count) {
    const std::size_t high = Next();
    return (high << 16 | Next()) % count;
  }

 private:
  Choices numbers_;
  std::size_t at_ = 0;
};

void Bound(Choices& choices, std::size_t most_calls) {
  choices.resize(std::min(choices.size(), most_calls * kChoicesPerCall));
}

Place CallPlace(std::size_t call) {
  return static_cast<Place>(call) * kWidth;
}

/// Inserts a call, plain in half of what it chooses: in half of all cases behind the last one, where what
/// came so far comes farther.
void InsertCall(Choices& choices, Randoms& randoms) {
  const std::size_t calls = choices.size() / kChoicesPerCall;
  Choices call(kChoicesPerCall);
  for (Choice& choice : call) choice = randoms.Below(2) == 0 ? Choice{0} : randoms.Next();
  call[kOperationChoice] = randoms.Next();
  const std::size_t place = randoms.Below(2) == 0 ? calls : randoms.Below(calls + 1);
  choices.insert(choices.begin() + CallPlace(place), call.begin(), call.end());
}

void CopyCall(Choices& choices, Randoms& randoms) {
  const std::size_t calls = choices.size() / kChoicesPerCall;
  const Place from = CallPlace(randoms.Below(calls));
  const Choices call(choices.begin() + from, choices.begin() + from + kWidth);
  choices.insert(choices.begin() + CallPlace(randoms.Below(calls + 1)), call.begin(), call.end());
}

/// There are at least two, and one stays.
void RemoveCalls(Choices& choices, Randoms& randoms) {
  const std::size_t calls = choices.size() / kChoicesPerCall;
  const std::size_t first = randoms.Below(calls);
  const std::size_t most = std::min<std::size_t>({calls - first, calls - 1, 8});
  const std::size_t count = 1 + randoms.Below(most);
  choices.erase(choices.begin() + CallPlace(first), choices.begin() + CallPlace(first + count));
}

void SwapCalls(Choices& choices, Randoms& randoms) {
  const std::size_t calls = choices.size() / kChoicesPerCall;
  const Place one = CallPlace(randoms.Below(calls));
  const Place other = CallPlace(randoms.Below(calls));
  if (one == other) return;
  std::swap_ranges(choices.begin() + one, choices.begin() + one + kWidth, choices.begin() + other);
}

/// Another choice for one, in half of all cases of the last call: any, one near it, the plainest, or that of
/// another call.
void ChangeChoice(Choices& choices, Randoms& randoms) {
  constexpr int kNearest = 4;
  constexpr int kFarthest = 12;
  const std::size_t calls = choices.size() / kChoicesPerCall;
  // Each as often as it is looked at.
  static constexpr std::array kUses{
      kOperationChoice, kObjectChoice,       kNameChoice,       kNameChoice,   kSecondChoice,
      kNumberChoice,    kNumberChoice,       kNumberChoice,     kNumberChoice, kModeChoice,
      kModeChoice,      kSecondNumberChoice, kThirdNumberChoice};
  const std::size_t use = kUses[randoms.Below(kUses.size())];
  const std::size_t call = randoms.Below(2) == 0 ? calls - 1 : randoms.Below(calls);
  Choice& choice = choices[call * kChoicesPerCall + use];
  switch (randoms.Below(8)) {
    case 0:
      choice = 0;
      break;
    case 1:
      choice = choices[randoms.Below(calls) * kChoicesPerCall + use];
      break;
    case 2:
    case 3:
    case 4: {
      const auto bits = static_cast<unsigned>(kNearest + randoms.Below(kFarthest - kNearest));
      const std::size_t distance = 1 + randoms.Below(std::size_t{1} << bits);
      choice = static_cast<Choice>(randoms.Below(2) == 0 ? choice + distance : choice - distance);
      break;
    }
    default:
      choice = randoms.Next();
      break;
  }
}

}  // namespace

void Mutate(Choices& choices, std::size_t most_calls, std::uint64_t seed) {
  Randoms randoms(seed);
  Bound(choices, most_calls);
  const std::size_t what = randoms.Below(16);
  const bool has_room = choices.size() < most_calls * kChoicesPerCall;
  if (choices.empty() || (has_room && what < 5)) {
    InsertCall(choices, randoms);
  } else if (has_room && what < 6) {
    CopyCall(choices, randoms);
  } else if (what < 8 && choices.size() > kChoicesPerCall) {
    RemoveCalls(choices, randoms);
  } else if (what < 9) {
    SwapCalls(choices, randoms);
  } else {
    ChangeChoice(choices, randoms);
  }
}

Choices Cross(const Choices& first, const Choices& second, std::size_t most_calls,
              std::uint64_t seed) {
  Randoms randoms(seed);
  const std::size_t of_first = randoms.Below(first.size() / kChoicesPerCall + 1);
  const std::size_t of_second = randoms.Below(second.size() / kChoicesPerCall + 1);
  Choices crossed(first.begin(), first.begin() + CallPlace(of_first));
  crossed.insert(crossed.end(), second.end() - CallPlace(of_second), second.end());
  Bound(crossed, most_calls);
  if (crossed.empty()) Mutate(crossed, most_calls, seed);
  return crossed;
}

}  // namespace quorle::explore
