#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "platform/dos.h"
#include "selftest/support/fault_rules.h"

namespace quorle::selftest {

/// One way in which one call misbehaves.
struct PlannedFault {
  FaultRule rule;
  std::string text;  ///< "made, but reported as failed with 205"
};

/// A call as the conforming run made it.
struct CallSite {
  std::string op;
  std::string text;                  ///< with its arguments, for messages
  std::string place;                 ///< sub-test "3", or "" outside of the sub-tests
  std::vector<PlannedFault> faults;  ///< the ways in which it can misbehave
};

/// Counts the calls of a run; one of them misbehaves.
///
/// Counted is each call that can fail, gives something, or is missed when it is not made. Not
/// counted:
///
///   Printf(), PutStr(), Delay(), WaitPort()      give nothing back
///   IoErr(), SetIoErr()                          a changed code is a fault of the call before
///   FreeDosObject(), FreeVec(), FreeArgs(),      give nothing back, and what stays held nobody
///   FreeDeviceProc(), ReplyMsg(),                misses
///   ReleaseDirContext(), EndNotify(), ReplyNotifyMsg(),
///   CloseLibrary(), DropInterface()
///   CopyMem(), utility.library                   work in the tester's own memory and cannot fail
///
/// UnLock() gives nothing back either, but a lock that stays is missed: it can be dropped.
class FaultPlan final : public FaultSource {
 public:
  /// `dos` is the platform below the faults.
  explicit FaultPlan(DosInterface& dos) : dos_(dos) {}
  FaultPlan(const FaultPlan&) = delete;
  FaultPlan& operator=(const FaultPlan&) = delete;
  ~FaultPlan() = default;

  /// Counts from 0 and notes every call and its faults; nothing misbehaves. `place` is where the run
  /// is at any time.
  void Record(const std::string& place);
  /// Counts from 0; call `number`, from 1, is `site` and misbehaves by `fault`. Both must outlive the
  /// run.
  void Inject(std::size_t number, const CallSite& site, const PlannedFault& fault);

  const FaultRule* Match(const Call& call) override;
  void OnMade(const Call& call) override;

  std::vector<CallSite> TakeSites() { return std::move(sites_); }

 private:
  DosInterface& dos_;
  const std::string* place_ = nullptr;  ///< while recording
  std::size_t count_ = 0;
  std::size_t due_ = 0;
  const CallSite* site_ = nullptr;
  const PlannedFault* fault_ = nullptr;
  std::vector<CallSite> sites_;
};

}  // namespace quorle::selftest
