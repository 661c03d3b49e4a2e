#include <gtest/gtest.h>

#include "selftest/unit/hosted/calls/classic_fallback_fixture.h"

// Scans of a directory by classic packets.

namespace quorle {
namespace {

/// A directory with entries "1", "2" and so on; the place in it is kept in the block.
class ClassicScanTest : public ClassicFallbackTest {
 protected:
  ClassicScanTest() {
    Fill(QUORLE_ACTION_EXAMINE_OBJECT, [](::FileInfoBlock& block) {
      block.fib_DirEntryType = ST_USERDIR;
      block.fib_DiskKey = 0;
    });
    script.answers[QUORLE_ACTION_EXAMINE_NEXT] = [this](::DosPacket& packet) {
      ::FileInfoBlock& block = PacketScript::BlockOf(packet);
      if (block.fib_DiskKey == entries) {
        return PacketScript::Answer(packet, 0, ERROR_NO_MORE_ENTRIES);
      }
      ++block.fib_DiskKey;
      block.fib_DirEntryType = ST_FILE;
      PacketScript::SetText(block.fib_FileName, std::to_string(block.fib_DiskKey));
      PacketScript::Answer(packet, kDosTrue);
    };
  }
  /// The name of the next entry; empty at the end.
  std::string Next(::PRIVATE_ExamineDirContext& context) {
    if (!port->ExamineDir(res2, context)) return {};
    std::string name = context.Entry->Name;
    port->FreeExamineData(std::exchange(context.Entry, nullptr));
    return name;
  }

  std::int32_t entries = 3;
};

TEST_F(ClassicScanTest, OneBlockGoesThroughTheWholeScan) {
  Mount();
  scan.Directory = MustLock();
  for (const char* const name : {"1", "2", "3"}) EXPECT_EQ(Next(scan), name);
  EXPECT_EQ(Next(scan), "");
  EXPECT_EQ(res2, ERROR_NO_MORE_ENTRIES);
  EXPECT_EQ(script.sent, (Actions{QUORLE_ACTION_EXAMINEDATA_DIR, QUORLE_ACTION_EXAMINE_OBJECT,
                                  QUORLE_ACTION_EXAMINE_NEXT, QUORLE_ACTION_EXAMINE_NEXT,
                                  QUORLE_ACTION_EXAMINE_NEXT, QUORLE_ACTION_EXAMINE_NEXT}));
  for (std::size_t i = 2; i < script.words.size(); ++i) {
    EXPECT_EQ(script.words[i], script.words[1]) << i;
  }
  Forget();
  EXPECT_EQ(Next(scan), "") << "what is over stays over";
  EXPECT_EQ(res2, ERROR_NO_MORE_ENTRIES);
  EXPECT_TRUE(script.sent.empty());
}

TEST_F(ClassicScanTest, ASecondScanOfADirectoryHasALockOfItsOwn) {
  Mount();
  scan.Directory = MustLock();
  EXPECT_EQ(Next(scan), "1");
  Forget();
  ::PRIVATE_ExamineDirContext second{};
  second.Directory = scan.Directory;
  EXPECT_EQ(Next(second), "1");
  EXPECT_EQ(script.sent, (Actions{QUORLE_ACTION_COPY_LOCK, QUORLE_ACTION_EXAMINE_OBJECT,
                                  QUORLE_ACTION_EXAMINE_NEXT}));
  EXPECT_NE(script.words[1][0], calls::ToWord(scan.Directory));
  EXPECT_EQ(Next(scan), "2");
  EXPECT_EQ(Next(second), "2");
  EXPECT_EQ(script.locks.size(), 2U);
  port->EndDir(second);
  EXPECT_EQ(script.locks.size(), 1U);
  EXPECT_EQ(Next(scan), "3");
}

TEST_F(ClassicScanTest, ASecondScanThatCannotHaveALockFails) {
  Mount();
  scan.Directory = MustLock();
  EXPECT_EQ(Next(scan), "1");
  Give(QUORLE_ACTION_COPY_LOCK, 0, ERROR_OBJECT_IN_USE);
  ::PRIVATE_ExamineDirContext second{};
  second.Directory = scan.Directory;
  EXPECT_EQ(Next(second), "");
  EXPECT_EQ(res2, ERROR_OBJECT_IN_USE);
  EXPECT_EQ(Next(scan), "2");
}

TEST_F(ClassicScanTest, AScanThatIsGivenUpIsForgotten) {
  Mount();
  scan.Directory = MustLock();
  EXPECT_EQ(Next(scan), "1");
  port->EndDir(scan);
  Forget();
  scan.FSPrivate[0] = 0;
  EXPECT_EQ(Next(scan), "1");
  EXPECT_EQ(script.sent, (Actions{QUORLE_ACTION_EXAMINE_OBJECT, QUORLE_ACTION_EXAMINE_NEXT}))
      << "no second lock: the first scan is over";
}

TEST_F(ClassicScanTest, AScanEndsWithItsLock) {
  Mount();
  ::Lock* const lock = MustLock();
  scan.Directory = lock;
  EXPECT_EQ(Next(scan), "1");
  ::PRIVATE_ExamineDirContext second{};
  second.Directory = lock;
  EXPECT_EQ(Next(second), "1");
  locks.erase(lock);
  EXPECT_TRUE(port->UnLock(res2, lock));
  EXPECT_TRUE(script.locks.empty()) << "that of the second scan too";
  EXPECT_EQ(Next(second), "");
  EXPECT_EQ(res2, ERROR_INVALID_LOCK);
}

TEST_F(ClassicScanTest, AScanEndsWithTheMount) {
  Mount();
  ::Lock* const lock = MustLock();
  scan.Directory = lock;
  EXPECT_EQ(Next(scan), "1");
  ::PRIVATE_ExamineDirContext second{};
  second.Directory = lock;
  EXPECT_EQ(Next(second), "1");
  locks.clear();
  script.FreeLock(lock);
  EXPECT_TRUE(port->Unmount().empty());
  EXPECT_TRUE(script.locks.empty());
  EXPECT_FALSE(port->ExamineDir(res2, second));
  EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
}

TEST_F(ClassicScanTest, AFileIsNotScanned) {
  Mount();
  Fill(QUORLE_ACTION_EXAMINE_OBJECT, FillFile);
  scan.Directory = MustLock();
  EXPECT_EQ(Next(scan), "");
  EXPECT_EQ(res2, ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(script.sent.back(), QUORLE_ACTION_EXAMINE_OBJECT);
}

TEST_F(ClassicScanTest, AnEntryThatIsNoneEndsTheScan) {
  Mount();
  scan.Directory = MustLock();
  EXPECT_EQ(Next(scan), "1");
  Fill(QUORLE_ACTION_EXAMINE_NEXT, [](::FileInfoBlock& block) { block.fib_FileName[0] = 200; });
  EXPECT_EQ(Next(scan), "");
  EXPECT_EQ(res2, ERROR_BAD_NUMBER);
  ExpectLine("gave a FileInfoBlock with a name of 200 bytes", "ACTION_EXAMINE_NEXT");
  EXPECT_EQ(Next(scan), "");
  EXPECT_EQ(res2, ERROR_NO_MORE_ENTRIES);
}

TEST_F(ClassicScanTest, AnotherScansNumberIsNoPlace) {
  Mount();
  scan.Directory = MustLock();
  EXPECT_EQ(Next(scan), "1");
  ::PRIVATE_ExamineDirContext copy = scan;
  EXPECT_EQ(Next(copy), "1") << "a context is itself alone";
  port->EndDir(copy);
  EXPECT_EQ(Next(scan), "2");
}

}  // namespace
}  // namespace quorle
