#include "program/left_behind.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "harness/entry.h"
#include "harness/run_listener.h"
#include "platform/intercepting.h"
#include "selftest/support/test_bench.h"
#include "tests/catalogue.h"

namespace quorle::selftest {
namespace {

/// Asks at the end of each sub-test, as the program does.
class AskingListener final : public RunListener {
 public:
  explicit AskingListener(LeftBehind& left_behind) : left_behind_(left_behind) {}

  void OnSubTestEnd(const SubTest& /*sub_test*/, std::int32_t /*status*/) override {
    for (const LeftObject& object : left_behind_.Take()) lines.push_back(object.Line());
  }

  std::vector<std::string> lines;

 private:
  LeftBehind& left_behind_;
};

/// A whole run with the layer over a platform on which calls fail, and what it says.
struct LayeredRun {
  explicit LayeredRun(const std::string& rules, const char* test = "TN=6") {
    TestBench plain({"--mount", "DH0=ram", "DH0:", test}, rules);
    plain.Run();
    TestBench bench({"--mount", "DH0=ram", "DH0:", test}, rules);
    ExecInterface& exec = bench.Begin();
    const Library* const library = exec.OpenLibrary("dos.library", 50);
    auto* const dos = static_cast<DosInterface*>(exec.GetInterface(library, "main", 1));
    LeftBehind left_behind(*dos);
    Interception interception(exec, *dos, {&left_behind});
    AskingListener listener(left_behind);
    quorle::Run(interception.exec(), kStandardCatalogue, listener);
    exec.DropInterface(dos);
    exec.CloseLibrary(library);
    lines = listener.lines;
    EXPECT_EQ(bench.TakeOutput(), plain.TakeOutput()) << "the console";
    EXPECT_EQ(bench.Volumes(), plain.Volumes());
    EXPECT_EQ(bench.StillOpen(false), "");
    is_left = bench.Volumes().find("DH0:FILE01") != std::string::npos;
  }

  std::vector<std::string> lines;
  bool is_left = false;
};

TEST(LeftBehindTest, ARunThatRemovesItsObjectsHasNothingToSay) {
  const LayeredRun run("", "FTN=1");
  EXPECT_EQ(run.lines, std::vector<std::string>());
}

TEST(LeftBehindTest, AnObjectThatCanNeitherBeDeletedNorLockedIsNamed) {
  // The first lock builds the name.
  const LayeredRun run("Delete(FILE01)#1+ fail 103\nLock(FILE01)#2+ fail 103");
  EXPECT_TRUE(run.is_left);
  ASSERT_FALSE(run.lines.empty());
  EXPECT_EQ(run.lines.front(),
            "the object \"FILE01\" may be left behind: it cannot be locked, error 103 not enough "
            "memory available");
}

TEST(LeftBehindTest, WhatCannotBeExaminedEitherMayBeThere) {
  const LayeredRun run("Lock(FILE01)#2+ fail 103\nExamineObject(*,FILE01)#1+ fail 103");
  EXPECT_FALSE(run.is_left);
  EXPECT_FALSE(run.lines.empty());
}

TEST(LeftBehindTest, WhatIsSeenToBeGoneIsNotNamed) {
  const LayeredRun run("Lock(FILE01)#2+ fail 103");
  EXPECT_FALSE(run.is_left);
  EXPECT_EQ(run.lines, std::vector<std::string>());
}

TEST(LeftBehindTest, OfAHandlerThatHasEndedNothingIsSaid) {
  const LayeredRun run(
      "Delete(FILE01)#1+ fail 218\nLock(FILE01)#2+ fail 218\nExamineObject(*,FILE01)#1+ fail 218");
  EXPECT_EQ(run.lines, std::vector<std::string>());
}

TEST(LeftBehindTest, WhatTheTesterNamesItselfIsNotNamedAgain) {
  const LayeredRun run("Delete(FILE01)#1+ fail 103");
  EXPECT_TRUE(run.is_left);
  EXPECT_EQ(run.lines, std::vector<std::string>());
}

TEST(LeftBehindTest, TheErrorCodeStays) {
  TestBench bench({"--mount", "DH0=ram", "DH0:"}, "Lock(FILE01) fail 103");
  DosInterface& dos = *bench.Context().IDOS;
  LeftBehind left_behind(dos);
  Interception interception(*bench.Context().IExec, dos, {&left_behind});
  EXPECT_FALSE(interception.dos().Delete("FILE01"));
  EXPECT_FALSE(interception.dos().Lock("FILE01", SHARED_LOCK));
  dos.SetIoErr(42);
  EXPECT_TRUE(left_behind.Take().empty()) << "there is none";
  EXPECT_EQ(dos.IoErr(), 42);
}

}  // namespace
}  // namespace quorle::selftest
