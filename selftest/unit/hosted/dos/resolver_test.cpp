#include "hosted/dos/resolver.h"

#include <gtest/gtest.h>

#include <string>

#include "hosted/calls/mount.h"
#include "hosted/dos/dos_list.h"
#include "platform/constants.h"
#include "selftest/unit/hosted/calls/recording_handler.h"
#include "selftest/unit/hosted/tree_handler.h"

namespace quorle {
namespace {

constexpr const char* kTree =
    "a/;a/b/;a/b/deep;a/file;x/;"
    "to_a>a;to_file>a/file;to_root>:;to_other>OTHER:there;to_volume>Other Disk:;"
    "a/up>/x;a/self>self;a/sideways>b;dangling>nowhere;empty>;trailing>a/;to_parent>/";

/// What a handler would be asked: the directory's name ("" for the root), the last component, and
/// the device; or the error code.
class ResolverTest : public ::testing::Test {
 protected:
  ResolverTest() {
    main_ = Mount("MAIN", {{"tree", kTree}, {"volume", "Main Disk"}});
    other_ = Mount("OTHER", {{"tree", "there/;back>MAIN:a"}, {"volume", "Other Disk"}});
    EXPECT_TRUE(list_.AddDevice(nil_));
    EXPECT_TRUE(list_.AddDevice(*main_));
    EXPECT_TRUE(list_.AddDevice(*other_));
    assign_ = LockOf(*main_, "a");
    EXPECT_TRUE(list_.AddAssign("ASSIGN", *main_, assign_));
    start_ = {main_.get(), nullptr};
  }

  ~ResolverTest() override {
    UnLock(*main_, assign_);
    EXPECT_EQ(LiveLocks(*main_), 0U);
    EXPECT_EQ(LiveLocks(*other_), 0U);
  }

  std::unique_ptr<HandlerPort> Mount(const char* device, const MountKeys& keys) {
    std::string problem;
    auto port = MountHandler(TreeHandler(), {.device_name = device, .keys = keys}, clock_, problem);
    EXPECT_NE(port, nullptr) << problem;
    return port;
  }

  static ::Lock* LockOf(HandlerPort& port, const char* name) {
    std::int32_t res2 = 0;
    ::Lock* const lock = port.Lock(res2, nullptr, name, SHARED_LOCK);
    EXPECT_NE(lock, nullptr);
    return lock;
  }

  static void UnLock(HandlerPort& port, ::Lock* lock) {
    std::int32_t res2 = 0;
    port.UnLock(res2, lock);
  }

  /// A component as deep in the tree as its number of parents says.
  static int DepthOf(const ResolvedName& at) {
    int depth = 0;
    std::int32_t res2 = 0;
    ::Lock* lock = at.directory();
    while (lock != nullptr) {
      ::Lock* const parent = at.port().ParentDir(res2, lock);
      if (lock != at.directory()) UnLock(at.port(), lock);
      lock = parent;
      if (parent != nullptr) ++depth;
    }
    return depth;
  }

  std::string Resolved(const std::string& name) {
    ResolvedName at(list_, start_);
    if (!at.Resolve(name)) return std::to_string(at.error());
    return Shown(at);
  }

  static std::string Shown(const ResolvedName& at) {
    return at.port().device_name() + "+" + std::to_string(DepthOf(at)) + " " + at.leaf();
  }

  /// The name, and on to what it leads to when it is a link.
  std::string Followed(const std::string& name) {
    ResolvedName at(list_, start_);
    if (!at.Resolve(name)) return std::to_string(at.error());
    for (;;) {
      std::int32_t res2 = 0;
      ::Lock* const lock = at.port().Lock(res2, at.directory(), at.leaf(), SHARED_LOCK);
      if (lock != nullptr) UnLock(at.port(), lock);
      if (res2 != ERROR_IS_SOFT_LINK) {
        return Shown(at) + (lock == nullptr ? " " + std::to_string(res2) : "");
      }
      if (!at.FollowLink()) return std::to_string(at.error());
    }
  }

  FixedClock clock_;
  HandlerPort nil_{"NIL"};
  std::unique_ptr<HandlerPort> main_;
  std::unique_ptr<HandlerPort> other_;
  DosList list_;
  ::Lock* assign_ = nullptr;
  PortObject start_;
};

TEST_F(ResolverTest, RelativeNamesStartWhereTheCallerSays) {
  EXPECT_EQ(Resolved("file"), "MAIN+0 file");
  EXPECT_EQ(Resolved("a/file"), "MAIN+1 file");
  EXPECT_EQ(Resolved("a/b/deep"), "MAIN+2 deep");
  start_.lock = assign_;
  EXPECT_EQ(Resolved("file"), "MAIN+1 file");
  EXPECT_EQ(Resolved("b/deep"), "MAIN+2 deep");
}

TEST_F(ResolverTest, TheEmptyNameIsTheStartItself) {
  EXPECT_EQ(Resolved(""), "MAIN+0 ");
  start_.lock = assign_;
  EXPECT_EQ(Resolved(""), "MAIN+1 ");
}

TEST_F(ResolverTest, NoLockIsTakenForASingleComponent) {
  const std::size_t before = GrantedLocks(*main_);
  ResolvedName at(list_, start_);
  EXPECT_TRUE(at.Resolve("a"));
  EXPECT_EQ(GrantedLocks(*main_), before);
  EXPECT_EQ(at.directory(), nullptr);
}

TEST_F(ResolverTest, AColonAloneIsTheRootOfTheVolume) {
  start_.lock = assign_;
  EXPECT_EQ(Resolved(":"), "MAIN+0 ");
  EXPECT_EQ(Resolved(":x"), "MAIN+0 x");
  EXPECT_EQ(Resolved(":a/b/deep"), "MAIN+2 deep");
}

TEST_F(ResolverTest, DevicesVolumesAndAssigns) {
  EXPECT_EQ(Resolved("OTHER:"), "OTHER+0 ");
  EXPECT_EQ(Resolved("OTHER:there"), "OTHER+0 there");
  EXPECT_EQ(Resolved("Other Disk:there/x"), "OTHER+1 x");
  EXPECT_EQ(Resolved("ASSIGN:"), "MAIN+1 ");
  EXPECT_EQ(Resolved("ASSIGN:b/deep"), "MAIN+2 deep");
  EXPECT_EQ(Resolved("ASSIGN:/x"), "MAIN+0 x");
}

TEST_F(ResolverTest, CaseIsIgnored) {
  EXPECT_EQ(Resolved("other:THERE"), "OTHER+0 THERE");
  EXPECT_EQ(Resolved("OTHER DISK:"), "OTHER+0 ");
  EXPECT_EQ(Resolved("assign:B/Deep"), "MAIN+2 Deep");
}

TEST_F(ResolverTest, AnUnknownDeviceIsNotMounted) {
  EXPECT_EQ(Resolved("NOWHERE:"), "218");
  EXPECT_EQ(Resolved("NOWHERE:a/b"), "218");
  EXPECT_EQ(Resolved(std::string(300, 'x') + ":"), "218");
}

TEST_F(ResolverTest, EverythingUpToTheFirstColonNamesTheDevice) {
  EXPECT_EQ(Resolved("a/b:c"), "218");
  // A later colon is the handler's to judge.
  EXPECT_EQ(Resolved("OTHER:x:y"), "OTHER+0 x:y");
}

TEST_F(ResolverTest, ASlashInFrontOrDoubledIsTheParent) {
  start_.lock = assign_;
  EXPECT_EQ(Resolved("/"), "MAIN+0 ");
  EXPECT_EQ(Resolved("/x"), "MAIN+0 x");
  EXPECT_EQ(Resolved("b//file"), "MAIN+1 file");
  EXPECT_EQ(Resolved("b///x"), "MAIN+0 x");
  EXPECT_EQ(Resolved(":a/b///x//a/b/deep"), "MAIN+2 deep");
}

TEST_F(ResolverTest, TheRootHasNoParent) {
  EXPECT_EQ(Resolved("/"), "205");
  EXPECT_EQ(Resolved(":/"), "205");
  EXPECT_EQ(Resolved("a///x"), "205");
  EXPECT_EQ(Resolved("MAIN:/x"), "205");
  ::Lock* const root = LockOf(*main_, "");
  start_.lock = root;
  EXPECT_EQ(Resolved("/"), "205");
  EXPECT_EQ(Resolved("x"), "MAIN+0 x");
  UnLock(*main_, root);
}

TEST_F(ResolverTest, ATrailingSlashIsTheDirectoryItself) {
  EXPECT_EQ(Resolved("a/"), "MAIN+1 ");
  EXPECT_EQ(Resolved("a/b/"), "MAIN+2 ");
}

TEST_F(ResolverTest, ANameMayStartAtAFile) {
  std::int32_t res2 = 0;
  ::Lock* const inside = main_->Lock(res2, assign_, "file", SHARED_LOCK);
  ASSERT_NE(inside, nullptr);
  start_.lock = inside;
  EXPECT_EQ(Resolved(""), "MAIN+2 ");   // the file itself
  EXPECT_EQ(Resolved("/"), "MAIN+1 ");  // its directory
  EXPECT_EQ(Resolved("/b/deep"), "MAIN+2 deep");
  EXPECT_EQ(Resolved("more/x"), "212");  // as the handler says
  UnLock(*main_, inside);
}

TEST_F(ResolverTest, MissingDirectoriesGiveTheHandlersCode) {
  EXPECT_EQ(Resolved("missing/x"), "205");
  EXPECT_EQ(Resolved("a/file/x"), "MAIN+2 x");  // asking for x is up to the caller
  EXPECT_EQ(Resolved("a/file/x/y"), "212");
}

TEST_F(ResolverTest, LinksOnTheWayAreFollowed) {
  EXPECT_EQ(Resolved("to_a/b/deep"), "MAIN+2 deep");
  EXPECT_EQ(Resolved("to_root/a/file"), "MAIN+1 file");
  EXPECT_EQ(Resolved("to_other/x"), "OTHER+1 x");
  EXPECT_EQ(Resolved("to_volume/there/x"), "OTHER+1 x");
  EXPECT_EQ(Resolved("to_volume/back/file"), "MAIN+1 file");
  EXPECT_EQ(Resolved("a/sideways/deep"), "MAIN+2 deep");
  EXPECT_EQ(Resolved("trailing/file"), "MAIN+1 file");
  EXPECT_EQ(Resolved("to_a//x"), "MAIN+0 x");
  EXPECT_EQ(Resolved("to_a/"), "MAIN+1 ");
}

TEST_F(ResolverTest, TheLastComponentIsLeftToTheCaller) {
  EXPECT_EQ(Resolved("to_a"), "MAIN+0 to_a");
  EXPECT_EQ(Resolved("a/up"), "MAIN+1 up");
}

TEST_F(ResolverTest, TargetsAreRelativeToTheDirectoryOfTheLink) {
  start_.lock = assign_;
  EXPECT_EQ(Followed(":to_a"), "MAIN+0 a");
  EXPECT_EQ(Followed("sideways"), "MAIN+1 b");
  EXPECT_EQ(Followed("up"), "MAIN+0 x");
  EXPECT_EQ(Followed(":to_file"), "MAIN+1 file");
  EXPECT_EQ(Followed(":to_root"), "MAIN+0 ");
  EXPECT_EQ(Followed("OTHER:back"), "MAIN+0 a");
  EXPECT_EQ(Followed(":trailing"), "MAIN+1 ");
  EXPECT_EQ(Followed(":empty"), "MAIN+0 ");
}

TEST_F(ResolverTest, WhatALinkLeadsToMayBeMissing) {
  EXPECT_EQ(Followed("dangling"), "MAIN+0 nowhere 205");
  EXPECT_EQ(Resolved("dangling/x"), "205");
  EXPECT_EQ(Followed("to_parent"), "205");
}

TEST_F(ResolverTest, ALinkToItselfEndsAfterFifteenHops) {
  EXPECT_EQ(Followed("a/self"), "217");
  EXPECT_EQ(Resolved("a/self/x"), "217");
}

TEST_F(ResolverTest, FifteenLinksAreFollowedAndSixteenAreNot) {
  std::string tree = "end/";
  std::string previous = "end";
  for (int i = 1; i <= 16; ++i) {
    const std::string link = "l" + std::to_string(i);
    tree += ";" + link + ">" + previous;
    previous = link;
  }
  const auto chain = Mount("CHAIN", {{"tree", tree}});
  ASSERT_TRUE(list_.AddDevice(*chain));
  EXPECT_EQ(Followed("CHAIN:l15"), "CHAIN+0 end");
  EXPECT_EQ(Followed("CHAIN:l16"), "217");
  EXPECT_EQ(Resolved("CHAIN:l15/x"), "CHAIN+1 x");
  EXPECT_EQ(Resolved("CHAIN:l16/x"), "217");
  EXPECT_EQ(LiveLocks(*chain), 0U);
  list_.RemoveDevice(*chain);
}

TEST_F(ResolverTest, LinksOfOnePathCountTogether) {
  std::string path = "MAIN:";
  for (int i = 0; i < 15; ++i) path += "to_a//";
  EXPECT_EQ(Resolved(path + "x"), "MAIN+0 x");
  EXPECT_EQ(Resolved(path + "to_a/file"), "217");
}

TEST_F(ResolverTest, ALongTargetIsReadWhole) {
  std::string target;
  for (int i = 0; i < 2000; ++i) target += "a//";
  target += "a/file";
  const auto port = Mount("LONG", {{"tree", "a/;a/file;long>" + target}});
  ASSERT_TRUE(list_.AddDevice(*port));
  EXPECT_EQ(Followed("LONG:long"), "LONG+1 file");
  EXPECT_EQ(LiveLocks(*port), 0U);
  list_.RemoveDevice(*port);
}

TEST_F(ResolverTest, ATargetBeyond64KiBIsRefused) {
  const auto port = Mount("HUGE", {{"tree", "huge>" + std::string(70000, 'h')}});
  ASSERT_TRUE(list_.AddDevice(*port));
  EXPECT_EQ(Followed("HUGE:huge"), "210");
  list_.RemoveDevice(*port);
}

TEST_F(ResolverTest, AComponentHasAtMost255Bytes) {
  const std::string longest(255, 'n');
  const std::string longer(256, 'n');
  EXPECT_EQ(Resolved(longest), "MAIN+0 " + longest);
  EXPECT_EQ(Resolved(longer), "210");
  EXPECT_EQ(Resolved(longer + "/x"), "210");
  EXPECT_EQ(Resolved("a/" + longer), "210");
  EXPECT_EQ(Resolved(longest + "/x"), "205");
}

TEST_F(ResolverTest, APathMayBeLong) {
  std::string path;
  for (int i = 0; i < 1000; ++i) path += "a//";
  EXPECT_EQ(Resolved(path + "a/file"), "MAIN+1 file");
}

TEST_F(ResolverTest, WithoutAStartOnlyAbsoluteNamesResolve) {
  start_ = {};
  EXPECT_EQ(Resolved("a"), "211");
  EXPECT_EQ(Resolved(""), "211");
  EXPECT_EQ(Resolved(":a"), "211");
  EXPECT_EQ(Resolved("MAIN:a/file"), "MAIN+1 file");
}

TEST_F(ResolverTest, ADeviceWithoutAFilesystemKnowsNoCall) {
  EXPECT_EQ(Resolved("NIL:"), "NIL+0 ");
  EXPECT_EQ(Resolved("NIL:a/b"), "209");
}

}  // namespace
}  // namespace quorle
