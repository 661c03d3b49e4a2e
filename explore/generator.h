#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "explore/call.h"
#include "explore/choices.h"
#include "explore/names.h"
#include "explore/shares.h"
#include "explore/side.h"
#include "explore/traits.h"

namespace quorle::explore {

/// How much one call moves at most. An engine keeps what takes long, since that reaches every line so often, and
/// would spend most of its time with it.
enum class Amounts : std::uint8_t {
  kAll,    ///< up to 8 MiB, and 5000 files
  kSmall,  ///< 65537 bytes, and 20 files
};

/// Makes calls of choices. The same choices since Begin(), on a reference that holds the same objects, give the same calls;
/// lower choices give plainer ones: names and lengths that are short, objects with low numbers, usual modes.
/// ChoiceUse says which choice decides what.
class Generator {
 public:
  /// `traits`, of the device, must outlive this and stay as they are: what it cannot do is not drawn. With
  /// `whole_volume` false the sequence works in a directory that is not the root: nothing that is drawn
  /// leads above that, or concerns the volume as such.
  explicit Generator(const Traits& traits, bool whole_volume = true,
                     Amounts amounts = Amounts::kAll);

  /// A sequence begins.
  void Begin() { recent_count_ = 0; }
  /// Makes `call` of the first kChoicesPerCall of `choices`. Objects are taken among those that
  /// `reference` holds, 0 where it holds none; the object that comes back gets the lowest free number, 0
  /// where none is free. `reference` may be asked what an object is.
  void Next(std::span<const Choice> choices, Side& reference, Call& call);
  /// What the last call can be drawn from as well, whatever the calls before it: a name that came again is
  /// said outright, where a choice stands for it.
  const std::array<Choice, kChoicesPerCall>& outright() const { return outright_; }

 private:
  class HeldObjects;

  Operation DrawOperation(std::span<const Choice> choices, HeldObjects& held) const;
  bool IsOutOfReach(const Call& call, std::uint8_t lock, Side& reference) const;
  void DrawArguments(std::span<const Choice> choices, Side& reference, HeldObjects& held,
                     Call& call);
  /// One of the names that the last calls had: what goes wrong does so in calls on the same object.
  bool DrawRecent(Choice choice, bool may_be_root, std::string& name) const;
  void Remember(const std::string& name);
  std::int64_t DrawFor(const Call& call, std::size_t place, Choice choice) const;

  const Traits& traits_;
  bool whole_volume_;
  Amounts amounts_;
  NameRules rules_;
  Shares<kOperations> operations_;
  std::array<Argument, kOperations> first_objects_;  ///< of each operation the kind that it needs
  std::array<std::string, 4> recent_;  ///< a ring; the last one was put at recent_count_ - 1
  std::size_t recent_count_ = 0;
  std::array<Choice, kChoicesPerCall> outright_{};
};

}  // namespace quorle::explore
