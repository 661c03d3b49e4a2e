#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "hosted/dos/machine.h"
#include "results/check_list.h"
#include "selftest/kill_table/watched_run.h"
#include "selftest/support/host_filesystem.h"
#include "selftest/support/temporary_directory.h"
#include "selftest/support/test_bench.h"

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

/// A filesystem of the host, and how a directory on it is mounted.
struct Setting {
  const char* host;  ///< as HostFilesystem calls it; "temporary": whatever there is for such files
  const char* options;
  const char* metadata;
  const char* port;
};

void PrintTo(const Setting& setting, std::ostream* out) {
  *out << setting.host << ' ' << setting.options << ' ' << setting.metadata << ' ' << setting.port;
}

std::string NameOf(const ::testing::TestParamInfo<Setting>& info) {
  std::string name = std::string(info.param.host) + info.param.options + '_' + info.param.metadata +
                     '_' + info.param.port;
  std::erase_if(name, [](char c) { return c == '-' || c == '='; });
  return name;
}

std::vector<Setting> Settings() {
  std::vector<Setting> settings;
  const auto add = [&settings](const char* host, const char* options,
                               const std::vector<const char*>& metadata) {
    for (const char* const where : metadata) {
      for (const char* const port : {"vector", "packet"}) {
        settings.push_back({host, options, where, port});
      }
    }
  };
  add("temporary", "", {"xattr", "file"});
  add("tmpfs", "", {"xattr", "file"});
  add("ext4", "", {"xattr", "file"});
  add("xfs", "", {"xattr", "file"});
  add("btrfs", "", {"xattr", "file"});
  add("bindfs", "", {"xattr", "file"});
  // One that takes its time.
  settings.push_back({"fuse2fs", "fakeroot", "xattr", "vector"});
  settings.push_back({"fuse2fs", "fakeroot", "file", "packet"});
  // No extended attributes on these.
  add("bindfs", "--xattr-none", {"file"});
  add("ramfs", "", {"file"});
  add("exfat", "", {"file"});
  return settings;
}

/// Where most hosts have a tmpfs that everybody may use.
constexpr const char* kSharedMemory = "/dev/shm";

bool IsTmpfs(const char* path) {
  struct ::statfs stat {};
  return ::statfs(path, &stat) == 0 && stat.f_type == TMPFS_MAGIC;
}

constexpr const char* kKeys = ",volume=Subject Disk,version=subject 1.2 (3.4.2005)";

std::string OutputOf(TestBench& bench, std::int32_t& result) {
  result = bench.Run();
  return bench.TakeOutput();
}

/// What a volume with everything prints.
std::string WholeOutput() {
  TestBench bench({"--mount", std::string("DH0=ram") + kKeys, "DH0:"});
  std::int32_t result = 0;
  std::string output = OutputOf(bench, result);
  EXPECT_EQ(result, 0);
  return output;
}

void Replace(std::string& text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  ASSERT_NE(at, std::string::npos) << from;
  EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from;
  text.replace(at, from.size(), to);
}

/// The same where a directory has one name: the one row that asks for more says so, no other
/// differs.
std::string OutputWithoutDirectoryLinks() {
  std::string output = WholeOutput();
  Replace(output, "CreateHardLink() tests passed.\n",
          "\x1B[3mCreateHardLink() test skipped because it is not implemented for DH0:\n\x1B[0m");
  return output;
}

class HostdirCatalogueTest : public ::testing::TestWithParam<Setting> {
 protected:
  void SetUp() override {
    const Setting& setting = GetParam();
    const std::string host = setting.host;
    if (host == "temporary") {
      temporary_ = std::make_unique<TemporaryDirectory>();
      directory_ = temporary_->path();
    } else {
      std::string why_not;
      filesystem_ = HostFilesystem::Make(host, setting.options, why_not);
      if (filesystem_ != nullptr) {
        directory_ = filesystem_->path();
      } else if (host == "tmpfs" && IsTmpfs(kSharedMemory)) {
        temporary_ = std::make_unique<TemporaryDirectory>(kSharedMemory);
        directory_ = temporary_->path();
      } else {
        GTEST_SKIP() << host << ": " << why_not;
      }
    }
    if (std::string(setting.metadata) == "xattr" && !KeepsAttributes(directory_)) {
      GTEST_SKIP() << host << " has no extended attributes here";
    }
  }

  const fs::path& directory() const { return directory_; }

  /// Whether the host filesystem is not this test's own.
  bool OthersWriteThere() const {
    return filesystem_ == nullptr || std::string(GetParam().host) == "bindfs";
  }

  std::vector<std::string> HostNames() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory_)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

 private:
  std::unique_ptr<TemporaryDirectory> temporary_;
  std::unique_ptr<HostFilesystem> filesystem_;
  fs::path directory_;
};

TEST_P(HostdirCatalogueTest, AllRowsPassButDirectoryLinks) {
  const std::string expected = OutputWithoutDirectoryLinks();
  const std::string mount = "DH0=dir:" + directory().string() + kKeys +
                            ",metadata=" + GetParam().metadata + ",port=" + GetParam().port;
  {
    TestBench bench({"--mount", mount, "DH0:"});
    const std::string before = bench.Volumes();
    for (const char* const run : {"first run", "second run"}) {
      SCOPED_TRACE(run);
      std::int32_t result = 0;
      EXPECT_EQ(OutputOf(bench, result), expected);
      EXPECT_EQ(result, 10);
      EXPECT_EQ(bench.Volumes(), before);
      EXPECT_EQ(bench.StillOpen(false), "");
    }
    for (const std::string& complaint : bench.machine().ShutDown()) ADD_FAILURE() << complaint;
  }
  const bool has_side_file = std::string(GetParam().metadata) == "file";
  EXPECT_EQ(HostNames(), has_side_file ? std::vector<std::string>{".quorle-metadata"}
                                       : std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Hosts, HostdirCatalogueTest, ::testing::ValuesIn(Settings()), NameOf);

// ---- The further catalogue ---------------------------------------------------------------------

/// Checks that compare the blocks in use at two moments. Blocks are those of the whole host filesystem:
/// where others write to it meanwhile, what they take and give back is not known here.
constexpr const char* kBlockChecks =
    "Further.VolumeInfoData.AgreesWithTheDevice,Further.VolumeInfoData.UsedBlocksGrowWithData,"
    "Further.VolumeInfoData.BlocksOf*,Further.VolumeInfoData.RefusedCallsTakeNoBlocks";

/// Thousands of files take seconds on most filesystems: they are made on a tmpfs alone.
constexpr const char* kLongChecks =
    "Further.ExamineDir.ThousandsOfEntries,Further.VolumeInfoData.BlocksOfAThousandFiles,"
    "Further.Many.FilesInOneDirectory";

/// Each of 200 levels is many messages to another process.
constexpr const char* kDeepChecks = "Further.Many.LevelsOfDirectories";

bool IsFuse(const std::string& host) {
  return host == "bindfs" || host == "exfat";
}

/// Without times of birth a mount does not know again what the one before it made, and lets nobody
/// delete that, unless everything there is the tester's: a check mounts the volume again.
std::string ScratchKey(const std::string& host) {
  return IsFuse(host) || host == "ramfs" ? ",scratch=no" : "";
}

/// A further check that may fail on a filesystem of the host.
struct HostLimit {
  const char* host;   ///< as Setting has it
  const char* check;  ///< as --select has it
  const char* because;
};

constexpr const char* kXfsIsLate =
    "blocks that are taken or given back are counted some time later";
constexpr const char* kBtrfsIsLate = "blocks that are written are counted at the next commit";

constexpr const char* kDatesAreRecords =
    "dates that the host cannot hold are lines of the side file, which grows until the next mount";
constexpr const char* kExfatNames = "the host has no names with \" * < > ? \\ or |";

constexpr HostLimit kHostLimits[] = {
    {"xfs", "Further.VolumeInfoData.AgreesWithTheDevice", kXfsIsLate},
    {"xfs", "Further.VolumeInfoData.BlocksOf*", kXfsIsLate},
    {"xfs", "Further.VolumeInfoData.RefusedCallsTakeNoBlocks", kXfsIsLate},
    {"btrfs", "Further.VolumeInfoData.UsedBlocksGrowWithData", kBtrfsIsLate},
    {"exfat", "Further.VolumeInfoData.BlocksOf*", kDatesAreRecords},
    {"exfat", "Further.VolumeInfoData.RefusedCallsTakeNoBlocks", kDatesAreRecords},
    {"exfat", "Further.Names.EachCharacter", kExfatNames},
    {"exfat", "Further.Names.BlanksDotsAndPatterns", kExfatNames},
};

class HostdirFurtherTest : public HostdirCatalogueTest {
 protected:
  /// What is not run there, for --skip; may be empty.
  std::string LeftOut() const {
    const std::string host = GetParam().host;
    std::string patterns;
    const auto leave_out = [&patterns](const char* more) {
      patterns += (patterns.empty() ? "" : ",") + std::string(more);
    };
    if (OthersWriteThere()) leave_out(kBlockChecks);
    if (host != "tmpfs") leave_out(kLongChecks);
    if (IsFuse(host)) leave_out(kDeepChecks);
    return patterns;
  }

  bool MayFail(const std::string& check) const {
    const std::string host = GetParam().host;
    return std::ranges::any_of(kHostLimits, [&](const HostLimit& limit) {
      return host == limit.host && FitsPattern(limit.check, check);
    });
  }
};

/// The same settings, each once: what a packet port changes the other catalogue has seen. Without
/// fuse2fs, which takes a minute.
std::vector<Setting> FurtherSettings() {
  std::vector<Setting> settings = Settings();
  std::erase_if(settings, [](const Setting& setting) {
    const bool is_vector = std::string(setting.port) == "vector";
    return is_vector != (std::string(setting.metadata) == "xattr") ||
           std::string(setting.host) == "fuse2fs";
  });
  return settings;
}

TEST_P(HostdirFurtherTest, OnlyWhatTheHostCannotDoFails) {
  const std::string mount = "DH0=dir:" + directory().string() + kKeys +
                            ",metadata=" + GetParam().metadata + ",port=" + GetParam().port +
                            ScratchKey(GetParam().host);
  std::vector<std::string> words = {"--catalogue", "further", "--mount", mount, "DH0:", "NI"};
  if (const std::string left_out = LeftOut(); !left_out.empty()) {
    words.insert(words.begin() + 2, {"--skip", left_out});
  }
  TestBench bench(words);
  bench.LeaveOutTrace();
  const std::string before = bench.Volumes();
  for (const char* const round : {"first run", "second run"}) {
    SCOPED_TRACE(round);
    const WatchedRun run = RunWatched(bench);
    EXPECT_TRUE(run.result == 0 || run.result == 10) << run.result;
    EXPECT_NE(run.Find(1, 1), nullptr) << run.output;
    EXPECT_EQ(run.output.find("CLEANUP ERROR"), std::string::npos) << run.output;
    for (const WatchedPart& part : run.parts) {
      if (part.sub_test == 0 ? part.text.find("ERROR") == std::string::npos : part.status == 0) {
        continue;
      }
      EXPECT_TRUE(part.sub_test != 0 && MayFail(part.id())) << part.id() << part.text;
    }
    EXPECT_EQ(bench.Volumes(), before);
    EXPECT_EQ(bench.StillOpen(false), "");
  }
  for (const std::string& complaint : bench.machine().ShutDown()) ADD_FAILURE() << complaint;
}

INSTANTIATE_TEST_SUITE_P(Hosts, HostdirFurtherTest, ::testing::ValuesIn(FurtherSettings()), NameOf);

}  // namespace
}  // namespace quorle::selftest
