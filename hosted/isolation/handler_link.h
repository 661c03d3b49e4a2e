#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hosted/isolation/handler_process.h"
#include "hosted/isolation/message.h"
#include "hosted/isolation/shared_block.h"
#include "hosted/isolation/turns.h"

namespace quorle::isolation {

/// A handler process and the conversation with it.
class HandlerLink {
 public:
  /// Answers whether the volume may have a name.
  using NameQuestion = std::function<bool(const std::string& name)>;

  /// Null without memory. `limit` bounds each answer.
  static std::unique_ptr<HandlerLink> Create(std::chrono::seconds limit, NameQuestion may_be_named);

  /// Makes a process that does `body` with its side of the block. False, with `problem`, when the
  /// host cannot. None may be running.
  bool Start(const std::function<void(SharedBlock& block)>& body, std::string& problem);
  bool running() const { return process_ != nullptr; }
  void Kill() { process_.reset(); }

  /// Where a call is written.
  MessageWriter BeginCall(std::int64_t kind, std::int64_t number);
  std::span<std::byte> data() { return block_->data(); }
  /// Hands the call over and waits for the answer, which is in reply() then. Otherwise the process
  /// is killed and it is told how it ended: "did not answer within 10 seconds".
  std::optional<std::string> Exchange();
  /// A copy: what was checked changes no more.
  std::span<const std::byte> reply() const { return received_; }
  /// Waits for the end of a process that has nothing more to do. Tells how it ended otherwise than
  /// with status 0.
  std::optional<std::string> Finish();

 private:
  HandlerLink(std::unique_ptr<SharedBlock> block, std::chrono::seconds limit,
              NameQuestion may_be_named);
  std::string Ended(std::string how);
  bool Receive(std::int64_t& kind);
  void AnswerQuestion();

  std::unique_ptr<SharedBlock> block_;
  Turns turns_;
  std::chrono::seconds limit_;
  NameQuestion may_be_named_;
  std::unique_ptr<HandlerProcess> process_;
  std::vector<std::byte> received_;
};

/// How a process ended that answered what is no answer.
inline constexpr const char* kWithoutShape = "gave a reply without shape";

}  // namespace quorle::isolation
