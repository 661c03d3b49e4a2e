#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "handlers/deviate/call.h"

namespace quorle::deviate {

class OwnVolume;

/// One way to misbehave that no test of the catalogue notices, since it never makes the calls that would
/// show it. A function says what is done in place of a call, and `volume` remembers what it needs: what
/// these deviations have in common is less than what rules could say.
struct HiddenDeviation {
  std::string_view name;
  std::string_view does;  ///< what the filesystem does wrong, a sentence without its subject
  /// Takes each call in place of the handler and fills what comes of it. Null: the handler has it.
  void (*act)(Call& call, OwnVolume& volume) = nullptr;
  /// What is done to the volume before it is unmounted; no lock or file is open any more. May be null.
  void (*at_end)(OwnVolume& volume) = nullptr;
  /// Whether the volume can be mounted; null: always.
  bool (*can_mount)(OwnVolume& volume) = nullptr;
};

/// All of them. The texts live as long as the program.
std::vector<HiddenDeviation> HiddenDeviations();

/// The one of that name, or none.
std::optional<HiddenDeviation> FindHiddenDeviation(std::string_view name);

// What HiddenDeviations() is made of, a file each.

/// What is written and read.
std::vector<HiddenDeviation> HiddenInData();
/// A second handle or name of the same object.
std::vector<HiddenDeviation> HiddenInLinks();
/// Names, and objects that get another.
std::vector<HiddenDeviation> HiddenInNames();
/// Calls that are refused and change something.
std::vector<HiddenDeviation> HiddenInRefusals();
/// Scans, notification, dates, what the volume says of itself and what is left of it after a remount.
std::vector<HiddenDeviation> HiddenInScans();
std::vector<HiddenDeviation> HiddenInVolumes();

}  // namespace quorle::deviate
