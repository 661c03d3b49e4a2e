#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "handlers/ram/ram_handler.h"
#include "hosted/calls/clock.h"
#include "hosted/calls/mount.h"
#include "hosted/isolation/isolated_program.h"
#include "platform/constants.h"

// What it costs that a handler runs in a process of its own: the same calls on the filesystem in
// memory, in this process (0) and in another (1). The time is what passes: both processes work.
//
//   OneCall   FSGetFilePosition(), which does nothing
//   LockIt    FSLock() of a file and FSUnLock(): two calls
//   Examine   FSExamineLock(): a record comes back
//   ReadIt    FSRead() of that many bytes
//   Restart   a process that is made, mounts and ends

namespace quorle {
namespace {

/// The filesystem in memory behind a port, with one file.
class Volume {
 public:
  explicit Volume(bool isolated) {
    std::unique_ptr<HandlerProgram> program = std::make_unique<PlainProgram>(*QuorleRamHandler());
    if (isolated) {
      program = std::make_unique<isolation::IsolatedProgram>(
          std::move(program), isolation::IsolationSettings{}, watch_);
    }
    std::string problem;
    port_ = MountHandler(std::move(program), {.device_name = "DH0"}, clock_, problem);
    if (port_ == nullptr) throw std::runtime_error(problem);
    const std::vector<char> content(kFileSize);
    if (!port_->Open(code_, file_, nullptr, "file", MODE_NEWFILE) ||
        port_->Write(code_, file_, content.data(), kFileSize) != kFileSize ||
        !port_->Close(code_, file_) || !port_->Open(code_, file_, nullptr, "file", MODE_OLDFILE)) {
      throw std::runtime_error("cannot make a file");
    }
  }
  ~Volume() { port_->Close(code_, file_); }
  Volume(const Volume&) = delete;
  Volume& operator=(const Volume&) = delete;

  HandlerPort& port() { return *port_; }
  ::FileHandle& file() { return file_; }
  std::int32_t& code() { return code_; }

  static constexpr std::int32_t kFileSize = 1 << 20;

 private:
  RunWatch watch_{[](const std::string& line) { throw std::runtime_error(line); }};
  SystemClock clock_;
  std::unique_ptr<HandlerPort> port_;
  ::FileHandle file_{};
  std::int32_t code_ = 0;
};

void OneCall(benchmark::State& state) {
  Volume volume(state.range(0) != 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(volume.port().GetFilePosition(volume.code(), volume.file()));
  }
}

void LockIt(benchmark::State& state) {
  Volume volume(state.range(0) != 0);
  for (auto _ : state) {
    ::Lock* const lock = volume.port().Lock(volume.code(), nullptr, "file", SHARED_LOCK);
    volume.port().UnLock(volume.code(), lock);
  }
}

void Examine(benchmark::State& state) {
  Volume volume(state.range(0) != 0);
  for (auto _ : state) {
    volume.port().FreeExamineData(volume.port().ExamineLock(volume.code(), nullptr));
  }
}

void ReadIt(benchmark::State& state) {
  Volume volume(state.range(0) != 0);
  const auto bytes = static_cast<std::int32_t>(state.range(1));
  std::vector<char> buffer(static_cast<std::size_t>(bytes));
  for (auto _ : state) {
    volume.port().ChangeFilePosition(volume.code(), volume.file(), OFFSET_BEGINNING, 0);
    volume.port().Read(volume.code(), volume.file(), buffer.data(), bytes);
  }
  state.SetBytesProcessed(state.iterations() * bytes);
}

void Restart(benchmark::State& state) {
  for (auto _ : state) {
    Volume volume(state.range(0) != 0);
    benchmark::DoNotOptimize(volume.port());
  }
}

BENCHMARK(OneCall)->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(LockIt)->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(Examine)->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(ReadIt)->ArgsProduct({{0, 1}, {16, 4096, 1 << 20}})->UseRealTime();
BENCHMARK(Restart)->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quorle

BENCHMARK_MAIN();
