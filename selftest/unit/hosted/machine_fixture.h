#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "handlers/ram/ram_handler.h"
#include "hosted/dos/console.h"
#include "hosted/dos/machine.h"
#include "platform/constants.h"
#include "selftest/unit/hosted/calls/recording_handler.h"
#include "selftest/unit/hosted/memory_sink.h"
#include "selftest/unit/hosted/tree_handler.h"

namespace quorle {

/// Gives fixed lines.
class FixedInput final : public LineInput {
 public:
  bool ReadLine(std::string& line) override {
    if (lines.empty()) return false;
    line = std::move(lines.front());
    lines.pop_front();
    return true;
  }
  std::deque<std::string> lines;
};

/// A break key to press.
class FixedBreak final : public BreakSource {
 public:
  bool TakeBreak() override { return std::exchange(pressed, false); }
  bool pressed = false;
};

/// A machine in this process. Mounted are two volumes in memory, DH0: ("Work") and DH1: ("Other
/// Disk"), where DH0: is the process's own; TREE:, a fixed tree (tree_handler.h); and NIL:.
class MachineTest : public ::testing::Test {
 protected:
  MachineTest() { Build({}); }

  void Build(const HostedDosSettings& dos_settings, const HostedExecSettings& exec_settings = {}) {
    machine_.reset();
    MachineOptions options;
    options.handlers = {{"ram", QuorleRamHandler()}, {"tree", &TreeHandler()}};
    options.mounts = {Spec("DH0", "ram", {{"volume", "Work"}}),
                      Spec("DH1", "ram", {{"volume", "Other Disk"}}),
                      Spec("TREE", "tree", {{"tree", "dir/;dir/file;link>dir"}})};
    options.dos = dos_settings;
    options.exec = exec_settings;
    std::string problem;
    machine_ = Machine::Build(options, Parts(), problem);
    ASSERT_NE(machine_, nullptr) << problem;
  }

  static MountSpec Spec(const char* name, const char* handler, MountKeys keys) {
    MountSpec spec;
    spec.name = name;
    spec.handler = handler;
    spec.keys = std::move(keys);
    return spec;
  }

  MachineParts Parts() {
    return {.console = console_, .input = input_, .clock = clock_, .breaks = breaks_};
  }

  HostedDos& dos() { return machine_->dos(); }

  /// The error code of a call that gave `result`: 0 when it succeeded.
  template <class Result>
  std::int32_t Code(Result result) {
    return result ? 0 : dos().IoErr();
  }

  void MakeFile(const char* name) {
    const FileHandle file = dos().Open(name, MODE_NEWFILE);
    EXPECT_TRUE(dos().Close(file)) << name;
  }

  void MakeDirectory(const char* name) {
    const LockHandle lock = dos().CreateDir(name);
    EXPECT_TRUE(lock) << name;
    dos().UnLock(lock);
  }

  LockHandle MustLock(const char* name, std::int32_t mode = SHARED_LOCK) {
    const LockHandle lock = dos().Lock(name, mode);
    EXPECT_TRUE(lock) << name << ": " << dos().IoErr();
    return lock;
  }

  PortHandle PortOf(const char* name) {
    const DevProc* const devproc = dos().GetDeviceProc(name, nullptr);
    EXPECT_NE(devproc, nullptr) << name;
    const PortHandle port = devproc == nullptr ? PortHandle{} : devproc->dvp_Port;
    dos().FreeDeviceProc(devproc);
    return port;
  }

  MemorySink output_;
  MemorySink errors_;
  Console console_{output_, errors_, false};
  FixedInput input_;
  FixedBreak breaks_;
  FixedClock clock_;
  std::unique_ptr<Machine> machine_;
};

}  // namespace quorle
