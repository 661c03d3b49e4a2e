#pragma once

#include "hosted/calls/handler_port.h"

namespace quorle {

/// Learns what a program does to objects through dos.
class DosListener {
 public:
  /// The object `name` in `directory` (null: the root; "" is the directory itself) was made, deleted,
  /// renamed from or to this name, or one of its attributes was set.
  virtual void OnChange(HandlerPort& port, ::Lock* directory, const char* name) = 0;
  /// `file` is about to be closed; `is_changed`: it was written, or its size was set, or it is new.
  virtual void OnClosing(HandlerPort& port, ::FileHandle& file, bool is_changed) = 0;
  /// The handler of `port` is about to be unmounted for now: what is open there goes.
  virtual void OnUnmount(HandlerPort& port) = 0;

 protected:
  ~DosListener() = default;
};

}  // namespace quorle
