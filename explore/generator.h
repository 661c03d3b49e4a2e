#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "explore/call.h"
#include "explore/choices.h"
#include "explore/names.h"
#include "explore/shares.h"
#include "explore/side.h"
#include "explore/traits.h"

namespace quorle::explore {

/// Makes calls of choices. The same choices on a reference that holds the same objects give the same call;
/// lower choices give plainer ones: names and lengths that are short, objects with low numbers, usual modes.
/// ChoiceUse says which choice decides what.
class Generator {
 public:
  /// `traits`, of the device, must outlive this and stay as they are: what it cannot do is not drawn. With
  /// `whole_volume` false the sequence works in a directory that is not the root: nothing that is drawn
  /// leads above that, or concerns the volume as such.
  explicit Generator(const Traits& traits, bool whole_volume = true);

  /// Makes `call` of the first kChoicesPerCall of `choices`. Objects are taken among those that
  /// `reference` holds, 0 where it holds none; the object that comes back gets the lowest free number, 0
  /// where none is free. `reference` may be asked what an object is.
  void Next(std::span<const Choice> choices, Side& reference, Call& call) const;

 private:
  class HeldObjects;

  Operation DrawOperation(std::span<const Choice> choices, HeldObjects& held) const;
  bool IsOutOfReach(const Call& call, std::uint8_t lock, Side& reference) const;
  void DrawArguments(std::span<const Choice> choices, Side& reference, HeldObjects& held,
                     Call& call) const;
  std::int64_t DrawFor(const Call& call, std::size_t place, Choice choice) const;

  const Traits& traits_;
  bool whole_volume_;
  NameRules rules_;
  Shares<kOperations> operations_;
  std::array<Argument, kOperations> first_objects_;  ///< of each operation the kind that it needs
};

}  // namespace quorle::explore
