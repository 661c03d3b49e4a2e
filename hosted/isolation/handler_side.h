#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "calls/call_shape.h"
#include "hosted/calls/breach.h"
#include "hosted/calls/handler_program.h"
#include "hosted/calls/handler_services.h"
#include "hosted/isolation/call_guard.h"
#include "hosted/isolation/message.h"
#include "hosted/isolation/remote_vectors.h"
#include "hosted/isolation/shared_block.h"
#include "hosted/isolation/turns.h"

namespace quorle::isolation {

/// What runs in a handler process: mounts the handler, takes calls from the block that it shares
/// with the host, makes them, and answers. The services that the handler gets are this process's
/// own; only whether a volume name is free is asked of the host.
class HandlerSide {
 public:
  /// All of it lives as long as this. `program` ends when it is unmounted. `outer` are the copies of
  /// the services that the handler would have in the tester's process.
  HandlerSide(SharedBlock& block, std::unique_ptr<HandlerProgram>& program,
              const ::HandlerMount& mount, HostServices& outer);

  /// Returns when the handler has been unmounted, could not be mounted, or has ended elsewhere.
  void Run();

 private:
  struct Known {
    ::Lock* lock;
    std::uint64_t serial;  ///< of the services: another lock may lie there later
  };
  /// A request for notification with its texts.
  struct OwnRequest {
    ::NotifyRequest request{};
    std::string name;
    std::string full_name;
  };
  /// One call with what its arguments lead to.
  struct Frame {
    calls::CallShape shape{};
    std::array<std::int64_t, calls::kMostArguments> words{};
    std::array<std::int64_t, calls::kMostArguments> numbers{};  ///< of locks, files and requests
    ::DateStamp date{};
    ::InfoData info{};
    ::FileInfoBlock block{};
    ::PRIVATE_ExamineDirContext scan{};
    std::vector<::TagItem> tags;
    std::vector<std::vector<std::byte>> rooms;  ///< what the tags lead to, empty where nothing
    std::int32_t refusal = 0;                   ///< a code when the handler is not to be called
    Breach breach = Breach::kNone;              ///< of the handler, the first one of the call
  };

  void Serve();
  void Mount();
  void Answer();
  void AnswerUnmount(MessageWriter& reply);
  void Send(const MessageWriter& reply, std::int64_t kind);
  MessageWriter ReplyBody();
  bool AskForName(const std::string& name);

  void ReadArguments(MessageReader& call, Frame& frame);
  std::int64_t ReadArgument(MessageReader& call, Frame& frame, std::size_t at);
  std::int64_t ReadTags(MessageReader& call, Frame& frame);
  bool IsAlive(const Known& known) const;
  std::int64_t LockOf(std::int64_t number, Frame& frame);
  std::int64_t FileOf(std::int64_t number, Frame& frame);
  std::int64_t ReadRequest(MessageReader& call, std::int64_t number);
  std::int64_t RequestOf(std::int64_t number, Frame& frame);
  calls::Outcome MakeCall(Frame& frame, std::int64_t kind, std::int64_t number);
  calls::Outcome SendPacket(std::int32_t action, const std::int64_t* words);
  static void Note(Frame& frame, Breach breach);
  void CheckResult(Frame& frame, calls::Outcome& outcome);
  bool CheckRecord(Frame& frame, ::ExamineData* record);
  void WriteResult(MessageWriter& reply, const Frame& frame, const calls::Outcome& outcome);
  void WriteArguments(MessageWriter& reply, Frame& frame);
  void WriteLock(MessageWriter& reply, std::int64_t number);
  void WriteRecord(MessageWriter& reply, ::ExamineData* record);
  std::int64_t NumberOf(::Lock* lock);
  void WriteNotified(MessageWriter& reply);
  void Settle(const Frame& frame, const calls::Outcome& outcome);
  void ForgetRequest(std::int64_t number);

  SharedBlock& block_;
  Turns turns_;
  std::unique_ptr<HandlerProgram>& program_;
  HostServices services_;
  CallGuard guard_;
  ::HandlerMount mount_;
  ::FileSystemVectorPort* port_ = nullptr;
  std::unordered_map<std::int64_t, Known> locks_;
  std::unordered_map<std::uint64_t, std::int64_t> lock_numbers_;  ///< by their serials
  std::unordered_map<std::int64_t, std::unique_ptr<::FileHandle>> files_;
  std::unordered_map<std::int64_t, OwnRequest> requests_;
  std::unordered_map<const ::NotifyRequest*, std::int64_t> request_numbers_;
  std::vector<std::int64_t> notified_;  ///< in the call that is made; one more than travel at most
  std::int64_t last_lock_ = 0;
  ::MsgPort foreign_port_{QUORLE_NT_MSGPORT};
  ::Lock foreign_lock_{};
  ::FileHandle foreign_file_{};
  ::NotifyRequest foreign_request_{};
};

}  // namespace quorle::isolation
