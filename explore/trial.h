#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "explore/difference.h"
#include "explore/generator.h"
#include "explore/search_clock.h"
#include "explore/side.h"
#include "explore/traits.h"

namespace quorle::explore {

/// Gets each call of a sequence, made on both sides.
class CallObserver {
 public:
  virtual void OnCall(const Call& call, const Outcome& reference, const Outcome& device) = 0;

 protected:
  ~CallObserver() = default;
};

/// What a device can have done to it beside calls.
class DeviceControl {
 public:
  /// A sequence begins: a handler that has ended may be started again.
  virtual void BeginSequence() {}
  /// How the handler ended since BeginSequence(): "ended by signal 11 (SIGSEGV) in FSRename()"; empty while
  /// it lives. What took too long has ended, too.
  virtual std::string HowItEnded() { return {}; }
  /// Whether no further call is to be made: the sequence ends, and what it made is deleted.
  virtual bool IsOver() { return false; }
  /// Unmounts the device, on which nothing is held, and mounts it again, with a command's turn meanwhile
  /// where one is wanted. Returns what went wrong; empty: nothing.
  virtual std::string Remount() { return {}; }

 protected:
  ~DeviceControl() = default;
};

/// How sequences are run.
struct TrialSettings {
  bool remount = false;  ///< at the end of each sequence
  std::size_t calls_between_walks =
      50;                 ///< the whole tree is compared as often; 0: at the end alone
  std::string directory;  ///< in which both sides work; empty: the root
  Amounts amounts = Amounts::kAll;
};

/// When the whole tree is compared, beside the end of the sequence.
enum class Walks : std::uint8_t {
  kUsual,   ///< now and then, as the settings say
  kAtLast,  ///< after the last call, before what is held is given back
  kEach,    ///< after each call
};
/// How one sequence is run.
struct Manner {
  Walks walks = Walks::kUsual;
  /// The calls of a difference have what came of them; without, which is faster, nothing but themselves.
  bool texts = false;
  /// The device is mounted again first, so that nothing but the calls decides.
  bool fresh = false;
};

/// Runs sequences of calls on the reference and on the device under test, one call on each in turn, and
/// compares after every one. Both volumes are empty (as far as they are worked in) before and after each
/// sequence.
class Trial {
 public:
  struct Parts {
    Side& reference;
    Side& device;
    SearchClock& clock;  ///< which dos of both goes by
    DeviceControl& control;
    const Traits& traits;
    CallObserver* observer = nullptr;
  };
  Trial(const Parts& parts, TrialSettings settings);
  ~Trial();
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  /// Runs the sequence that `choices` make. The first difference ends it.
  std::optional<Difference> Run(std::span<const Choice> choices, const Manner& manner = {});
  /// The same of calls that are there.
  std::optional<Difference> Run(std::span<const Call> calls, const Manner& manner = {});

  /// Others use the disk that the device is on: how many blocks are used says nothing from now on.
  void IgnoreBlocks();

  /// What the calls of the last run with choices can be drawn from as well: see Generator::outright().
  const Choices& outright() const;
  /// The calls that the last run made, with what came of them if its manner says so; valid until the next
  /// run.
  std::span<const ShownCall> shown() const;
  /// How many calls were made on each side since this was made.
  std::uint64_t calls_made() const;
  /// Differences that end no sequence and are no failures, by their ids, each as it was first seen.
  const std::map<std::string, Difference>& notes() const;
  /// The directory of the device that is worked in now: another one than that of the settings when
  /// something in that one could not be deleted. Empty: the root.
  const std::string& directory() const;
  /// False when so many directories could not be emptied that a search had better end.
  bool has_room() const;

 private:
  class Sequence;
  std::unique_ptr<Sequence> sequence_;
};

}  // namespace quorle::explore
