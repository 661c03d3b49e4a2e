#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <unordered_map>

#include "hosted/dos/handle_table.h"
#include "platform/dos.h"
#include "platform/exec.h"
#include "platform/further_dos.h"
#include "platform/utility.h"

namespace quorle {

struct HostedExecSettings {
  std::uint16_t dos_version = 53;  ///< what dos.library reports itself as
  std::uint16_t dos_revision = 113;
  bool workbench =
      false;  ///< started from the desktop, with a start-up message, and not from a shell
};

/// What a program has taken from exec and not given back. Releases of something that was not taken
/// are counted apart and otherwise ignored.
struct ExecBalance {
  std::size_t allocations = 0;
  std::int32_t libraries = 0;
  std::int32_t interfaces = 0;
  std::size_t messages = 0;
  std::size_t wrong_releases = 0;

  friend bool operator==(const ExecBalance&, const ExecBalance&) = default;
};

/// exec.library on Linux, as far as one process needs it.
class HostedExec final : public ExecInterface {
 public:
  /// All references must outlive this, and `further`, which null leaves out.
  HostedExec(HandleNumbers& numbers, DosInterface& dos, UtilityInterface& utility,
             const HostedExecSettings& settings, FurtherDosInterface* further = nullptr);
  HostedExec(const HostedExec&) = delete;
  HostedExec& operator=(const HostedExec&) = delete;

  ExecBalance Balance() const;

  const Process* FindTask(const char* name) override;
  void WaitPort(PortHandle port) override;
  MessageHandle GetMsg(PortHandle port) override;
  void ReplyMsg(MessageHandle message) override;
  void* AllocVecTags(std::uint32_t bytes) override;
  void FreeVec(void* memory) override;
  void CopyMem(const void* source, void* destination, std::uint32_t bytes) override;
  const Library* OpenLibrary(const char* name, std::uint32_t version) override;
  void CloseLibrary(const Library* library) override;
  Interface* GetInterface(const Library* library, const char* name, std::uint32_t version) override;
  void DropInterface(Interface* interface) override;

 private:
  struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
  };

  Interface* InterfaceOf(const Library* library);

  DosInterface& dos_;
  UtilityInterface& utility_;
  FurtherDosInterface* further_;
  Library dos_library_;
  Library utility_library_;
  Process process_;
  MessageHandle startup_message_;  ///< none for a start from a shell
  bool message_waits_;
  bool message_taken_ = false;
  std::unordered_map<void*, std::unique_ptr<void, FreeMemory>> memory_;
  std::int32_t libraries_ = 0;
  std::int32_t interfaces_ = 0;
  std::size_t wrong_releases_ = 0;
};

}  // namespace quorle
