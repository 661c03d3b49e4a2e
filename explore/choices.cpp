#include "explore/choices.h"

namespace quorle::explore {
namespace {

/// SplitMix64: the next of the numbers that `state` goes through.
std::uint64_t NextRandom(std::uint64_t& state) {
  state += 0x9E3779B97F4A7C15;
  std::uint64_t mixed = state;
  mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
  mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
  return mixed ^ mixed >> 31;
}

}  // namespace

Choices DrawChoices(std::uint64_t seed, std::size_t calls) {
  // The states of two seeds lie far apart, so that one's numbers are not another's, moved by a few.
  std::uint64_t state = seed;
  state = NextRandom(state);
  Choices choices(calls * kChoicesPerCall);
  static_assert(kChoicesPerCall % 4 == 0, "four choices of each number");
  for (std::size_t at = 0; at != choices.size(); at += 4) {
    const std::uint64_t random = NextRandom(state);
    for (std::size_t i = 0; i != 4; ++i) {
      choices[at + i] = static_cast<Choice>(random >> (i * 16));
    }
  }
  return choices;
}

Choices ReadChoices(std::span<const std::uint8_t> bytes) {
  Choices choices(bytes.size() / (kChoicesPerCall * 2) * kChoicesPerCall);
  for (std::size_t i = 0; i != choices.size(); ++i) {
    choices[i] = static_cast<Choice>(bytes[i * 2] | bytes[i * 2 + 1] << 8);
  }
  return choices;
}

void WriteChoices(std::span<const Choice> choices, std::uint8_t* bytes) {
  for (const Choice choice : choices) {
    *bytes++ = static_cast<std::uint8_t>(choice & 0xFF);
    *bytes++ = static_cast<std::uint8_t>(choice >> 8);
  }
}

}  // namespace quorle::explore
