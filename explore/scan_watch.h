#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "explore/call.h"
#include "explore/comparison.h"
#include "explore/outcome.h"
#include "explore/side.h"

namespace quorle::explore {

/// Judges scans that are made step by step. In which order a directory is scanned is the filesystem's, and it
/// may look far ahead, so a step is not compared with the same step on the reference: each entry must come
/// once, as it is unless something changed meanwhile, and all that were there all the time must have come
/// when the scan ends.
class ScanWatch {
 public:
  /// The references must outlive this.
  ScanWatch(Side& reference, Comparison& comparison);
  ~ScanWatch() { Begin(); }
  ScanWatch(const ScanWatch&) = delete;
  ScanWatch& operator=(const ScanWatch&) = delete;

  /// A sequence begins, or is over: what is held for scans goes back.
  void Begin();
  /// After each call: scans begin and end, and directories change.
  void Follow(const Call& call, const Outcome& reference);
  /// Whether the call is a step of a scan that is judged here.
  bool Knows(const Call& call) const;
  /// Judges a step.
  std::optional<Unlike> Step(const Call& call, const Outcome& device);

 private:
  struct Scan {
    LockHandle directory;                           ///< on the reference
    std::map<std::string, std::uint64_t> at_first;  ///< the objects' numbers by their names
    std::set<std::pair<std::string, std::uint64_t>> given;
    bool changed = false;  ///< something, since the scan began
  };

  /// An object that got another name, `name`, may come under either, both or none.
  void ExcuseRenamed(const std::string& name);
  void Watch(std::uint8_t number, LockHandle directory);
  void Forget(std::uint8_t number);
  std::optional<Unlike> Entry(Scan& scan, const ExamineData& device);
  std::optional<Unlike> End(const Scan& scan);
  /// The reference's record of `name` in the scanned directory; null when it is not there.
  const ExamineData* Look(const Scan& scan, const std::string& name);

  Side& reference_;
  Comparison& comparison_;
  std::array<std::optional<Scan>, kMostObjects + 1> scans_;
};

}  // namespace quorle::explore
