#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "platform/dos.h"
#include "platform/exec.h"
#include "platform/further_dos.h"
#include "platform/intercepting.h"
#include "selftest/support/fault_rules.h"

namespace quorle::selftest {

/// Makes single calls misbehave as rules say (fault_rules.h). All other calls go through, so that a
/// sub-test that fails runs over a real volume.
///
/// Another object, which a call that is only said to have succeeded gives, is for a lock the root of
/// the current volume, for a file the one that the constructor names. Fields of a rule name one with
/// lock=root, lock=RAM:, lock=file, file=other. An entry of a scan that is only said to be there is a
/// file "?", a scan or a request for notification that of the root, a message is of no request.
class FaultInjector final : public CallHook {
 public:
  /// `exec` and `dos` are the platform below the interception; `other_file` is made where it is
  /// opened and not there. All but the text must outlive this.
  /// `further` is the second interface, null where there is none.
  FaultInjector(ExecInterface& exec, DosInterface& dos, FaultSource& source, std::string other_file,
                FurtherDosInterface* further = nullptr)
      : exec_(exec),
        dos_(dos),
        source_(source),
        other_file_(std::move(other_file)),
        further_(further) {}

  void Around(const Call& call, MakeCall make) override;

  /// Releases what dropped calls did not.
  void Settle();

 private:
  /// A record that a rule changed: the copy that the tester sees, and the real one behind it.
  struct ChangedRecord {
    ExamineData copy;
    const ExamineData* real;
    std::string texts[3];
  };
  struct ChangedLibrary {
    Library copy;
    const Library* real;
  };
  class Change;

  bool IsOfChanged(const Call& call);
  void Misbehave(const Call& call, const FaultRule& rule, MakeCall make);
  void Fail(const Call& call, const FaultRule& rule);
  void Drop(const Call& call);
  void Claim(const Call& call, const FaultRule& rule);
  void Return(const Call& call, const FaultRule& rule);
  void Scribble();
  void ReleaseGiven(const Call& call);
  void SetCode(const Call& call, const FaultRule& rule);
  LockHandle OtherLock(const FaultRule& rule);
  FileHandle OtherFile();

  ExecInterface& exec_;
  DosInterface& dos_;
  FaultSource& source_;
  std::string other_file_;
  FurtherDosInterface* further_;
  ExamineData claimed_entry_{FSO_TYPE_FILE, 0, {}, 1, 1, "?", "", "", 0, 0, 0};
  std::vector<DirContextHandle> dropped_scans_;
  std::vector<NotifyHandle> dropped_requests_;
  Memory last_memory_{};  ///< where a scribble goes
  std::uint32_t last_bytes_ = 0;
  std::unordered_map<const ExamineData*, std::unique_ptr<ChangedRecord>> records_;
  std::vector<std::unique_ptr<ChangedLibrary>> libraries_;
  Process process_{};
  std::int32_t numbers_[8] = {};  ///< of argument words
  std::vector<LockHandle> dropped_locks_;
  std::vector<FileHandle> dropped_files_;
};

}  // namespace quorle::selftest
