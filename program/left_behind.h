#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/dos.h"
#include "platform/exec.h"
#include "platform/forwarding.h"

namespace quorle {

/// A layer over the platform that passes every call on and notices objects of which the tester does
/// not say that they are left behind. It deletes each scratch object and then asks for a lock on it:
/// no lock, no object. A lock that cannot be had for another reason looks just the same to it.
class LeftBehind {
 public:
  /// Over `exec` and `dos`, the interface that it gives for dos.library. Neither is owned.
  LeftBehind(ExecInterface& exec, DosInterface& dos) : dos_(dos), exec_(exec, dos_) {}

  /// What the tester is started with, and the interface that it gets from there.
  ExecInterface& exec() { return exec_; }
  DosInterface& dos() { return dos_; }

  /// One line, without a line break, for each object since the last time that was deleted, could
  /// then not be locked with another code than 205 (or 218, of a handler that has ended), and cannot
  /// be seen to be gone now. Asks the filesystem again, of these alone; IoErr() stays as it is.
  std::vector<std::string> TakeLines() { return dos_.TakeLines(); }

 private:
  class WatchedDos final : public ForwardingDos {
   public:
    explicit WatchedDos(DosInterface& inner) : ForwardingDos(inner) {}

    DosInterface& real() const { return inner(); }
    LockHandle Lock(const char* name, std::int32_t mode) override;
    bool Delete(const char* name) override;
    std::vector<std::string> TakeLines();

   private:
    bool IsGone(const std::string& name);

    std::string deleted_;                          ///< the last name that was
    std::map<std::string, std::int32_t> unknown_;  ///< names that may be there, and the code
  };

  class WatchedExec final : public ForwardingExec {
   public:
    WatchedExec(ExecInterface& inner, WatchedDos& dos) : ForwardingExec(inner), dos_(dos) {}

    Interface* GetInterface(const Library* library, const char* name,
                            std::uint32_t version) override;
    void DropInterface(Interface* interface) override;

   private:
    WatchedDos& dos_;
  };

  WatchedDos dos_;
  WatchedExec exec_;
};

}  // namespace quorle
