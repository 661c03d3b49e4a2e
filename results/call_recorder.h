#pragma once

#include "platform/dos.h"
#include "platform/intercepting.h"
#include "results/run_recorder.h"

namespace quorle {

/// Feeds a recorder with the calls of the tester.
class CallRecorder final : public CallHook {
 public:
  /// `dos` is the platform below the interception. Both must outlive this.
  CallRecorder(DosInterface& dos, RunRecorder& recorder) : dos_(dos), recorder_(recorder) {}

  void Around(const Call& call, MakeCall make) override;

 private:
  DosInterface& dos_;
  RunRecorder& recorder_;
};

}  // namespace quorle
