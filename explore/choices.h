#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quorle::explore {

/// What one call is drawn from: so many numbers, used or not. That each call has as many is what lets a
/// sequence be cut and joined between any two calls.
inline constexpr std::size_t kChoicesPerCall = 8;

/// What each of them decides, where the operation has such an argument; the others are not looked at.
enum ChoiceUse : std::uint8_t {
  kOperationChoice,     ///< which operation
  kObjectChoice,        ///< which of the objects that are held
  kNameChoice,          ///< the first name
  kSecondChoice,        ///< the second name or object, a comment, a target
  kNumberChoice,        ///< the first count, position, mask, id, tag or truth; the day of a date
  kSecondNumberChoice,  ///< the second one; the pattern of data; the minute of a date
  kModeChoice,         ///< a MODE_..., ..._LOCK, OFFSET_..., REC_... or NRF_...; the tick of a date
  kThirdNumberChoice,  ///< the third count, position or id
};

/// One number: 0 stands for the plainest of what there is to choose, and larger ones for less plain ones.
using Choice = std::uint16_t;

/// A flat sequence of choices, kChoicesPerCall for each call: from a seed, from a file, from an engine that
/// watches which lines of the handler were reached, or what the shrinker has made of one of those.
using Choices = std::vector<Choice>;

/// The choices of the seed `seed` for `calls` calls: the same ones at all times and on every machine.
Choices DrawChoices(std::uint64_t seed, std::size_t calls);

/// The choices in `bytes`, two bytes each, the lower one first; a call that is not whole is left out.
Choices ReadChoices(std::span<const std::uint8_t> bytes);

/// The bytes of `choices`, from which ReadChoices() makes them again. `bytes` has room for two each.
void WriteChoices(std::span<const Choice> choices, std::uint8_t* bytes);

}  // namespace quorle::explore
