#pragma once

#include <string_view>

#include "platform/dos.h"
#include "platform/intercepting.h"

namespace quorle {

/// Remembers two things which the console does not show: which call the filesystem did not know, and
/// whether the run was broken off.
class CallWatch final : public CallHook {
 public:
  /// `dos` is the platform below the interception.
  explicit CallWatch(DosInterface& dos) : dos_(dos) {}

  void Around(const Call& call, MakeCall make) override;

  /// The call whose 209 the program found first when it looked at its error code, "MakeLink", since
  /// the last ForgetUnknown(); empty when it found none.
  std::string_view unknown() const { return unknown_; }
  void ForgetUnknown() { unknown_ = {}; }
  /// Whether the program has seen a break signal.
  bool broken() const { return broken_; }

 private:
  DosInterface& dos_;
  std::string_view last_;     ///< the last call that failed with 209
  std::string_view unknown_;  ///< the same at the time when the code was first looked at
  bool broken_ = false;
};

}  // namespace quorle
