#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string_view>
#include <unordered_map>

#include "calls/call_shape.h"
#include "calls/words.h"
#include "hosted/calls/handler_services.h"
#include "hosted/connect/far_objects.h"
#include "quorle/handler.h"

namespace quorle::connect {

/// How messages call the kind of argument that CallShape has a letter for: "lock".
const char* KindName(char letter);

/// Packets as messages, by their shapes: what a message says of an argument and of an answer follows
/// from its letter alone, so that a new packet needs nothing here.
class PacketCodec {
 public:
  explicit PacketCodec(HostServices& services) : services_(services), objects_(services) {}

  /// The arguments of `packet`, dp_Arg1 and so on: for each its kind and its value.
  nlohmann::json Arguments(const ::DosPacket& packet);
  /// Fills the results of `packet`, and what its arguments lead to, with what `answer` says. Throws
  /// ProgramEnd when that is no answer to it.
  void TakeAnswer(const nlohmann::json& answer, ::DosPacket& packet);
  /// The request for notification that was handed out as `number`; null when there is none.
  ::NotifyRequest* RequestOf(std::int64_t number) const;

 private:
  /// A packet that is answered: its shape, its arguments, its results.
  struct Answered {
    calls::CallShape shape;
    calls::PacketWords words;
    calls::Outcome outcome;
  };

  nlohmann::json ArgumentValue(const Answered& call, std::size_t at);
  std::int64_t NumberOf(::NotifyRequest* request);
  void Forget(const ::NotifyRequest* request);
  std::int64_t ResultFrom(const nlohmann::json& answer, const Answered& call);
  void TakeArgument(const nlohmann::json& answer, const Answered& call, std::size_t at);
  void TakeMode(const nlohmann::json& answer, const Answered& call);
  static void TakeBytes(const nlohmann::json& answer, const Answered& call, std::size_t at);
  void TakeScan(const nlohmann::json& answer, ::PRIVATE_ExamineDirContext& scan);

  HostServices& services_;
  FarObjects objects_;
  std::unordered_map<std::int64_t, ::NotifyRequest*> requests_;
  std::int64_t last_request_ = 0;
};

}  // namespace quorle::connect
