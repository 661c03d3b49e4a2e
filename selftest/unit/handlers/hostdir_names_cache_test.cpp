#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "handlers/hostdir/directory_names.h"
#include "handlers/hostdir/host_dates.h"
#include "handlers/hostdir/side_file.h"
#include "handlers/hostdir/volume.h"
#include "selftest/support/temporary_directory.h"

// The names of directories that are remembered.

namespace quorle::hostdir {
namespace {

namespace fs = std::filesystem;
using selftest::TemporaryDirectory;
using std::chrono::milliseconds;

void PutEmpty(const fs::path& path) {
  ASSERT_EQ(::mknod(path.c_str(), S_IFREG | 0644, 0), 0);
}

// ---- By themselves ------------------------------------------------------------------------------

TEST(DirectoryNamesTest, TheNameInJustThisCaseComesFirstThenTheFirstInByteOrder) {
  DirectoryNames names;
  names.Assign({"FILE", "File", "a:b", "b", "file"});
  const auto found = [&names](const char* name) -> std::string {
    const std::string* const host = names.Find(name, name);
    return host == nullptr ? "(none)" : *host;
  };
  EXPECT_EQ(found("File"), "File");
  EXPECT_EQ(found("fILE"), "FILE");
  EXPECT_EQ(found("a:b"), "(none)") << "no name of the platform";
  EXPECT_EQ(names.all().size(), 5U) << "but it is there";
  names.Remove("FILE");
  names.Remove("missing");
  EXPECT_EQ(found("fILE"), "File");
  names.Add("FIle");
  names.Add("FIle");
  EXPECT_EQ(found("fILE"), "FIle");
  for (const char* const name : {"FIle", "File", "file"}) names.Remove(name);
  EXPECT_EQ(found("file"), "(none)");
  EXPECT_EQ(found("B"), "b");
  names.Remove("a:b");
  EXPECT_EQ(names.all().size(), 1U);
}

/// A clock that is set by hand.
struct HandClock {
  static NamesCache::Clock::time_point Now() { return now; }
  static inline NamesCache::Clock::time_point now{};
};

class NamesCacheTest : public ::testing::Test {
 protected:
  NamesCacheTest() {
    HandClock::now += std::chrono::hours(1);
    PutEmpty(directory_.path() / "name");
    opened_.fd = SharedDescriptor(::open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY));
    EXPECT_FALSE(StatAgain(opened_));
    SetTimes(kFine, kFine);
  }

  /// Has the host give the directory these times.
  void SetTimes(long changed, long status_changed) {
    opened_.stat.changed.tv_nsec = changed;
    opened_.stat.status_changed.tv_nsec = status_changed;
  }
  bool Read(NamesCache& names) {
    const DirectoryNames* found = nullptr;
    EXPECT_FALSE(names.Read(opened_, found));
    EXPECT_NE(found, nullptr);
    EXPECT_NE(found->Find("NAME", "NAME"), nullptr);
    return names.Current(opened_.stat) != nullptr;
  }

  static constexpr long kFine = 123'456'789;
  static constexpr long kCoarse = 120'000'000;

  TemporaryDirectory directory_;
  Opened opened_;
};

TEST_F(NamesCacheTest, TimesThatMayComeAgainAreWaitedOut) {
  NamesCache names(true, HandClock::Now);
  EXPECT_EQ(names.Current(opened_.stat), nullptr) << "never read";
  EXPECT_FALSE(Read(names)) << "a change within the same tick does not show";
  HandClock::now += milliseconds(10);
  EXPECT_FALSE(Read(names));
  HandClock::now += milliseconds(60);
  EXPECT_EQ(names.Current(opened_.stat), nullptr) << "read within that tick";
  EXPECT_TRUE(Read(names));
  SetTimes(kFine + 1, kFine + 1);
  EXPECT_EQ(names.Current(opened_.stat), nullptr) << "changed";
  EXPECT_FALSE(Read(names));
}

TEST_F(NamesCacheTest, CoarseTimesAreWaitedOutForLonger) {
  NamesCache names(true, HandClock::Now);
  for (const long changed : {kCoarse, 0L}) {
    SetTimes(changed, kCoarse);
    EXPECT_FALSE(Read(names));
    HandClock::now += milliseconds(2000);
    EXPECT_FALSE(Read(names)) << "FAT counts in 2 s, and may do so with one of the times alone";
    HandClock::now += milliseconds(200);
    EXPECT_TRUE(Read(names));
  }
}

TEST_F(NamesCacheTest, TimesThatCannotComeAgainAreBelievedAtOnce) {
  NamesCache names(true, HandClock::Now);
  SetTimes(kCoarse, kFine);
  EXPECT_TRUE(Read(names));
  // So are those that a change of ours leads to, for a second.
  const Identity identity = opened_.stat.identity();
  names.Add(identity, "added");
  SetTimes(kCoarse, kFine + 1);
  names.Accept(opened_.stat);
  ASSERT_NE(names.Current(opened_.stat), nullptr);
  EXPECT_NE(names.Current(opened_.stat)->Find("ADDED", "ADDED"), nullptr);
  EXPECT_EQ(names.counters().readings, 1U);
  HandClock::now += milliseconds(1100);
  EXPECT_EQ(names.Current(opened_.stat), nullptr);
  EXPECT_TRUE(Read(names));
  EXPECT_EQ(names.Current(opened_.stat)->Find("ADDED", "ADDED"), nullptr) << "as it is on the host";
  HandClock::now += milliseconds(5000);
  EXPECT_NE(names.Current(opened_.stat), nullptr) << "nobody has changed anything";
  // Times that may come again are not taken over.
  SetTimes(kFine + 2, kFine + 2);
  names.Accept(opened_.stat);
  EXPECT_EQ(names.Current(opened_.stat), nullptr);
}

TEST_F(NamesCacheTest, AHostThatKeepsNoTimesIsAskedEachTime) {
  NamesCache names(false, HandClock::Now);
  SetTimes(kCoarse, kFine);
  EXPECT_FALSE(Read(names));
  HandClock::now += std::chrono::hours(1);
  EXPECT_FALSE(Read(names));
  names.NoteTimes(opened_.stat, opened_.stat);
  EXPECT_FALSE(Read(names));
  HostStat after = opened_.stat;
  after.changed.tv_nsec = kFine;
  names.NoteTimes(opened_.stat, after);
  EXPECT_TRUE(Read(names));
}

TEST_F(NamesCacheTest, AMarkHoldsAsTheNamesDo) {
  NamesCache names(true, HandClock::Now);
  const Identity identity = opened_.stat.identity();
  SetTimes(kCoarse, kFine);
  names.SetMark(opened_.stat, names.NewMark({}));
  EXPECT_FALSE(names.MarkOf(opened_.stat)) << "its names are not known";
  EXPECT_TRUE(Read(names));
  const auto mark = [&] { names.SetMark(opened_.stat, names.NewMark({})); };
  mark();
  EXPECT_TRUE(names.MarkOf(opened_.stat));
  names.ForgetMark(identity);
  EXPECT_FALSE(names.MarkOf(opened_.stat));
  mark();
  HandClock::now += milliseconds(1100);
  EXPECT_FALSE(names.MarkOf(opened_.stat)) << "somebody may have written a record since";
  mark();
  SetTimes(kCoarse, kFine + 1);
  EXPECT_FALSE(names.MarkOf(opened_.stat));
}

TEST_F(NamesCacheTest, TheDirectoriesUsedLastAreRemembered) {
  NamesCache names(true, HandClock::Now);
  SetTimes(kCoarse, kFine);
  const std::uint64_t first = opened_.stat.inode;
  for (std::uint64_t i = 0; i < 20; ++i) {
    opened_.stat.inode = first + i;
    EXPECT_TRUE(Read(names));
    opened_.stat.inode = first;
    EXPECT_NE(names.Current(opened_.stat), nullptr) << "used all the time";
  }
  opened_.stat.inode = first + 1;
  EXPECT_EQ(names.Current(opened_.stat), nullptr);
  opened_.stat.inode = first + 19;
  EXPECT_NE(names.Current(opened_.stat), nullptr);
  EXPECT_FALSE(names.KeepsCase(opened_.stat.identity()));
  names.NoteKeepsCase(opened_.stat.identity());
  HostStat below = opened_.stat;
  below.inode = first + 100;
  names.AddEmpty(below, opened_.stat.identity());
  EXPECT_TRUE(names.KeepsCase(below.identity()));
  ASSERT_NE(names.Current(below), nullptr);
  EXPECT_TRUE(names.Current(below)->all().empty());
}

// ---- Large directories --------------------------------------------------------------------------

constexpr int kLarge = 100'000;

/// A volume without dos, of which it is counted how often a directory was read.
class LargeDirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const fs::path path = directory_.path();
    for (int i = 0; i < kLarge; ++i) {
      const fs::path name = path / ("Name" + std::to_string(i));
      ASSERT_EQ(::mknod(name.c_str(), S_IFREG | 0644, 0), 0);
    }
    Opened opened;
    opened.fd = SharedDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_FALSE(StatAgain(opened));
    std::string problem;
    auto records = OpenSideFile(opened, problem);
    ASSERT_NE(records, nullptr) << problem;
    volume_ = std::make_unique<Volume>(
        VolumeSettings{},
        [] {
          std::timespec now{};
          ::clock_gettime(CLOCK_REALTIME, &now);
          return FromHostTime(now);
        },
        MountedDirectory{.root = std::move(opened),
                         .records = std::move(records),
                         .scratch = Scratch::kOwn,
                         .journal = {},
                         .report = [](const std::string& line) { ADD_FAILURE() << line; }});
  }

  std::int32_t FindCode(const std::string& name) {
    EntryRef found;
    return Catch([&] { Check(volume_->Find(nullptr, name, found)); }).code();
  }
  void MakeDirectory(const std::string& name) {
    EntryRef made;
    EXPECT_EQ(volume_->MakeDirectory(nullptr, name, made).code(), 0);
  }
  /// Looks at all entries, but at no more than `most`.
  int Walk(int most) {
    ::PRIVATE_ExamineDirContext context{};
    EntryRef found;
    common::ObjectInfo info;
    int count = 0;
    while (count < most && !volume_->Next(volume_->root(), context, found, info)) ++count;
    return count;
  }
  std::size_t Readings() const { return volume_->counters().readings; }

  /// Where most hosts have a tmpfs that everybody may use: a disk takes its time for so many.
  static fs::path Where() {
    return ::access("/dev/shm", W_OK) == 0 ? fs::path("/dev/shm") : fs::temp_directory_path();
  }

  TemporaryDirectory directory_{Where()};
  std::unique_ptr<Volume> volume_;
};

TEST_F(LargeDirectoryTest, IsReadOnceForManyLooksAndChanges) {
  // The second at the latest is believed: the first may be in the tick of the last change.
  MakeDirectory("first");
  const auto start = std::chrono::steady_clock::now();
  const std::size_t before = Readings();
  for (int i = 0; i < 300; ++i) {
    const std::string number = std::to_string(i);
    EXPECT_EQ(FindCode("missing" + number), ERROR_OBJECT_NOT_FOUND);
    EXPECT_EQ(FindCode("nAME" + number), 0);
    EXPECT_EQ(FindCode("Name" + number), 0);
    MakeDirectory("made" + number);
    EXPECT_EQ(FindCode("MADE" + number), 0);
  }
  for (int i = 0; i < 10; ++i) EXPECT_EQ(Walk(3), 3);
  EXPECT_EQ(Walk(kLarge * 2), kLarge + 301);
  // Once, and again for each second that this machine took.
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_LE(Readings() - before, 2U + static_cast<std::size_t>(took / std::chrono::seconds(1)));
  PutEmpty(directory_.path() / "THEIRS");
  EXPECT_EQ(FindCode("theirs"), 0);
}

}  // namespace
}  // namespace quorle::hostdir
