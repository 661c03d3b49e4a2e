#include "hosted/dos/hosted_exec.h"

#include <gtest/gtest.h>

#include <cstring>

#include "selftest/unit/hosted/machine_fixture.h"

namespace quorle {
namespace {

class HostedExecTest : public MachineTest {
 protected:
  HostedExec& exec() { return machine_->exec(); }
};

TEST_F(HostedExecTest, AShellStartHasNoMessage) {
  const Process* const process = exec().FindTask(nullptr);
  ASSERT_NE(process, nullptr);
  EXPECT_TRUE(process->cli);
  ASSERT_TRUE(process->port);
  EXPECT_FALSE(exec().GetMsg(process->port));
  EXPECT_EQ(exec().FindTask("other"), nullptr);
}

TEST_F(HostedExecTest, ADesktopStartHasOneMessage) {
  Build({}, {.workbench = true});
  const Process* const process = exec().FindTask(nullptr);
  EXPECT_FALSE(process->cli);
  exec().WaitPort(process->port);
  const MessageHandle message = exec().GetMsg(process->port);
  ASSERT_TRUE(message);
  EXPECT_FALSE(exec().GetMsg(process->port));
  EXPECT_EQ(exec().Balance().messages, 1U);
  exec().ReplyMsg(message);
  EXPECT_EQ(exec().Balance(), ExecBalance{});
  exec().ReplyMsg(message);
  EXPECT_EQ(exec().Balance().wrong_releases, 1U);
}

TEST_F(HostedExecTest, OnlyTheOwnPortHasTheMessage) {
  Build({}, {.workbench = true});
  EXPECT_FALSE(exec().GetMsg({}));
  EXPECT_FALSE(exec().GetMsg(PortOf("DH0:")));
  EXPECT_TRUE(exec().GetMsg(exec().FindTask(nullptr)->port));
}

TEST_F(HostedExecTest, MemoryIsClearedAndTracked) {
  auto* const memory = static_cast<unsigned char*>(exec().AllocVecTags(888));
  ASSERT_NE(memory, nullptr);
  for (int i = 0; i < 888; ++i) ASSERT_EQ(memory[i], 0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % alignof(std::max_align_t), 0U);
  EXPECT_EQ(exec().Balance().allocations, 1U);
  exec().FreeVec(memory);
  EXPECT_EQ(exec().Balance(), ExecBalance{});
}

TEST_F(HostedExecTest, MemoryThatWasNotTakenIsNotFreed) {
  int local = 0;
  exec().FreeVec(&local);
  EXPECT_EQ(exec().Balance().wrong_releases, 1U);
  exec().FreeVec(nullptr);
  EXPECT_EQ(exec().Balance().wrong_releases, 1U);
  EXPECT_EQ(exec().AllocVecTags(0), nullptr);
}

TEST_F(HostedExecTest, WhatIsNotFreedGoesWithTheMachine) {
  // LeakSanitizer watches.
  EXPECT_NE(exec().AllocVecTags(100), nullptr);
}

TEST_F(HostedExecTest, MemoryIsCopied) {
  const char from[] = "0123456789ab";
  char to[13] = "............";
  exec().CopyMem(from, to, 12);
  EXPECT_STREQ(to, from);
  exec().CopyMem("x", to, 0);
  exec().CopyMem(nullptr, nullptr, 0);
  EXPECT_STREQ(to, from);
}

TEST_F(HostedExecTest, LibrariesOpenInTheVersionTheyHave) {
  const Library* const library = exec().OpenLibrary("dos.library", 50);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(library->lib_Version, 53);
  EXPECT_EQ(library->lib_Revision, 113);
  EXPECT_EQ(exec().OpenLibrary("dos.library", 53), library);
  EXPECT_EQ(exec().OpenLibrary("dos.library", 54), nullptr);
  EXPECT_NE(exec().OpenLibrary("utility.library", 50), nullptr);
  EXPECT_EQ(exec().OpenLibrary("DOS.library", 0), nullptr);
  EXPECT_EQ(exec().OpenLibrary("icon.library", 0), nullptr);
  EXPECT_EQ(exec().OpenLibrary(nullptr, 0), nullptr);
  EXPECT_EQ(exec().Balance().libraries, 3);
}

TEST_F(HostedExecTest, DosReportsTheVersionThatItWasGiven) {
  Build({}, {.dos_version = 49, .dos_revision = 7});
  EXPECT_EQ(exec().OpenLibrary("dos.library", 50), nullptr);
  const Library* const library = exec().OpenLibrary("dos.library", 49);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(library->lib_Revision, 7);
  EXPECT_NE(exec().OpenLibrary("utility.library", 50), nullptr);
}

TEST_F(HostedExecTest, EachLibraryGivesItsInterface) {
  const Library* const dos_library = exec().OpenLibrary("dos.library", 50);
  const Library* const utility_library = exec().OpenLibrary("utility.library", 50);
  auto* const dos_interface =
      static_cast<DosInterface*>(exec().GetInterface(dos_library, "main", 1));
  auto* const utility_interface =
      static_cast<UtilityInterface*>(exec().GetInterface(utility_library, "main", 1));
  EXPECT_EQ(dos_interface, &machine_->dos());
  EXPECT_EQ(utility_interface, &machine_->utility());
  EXPECT_EQ(exec().GetInterface(dos_library, "other", 1), nullptr);
  EXPECT_EQ(exec().GetInterface(dos_library, "main", 2), nullptr);
  EXPECT_EQ(exec().GetInterface(dos_library, nullptr, 1), nullptr);
  EXPECT_EQ(exec().GetInterface(nullptr, "main", 1), nullptr);
  EXPECT_EQ(exec().Balance().interfaces, 2);
  exec().DropInterface(dos_interface);
  exec().DropInterface(utility_interface);
  exec().CloseLibrary(dos_library);
  exec().CloseLibrary(utility_library);
  EXPECT_EQ(exec().Balance(), ExecBalance{});
}

TEST_F(HostedExecTest, WrongReleasesAreCountedApart) {
  exec().DropInterface(nullptr);
  exec().CloseLibrary(nullptr);
  EXPECT_EQ(exec().Balance(), ExecBalance{});
  exec().DropInterface(&machine_->dos());
  const Library foreign{1, 1};
  exec().CloseLibrary(&foreign);
  EXPECT_EQ(exec().Balance().wrong_releases, 2U);
  EXPECT_EQ(exec().Balance().libraries, 0);
  EXPECT_EQ(exec().Balance().interfaces, 0);
}

}  // namespace
}  // namespace quorle
