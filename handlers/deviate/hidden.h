#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "handlers/deviate/call.h"

namespace quorle::deviate {

class OwnVolume;

/// One way to misbehave that no test of the standard catalogue notices, since none makes the calls that would
/// show it. Rules say too little here: a function is called in place of the handler, and `volume` remembers
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

/// Those that a search finds, as each has its shortest sequence of calls. The texts live as long as the
/// program.
std::vector<HiddenDeviation> HiddenDeviations();

/// Those that are there for checks of the further catalogue alone (further_notices.h).
std::vector<HiddenDeviation> FurtherDeviations();

/// The one of that name among both, or none.
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

// What FurtherDeviations() is made of.

/// What is written and read, positions and records.
std::vector<HiddenDeviation> FurtherInData();
/// Names, dates, renaming, soft links.
std::vector<HiddenDeviation> FurtherInNames();
/// How objects compare, notification, refusals and wrong arguments.
std::vector<HiddenDeviation> FurtherInObjects();
/// Scans of directories.
std::vector<HiddenDeviation> FurtherInScans();
/// What is asked of the volume, and done to all of it.
std::vector<HiddenDeviation> FurtherInVolumes();

}  // namespace quorle::deviate
