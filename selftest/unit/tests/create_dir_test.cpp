#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "harness/run_listener.h"
#include "selftest/support/test_bench.h"
#include "tests/groups.h"

namespace quorle {
namespace {

using selftest::TestBench;

/// Runs the group as if the target had no root lock, which the runner never does. Returns the calls
/// that would make a directory.
int DirectoriesAskedFor(const char* dos_version) {
  TestBench bench({"--dos-version", dos_version, "RAM:"});
  TestContext& ctx = bench.Context();
  const LockHandle root = ctx.root_lock;
  ctx.root_lock = {};
  SilentListener listener;
  EXPECT_EQ(RunTestGroup(ctx, kCreateDirGroup, listener), RETURN_ERROR);
  ctx.root_lock = root;
  int asked = 0;
  for (const nlohmann::json& call : bench.TakeTrace()) {
    asked += call["op"] == "DoPkt" || call["op"] == "CreateDir" ? 1 : 0;
  }
  return asked;
}

TEST(CreateDirTest, NothingIsMadeWithoutATarget) {
  EXPECT_EQ(DirectoriesAskedFor("53.113"), 0);
  EXPECT_EQ(DirectoriesAskedFor("53.112"), 0);
}

}  // namespace
}  // namespace quorle
