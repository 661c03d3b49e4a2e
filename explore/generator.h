#pragma once

#include <cstdint>
#include <span>

#include "explore/call.h"
#include "explore/choices.h"
#include "explore/side.h"
#include "explore/traits.h"

namespace quorle::explore {

/// Makes calls of choices. The same choices on a reference that holds the same objects give the same call;
/// lower choices give plainer ones: names and lengths that are short, objects with low numbers, usual modes.
class Generator {
 public:
  /// `traits`, of the device, must outlive this: what it cannot do is not drawn.
  explicit Generator(const Traits& traits);

  /// Makes `call` of the first kChoicesPerCall of `choices`. Objects are taken among those that
  /// `reference` holds, 0 where it holds none; the object that comes back gets the lowest free number, 0
  /// where none is free.
  void Next(std::span<const Choice> choices, const Side& reference, Call& call) const;

 private:
  const Traits& traits_;
};

}  // namespace quorle::explore
