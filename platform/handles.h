#pragma once

#include <cstdint>

namespace quorle {

/// Something that the platform hands out and takes back: a lock, an open file, a port. The value
/// means nothing to the tester; zero is "none" and converts to false. Copying a handle copies the
/// reference, not the object, and nothing is released when one goes out of scope: releases are
/// calls that the tests make themselves, in a given order, with "none" too.
template <class Kind>
struct Handle {
  std::uintptr_t value = 0;

  constexpr explicit operator bool() const { return value != 0; }
  friend constexpr bool operator==(Handle, Handle) = default;
};

/// A lock on an object, from `Lock()` and its relatives. Given back with `UnLock()`.
using LockHandle = Handle<struct LockKind>;
/// An open file, from `Open()` or `OpenFromLock()`. Given back with `Close()`.
using FileHandle = Handle<struct FileKind>;
/// A message port; the port of a handler says which filesystem an object belongs to. Never given back.
using PortHandle = Handle<struct PortKind>;
/// A message: that of a desktop start, given back with `ReplyMsg()`, or of a change, given back with
/// `ReplyNotifyMsg()`.
using MessageHandle = Handle<struct MessageKind>;
/// A scan of a directory, from `ObtainDirContext()`. Given back with `ReleaseDirContext()`.
using DirContextHandle = Handle<struct DirContextKind>;
/// A request for notification, from `StartNotify()`. Given back with `EndNotify()`.
using NotifyHandle = Handle<struct NotifyKind>;
/// What `ReadArgs()` allocated for its results. Given back with `FreeArgs()`.
using RdArgsHandle = Handle<struct RdArgsKind>;

}  // namespace quorle
