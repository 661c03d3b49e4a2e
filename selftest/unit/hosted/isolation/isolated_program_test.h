#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "hosted/calls/mount.h"
#include "hosted/isolation/isolated_program.h"
#include "platform/constants.h"
#include "selftest/plugins/rogue_handler.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle::isolation {

/// The processes that this one has made and not yet seen end.
inline std::vector<pid_t> Children() {
  std::vector<pid_t> children;
  std::ifstream file("/proc/self/task/" + std::to_string(getpid()) + "/children");
  for (pid_t child = 0; file >> child;) children.push_back(child);
  return children;
}

inline std::ptrdiff_t OpenDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

/// Memory of a process that is in use and its own, in KiB.
inline long ResidentKiB(const std::string& process) {
  std::ifstream file("/proc/" + process + "/statm");
  long total = 0;
  long resident = 0;
  file >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/// The rogue handler in a process of its own, behind a port.
class IsolatedProgramTest : public testing::Test {
 protected:
  ~IsolatedProgramTest() override {
    port_.reset();
    EXPECT_TRUE(Children().empty()) << "a process is left";
  }

  void Mount(const MountKeys& keys, PortType type = PortType::kVector, bool restart = false) {
    auto program = std::make_unique<IsolatedProgram>(
        std::make_unique<PlainProgram>(*QuorleRogueHandler()),
        IsolationSettings{.limit = std::chrono::seconds(1), .restart = restart}, watch_);
    std::string problem;
    port_ = MountHandler(
        std::move(program),
        {.device_name = "DH0",
         .type = type,
         .keys = keys,
         .may_be_named = [](const ::MsgPort&, const std::string& name) { return name != "Taken"; }},
        clock_, problem);
    problem_ = problem;
  }
  /// A mount whose function `in` misbehaves as `how` says from its call `at` on.
  void MountRogue(const char* in, const char* how, int at = 1, bool restart = false) {
    Mount({{"in", in}, {"how", how}, {"at", std::to_string(at)}}, PortType::kVector, restart);
    ASSERT_NE(port_, nullptr) << problem_;
  }

  ::Lock* Lock(const char* name, std::int32_t mode = SHARED_LOCK) {
    return port_->Lock(code_, nullptr, name, mode);
  }
  void MakeFile(const char* name, const std::string& content = "content") {
    ::FileHandle file{};
    ASSERT_TRUE(port_->Open(code_, file, nullptr, name, MODE_NEWFILE)) << code_;
    const auto length = static_cast<std::int32_t>(content.size());
    EXPECT_EQ(port_->Write(code_, file, content.data(), length), length) << code_;
    EXPECT_TRUE(port_->Close(code_, file));
  }
  std::string NameOf(::Lock* lock) {
    ::ExamineData* const data = port_->ExamineLock(code_, lock);
    if (data == nullptr) return "#" + std::to_string(code_);
    std::string name = data->Name;
    port_->FreeExamineData(data);
    return name;
  }

  std::vector<std::string> lines_;
  RunWatch watch_{[this](const std::string& line) {
    // Where in the handler that was is in lines of its own.
    if (!line.starts_with("  #")) lines_.push_back(line);
  }};
  FixedClock clock_;
  std::unique_ptr<HandlerPort> port_;
  std::string problem_;
  std::int32_t code_ = 0;
};

}  // namespace quorle::isolation
