// What AFL++ asks for the next input, loaded by AFL_CUSTOM_MUTATOR_LIBRARY: quorle-afl-mutator.so. What it makes
// of bytes as such is seldom a sequence that differs from the last one in one place.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "explore/choices.h"
#include "explore/engine/mutation.h"

namespace quorle::explore {
namespace {

/// The changes of one engine.
class AflMutator {
 public:
  explicit AflMutator(std::uint64_t seed) : seed_(seed << 32) {
    // An input without bytes has an address, too.
    bytes_.reserve(sizeof(Choice));
  }

  /// An input of `bytes`, or of these and `other`; it stays until the next one.
  std::span<std::uint8_t> Next(std::span<const std::uint8_t> bytes,
                               std::span<const std::uint8_t> other, std::size_t most) {
    constexpr std::uint64_t kMostChanges = 1 << 3;
    constexpr std::uint64_t kCrossing = 8;
    const std::size_t most_calls = most / (kChoicesPerCall * sizeof(Choice));
    Choices choices = ReadChoices(bytes);
    if (most_calls != 0) {
      const std::uint64_t first = ++seed_;
      if (first % kCrossing == 0 && !other.empty()) {
        choices = Cross(choices, ReadChoices(other), most_calls, first);
      }
      // Mostly one: what has come far does not often come farther by several.
      for (int i = std::countr_zero(first / kCrossing | kMostChanges); i >= 0; --i) {
        Mutate(choices, most_calls, ++seed_);
      }
    }
    bytes_.resize(choices.size() * sizeof(Choice));
    WriteChoices(choices, bytes_.data());
    return bytes_;
  }

 private:
  std::uint64_t seed_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace
}  // namespace quorle::explore

extern "C" {

void* afl_custom_init(void* /*engine*/, unsigned seed) {
  return new quorle::explore::AflMutator(seed);
}

// Of each input so many next ones. AFL++ would go on with one for as long as it brings what is new, twice as long each
// time, and leave aside meanwhile what it brought: from a first input that is next to nothing, nearly for ever.
unsigned afl_custom_fuzz_count(void* /*mutator*/, const std::uint8_t* /*bytes*/,
                               std::size_t /*count*/) {
  constexpr unsigned kOfEach = 512;
  return kOfEach;
}

std::size_t afl_custom_fuzz(void* mutator, std::uint8_t* bytes, std::size_t count,
                            std::uint8_t** changed, std::uint8_t* other, std::size_t other_count,
                            std::size_t most) {
  const std::span<std::uint8_t> next = static_cast<quorle::explore::AflMutator*>(mutator)->Next(
      {bytes, count}, {other, other == nullptr ? 0 : other_count}, most);
  *changed = next.data();
  return next.size();
}

void afl_custom_deinit(void* mutator) {
  delete static_cast<quorle::explore::AflMutator*>(mutator);
}
}
