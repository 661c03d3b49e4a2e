#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "hosted/dos/machine.h"
#include "platform/constants.h"
#include "program/built_in_handlers.h"

// What one call on RAM: costs in a directory with few and with very many entries, as the tester sees
// it: through dos.
//
//   LookUp           64 names, spread over the directory, again and again: what the filesystem costs
//   LookUpAnyName    every name once, in a random order: adds what memory costs that no cache holds
//   CreateAndDelete  64 files beside those that are there

namespace quorle {
namespace {

class Nowhere final : public ByteSink {
 public:
  bool Write(std::string_view) override { return true; }
  std::string Problem() const override { return {}; }
};

class NoInput final : public LineInput {
 public:
  bool ReadLine(std::string&) override { return false; }
};

class NoBreak final : public BreakSource {
 public:
  bool TakeBreak() override { return false; }
};

/// A machine whose RAM: holds a directory "D", the current one, with a number of empty files.
class FilledDirectory {
 public:
  explicit FilledDirectory(std::int64_t entries) {
    std::string problem;
    machine_ = Machine::Build(
        {.handlers = BuiltInHandlers(),
         .layers = {},
         .mounts = StandardMounts(),
         .exec = {},
         .dos = {}},
        {.console = console_, .input = input_, .clock = clock_, .breaks = breaks_}, problem);
    if (machine_ == nullptr) throw std::runtime_error(problem);
    const LockHandle directory = dos().CreateDir("RAM:D");
    dos().SetCurrentDir(directory);
    for (std::int64_t i = 0; i < entries; ++i) {
      names_.push_back(NameOf(i));
      Create(names_.back().c_str());
    }
    std::shuffle(names_.begin(), names_.end(), std::mt19937(1));
    for (std::int64_t i = 0; i < kExtra; ++i) extra_.push_back(NameOf(entries + i));
  }

  DosInterface& dos() { return machine_->dos(); }
  /// One of the first `most` names, in turn.
  const char* NextName(std::size_t most) {
    if (++at_ >= names_.size() || at_ >= most) at_ = 0;
    return names_[at_].c_str();
  }
  /// Names of files that are not there.
  const std::vector<std::string>& extra() const { return extra_; }

  void Create(const char* name) {
    const FileHandle file = dos().Open(name, MODE_NEWFILE);
    if (!file) throw std::runtime_error("cannot create a file");
    dos().Close(file);
  }

  static constexpr std::int64_t kExtra = 64;

 private:
  static std::string NameOf(std::int64_t i) {
    char text[32];
    std::snprintf(text, sizeof text, "file-%lld", static_cast<long long>(i));
    return text;
  }

  Nowhere nowhere_;
  Console console_{nowhere_, nowhere_, false};
  NoInput input_;
  SystemClock clock_;
  NoBreak breaks_;
  std::unique_ptr<Machine> machine_;
  std::vector<std::string> names_;
  std::vector<std::string> extra_;
  std::size_t at_ = 0;
};

/// The directory of that size; the largest takes seconds to fill, so each is made once.
FilledDirectory& DirectoryOf(std::int64_t entries) {
  static std::int64_t size = 0;
  static std::unique_ptr<FilledDirectory> directory;
  if (size != entries) {
    directory.reset();
    directory = std::make_unique<FilledDirectory>(entries);
    size = entries;
  }
  return *directory;
}

void LookUpNames(benchmark::State& state, std::size_t most) {
  FilledDirectory& directory = DirectoryOf(state.range(0));
  for (auto _ : state) {
    directory.dos().UnLock(directory.dos().Lock(directory.NextName(most), SHARED_LOCK));
  }
  state.SetItemsProcessed(state.iterations());
}

void LookUp(benchmark::State& state) {
  LookUpNames(state, 64);
}

void LookUpAnyName(benchmark::State& state) {
  LookUpNames(state, std::numeric_limits<std::size_t>::max());
}

void CreateAndDelete(benchmark::State& state) {
  FilledDirectory& directory = DirectoryOf(state.range(0));
  for (auto _ : state) {
    for (const std::string& name : directory.extra()) directory.Create(name.c_str());
    for (const std::string& name : directory.extra()) directory.dos().Delete(name.c_str());
  }
  state.SetItemsProcessed(state.iterations() * FilledDirectory::kExtra);
}

void Sizes(benchmark::internal::Benchmark* bench) {
  for (const std::int64_t entries : {10, 1'000, 100'000, 1'000'000}) bench->Arg(entries);
}

BENCHMARK(LookUp)->Apply(Sizes);
BENCHMARK(CreateAndDelete)->Apply(Sizes);
BENCHMARK(LookUpAnyName)->Apply(Sizes);

}  // namespace
}  // namespace quorle

BENCHMARK_MAIN();
