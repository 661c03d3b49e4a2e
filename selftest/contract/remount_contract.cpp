#include <string>
#include <string_view>
#include <vector>

#include "hosted/dos/volume_listing.h"
#include "selftest/contract/contract_test.h"

namespace quorle::selftest {
namespace {

/// What a volume has when it is unmounted it has when it is mounted again, whoever keeps it meanwhile.
TEST_P(ContractTest, TheVolumeOutlivesAnUnmount) {
  MakeDirectory("dir");
  MakeFile("dir/file", "text");
  MakeFile("other", "more text");
  MakeSoftLink("soft", "dir/file");
  EXPECT_TRUE(dos().SetComment("other", "a comment"));
  EXPECT_TRUE(dos().SetDate("dir", {kLongAgo, 12, 34}));
  EXPECT_TRUE(dos().SetDate("DH0:", {kLongAgo, 56, 78}));
  Protect("other", EXDF_NO_DELETE);
  HandlerPort& handler = *machine().list().Find("DH0").port;
  const VolumeListing before = ListVolume(handler, {});
  EXPECT_EQ(before.objects.size(), 4U);
  EXPECT_EQ(before.volume_name, "Subject Disk");

  EXPECT_EQ(machine().dos().ReleasePort(handler, root()), OpenObjects{});
  handler.UnmountForNow();
  EXPECT_EQ(LockCode("DH0:other", SHARED_LOCK), ERROR_DEVICE_NOT_MOUNTED);
  std::string problem;
  ASSERT_TRUE(handler.MountAgain(problem)) << problem;
  ASSERT_EQ(machine().dos().LockRootAgain(handler, root()), 0);

  const std::vector<std::string> lines = CompareListings(handler, before, ListVolume(handler, {}));
  const char* const isolate = GetParam().isolate;
  const bool has_new_process = isolate != nullptr && isolate == std::string_view("yes");
  if (has_new_process) {
    // What a process has in memory ends with it.
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "dir is missing");
    MakeDirectory("dir");
  } else {
    EXPECT_EQ(lines, std::vector<std::string>{});
    EXPECT_EQ(ContentOf("dir/file"), "text");
  }
  EXPECT_EQ(LockCode("dir", SHARED_LOCK), 0) << "the current directory is there again";
  EXPECT_EQ(LockCode("Subject Disk:dir", SHARED_LOCK), 0);
}

}  // namespace
}  // namespace quorle::selftest
