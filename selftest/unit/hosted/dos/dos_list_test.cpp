#include "hosted/dos/dos_list.h"

#include <gtest/gtest.h>

#include <string>

#include "hosted/calls/mount.h"
#include "hosted/dos/latin1.h"
#include "selftest/unit/hosted/calls/recording_handler.h"
#include "selftest/unit/hosted/tree_handler.h"

namespace quorle {
namespace {

class DosListTest : public ::testing::Test {
 protected:
  std::unique_ptr<HandlerPort> Mount(const char* device, const char* volume) {
    std::string problem;
    MountKeys keys;
    if (volume != nullptr) keys.emplace_back("volume", volume);
    auto port = MountHandler(TreeHandler(), {.device_name = device, .keys = keys}, clock_, problem);
    EXPECT_NE(port, nullptr) << problem;
    return port;
  }

  FixedClock clock_;
  DosList list_;
};

TEST_F(DosListTest, FindsDevicesAndTheirVolumes) {
  const auto port = Mount("DH0", "Work");
  ASSERT_TRUE(list_.AddDevice(*port));
  EXPECT_EQ(list_.Find("DH0").port, port.get());
  EXPECT_EQ(list_.Find("Work").port, port.get());
  EXPECT_EQ(list_.Find("Work").lock, nullptr);
  EXPECT_EQ(list_.Find("DH1").port, nullptr);
  EXPECT_EQ(list_.Find("").port, nullptr);
}

TEST_F(DosListTest, CaseIsIgnoredInLatin1) {
  const auto port = Mount("DH0", "Pl\xe4tze \xff");
  ASSERT_TRUE(list_.AddDevice(*port));
  EXPECT_EQ(list_.Find("dh0").port, port.get());
  EXPECT_EQ(list_.Find("PL\xc4TZE \xff").port, port.get());
  EXPECT_EQ(list_.Find("PL\xc4TZE \xdf").port, nullptr);
}

TEST_F(DosListTest, AssignsLeadToTheirLock) {
  const auto port = Mount("DH0", nullptr);
  ::Lock lock{};
  ASSERT_TRUE(list_.AddDevice(*port));
  ASSERT_TRUE(list_.AddAssign("Libs", *port, &lock));
  EXPECT_EQ(list_.Find("LIBS").port, port.get());
  EXPECT_EQ(list_.Find("LIBS").lock, &lock);
}

TEST_F(DosListTest, ADeviceClashesWithEveryName) {
  const auto first = Mount("DH0", "Work");
  const auto same_device = Mount("dh0", nullptr);
  const auto called_like_volume = Mount("WORK", nullptr);
  const auto volume_like_device = Mount("DH2", "DH0");
  const auto volume_like_volume = Mount("DH3", "WORK");
  const auto volume_like_itself = Mount("DH4", "dh4");
  ::Lock lock{};
  ASSERT_TRUE(list_.AddDevice(*first));
  EXPECT_FALSE(list_.AddDevice(*same_device));
  EXPECT_FALSE(list_.AddDevice(*called_like_volume));
  EXPECT_FALSE(list_.AddDevice(*volume_like_device));
  EXPECT_FALSE(list_.AddDevice(*volume_like_volume));
  EXPECT_FALSE(list_.AddDevice(*volume_like_itself));
  EXPECT_FALSE(list_.AddAssign("Dh0", *first, &lock));
  EXPECT_FALSE(list_.AddAssign("work", *first, &lock));
  EXPECT_TRUE(list_.AddAssign("Libs", *first, &lock));
  EXPECT_FALSE(list_.AddAssign("LIBS", *first, &lock));
  EXPECT_EQ(list_.devices().size(), 1U);
}

TEST_F(DosListTest, AVolumeMayKeepItsName) {
  const auto port = Mount("DH0", "Work");
  ASSERT_TRUE(list_.AddDevice(*port));
  EXPECT_TRUE(list_.IsTaken("Work"));
  EXPECT_FALSE(list_.IsTaken("WORK", port->port()));
  EXPECT_TRUE(list_.IsTaken("DH0", port->port()));
}

TEST_F(DosListTest, NamesWithColonSlashOrNothingAreNone) {
  const auto port = Mount("DH0", nullptr);
  ::Lock lock{};
  EXPECT_FALSE(list_.AddAssign("a:", *port, &lock));
  EXPECT_FALSE(list_.AddAssign("a/b", *port, &lock));
  EXPECT_FALSE(list_.AddAssign("", *port, &lock));
}

TEST_F(DosListTest, TheHomeIsTheFirstFilesystem) {
  EXPECT_EQ(list_.home(), nullptr);
  HandlerPort nil("NIL");
  const auto first = Mount("DH0", nullptr);
  const auto second = Mount("DH1", nullptr);
  ASSERT_TRUE(list_.AddDevice(nil));
  EXPECT_EQ(list_.home(), nullptr);
  ASSERT_TRUE(list_.AddDevice(*first));
  ASSERT_TRUE(list_.AddDevice(*second));
  EXPECT_EQ(list_.home(), first.get());
}

TEST_F(DosListTest, ARemovedDeviceTakesItsAssignsAlong) {
  const auto first = Mount("DH0", "Work");
  const auto second = Mount("DH1", nullptr);
  ASSERT_TRUE(list_.AddDevice(*first));
  ASSERT_TRUE(list_.AddDevice(*second));
  ASSERT_TRUE(list_.AddAssign("A", *first, nullptr));
  ASSERT_TRUE(list_.AddAssign("B", *second, nullptr));
  list_.RemoveDevice(*first);
  EXPECT_EQ(list_.Find("DH0").port, nullptr);
  EXPECT_EQ(list_.Find("Work").port, nullptr);
  EXPECT_EQ(list_.Find("A").port, nullptr);
  EXPECT_EQ(list_.Find("B").port, second.get());
}

TEST(Latin1Test, FoldsTheLettersOfBothHalves) {
  EXPECT_EQ(ToUpperLatin1('a'), 'A');
  EXPECT_EQ(ToUpperLatin1('z'), 'Z');
  EXPECT_EQ(ToUpperLatin1('{'), '{');
  EXPECT_EQ(ToUpperLatin1('`'), '`');
  EXPECT_EQ(ToUpperLatin1('\xe0'), '\xc0');
  EXPECT_EQ(ToUpperLatin1('\xfe'), '\xde');
  EXPECT_EQ(ToUpperLatin1('\xf7'), '\xf7');
  EXPECT_EQ(ToUpperLatin1('\xff'), '\xff');
  EXPECT_EQ(ToUpperLatin1('\xdf'), '\xdf');
}

TEST(Latin1Test, ComparesAsUnsignedAndByLength) {
  EXPECT_EQ(CompareLatin1("Abc", "aBC"), 0);
  EXPECT_LT(CompareLatin1("ab", "abc"), 0);
  EXPECT_GT(CompareLatin1("abc", "ab"), 0);
  EXPECT_LT(CompareLatin1("z", "\xe4"), 0);
  EXPECT_LT(CompareLatin1("", "a"), 0);
  EXPECT_EQ(CompareLatin1("", ""), 0);
}

}  // namespace
}  // namespace quorle
