#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "handlers/deviate/call.h"

namespace quorle::deviate {

class OwnVolume;

/// One way to misbehave that no test of the catalogue notices, since none makes the calls that would show
/// it. Rules say too little here: a function is called in place of the handler, and `volume` remembers
/// files, scans and objects for it.
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
/// Scans of directories, and notification.
std::vector<HiddenDeviation> HiddenInScans();
/// Dates, what the volume says of itself, and what is left of it after a remount.
std::vector<HiddenDeviation> HiddenInVolumes();

}  // namespace quorle::deviate
