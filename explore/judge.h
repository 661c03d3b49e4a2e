#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "explore/comparison.h"
#include "explore/difference.h"
#include "explore/outcome.h"
#include "explore/scan_watch.h"
#include "explore/side.h"
#include "explore/trial.h"

namespace quorle::explore {

/// Says whether what came of a call is as it should be, by what the reference did, and names what is not.
/// Differences have no calls here: those are whose sequence it is.
class Judge {
 public:
  /// All references must outlive this.
  Judge(const Traits& traits, Side& reference, Side& device, DeviceControl& control,
        Comparison& comparison);

  /// A sequence begins, or is over.
  void Begin();
  /// Judges `call`, made on both sides. With `look` what it named is looked at: what a call that changes
  /// something made of it, and that a refused one changed nothing.
  std::optional<Difference> AfterCall(const Call& call, const Outcome& reference,
                                      const Outcome& device, bool look);
  /// Whether the device had no room for the last call, which the reference made: from here on they are not alike,
  /// and need not be.
  bool is_full() const { return is_full_; }
  /// The handler ended while `what` was done, an operation's id or a rule.
  static Difference OfEnd(const std::string& what, const std::string& how);
  /// Names what is unlike in two trees. `before`, an operation's id, is what was called last; empty: the
  /// rule says enough.
  static Difference OfTrees(const std::string& rule, const std::string& before,
                            const Unlike& unlike);

  /// What is no failure, by its id, each as it was first seen.
  const std::map<std::string, Difference>& notes() const { return notes_; }

 private:
  /// Whether the device refuses to examine what is held, as its traits say.
  bool IsHeldFromLooks(const Call& call, const Outcome& device) const;
  /// Whether the device has too little room for the call: not as many blocks as it can need, and some more.
  bool LacksRoom();
  void CompareCodes();
  void CompareResults();
  void CompareAttribute();
  std::string FirstOtherByte() const;
  void LookAfter();
  void LookAtName(std::size_t name);
  void LookAtObject(Argument kind, std::uint8_t number);
  /// What both sides say of one object; null with a code where they refuse.
  struct Seen {
    const ExamineData* reference = nullptr;
    const ExamineData* device = nullptr;
    std::int32_t reference_code = 0;
    std::int32_t device_code = 0;
  };
  std::optional<Unlike> CompareSeen(const Seen& seen);
  /// `role` is what was looked at is to the call, `look` how.
  void ReportLook(const std::string& role, const Unlike& unlike, const std::string& look);
  /// `outcome` is what the id says behind the operation.
  void Report(const std::string& rule, const std::string& outcome, const std::string& what,
              const std::string& detail = {});
  void ReportValue();
  /// What was found is no failure: `why` says the reason.
  void MakeNote(const std::string& why);

  const Traits& traits_;
  Side& reference_side_;
  Side& device_side_;
  DeviceControl& control_;
  Comparison& comparison_;
  ScanWatch scans_;
  std::map<std::string, Difference> notes_;
  std::map<std::int64_t, std::int64_t> attributes_;  ///< of the device, by tag

  // Of the call that is judged.
  const Call* call_ = nullptr;
  const OperationRow* row_ = nullptr;
  const Outcome* reference_ = nullptr;
  const Outcome* device_ = nullptr;
  std::optional<Difference> found_;
  bool is_full_ = false;
};

}  // namespace quorle::explore
