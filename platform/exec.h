#pragma once

#include <cstdint>

#include "platform/handles.h"
#include "platform/records.h"

namespace quorle {

/// What `GetInterface()` gives: the "main" interface of a library. Its real type follows from the
/// library that was asked: DosInterface for "dos.library", UtilityInterface for "utility.library".
class Interface {
 protected:
  ~Interface() = default;
};

/// exec.library: the own process, messages, memory, libraries.
class ExecInterface {
 public:
  // ---- Process and messages ------------------------------------------------------------------

  /// The own process; `name` is always null. Never fails; the record lives as long as the process.
  virtual const Process* FindTask(const char* name) = 0;
  /// Returns once a message has arrived at `port`, the own process's.
  virtual void WaitPort(PortHandle port) = 0;
  /// The next message of `port`, or none.
  virtual MessageHandle GetMsg(PortHandle port) = 0;
  /// Gives `message` back to its sender.
  virtual void ReplyMsg(MessageHandle message) = 0;

  // ---- Memory --------------------------------------------------------------------------------

  /// `bytes` bytes of shared memory, zero-filled and aligned for any record, or null.
  virtual void* AllocVecTags(std::uint32_t bytes) = 0;
  /// Frees what `AllocVecTags()` gave; null is allowed.
  virtual void FreeVec(void* memory) = 0;
  /// Copies `bytes` bytes; the two places must not overlap.
  virtual void CopyMem(const void* source, void* destination, std::uint32_t bytes) = 0;

  // ---- Libraries -----------------------------------------------------------------------------

  /// The library `name` in at least `version`, or null.
  virtual const Library* OpenLibrary(const char* name, std::uint32_t version) = 0;
  virtual void CloseLibrary(const Library* library) = 0;
  /// The interface `name` ("main") of `library`, or null.
  virtual Interface* GetInterface(const Library* library, const char* name,
                                  std::uint32_t version) = 0;
  virtual void DropInterface(Interface* interface) = 0;

 protected:
  ~ExecInterface() = default;
};

}  // namespace quorle
