#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/dos.h"
#include "platform/intercepting.h"

namespace quorle {

/// An object that may still be there.
struct LeftObject {
  std::string name;
  std::int32_t code = 0;  ///< why it could not be locked

  /// One line, without a line break, that says so.
  std::string Line() const;
};

/// Notices objects of which the tester does not say that they are left behind. It deletes each scratch
/// object and then asks for a lock on it: no lock, no object. A lock that cannot be had for another
/// reason looks just the same to it.
class LeftBehind final : public CallHook {
 public:
  /// `dos` is the platform below the interception.
  explicit LeftBehind(DosInterface& dos) : dos_(dos) {}

  void Around(const Call& call, MakeCall make) override;

  /// The objects that were deleted since the last time, could then not be locked with another code than
  /// 205 (or 218, of a handler that has ended), and cannot be seen to be gone now. Asks the filesystem
  /// again, of these alone; IoErr() stays as it is.
  std::vector<LeftObject> Take();

 private:
  bool IsGone(const std::string& name);

  DosInterface& dos_;
  std::string deleted_;                          ///< the last name that was
  std::map<std::string, std::int32_t> unknown_;  ///< names that may be there, and the code
};

}  // namespace quorle
