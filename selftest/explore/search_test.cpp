#include "explore/search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "selftest/support/two_devices.h"

// What a search makes of what it finds.

namespace quorle::selftest {
namespace {

using explore::Finding;

/// Makes a directory on the device behind the back of the search, once.
class MeddlesOnce final : public explore::CallObserver {
 public:
  explicit MeddlesOnce(TwoDevices& devices) : devices_(devices) {}

  void OnCall(const explore::Call&, const explore::Outcome&, const explore::Outcome&) override {
    if (++calls_ != 30) return;
    DosInterface& dos = devices_.device().dos();
    const LockHandle made = dos.CreateDir("DH0:meddled");
    EXPECT_TRUE(made);
    dos.UnLock(made);
  }

 private:
  TwoDevices& devices_;
  int calls_ = 0;
};

TEST(Search, OfWhatDoesNotComeAgainBothRunsAreShown) {
  TwoDevices devices("ram");
  MeddlesOnce meddler(devices);
  explore::Trial& trial = devices.Start({}, &meddler);
  std::vector<Finding> found;
  explore::SearchSettings settings;
  settings.last_seed = 1;
  explore::Search search(
      trial, settings, [&](const Finding& finding, bool) { found.push_back(finding); },
      [](std::uint64_t) { return false; });
  search.Run();
  ASSERT_EQ(found.size(), 1U);
  EXPECT_FALSE(found[0].comes_again);
  const explore::Difference& difference = found[0].difference;
  EXPECT_EQ(difference.rule, "tree");
  ASSERT_EQ(difference.calls.size(), 50U);
  // What has no result, as UnLock(), has none here.
  EXPECT_GT(
      std::ranges::count_if(difference.calls,
                            [](const explore::ShownCall& shown) { return !shown.device.empty(); }),
      25);
  ASSERT_EQ(difference.then.size(), 2U);
  EXPECT_EQ(difference.then[0], "left \"meddled\"; reference: nothing");
  EXPECT_EQ(difference.then[1].find("the second time "), 0U) << difference.then[1];
}

}  // namespace
}  // namespace quorle::selftest
