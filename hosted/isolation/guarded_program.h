#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "hosted/calls/handler_program.h"
#include "hosted/calls/run_watch.h"
#include "hosted/isolation/call_guard.h"
#include "hosted/isolation/remote_vectors.h"

namespace quorle::isolation {

/// A handler in this process that gets nothing of dos's to write in: what it fills is copied for it
/// between fences. When it writes over one, the call fails with 115 and the watch gets a line. Any
/// other wild write is this process's end: only IsolatedProgram survives that.
class GuardedProgram final : public HandlerProgram, private VectorCalls {
 public:
  /// `watch` must outlive this.
  GuardedProgram(std::unique_ptr<HandlerProgram> program, RunWatch& watch)
      : program_(std::move(program)), watch_(watch) {}

  ::FileSystemVectorPort* Mount(const ::HandlerMount& mount, HostServices& services,
                                std::string& problem) override;
  void Unmount(::FileSystemVectorPort& port) override;
  void Discard(void* medium) override { program_->Discard(medium); }
  bool TakesPackets() const override { return program_->TakesPackets(); }
  bool Packet(::FileSystemVectorPort& port, ::DosPacket& packet) override;
  std::vector<std::string> Complaints() const override { return program_->Complaints(); }

 private:
  calls::Outcome CallVector(std::size_t index, std::span<const std::int64_t> words) override;
  void Report(Breach breach);

  std::unique_ptr<HandlerProgram> program_;
  RunWatch& watch_;
  HostServices* services_ = nullptr;
  std::string device_name_;
  ::FileSystemVectorPort* port_ = nullptr;
  ::FileSystemVectors table_{};  ///< the handler's own
  CallGuard guard_;
};

}  // namespace quorle::isolation
