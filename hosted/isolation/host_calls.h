#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "calls/call_shape.h"
#include "hosted/calls/handler_services.h"
#include "hosted/calls/run_watch.h"
#include "hosted/isolation/host_objects.h"
#include "hosted/isolation/message.h"
#include "hosted/isolation/remote_vectors.h"
#include "hosted/isolation/reply.h"

namespace quorle::isolation {

/// A call of dos on its way to a handler process. `words` are the arguments as dos gave them.
struct HostCall {
  std::int64_t kind;    ///< kVectorCall or kPacketCall
  std::int64_t number;  ///< of the function or of the packet
  calls::CallShape shape;
  std::span<const std::int64_t> words;

  /// As messages have it: "FSRename()", "ACTION_PARENT".
  std::string Name() const;
};

/// Turns calls of dos into messages and answers into what dos expects: locks, files and records of
/// this process.
class HostCalls {
 public:
  /// Both must outlive this.
  HostCalls(HostServices& services, const RunWatch& watch)
      : services_(services), objects_(services), watch_(watch) {}

  HostObjects& objects() { return objects_; }
  /// Another process begins, which knows nothing.
  void BeginProcess();

  /// Writes the arguments of `call`, what is to be written into `data`. 0, or the code with which
  /// the call fails without being made: 218 for what is of an earlier process, 120 for
  /// texts that no message holds.
  std::int32_t Write(const HostCall& call, MessageWriter& message, std::span<std::byte> data);
  /// Reads the answer. False when it is none.
  bool Read(const HostCall& call, std::span<const std::byte> message, Reply& reply) const;
  /// The requests that the handler notified of while it made `call`, in order. To be asked for before
  /// Take().
  std::vector<::NotifyRequest*> Notified(const HostCall& call, const Reply& reply) const;
  /// Hands everything of the answer over.
  calls::Outcome Take(const HostCall& call, const Reply& reply, std::span<const std::byte> data);
  /// What comes of a call that cannot be made. Locks, files and requests that it would have
  /// released are gone.
  calls::Outcome Refuse(const HostCall& call, std::int32_t code);

 private:
  void WriteCheck(MessageWriter& message);
  bool WriteObject(HostObjects::Number number, MessageWriter& message);
  void WriteRequest(const ::NotifyRequest* request, MessageWriter& message);
  bool WriteArgument(const HostCall& call, std::size_t at, MessageWriter& message,
                     std::span<std::byte> data);
  void TakeArgument(const HostCall& call, std::size_t at, const Reply& reply,
                    std::span<const std::byte> data);
  ::ExamineData* MakeRecord(const RecordImage& image);
  bool NamesTheRoot(const HostCall& call) const;

  HostServices& services_;
  HostObjects objects_;
  const RunWatch& watch_;
  int sent_check_ = -1;  ///< RunWatch::moves() when the process was sent the check
};

}  // namespace quorle::isolation
