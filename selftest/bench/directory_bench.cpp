#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "handlers/hostdir/host_dates.h"
#include "handlers/hostdir/side_file.h"
#include "handlers/hostdir/volume.h"
#include "handlers/hostdir/xattr_store.h"

// What a directory of the host costs as a volume, in $QUORLE_BENCH_DIRECTORY or else /dev/shm. To see
// what another filesystem costs, a FUSE one say, name a directory on it.
//
//   WholeRun   the program over an empty directory, from start to exit, in time that passes: part of
//              what FUSE costs is spent in another process. items_per_second are calls of the tester,
//              each run having as many as its trace has lines
//   Missing    look-ups of 64 names that are not there, in a directory with so many others
//   Create     creates and deletes a file there
//   Walk       scans it from start to end; items_per_second are its entries

namespace quorle {
namespace {

namespace fs = std::filesystem;

/// A directory of the host, gone at the end.
class Place {
 public:
  Place() {
    const char* const where = std::getenv("QUORLE_BENCH_DIRECTORY");
    std::string name = std::string(where != nullptr ? where : "/dev/shm") + "/quorle-bench-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
    path_ = name;
  }
  ~Place() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

/// How the directory is to be mounted: where there are no extended attributes, with the file.
std::string Keys() {
  const char* const keys = std::getenv("QUORLE_BENCH_KEYS");
  return keys != nullptr ? keys : "";
}

int Run(const std::string& arguments) {
  const std::string command =
      std::string(QUORLE_PROGRAM) + " --no-delay " + arguments + " >/dev/null 2>&1";
  const int status = std::system(command.c_str());
  if (WIFEXITED(status) && WEXITSTATUS(status) <= 10) return status;
  throw std::runtime_error("cannot run " + command);
}

std::int64_t CountLines(const fs::path& path) {
  std::FILE* const file = std::fopen(path.c_str(), "r");
  if (file == nullptr) throw std::runtime_error("there is no trace");
  std::int64_t lines = 0;
  for (int c = std::getc(file); c != EOF; c = std::getc(file)) lines += c == '\n' ? 1 : 0;
  std::fclose(file);
  return lines;
}

void WholeRun(benchmark::State& state) {
  const Place volume;
  const fs::path trace =
      fs::temp_directory_path() / ("quorle-bench-trace." + std::to_string(::getpid()));
  const std::string mount = "--mount DH0=dir:" + volume.path().string() + Keys();
  Run("--trace " + trace.string() + " " + mount + " DH0:");
  const std::int64_t calls = CountLines(trace);
  fs::remove(trace);
  for (auto _ : state) Run(mount + " DH0:");
  state.SetItemsProcessed(state.iterations() * calls);
}

::DateStamp Now() {
  std::timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return hostdir::FromHostTime(now);
}

/// A directory of the host with a number of files, mounted.
class FilledVolume {
 public:
  explicit FilledVolume(std::int64_t entries) {
    for (std::int64_t i = 0; i < entries; ++i) {
      const fs::path name = place_.path() / ("file-" + std::to_string(i));
      if (::mknod(name.c_str(), S_IFREG | 0644, 0) != 0) throw std::runtime_error("cannot fill it");
    }
    hostdir::Opened root;
    root.fd = decltype(root.fd)(::open(place_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (hostdir::StatOf(root.fd.get(), root.stat)) throw std::runtime_error("cannot open it");
    std::string problem;
    auto records = Keys().empty() ? hostdir::OpenXattrStore(root, problem)
                                  : hostdir::OpenSideFile(root, problem);
    if (records == nullptr) throw std::runtime_error(problem);
    volume_ = std::make_unique<hostdir::Volume>(
        common::VolumeSettings{}, Now,
        hostdir::MountedDirectory{.root = std::move(root),
                                  .records = std::move(records),
                                  .scratch = hostdir::Scratch::kOwn,
                                  .journal = {},
                                  .report = [](const std::string&) {}});
  }

  hostdir::Volume& volume() { return *volume_; }

 private:
  Place place_;
  std::unique_ptr<hostdir::Volume> volume_;
};

/// Made once for the benchmarks of one size.
hostdir::Volume& VolumeOf(std::int64_t entries) {
  static std::int64_t size = -1;
  static std::unique_ptr<FilledVolume> filled;
  if (size != entries) {
    filled.reset();
    filled = std::make_unique<FilledVolume>(entries);
    size = entries;
  }
  return filled->volume();
}

/// Ends the benchmark when an operation returned an error.
void MustBeNone(hostdir::DosError error) {
  if (error) throw std::runtime_error("error " + std::to_string(error.code()));
}

void FindMissing(hostdir::Volume& volume, int i) {
  const std::string name = "missing-" + std::to_string(i % 64);
  hostdir::EntryRef found;
  const hostdir::DosError error =
      hostdir::Catch([&] { hostdir::Check(volume.Find(nullptr, name, found)); });
  if (error != ERROR_OBJECT_NOT_FOUND) throw std::runtime_error(name + " is there");
}

void Missing(benchmark::State& state) {
  hostdir::Volume& volume = VolumeOf(state.range(0));
  int i = 0;
  // What is done once is no matter here.
  FindMissing(volume, i);
  for (auto _ : state) FindMissing(volume, ++i);
  state.SetItemsProcessed(state.iterations());
}

void MakeAndDelete(hostdir::Volume& volume) {
  hostdir::OpenFile file;
  MustBeNone(volume.Open(nullptr, "made", MODE_NEWFILE, file));
  MustBeNone(volume.Close(file));
  MustBeNone(volume.Delete(nullptr, "made"));
}

void Create(benchmark::State& state) {
  hostdir::Volume& volume = VolumeOf(state.range(0));
  MakeAndDelete(volume);
  for (auto _ : state) MakeAndDelete(volume);
  state.SetItemsProcessed(state.iterations());
}

void Walk(benchmark::State& state) {
  hostdir::Volume& volume = VolumeOf(state.range(0));
  std::int64_t entries = 0;
  for (auto _ : state) {
    ::PRIVATE_ExamineDirContext context{};
    hostdir::EntryRef found;
    common::ObjectInfo info;
    while (!volume.Next(volume.root(), context, found, info)) ++entries;
  }
  if (entries < state.iterations() * state.range(0)) throw std::runtime_error("some are missing");
  state.SetItemsProcessed(entries);
}

BENCHMARK(WholeRun)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(Missing)->Arg(100'000)->UseRealTime()->Unit(benchmark::kMicrosecond)->MinTime(1);
BENCHMARK(Create)->Arg(100'000)->UseRealTime()->Unit(benchmark::kMicrosecond)->MinTime(1);
BENCHMARK(Walk)->Arg(100'000)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quorle

BENCHMARK_MAIN();
