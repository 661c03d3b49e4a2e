#pragma once

#include "hosted/calls/handler_port.h"

namespace quorle {

/// Learns what a program does to objects through dos.
class DosListener {
 public:
  /// An object as dos names it to a handler: `name` in `directory` (null: the root; "" is the directory
  /// itself).
  struct ObjectName {
    ::Lock* directory;
    const char* name;
  };

  /// `object` was made or deleted.
  virtual void OnEntry(HandlerPort& port, const ObjectName& object) = 0;
  /// An object that was called `from` is called `to`.
  virtual void OnRename(HandlerPort& port, const ObjectName& from, const ObjectName& to) = 0;
  /// An attribute of `object` was set.
  virtual void OnAttribute(HandlerPort& port, const ObjectName& object) = 0;
  /// `object` is about to be opened in a mode that makes it when it is missing. Returns whether it is:
  /// OnEntry() follows once it is open. False as well when nobody needs to know.
  virtual bool IsMissing(HandlerPort& port, const ObjectName& object) = 0;
  /// `file` is about to be closed; `is_changed`: it was written, emptied, or its size was set, whether or
  /// not its bytes differ; or it is new and IsMissing() returned false.
  virtual void OnClosing(HandlerPort& port, ::FileHandle& file, bool is_changed) = 0;
  /// The handler of `port` is about to be unmounted for now: what is open there goes.
  virtual void OnUnmount(HandlerPort& port) = 0;

 protected:
  ~DosListener() = default;
};

}  // namespace quorle
