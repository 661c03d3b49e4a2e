#include "hosted/calls/packet_adapter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calls/vector_table.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle {
namespace {

class PacketAdapterTest : public testing::Test {
 protected:
  PacketAdapterTest() {
    port.FSV = RecordingHandler::FullTable();
    port.FSV.FSPrivate = &state;
  }

  // Answers a packet of five words by the table.
  bool Answer(std::int32_t action, std::intptr_t arg1 = 0, std::intptr_t arg2 = 0,
              std::intptr_t arg3 = 0, std::intptr_t arg4 = 0) {
    packet = {};
    packet.dp_Type = action;
    packet.dp_Arg1 = arg1;
    packet.dp_Arg2 = arg2;
    packet.dp_Arg3 = arg3;
    packet.dp_Arg4 = arg4;
    packet.dp_Res1 = kUntouched;
    packet.dp_Res2 = kUntouched;
    packet.dp_Res64 = kUntouched;
    return AnswerByVector(port, packet);
  }

  std::string LastCall() const {
    return state.calls.empty()
               ? "none"
               : state.calls.back().function + "(" + state.calls.back().arguments + ")";
  }

  static constexpr std::int32_t kUntouched = 12345;

  RecordingHandler state;
  ::FileSystemVectorPort port{};
  ::DosPacket packet{};
};

std::intptr_t Word(const void* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

TEST(PacketTextTest, IsALengthByteTheCharactersAndAZero) {
  const PacketText text("abc");
  ASSERT_TRUE(text.fits());
  const auto* const bytes = PointedTo<const char>(text.address());
  EXPECT_EQ(std::string(bytes, 5), std::string("\3abc\0", 5));
  EXPECT_EQ(text.address() % 4, 0);
}

TEST(PacketTextTest, HoldsUpTo255Bytes) {
  EXPECT_TRUE(PacketText("").fits());
  const PacketText longest(std::string(255, 'x').c_str());
  ASSERT_TRUE(longest.fits());
  const auto* const bytes = PointedTo<const unsigned char>(longest.address());
  EXPECT_EQ(bytes[0], 255);
  EXPECT_EQ(bytes[256], 0);
  EXPECT_FALSE(PacketText(std::string(256, 'x').c_str()).fits());
}

TEST(PlainTextTest, ComesBackAsItWas) {
  for (const std::size_t length : {0U, 1U, 128U, 254U, 255U}) {
    const std::string text(length, '\xE4');
    const PacketText packed(text.c_str());
    EXPECT_EQ(PlainText(packed.address()).c_str(), text);
  }
}

TEST(PlainTextTest, EndsWhereTheLengthByteSays) {
  const char packed[] = "\2abc";
  EXPECT_STREQ(PlainText(Word(packed)).c_str(), "ab");
}

TEST(PlainTextTest, OfNothingIsEmpty) {
  EXPECT_STREQ(PlainText(0).c_str(), "");
}

TEST_F(PacketAdapterTest, TruthIsMinusOneWhateverTheFunctionSays) {
  for (const std::int64_t truth : {1, -1, 256}) {
    state.result = truth;
    ASSERT_TRUE(Answer(QUORLE_ACTION_FLUSH));
    EXPECT_EQ(packet.dp_Res1, -1);
    EXPECT_EQ(packet.dp_Res2, 0);
    EXPECT_EQ(packet.dp_Res64, kUntouched);
  }
  state.result = 0;
  state.res2 = ERROR_DISK_FULL;
  ASSERT_TRUE(Answer(QUORLE_ACTION_FLUSH));
  EXPECT_EQ(packet.dp_Res1, 0);
  EXPECT_EQ(packet.dp_Res2, ERROR_DISK_FULL);
}

TEST_F(PacketAdapterTest, TheTruthOfAWidePacketStandsInTheWideResult) {
  const ::FileHandle file{};
  state.result = 1;
  ASSERT_TRUE(Answer(QUORLE_ACTION_CHANGE_FILE_SIZE64, 0, 0, 0, Word(&file)));
  EXPECT_EQ(packet.dp_Res64, -1);
  EXPECT_EQ(packet.dp_Res1, kUntouched);
}

TEST_F(PacketAdapterTest, WideNumbersKeepAllTheirBits) {
  const ::FileHandle file{};
  state.result = 0x7FFFFFFFFFFFFFF0;
  ASSERT_TRUE(Answer(QUORLE_ACTION_GET_FILE_SIZE64, 0, 0, Word(&file)));
  EXPECT_EQ(packet.dp_Res64, 0x7FFFFFFFFFFFFFF0);
  state.result = -1;
  ASSERT_TRUE(Answer(QUORLE_ACTION_GET_FILE_POSITION64, 0, 0, Word(&file)));
  EXPECT_EQ(packet.dp_Res64, -1);
}

TEST_F(PacketAdapterTest, TheCodeIsZeroWhenTheFunctionIsCalled) {
  ASSERT_TRUE(Answer(QUORLE_ACTION_SERIALIZE_DISK));
  EXPECT_TRUE(state.res2_was_zero);
}

TEST_F(PacketAdapterTest, ThePositionPacketHasItsModeBehindThePosition) {
  const ::FileHandle file{};
  packet = {};
  packet.dp_Type = QUORLE_ACTION_CHANGE_FILE_POSITION64;
  packet.dp_Arg1 = 1;
  packet.dp_Arg2 = 2;
  packet.dp_Arg2_64 = -0x100000001;
  packet.dp_Arg3 = OFFSET_END;
  packet.dp_Arg4 = Word(&file);
  ASSERT_TRUE(AnswerByVector(port, packet));
  EXPECT_EQ(LastCall(), "FSChangeFilePosition(" + Joined(&file, 1, -0x100000001) + ")");
}

TEST_F(PacketAdapterTest, OpenTakesItsModeFromTheNumberOfThePacket) {
  const PacketText name("n");
  for (const std::int32_t mode : {1004, 1005, 1006}) {
    ASSERT_TRUE(Answer(mode, 8, 16, name.address()));
    EXPECT_EQ(LastCall(), "FSOpen(" + Joined(8, 16, "n", mode) + ")");
  }
}

TEST_F(PacketAdapterTest, ChangeModeNamesTheKindOfItsObject) {
  ASSERT_TRUE(Answer(QUORLE_ACTION_CHANGE_MODE, 0, 8, EXCLUSIVE_LOCK));
  EXPECT_EQ(LastCall(), "FSChangeLockMode(8|-1)");
  ASSERT_TRUE(Answer(QUORLE_ACTION_CHANGE_MODE, 1, 8, SHARED_LOCK));
  EXPECT_EQ(LastCall(), "FSChangeFileMode(8|-2)");
  ASSERT_TRUE(Answer(QUORLE_ACTION_CHANGE_MODE, 2, 8, SHARED_LOCK));
  EXPECT_EQ(packet.dp_Res1, 0);
  EXPECT_EQ(packet.dp_Res2, ERROR_BAD_NUMBER);
  EXPECT_EQ(state.calls.size(), 2U);
}

TEST_F(PacketAdapterTest, MakeLinkNamesTheKindOfItsTarget) {
  const PacketText name("n");
  ASSERT_TRUE(Answer(QUORLE_ACTION_MAKE_LINK, 8, name.address(), 16, QUORLE_PACKET_LINK_HARD));
  EXPECT_EQ(LastCall(), "FSCreateHardLink(8|n|16)");
  ASSERT_TRUE(
      Answer(QUORLE_ACTION_MAKE_LINK, 8, name.address(), Word("to"), QUORLE_PACKET_LINK_SOFT));
  EXPECT_EQ(LastCall(), "FSCreateSoftLink(8|n|to)");
}

class SetOwnerInfoTest : public PacketAdapterTest {
 protected:
  bool AnswerTags(const std::vector<::TagItem>& tags) {
    const PacketText name("n");
    return Answer(QUORLE_ACTION_SET_OWNER_INFO, 8, name.address(), Word(tags.data()));
  }
};

TEST_F(SetOwnerInfoTest, SetsBothInTheOrderOfTheTags) {
  state.result = 1;
  ASSERT_TRUE(
      AnswerTags({{calls::kGroupTag, 3}, {QUORLE_TAG_IGNORE, 9}, {calls::kOwnerTag, 4}, {0, 0}}));
  EXPECT_EQ(state.calls, (std::vector<RecordingHandler::Called>{{"FSSetGroup", "8|n|3"},
                                                                {"FSSetOwner", "8|n|4"}}));
  EXPECT_EQ(packet.dp_Res1, -1);
}

TEST_F(SetOwnerInfoTest, StopsAtTheFirstFailure) {
  state.res2 = ERROR_WRITE_PROTECTED;
  ASSERT_TRUE(AnswerTags({{calls::kOwnerTag, 4}, {calls::kGroupTag, 3}, {0, 0}}));
  EXPECT_EQ(state.calls.size(), 1U);
  EXPECT_EQ(packet.dp_Res1, 0);
  EXPECT_EQ(packet.dp_Res2, ERROR_WRITE_PROTECTED);
}

TEST_F(SetOwnerInfoTest, NeedsAnOwnerOrAGroup) {
  ASSERT_TRUE(AnswerTags({{QUORLE_TAG_IGNORE, 9}, {0, 0}}));
  EXPECT_EQ(packet.dp_Res1, 0);
  EXPECT_EQ(packet.dp_Res2, ERROR_REQUIRED_ARG_MISSING);
  EXPECT_TRUE(state.calls.empty());
}

TEST_F(SetOwnerInfoTest, ChangesNothingWhenOneOfTheFunctionsIsMissing) {
  port.FSV.FSSetGroup = nullptr;
  EXPECT_FALSE(AnswerTags({{calls::kOwnerTag, 4}, {calls::kGroupTag, 3}, {0, 0}}));
  EXPECT_TRUE(state.calls.empty());
  EXPECT_TRUE(AnswerTags({{calls::kOwnerTag, 4}, {0, 0}}));
  EXPECT_EQ(state.calls.size(), 1U);
}

TEST_F(PacketAdapterTest, APacketThatNoFunctionStandsForIsLeftAlone) {
  for (const std::int32_t action :
       {-1, 0, 7, 18, 20, 23, 24, 1008, 1027, 1034, 2050, 3000, 3001, 4201, 8000, 8005, 8999}) {
    EXPECT_FALSE(Answer(action)) << action;
    EXPECT_EQ(packet.dp_Res1, kUntouched);
    EXPECT_EQ(packet.dp_Res2, kUntouched);
    EXPECT_EQ(packet.dp_Res64, kUntouched);
  }
  EXPECT_TRUE(state.calls.empty());
}

TEST_F(PacketAdapterTest, APacketWhoseFunctionIsMissingIsLeftAlone) {
  port.FSV.FSLock = nullptr;
  const PacketText name("n");
  EXPECT_FALSE(Answer(QUORLE_ACTION_LOCATE_OBJECT, 0, name.address(), SHARED_LOCK));
  EXPECT_EQ(packet.dp_Res1, kUntouched);
  EXPECT_EQ(packet.dp_Res2, kUntouched);
}

TEST(GivesLockTest, OnlySixPacketsDo) {
  std::vector<std::int32_t> actions;
  for (std::int32_t action = 0; action < 10000; ++action) {
    if (GivesLock(action)) actions.push_back(action);
  }
  EXPECT_EQ(actions, (std::vector<std::int32_t>{8, 19, 22, 29, 1030, 1031}));
}

}  // namespace
}  // namespace quorle
