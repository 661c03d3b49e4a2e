#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "hosted/calls/handler_port.h"
#include "platform/constants.h"
#include "selftest/unit/hosted/calls/scripted_program.h"

namespace quorle {

/// Packets by dp_Type.
using Actions = std::vector<std::int32_t>;

/// A handler of classic packets, which answers what a test sets. Mount() mounts it; the test's locks are
/// released, and the handler unmounted, at the end.
class ClassicFallbackTest : public testing::Test {
 protected:
  ClassicFallbackTest() {
    script.answers[QUORLE_ACTION_IS_FILESYSTEM] = [](::DosPacket& packet) {
      PacketScript::Answer(packet, kDosTrue);
    };
  }
  ~ClassicFallbackTest() override {
    if (port == nullptr) return;
    for (::Lock* const lock : locks) port->UnLock(res2, lock);
    port->EndDir(scan);
    for (const std::string& complaint : port->Unmount()) ADD_FAILURE() << complaint;
    EXPECT_TRUE(script.locks.empty());
  }

  /// Mounts the handler; the problem when it is refused.
  std::string TryMount(std::optional<PortType> type = {}, VolumeNameCheck may_be_named = {}) {
    std::string problem;
    watch.BeginTest(7, "Some()");
    port = MountHandler(std::make_unique<ScriptedProgram>(script),
                        {.device_name = "DH0",
                         .type = type,
                         .may_be_named = std::move(may_be_named),
                         .watch = &watch},
                        clock, problem);
    return problem;
  }
  void Mount(std::optional<PortType> type = {}) {
    EXPECT_EQ(TryMount(type), "");
    ASSERT_NE(port, nullptr);
    Forget();
  }
  void Forget() {
    script.sent.clear();
    script.words.clear();
  }
  /// A lock of the handler, which goes back at the end.
  ::Lock* MustLock() {
    ::Lock* const lock = port->Lock(res2, nullptr, "dir", SHARED_LOCK);
    EXPECT_NE(lock, nullptr);
    locks.insert(lock);
    Forget();
    return lock;
  }
  /// From now on the handler fills the block of the packet `action`.
  void Fill(std::int32_t action, std::function<void(::FileInfoBlock& block)> fill) {
    script.answers[action] = [fill = std::move(fill)](::DosPacket& packet) {
      fill(PacketScript::BlockOf(packet));
      PacketScript::Answer(packet, kDosTrue);
    };
  }
  void Give(std::int32_t action, std::intptr_t result, std::int32_t code = 0) {
    script.answers[action] = [=](::DosPacket& packet) {
      PacketScript::Answer(packet, result, code);
    };
  }
  void ExpectLine(const std::string& what, const char* call) {
    EXPECT_EQ(lines, std::vector<std::string>{"handler of DH0: " + what + " in " + call +
                                              ", test 7 (Some)"});
    lines.clear();
  }

  PacketScript script;
  FixedClock clock;
  std::vector<std::string> lines;
  RunWatch watch{[this](const std::string& line) { lines.push_back(line); }};
  std::unique_ptr<HandlerPort> port;
  std::set<::Lock*> locks;
  ::FileHandle file{nullptr, 4711, nullptr};
  ::PRIVATE_ExamineDirContext scan{};
  std::int32_t res2 = 0;
};

/// An entry of which nothing is 0.
inline void FillFile(::FileInfoBlock& block) {
  block.fib_DiskKey = -5;
  block.fib_DirEntryType = ST_FILE;
  block.fib_EntryType = ST_FILE;
  PacketScript::SetText(block.fib_FileName, "file");
  PacketScript::SetText(block.fib_Comment, "comment");
  block.fib_Protection = static_cast<std::int32_t>(0xABCD1234U);
  block.fib_Size = 77;
  block.fib_NumBlocks = 1;
  block.fib_Date = {1, 2, 3};
  block.fib_OwnerUID = 0xFFFE;
  block.fib_OwnerGID = 0xFFFD;
}

}  // namespace quorle
