#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "hosted/calls/call_gate.h"
#include "hosted/calls/handler_program.h"
#include "hosted/calls/run_watch.h"
#include "hosted/isolation/handler_link.h"
#include "hosted/isolation/host_calls.h"
#include "hosted/isolation/remote_vectors.h"

namespace quorle::isolation {

/// How a handler process is dealt with.
struct IsolationSettings {
  std::chrono::seconds limit{10};  ///< of one call
  bool restart = false;            ///< whether another process is made for the next test
  CallGate* gate = nullptr;        ///< what the calls come through; may be null
  bool traces = true;              ///< whether the stack of the process is the handler's
};

/// A handler in a process of its own. A crash, an exit, a call without an end or a reply that
/// cannot be one ends that process; one line of the watch reports it, and every call after it fails
/// with ERROR_DEVICE_NOT_MOUNTED.
///
/// With `restart` the next test begins with another process, as if the handler were mounted once
/// more. Locks on the root are taken again there, so that the run keeps its current directory; all
/// other locks and open files are dead, and calls with them fail with ERROR_DEVICE_NOT_MOUNTED.
/// Requests for notification are added again, without NRF_NOTIFY_INITIAL; one that the handler refuses
/// then is never notified of again. The volume is what the handler finds: empty when it keeps files in
/// memory. The same goes for a handler that is mounted again: it gets a process of its own each time,
/// which has no HandlerMount::Medium.
class IsolatedProgram final : public HandlerProgram, private VectorCalls {
 public:
  /// `program` is mounted in the process alone. `watch` must outlive this.
  IsolatedProgram(std::unique_ptr<HandlerProgram> program, IsolationSettings settings,
                  RunWatch& watch);

  ::FileSystemVectorPort* Mount(const ::HandlerMount& mount, HostServices& services,
                                std::string& problem) override;
  void Unmount(::FileSystemVectorPort& port) override;
  Life life() const override;
  bool IsElsewhere() const override { return true; }
  bool TakesPackets() const override { return takes_packets_; }
  bool Packet(::FileSystemVectorPort& port, ::DosPacket& packet) override;
  std::vector<std::string> Complaints() const override { return complaints_; }

 private:
  bool Launch(std::string& problem);
  bool TakeMountAnswer(std::string& problem);
  void TakeUnmountAnswer();
  /// Whether there is a process to call; makes another one when it is time to.
  bool Ready();
  void Restart();
  void LockRootsAgain();
  void AddRequestsAgain();
  ::Lock* LockRoot();
  /// Notes and reports the end of the process: `how` in `where`.
  void End(const std::string& how, const std::string& where);

  calls::Outcome CallVector(std::size_t index, std::span<const std::int64_t> words) override;
  calls::Outcome CallPacket(const ::DosPacket& packet);
  calls::Outcome Perform(const HostCall& call);
  calls::Outcome PerformOnce(const HostCall& call);
  /// Removes the volume's name when the handler did. One that dos read from the root stays.
  void FollowVolume(bool has_name);

  std::unique_ptr<HandlerProgram> program_;
  IsolationSettings settings_;
  RunWatch& watch_;
  ::HandlerMount mount_{};
  HostServices* services_ = nullptr;
  std::unique_ptr<HandlerLink> link_;
  std::unique_ptr<HostCalls> calls_;
  ::FileSystemVectorPort* port_ = nullptr;
  std::string functions_;  ///< which the handler has: '1' or '0' for each
  bool takes_packets_ = false;
  bool named_its_volume_ = false;
  bool may_restart_ = false;
  int ended_in_ = 0;  ///< RunWatch::begun() when the process ended
  std::vector<std::string> complaints_;
};

}  // namespace quorle::isolation
