#pragma once

#include <cstdint>

#include "native/interfaces.h"
#include "native/native_dos.h"
#include "native/native_utility.h"
#include "platform/exec.h"

namespace quorle::native {

/// exec.library of the platform itself.
class NativeExec final : public ExecInterface {
 public:
  /// `exec` must outlive this.
  explicit NativeExec(ExecMain& exec) : exec_(exec) {}
  NativeExec(const NativeExec&) = delete;
  NativeExec& operator=(const NativeExec&) = delete;

  const quorle::Process* FindTask(const char* name) override;
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
  ExecMain& exec_;
  quorle::Process process_{};
  NativeDos dos_;
  NativeUtility utility_;
  const Library* dos_library_ = nullptr;
};

}  // namespace quorle::native
