#include "calls/classic_packets.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "selftest/examples/classic_handler_test.h"

// examples/classic_handler.c, packet by packet: what dos never sends as well.

namespace quorle::selftest {
namespace {

// As the platform has it, but for the order of bytes: who carries packets to another processor copies it.
static_assert(sizeof(::FileInfoBlock) == 260);
static_assert(offsetof(::FileInfoBlock, fib_FileName) == 8);
static_assert(offsetof(::FileInfoBlock, fib_Protection) == 116);
static_assert(offsetof(::FileInfoBlock, fib_Date) == 132);
static_assert(offsetof(::FileInfoBlock, fib_Comment) == 144);
static_assert(offsetof(::FileInfoBlock, fib_OwnerUID) == 224);
static_assert(offsetof(::FileInfoBlock, fib_OwnerGID) == 226);

constexpr Answer kNotKnown{0, ERROR_ACTION_NOT_KNOWN};

TEST_F(ClassicHandlerTest, KnowsNothingNewer) {
  int newer = 0;
  for (std::int32_t action = 0; action < 10000; ++action) {
    if (!calls::IsNewerPacket(action)) continue;
    ++newer;
    EXPECT_EQ(Send(action), kNotKnown) << action;
  }
  EXPECT_EQ(newer, 13);
  EXPECT_EQ(Send(-1), kNotKnown);
  EXPECT_EQ(Send(0x7FFFFFFF), kNotKnown);
  EXPECT_EQ(QuorleHandler(QUORLE_HANDLER_VERSION - 1), nullptr);
}

TEST_F(ClassicHandlerTest, TheRootCarriesTheNameOfTheVolume) {
  EXPECT_EQ(Plain(Examine("").fib_FileName), "Classic");
  EXPECT_EQ(Examine("").fib_DirEntryType, ST_ROOT);
  const ShortText name("Other");
  EXPECT_EQ(Send(QUORLE_ACTION_RENAME_DISK, {WordOf(&name)}), (Answer{kTrue, 0}));
  EXPECT_EQ(Plain(Examine("").fib_FileName), "Other");
}

TEST_F(ClassicHandlerTest, ABlockShowsWhatIsKnown) {
  MakeFile("file", std::string(600, 'x'));
  const ShortText name("FILE");
  const ShortText comment("said");
  const ::DateStamp date{1, 2, 3};
  Get(QUORLE_ACTION_SET_COMMENT, {0, 0, WordOf(&name), WordOf(&comment)});
  Get(QUORLE_ACTION_SET_DATE, {0, 0, WordOf(&name), WordOf(&date)});
  Get(QUORLE_ACTION_SET_PROTECT, {0, 0, WordOf(&name), 0x1234});
  Get(QUORLE_ACTION_SET_OWNER, {0, 0, WordOf(&name), std::intptr_t{0x1234} << 16 | 0xABCD});
  const ::FileInfoBlock block = Examine("file");
  EXPECT_EQ(Plain(block.fib_FileName), "file");
  EXPECT_EQ(Plain(block.fib_Comment), "said");
  EXPECT_EQ(block.fib_DirEntryType, ST_FILE);
  EXPECT_EQ(block.fib_EntryType, ST_FILE);
  EXPECT_EQ(block.fib_Size, 600);
  EXPECT_EQ(block.fib_NumBlocks, 2);
  EXPECT_EQ(block.fib_Date.ds_Minute, 2);
  EXPECT_EQ(block.fib_Protection, 0x1234);
  EXPECT_EQ(block.fib_OwnerUID, 0x1234);
  EXPECT_EQ(block.fib_OwnerGID, 0xABCD);
  EXPECT_NE(block.fib_DiskKey, 0);

  const std::intptr_t file = Open("file", MODE_OLDFILE);
  ::FileInfoBlock same{};
  Get(QUORLE_ACTION_EXAMINE_FH, {file, WordOf(&same)});
  EXPECT_EQ(std::memcmp(&same, &block, sizeof block), 0);
  Close(file);
}

TEST_F(ClassicHandlerTest, AScanShowsEachEntryOnceWhateverHappensMeanwhile) {
  MakeDirectory("old");
  for (const char* const name : {"a", "b", "c", "d"}) MakeFile(name);
  MakeDirectory("new");
  // What is in "new" is older than it.
  const ShortText from("old");
  const ShortText to("moved");
  const std::intptr_t new_lock = Lock("new");
  Get(QUORLE_ACTION_RENAME_OBJECT, {0, WordOf(&from), new_lock, WordOf(&to)});

  ::FileInfoBlock block{};
  Get(QUORLE_ACTION_EXAMINE_OBJECT, {new_lock, WordOf(&block)});
  Get(QUORLE_ACTION_EXAMINE_NEXT, {new_lock, WordOf(&block)});
  EXPECT_EQ(Plain(block.fib_FileName), "moved");
  EXPECT_EQ(Send(QUORLE_ACTION_EXAMINE_NEXT, {new_lock, WordOf(&block)}),
            (Answer{0, ERROR_NO_MORE_ENTRIES}));
  UnLock(new_lock);

  const std::intptr_t root = Lock("");
  Get(QUORLE_ACTION_EXAMINE_OBJECT, {root, WordOf(&block)});
  std::string seen;
  while (Send(QUORLE_ACTION_EXAMINE_NEXT, {root, WordOf(&block)}).result != 0) {
    const std::string name = Plain(block.fib_FileName);
    seen += name + " ";
    if (name == "new") continue;
    EXPECT_EQ(Delete(name.c_str()).code, 0);
  }
  EXPECT_EQ(seen, "a b c d new ");
  UnLock(root);
}

TEST_F(ClassicHandlerTest, SeekAnswersWithTheOldPosition) {
  MakeFile("file", "0123456789");
  const std::intptr_t file = Open("file", MODE_OLDFILE);
  const Answer failed{-1, ERROR_SEEK_ERROR};
  EXPECT_EQ(Send(QUORLE_ACTION_SEEK, {file, 4, OFFSET_BEGINNING}), (Answer{0, 0}));
  EXPECT_EQ(Send(QUORLE_ACTION_SEEK, {file, -1, OFFSET_CURRENT}), (Answer{4, 0}));
  EXPECT_EQ(Send(QUORLE_ACTION_SEEK, {file, 0, OFFSET_END}), (Answer{3, 0}));
  EXPECT_EQ(Send(QUORLE_ACTION_SEEK, {file, 1, OFFSET_CURRENT}), failed);
  EXPECT_EQ(Send(QUORLE_ACTION_SEEK, {file, -11, OFFSET_END}), failed);
  EXPECT_EQ(Send(QUORLE_ACTION_SEEK, {file, INT32_MAX, OFFSET_END}), failed);
  EXPECT_EQ(Send(QUORLE_ACTION_SEEK, {file, 0, 2}), (Answer{-1, ERROR_BAD_NUMBER}));
  EXPECT_EQ(Send(QUORLE_ACTION_SEEK, {file, 0, OFFSET_CURRENT}), (Answer{10, 0}));
  Close(file);
}

TEST_F(ClassicHandlerTest, SetFileSizeAnswersWithTheNewSize) {
  MakeFile("file", "0123456789");
  const std::intptr_t file = Open("file", MODE_OLDFILE);
  const std::intptr_t other = Open("file", MODE_OLDFILE);
  EXPECT_EQ(Send(QUORLE_ACTION_SET_FILE_SIZE, {file, 2, OFFSET_END}), (Answer{12, 0}));
  char tail[4];
  Get(QUORLE_ACTION_SEEK, {other, 8, OFFSET_BEGINNING});
  EXPECT_EQ(Send(QUORLE_ACTION_READ, {other, WordOf(tail), 4}), (Answer{4, 0}));
  EXPECT_EQ(std::string_view(tail, 4), std::string_view("89\0\0", 4));
  EXPECT_EQ(Send(QUORLE_ACTION_SET_FILE_SIZE, {file, 5, OFFSET_BEGINNING}),
            (Answer{-1, ERROR_OBJECT_IN_USE}));
  EXPECT_EQ(Send(QUORLE_ACTION_SET_FILE_SIZE, {file, -1, OFFSET_BEGINNING}),
            (Answer{-1, ERROR_SEEK_ERROR}));
  EXPECT_EQ(Send(QUORLE_ACTION_SET_FILE_SIZE, {file, INT32_MAX, OFFSET_BEGINNING}),
            (Answer{-1, ERROR_DISK_FULL}));
  EXPECT_EQ(Examine("file").fib_Size, 12);
  Close(other);
  Close(file);
}

TEST_F(ClassicHandlerTest, RecordsAreOfTheirFile) {
  MakeFile("file", "0123456789");
  const std::intptr_t a = Open("file", MODE_OLDFILE);
  const std::intptr_t b = Open("file", MODE_OLDFILE);
  const Answer done{kTrue, 0};
  EXPECT_EQ(Send(QUORLE_ACTION_LOCK_RECORD, {a, 0, 4, REC_SHARED, 0}), done);
  EXPECT_EQ(Send(QUORLE_ACTION_LOCK_RECORD, {b, 2, 4, REC_SHARED_IMMED, 0}), done);
  EXPECT_EQ(Send(QUORLE_ACTION_LOCK_RECORD, {b, 3, 1, REC_EXCLUSIVE_IMMED, 0}),
            (Answer{0, ERROR_LOCK_COLLISION}));
  EXPECT_EQ(Send(QUORLE_ACTION_LOCK_RECORD, {b, 3, 1, REC_EXCLUSIVE, 5}),
            (Answer{0, ERROR_LOCK_TIMEOUT}));
  EXPECT_EQ(Send(QUORLE_ACTION_LOCK_RECORD, {b, 6, 1, REC_EXCLUSIVE, 0}), done);
  EXPECT_EQ(Send(QUORLE_ACTION_FREE_RECORD, {a, 2, 4}), (Answer{0, ERROR_RECORD_NOT_LOCKED}));
  EXPECT_EQ(Send(QUORLE_ACTION_FREE_RECORD, {a, 0, 4}), done);
  EXPECT_EQ(Send(QUORLE_ACTION_FREE_RECORD, {a, 0, 4}), (Answer{0, ERROR_RECORD_NOT_LOCKED}));
  EXPECT_EQ(Send(QUORLE_ACTION_LOCK_RECORD, {a, 0, 1, 4, 0}), (Answer{0, ERROR_BAD_NUMBER}));
  EXPECT_EQ(Send(QUORLE_ACTION_LOCK_RECORD, {a, -1, 1, REC_SHARED, 0}),
            (Answer{0, ERROR_BAD_NUMBER}));
  Close(b);  // with its records
  EXPECT_EQ(Send(QUORLE_ACTION_LOCK_RECORD, {a, 0, 10, REC_EXCLUSIVE_IMMED, 0}), done);
  Close(a);
}

TEST_F(ClassicHandlerTest, ALinkKeepsTheObject) {
  MakeFile("file", "content");
  const ShortText name("link");
  const std::intptr_t file = Lock("file");
  Get(QUORLE_ACTION_MAKE_LINK, {0, WordOf(&name), file, QUORLE_PACKET_LINK_HARD});
  EXPECT_EQ(Send(QUORLE_ACTION_MAKE_LINK, {0, WordOf(&name), file, QUORLE_PACKET_LINK_HARD}),
            (Answer{0, ERROR_OBJECT_EXISTS}));
  UnLock(file);
  EXPECT_EQ(Examine("link").fib_DirEntryType, ST_LINKFILE);
  EXPECT_EQ(Delete("file"), (Answer{kTrue, 0}));
  EXPECT_EQ(Examine("link").fib_DirEntryType, ST_FILE);
  EXPECT_EQ(Examine("link").fib_Size, 7);

  const std::intptr_t root = Lock("");
  const ShortText loop("loop");
  EXPECT_EQ(Send(QUORLE_ACTION_MAKE_LINK, {0, WordOf(&loop), root, QUORLE_PACKET_LINK_HARD}),
            (Answer{0, ERROR_OBJECT_WRONG_TYPE}));
  UnLock(root);
}

TEST_F(ClassicHandlerTest, ASoftLinkIsMadeInEitherWay) {
  for (const std::intptr_t soft : {std::intptr_t{QUORLE_PACKET_LINK_SOFT}, std::intptr_t{1}}) {
    const ShortText name("link");
    Get(QUORLE_ACTION_MAKE_LINK, {0, WordOf(&name), WordOf("DH0:there"), soft});
    EXPECT_EQ(Send(QUORLE_ACTION_LOCATE_OBJECT, {0, WordOf(&name), SHARED_LOCK}),
              (Answer{0, ERROR_IS_SOFT_LINK}));
    char buffer[10];
    EXPECT_EQ(Send(QUORLE_ACTION_READ_SOFT_LINK, {0, WordOf("link"), WordOf(buffer), 9}),
              (Answer{-2, ERROR_LINE_TOO_LONG}));
    EXPECT_EQ(Send(QUORLE_ACTION_READ_SOFT_LINK, {0, WordOf("link"), WordOf(buffer), 10}),
              (Answer{9, 0}));
    EXPECT_STREQ(buffer, "DH0:there");
    EXPECT_EQ(Delete("link"), (Answer{kTrue, 0}));
  }
}

TEST_F(ClassicHandlerTest, NamesAndCommentsHaveTheirLengths) {
  MakeFile(std::string(107, 'n').c_str());
  ::FileHandle handle{};
  const ShortText longer(std::string(108, 'n'));
  EXPECT_EQ(Send(QUORLE_ACTION_FINDOUTPUT, {WordOf(&handle), 0, WordOf(&longer)}),
            (Answer{0, ERROR_INVALID_COMPONENT_NAME}));
  EXPECT_EQ(Send(QUORLE_ACTION_FINDINPUT, {WordOf(&handle), 0, WordOf(&longer)}),
            (Answer{0, ERROR_OBJECT_NOT_FOUND}));
  const ShortText name(std::string(107, 'N'));
  const ShortText comment(std::string(80, 'c'));
  EXPECT_EQ(Send(QUORLE_ACTION_SET_COMMENT, {0, 0, WordOf(&name), WordOf(&comment)}),
            (Answer{0, ERROR_COMMENT_TOO_BIG}));
  const ShortText shorter(std::string(79, 'c'));
  EXPECT_EQ(Send(QUORLE_ACTION_SET_COMMENT, {0, 0, WordOf(&name), WordOf(&shorter)}),
            (Answer{kTrue, 0}));
}

TEST_F(ClassicHandlerTest, WhoHasTheMediumHasItForHimself) {
  const ShortText name("Fresh");
  MakeFile("file");
  EXPECT_EQ(Send(QUORLE_ACTION_FORMAT, {WordOf(&name), 0x444F5303}),
            (Answer{0, ERROR_OBJECT_IN_USE}));
  const std::intptr_t held = Lock("file");
  Get(QUORLE_ACTION_INHIBIT, {kTrue});
  Get(QUORLE_ACTION_INHIBIT, {kTrue});
  const ShortText root("");
  EXPECT_EQ(Send(QUORLE_ACTION_LOCATE_OBJECT, {0, WordOf(&root), SHARED_LOCK}),
            (Answer{0, ERROR_OBJECT_IN_USE}));
  ::InfoData info{};
  Get(QUORLE_ACTION_DISK_INFO, {WordOf(&info)});
  EXPECT_EQ(info.id_DiskType, 0x42555359);
  EXPECT_EQ(info.id_InUse, 1U);
  EXPECT_EQ(Send(QUORLE_ACTION_FORMAT, {WordOf(&name), 0x444F5303}),
            (Answer{0, ERROR_OBJECT_IN_USE}));
  UnLock(held);
  EXPECT_EQ(Send(QUORLE_ACTION_FORMAT, {WordOf(&name), 0x444F5303}), (Answer{kTrue, 0}));
  Get(QUORLE_ACTION_INHIBIT);
  Get(QUORLE_ACTION_INHIBIT);
  Get(QUORLE_ACTION_DISK_INFO, {WordOf(&info)});
  EXPECT_EQ(info.id_DiskType, 0x444F5303);
  EXPECT_EQ(info.id_NumBlocksUsed, 1U);
  EXPECT_EQ(Plain(Examine("").fib_FileName), "Fresh");
}

TEST_F(ClassicHandlerTest, WhatIsNoLockIsRefused) {
  ::Lock foreign{};
  const std::intptr_t freed = Lock("");
  UnLock(freed);
  ::FileInfoBlock block{};
  ::InfoData info{};
  ::FileHandle handle{};
  const ShortText name("name");
  const Answer refused{0, ERROR_INVALID_LOCK};
  MakeFile("file");
  for (const std::intptr_t lock : {std::intptr_t{0}, WordOf(&foreign), freed, std::intptr_t{1}}) {
    EXPECT_EQ(Send(QUORLE_ACTION_COPY_LOCK, {lock}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_PARENT, {lock}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_SAME_LOCK, {lock, lock}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_EXAMINE_OBJECT, {lock, WordOf(&block)}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_EXAMINE_NEXT, {lock, WordOf(&block)}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_INFO, {lock, WordOf(&info)}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_FH_FROM_LOCK, {WordOf(&handle), lock}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_CHANGE_MODE, {CHANGE_LOCK, lock, SHARED_LOCK}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_MAKE_LINK, {0, WordOf(&name), lock, QUORLE_PACKET_LINK_HARD}),
              refused);
    if (lock == 0) continue;  // the root, or nothing to free
    EXPECT_EQ(Send(QUORLE_ACTION_FREE_LOCK, {lock}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_LOCATE_OBJECT, {lock, WordOf(&name), SHARED_LOCK}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_SET_PROTECT, {0, lock, WordOf(&name), 0}), refused);
  }
  EXPECT_EQ(Send(QUORLE_ACTION_FREE_LOCK), (Answer{kTrue, 0}));
}

TEST_F(ClassicHandlerTest, WhatIsNoOpenFileIsRefused) {
  const std::intptr_t closed = Open("file", MODE_NEWFILE);
  Close(closed);
  char buffer[4];
  ::FileInfoBlock block{};
  for (const std::intptr_t file : {std::intptr_t{0}, closed, WordOf(buffer)}) {
    const ::FileHandle handle{nullptr, file, nullptr};
    for (const std::int32_t action : {QUORLE_ACTION_READ, QUORLE_ACTION_WRITE, QUORLE_ACTION_SEEK,
                                      QUORLE_ACTION_SET_FILE_SIZE}) {
      EXPECT_EQ(Send(action, {file, WordOf(buffer), 4}), (Answer{-1, ERROR_INVALID_LOCK}));
    }
    for (const std::int32_t action :
         {QUORLE_ACTION_END, QUORLE_ACTION_COPY_LOCK_FH, QUORLE_ACTION_PARENT_FH,
          QUORLE_ACTION_LOCK_RECORD, QUORLE_ACTION_FREE_RECORD}) {
      EXPECT_EQ(Send(action, {file}), (Answer{0, ERROR_INVALID_LOCK}));
    }
    EXPECT_EQ(Send(QUORLE_ACTION_EXAMINE_FH, {file, WordOf(&block)}),
              (Answer{0, ERROR_INVALID_LOCK}));
    EXPECT_EQ(Send(QUORLE_ACTION_CHANGE_MODE, {CHANGE_FH, WordOf(&handle), SHARED_LOCK}),
              (Answer{0, ERROR_INVALID_LOCK}));
  }
}

TEST_F(ClassicHandlerTest, AModeThatIsNoneIsRefused) {
  const Answer refused{0, ERROR_BAD_NUMBER};
  const ShortText root("");
  const std::intptr_t lock = Lock("");
  for (const std::intptr_t mode :
       {std::intptr_t{0}, std::intptr_t{-3}, std::intptr_t{MODE_OLDFILE}}) {
    EXPECT_EQ(Send(QUORLE_ACTION_LOCATE_OBJECT, {0, WordOf(&root), mode}), refused);
    EXPECT_EQ(Send(QUORLE_ACTION_CHANGE_MODE, {CHANGE_LOCK, lock, mode}), refused);
  }
  EXPECT_EQ(Send(QUORLE_ACTION_CHANGE_MODE, {2, lock, SHARED_LOCK}), refused);
  EXPECT_EQ(Send(QUORLE_ACTION_MAKE_LINK, {0, WordOf(&root), lock, 2}), refused);
  UnLock(lock);
}

TEST_F(ClassicHandlerTest, TheVolumeIsFoundAgain) {
  MakeFile("file", "content");
  const ShortText name("Other");
  Get(QUORLE_ACTION_RENAME_DISK, {WordOf(&name)});
  Get(QUORLE_ACTION_WRITE_PROTECT, {kTrue, 5});
  Unmount();
  ASSERT_NE(medium_, nullptr);
  Mount();
  EXPECT_EQ(Plain(Examine("").fib_FileName), "Other");
  EXPECT_EQ(Examine("file").fib_Size, 7);
  EXPECT_EQ(Delete("file"), (Answer{kTrue, 0}));  // a protection lasts as long as a mount
}

TEST_F(ClassicHandlerTest, ADeepTreeIsDiscarded) {
  constexpr int kDepth = 3000;
  const ShortText name("deeper");
  std::intptr_t lock = 0;
  for (int i = 0; i < kDepth; ++i) {
    const std::intptr_t below = Get(QUORLE_ACTION_CREATE_DIR, {lock, WordOf(&name)});
    UnLock(lock);
    lock = below;
  }
  UnLock(lock);
}

}  // namespace
}  // namespace quorle::selftest
