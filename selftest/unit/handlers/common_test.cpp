#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "handlers/common/dos_error.h"
#include "handlers/common/holders.h"
#include "handlers/common/settings.h"
#include "handlers/common/vectors.h"
#include "hosted/dos/machine.h"
#include "platform/constants.h"
#include "selftest/support/test_bench.h"

// What the built-in filesystems share. What it does for them is looked at in selftest/contract.

namespace quorle::common {
namespace {

// Nothing but an ERROR_... of the platform is one, and no number comes out of one by itself.
static_assert(std::is_convertible_v<decltype(::ERROR_OBJECT_NOT_FOUND), DosError>);
static_assert(!std::is_constructible_v<DosError, int>);
static_assert(!std::is_constructible_v<DosError, std::int64_t>);
static_assert(!std::is_constructible_v<DosError, decltype(::MODE_OLDFILE)>);
static_assert(!std::is_convertible_v<DosError, int>);
static_assert(!std::is_convertible_v<DosError, bool>);

TEST(SettingsTest, TheVersionNumberIsThatOfTheVersionText) {
  const auto number_of = [](const char* text) {
    VolumeSettings settings;
    EXPECT_EQ(ReadCommonKey("version", text, settings), KeyAnswer::kTaken);
    EXPECT_EQ(settings.version, text);
    return settings.version_number;
  };
  constexpr std::uint32_t kOwn = 53U << 16 | 1;
  EXPECT_EQ(number_of("name 54.12 (1.2.2020)"), 54U << 16 | 12);
  EXPECT_EQ(number_of("a name 7 of 2.0"), 2U << 16);
  for (const char* const none :
       {"", "name", "name ", "name 54", "name 54.", "54.12", "name 1e6.1"}) {
    EXPECT_EQ(number_of(none), kOwn) << none;
  }
  EXPECT_EQ(number_of("name 70000.1"), kOwn) << "more than its 16 bits";
}

TEST(DosErrorTest, AnErrorIsTrueAndHasItsCode) {
  EXPECT_FALSE(kNoError);
  EXPECT_EQ(kNoError.code(), 0);
  const DosError error = ::ERROR_OBJECT_IN_USE;
  EXPECT_TRUE(error);
  EXPECT_EQ(error.code(), 202);
  EXPECT_TRUE(error == ::ERROR_OBJECT_IN_USE);
  EXPECT_FALSE(error == ::ERROR_OBJECT_EXISTS);
}

TEST(DosErrorTest, TheFirstErrorCounts) {
  const DosError first = ::ERROR_DISK_FULL;
  const DosError second = ::ERROR_BAD_NUMBER;
  EXPECT_TRUE(first.Or(second) == first);
  EXPECT_TRUE(kNoError.Or(second) == second);
  EXPECT_FALSE(kNoError.Or(kNoError));
}

TEST(DosErrorTest, CheckThrowsAndCatchReturns) {
  const DosError full = ::ERROR_DISK_FULL;
  EXPECT_TRUE(Catch([&] { Check(full); }) == full);
  EXPECT_FALSE(Catch([] { Check(kNoError); }));
  EXPECT_THROW(static_cast<void>(Catch([] { throw std::bad_alloc(); })), std::bad_alloc);
}

TEST(AnswerTest, TakesAnErrorThatIsReturnedOrThrown) {
  std::int32_t res2 = -1;
  EXPECT_EQ(Truth(&res2, [] { return kNoError; }), kTrue);
  EXPECT_EQ(res2, 0);
  EXPECT_EQ(Truth(&res2, [] { return DosError(::ERROR_DISK_FULL); }), kFalse);
  EXPECT_EQ(res2, 221);
  EXPECT_EQ(Truth(&res2, []() -> DosError { throw DosError(::ERROR_SEEK_ERROR); }), kFalse);
  EXPECT_EQ(res2, 219);
  EXPECT_EQ(Truth(&res2, []() -> DosError { throw std::bad_alloc(); }), kFalse);
  EXPECT_EQ(res2, 103) << "a host without memory";
}

TEST(HoldersTest, SharedOnesGoTogether) {
  Holders holders;
  EXPECT_FALSE(holders.any());
  EXPECT_EQ(holders.Take(false).code(), 0);
  EXPECT_EQ(holders.Take(false).code(), 0);
  EXPECT_EQ(holders.Take(true).code(), ERROR_OBJECT_IN_USE);
  holders.Release(false);
  EXPECT_EQ(holders.Take(true).code(), ERROR_OBJECT_IN_USE);
  holders.Release(false);
  EXPECT_FALSE(holders.any());
  EXPECT_EQ(holders.Take(true).code(), 0);
}

TEST(HoldersTest, AnExclusiveOneIsAlone) {
  Holders holders;
  EXPECT_EQ(holders.Take(true).code(), 0);
  EXPECT_TRUE(holders.any());
  EXPECT_EQ(holders.Take(true).code(), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(holders.Take(false).code(), ERROR_OBJECT_IN_USE);
  holders.Release(true);
  EXPECT_FALSE(holders.any());
}

TEST(HoldersTest, OneChangesOverWhenItIsAlone) {
  Holders holders;
  EXPECT_EQ(holders.Take(false).code(), 0);
  EXPECT_EQ(holders.Take(false).code(), 0);
  bool exclusive = false;
  EXPECT_EQ(holders.Change(exclusive, true).code(), ERROR_OBJECT_IN_USE);
  EXPECT_FALSE(exclusive);
  EXPECT_EQ(holders.Change(exclusive, false).code(), 0);
  holders.Release(false);
  EXPECT_EQ(holders.Change(exclusive, true).code(), 0);
  EXPECT_TRUE(exclusive);
  EXPECT_EQ(holders.Take(false).code(), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(holders.Change(exclusive, true).code(), 0);
  EXPECT_EQ(holders.Change(exclusive, false).code(), 0);
  EXPECT_FALSE(exclusive);
  EXPECT_EQ(holders.Take(false).code(), 0);
}

TEST(FindPositionTest, CountsFromTheStartTheMiddleAndTheEnd) {
  std::int64_t found = 0;
  EXPECT_EQ(FindPosition(OFFSET_BEGINNING, 3, 10, 100, found).code(), 0);
  EXPECT_EQ(found, 3);
  EXPECT_EQ(FindPosition(OFFSET_CURRENT, -10, 10, 100, found).code(), 0);
  EXPECT_EQ(found, 0);
  EXPECT_EQ(FindPosition(OFFSET_END, 1, 10, 100, found).code(), 0);
  EXPECT_EQ(found, 101) << "what is behind the end is the caller's to judge";
}

TEST(FindPositionTest, RefusesWhatCannotBe) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  std::int64_t found = 0;
  EXPECT_EQ(FindPosition(OFFSET_BEGINNING, -1, 10, 100, found).code(), ERROR_SEEK_ERROR);
  EXPECT_EQ(FindPosition(OFFSET_CURRENT, -11, 10, 100, found).code(), ERROR_SEEK_ERROR);
  EXPECT_EQ(FindPosition(OFFSET_END, -101, 10, 100, found).code(), ERROR_SEEK_ERROR);
  EXPECT_EQ(FindPosition(OFFSET_CURRENT, kMost, 1, 100, found).code(), ERROR_SEEK_ERROR);
  EXPECT_EQ(FindPosition(2, 0, 10, 100, found).code(), ERROR_BAD_NUMBER);
  EXPECT_EQ(FindPosition(-2, 0, 10, 100, found).code(), ERROR_BAD_NUMBER);
}

/// What dos reports of a volume in memory with room for `size` bytes.
InfoData InfoOf(const std::string& size) {
  selftest::TestBench bench({"--mount", "DH0=ram,size=" + size, "DH0:"});
  InfoData info{};
  EXPECT_TRUE(bench.machine().dos().GetDiskInfo("DH0:", info));
  return info;
}

TEST(VolumePortTest, ReportsTheSpaceInBlocks) {
  const InfoData info = InfoOf("1048576");
  EXPECT_EQ(info.id_BytesPerBlock, 4096U);
  EXPECT_EQ(info.id_NumBlocks, 256U);
  EXPECT_EQ(info.id_NumBlocksUsed, 1U) << "the root";
}

TEST(VolumePortTest, ReportsSpaceThat32BitsCannotCountInLargerBlocks) {
  // 2^31 blocks of 4 KiB: one more than the platform's number holds.
  const InfoData info = InfoOf("0x80000000000");
  EXPECT_EQ(info.id_BytesPerBlock, 8192U);
  EXPECT_EQ(info.id_NumBlocks, 1U << 30);
  const InfoData less = InfoOf("0x7FFFFFFF000");
  EXPECT_EQ(less.id_BytesPerBlock, 4096U);
  EXPECT_EQ(less.id_NumBlocks, 0x7FFFFFFFU);
}

}  // namespace
}  // namespace quorle::common
