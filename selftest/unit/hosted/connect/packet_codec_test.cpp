#include "hosted/connect/packet_codec.h"

#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "hosted/calls/handler_program.h"
#include "hosted/calls/packet_adapter.h"
#include "hosted/connect/member.h"
#include "selftest/support/test_clock.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

template <class Object>
std::intptr_t Word(const Object* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

class PacketCodecTest : public testing::Test {
 protected:
  ~PacketCodecTest() override { services.FreeEverything(); }

  ::DosPacket Packet(std::int32_t action, std::intptr_t one = 0, std::intptr_t two = 0,
                     std::intptr_t three = 0, std::intptr_t four = 0) {
    ::DosPacket packet{};
    packet.dp_Type = action;
    packet.dp_Arg1 = one;
    packet.dp_Arg2 = two;
    packet.dp_Arg3 = three;
    packet.dp_Arg4 = four;
    return packet;
  }
  /// How the program ends of `answer` to `packet`; "" when it is one.
  std::string ProblemOf(const Json& answer, ::DosPacket& packet) {
    try {
      codec.TakeAnswer(answer, packet);
      return {};
    } catch (const ProgramEnd& end) {
      return end.how();
    }
  }
  ::Lock* Lock(std::int64_t number) {
    ::DosPacket packet = Packet(QUORLE_ACTION_LOCATE_OBJECT);
    codec.TakeAnswer({{"result", number}, {"mode", EXCLUSIVE_LOCK}}, packet);
    return At<::Lock>(packet.dp_Res1);
  }
  void Open(std::int64_t number, ::FileHandle& file) {
    ::DosPacket packet = Packet(QUORLE_ACTION_FINDINPUT, Word(&file));
    codec.TakeAnswer({{"result", true}, {"handle", number}}, packet);
    EXPECT_EQ(packet.dp_Res1, kDosTrue);
  }

  selftest::TestClock clock;
  HostServices services{clock, nullptr};
  PacketCodec codec{services};
};

TEST_F(PacketCodecTest, NamesAndLocksAndModes) {
  ::Lock* const lock = Lock(77);
  EXPECT_EQ(lock->fl_Access, EXCLUSIVE_LOCK);
  const PacketText name("\xE4");
  ::DosPacket packet = Packet(QUORLE_ACTION_LOCATE_OBJECT, Word(lock), name.address(), SHARED_LOCK);
  packet.dp_Arg5 = name.address();
  EXPECT_EQ(
      codec.Arguments(packet),
      Json::array(
          {{"lock", 77}, {"text", "\u00e4"}, {"number", -2}, {"none", nullptr}, {"again", 2}}));
  packet.dp_Arg5 = 0;
  EXPECT_EQ(codec.Arguments(packet)[4], Json({"none", nullptr}));
  ::Lock foreign{};
  EXPECT_EQ(codec.Arguments(Packet(QUORLE_ACTION_PARENT, Word(&foreign)))[0], Json({"lock", -1}));
  EXPECT_EQ(codec.Arguments(Packet(QUORLE_ACTION_PARENT))[0], Json({"lock", 0}));
}

TEST_F(PacketCodecTest, ALockIsGoneWhenItWasFreedAndItsNumberIsFreeAgain) {
  ::Lock* const lock = Lock(5);
  ::DosPacket parent = Packet(QUORLE_ACTION_PARENT, Word(lock));
  EXPECT_EQ(ProblemOf({{"result", 5}}, parent), "gave a lock the number 5, which another one has");
  ::DosPacket free_lock = Packet(QUORLE_ACTION_FREE_LOCK, Word(lock));
  EXPECT_EQ(ProblemOf({{"result", 0}, {"code", 211}}, free_lock), "");
  EXPECT_TRUE(services.OwnsLock(lock)) << "it was not freed";
  EXPECT_EQ(free_lock.dp_Res2, 211);
  EXPECT_EQ(ProblemOf({{"result", -1}}, free_lock), "");
  EXPECT_FALSE(services.OwnsLock(lock));
  EXPECT_NE(Lock(5), nullptr);
}

TEST_F(PacketCodecTest, FilesAreNumbersOfTheirOwn) {
  ::FileHandle file{};
  ::FileHandle other{};
  EXPECT_EQ(codec.Arguments(Packet(QUORLE_ACTION_FINDINPUT, Word(&file)))[0],
            Json({"new_handle", nullptr}));
  Open(9, file);
  ::DosPacket again = Packet(QUORLE_ACTION_FINDINPUT, Word(&other));
  EXPECT_EQ(ProblemOf({{"result", true}, {"handle", 9}}, again),
            "gave a file the number 9, which another one has");
  EXPECT_EQ(ProblemOf({{"result", true}}, again), "left out \"handle\"");
  EXPECT_EQ(ProblemOf({{"result", true}, {"handle", 0}}, again),
            "gave \"handle\" as 0, which is not 1 to 9223372036854775807");
  EXPECT_EQ(ProblemOf({{"result", false}, {"code", 205}}, again), "");
  ::DosPacket end = Packet(QUORLE_ACTION_END, file.fh_Arg1, Word(&file));
  EXPECT_EQ(codec.Arguments(end)[0], Json({"fh_arg1", 9}));
  EXPECT_EQ(codec.Arguments(end)[1], Json({"handle", 9}));
  EXPECT_EQ(ProblemOf({{"result", 0}}, end), "") << "it is gone whatever the result";
  EXPECT_EQ(codec.Arguments(end)[1], Json({"handle", -1}));
  Open(9, other);
}

TEST_F(PacketCodecTest, ALockBecomesAFileWhenThatSucceeds) {
  ::Lock* const lock = Lock(5);
  ::FileHandle file{};
  ::DosPacket packet = Packet(QUORLE_ACTION_FH_FROM_LOCK, Word(&file), Word(lock));
  EXPECT_EQ(ProblemOf({{"result", 0}, {"code", 212}}, packet), "");
  EXPECT_TRUE(services.OwnsLock(lock));
  EXPECT_EQ(ProblemOf({{"result", -1}, {"handle", 5}}, packet), "");
  EXPECT_FALSE(services.OwnsLock(lock));
}

TEST_F(PacketCodecTest, BytesGoBothWays) {
  ::FileHandle file{};
  Open(9, file);
  std::string data("a\0\xFF", 3);
  EXPECT_EQ(codec.Arguments(Packet(QUORLE_ACTION_WRITE, 0, Word(data.data()), 3, Word(&file))),
            Json::array({{"fh_arg1", 9},
                         {"bytes", BytesValue(data)},
                         {"number", 3},
                         {"handle", 9},
                         {"none", nullptr}}));
  char buffer[] = "12345678";
  ::DosPacket packet = Packet(QUORLE_ACTION_READ, 0, Word(buffer), 4, Word(&file));
  EXPECT_EQ(codec.Arguments(packet)[1], Json({"room", 4}));
  EXPECT_EQ(ProblemOf({{"result", 3}, {"bytes", BytesValue(data)}}, packet), "");
  EXPECT_EQ(packet.dp_Res1, 3);
  EXPECT_EQ(std::string(buffer, 8), std::string("a\0\xFF"
                                                "45678",
                                                8))
      << "no zero behind what was read";
  EXPECT_EQ(ProblemOf({{"result", 3}, {"bytes", BytesValue("12345")}}, packet),
            "gave 5 bytes for a room of 4");
  EXPECT_EQ(ProblemOf({{"result", 3}, {"bytes", BytesValue("12")}}, packet),
            "gave the result 3 and 2 bytes");
  EXPECT_EQ(ProblemOf({{"result", 600}}, packet), "") << "the port's to report";
  EXPECT_EQ(ProblemOf({{"result", nullptr}, {"code", 224}}, packet), "");
  EXPECT_EQ(packet.dp_Res1, -1);
}

TEST_F(PacketCodecTest, ATextOfALinkEndsWithAZero) {
  char buffer[] = "12345678";
  ::DosPacket packet = Packet(QUORLE_ACTION_READ_SOFT_LINK, 0, Word("link"), Word(buffer), 6);
  EXPECT_EQ(codec.Arguments(packet),
            Json::array(
                {{"lock", 0}, {"string", "link"}, {"room", 6}, {"number", 6}, {"none", nullptr}}));
  EXPECT_EQ(ProblemOf({{"result", 3}, {"bytes", BytesValue("a/b")}}, packet), "");
  EXPECT_EQ(std::string(buffer, 8), std::string("a/b\0"
                                                "5678",
                                                8));
  EXPECT_EQ(ProblemOf({{"result", -2}, {"code", 120}}, packet), "");
  EXPECT_EQ(packet.dp_Res1, -2);
}

TEST_F(PacketCodecTest, ThePacketsOfOneNumberDiffer) {
  ::Lock* const lock = Lock(5);
  const PacketText name("n");
  EXPECT_EQ(codec.Arguments(Packet(QUORLE_ACTION_MAKE_LINK, 0, name.address(), Word("to"), -1))[2],
            Json({"string", "to"}));
  EXPECT_EQ(codec.Arguments(Packet(QUORLE_ACTION_MAKE_LINK, 0, name.address(), Word(lock), 0))[2],
            Json({"lock", 5}));
  ::DosPacket change = Packet(QUORLE_ACTION_CHANGE_MODE, CHANGE_LOCK, Word(lock), SHARED_LOCK);
  EXPECT_EQ(codec.Arguments(change)[1], Json({"lock", 5}));
  EXPECT_EQ(ProblemOf({{"result", -1}, {"mode", SHARED_LOCK}}, change), "");
  EXPECT_EQ(lock->fl_Access, SHARED_LOCK);
  ::FileHandle file{};
  Open(6, file);
  EXPECT_EQ(codec.Arguments(Packet(QUORLE_ACTION_CHANGE_MODE, CHANGE_FH, Word(&file)))[1],
            Json({"handle", 6}));
}

TEST_F(PacketCodecTest, WideNumbersAreWide) {
  ::FileHandle file{};
  Open(9, file);
  ::DosPacket packet = Packet(QUORLE_ACTION_CHANGE_FILE_POSITION64, 0, 0, OFFSET_END, Word(&file));
  packet.dp_Arg2_64 = -(std::int64_t{1} << 40);
  EXPECT_EQ(codec.Arguments(packet)[1], Json({"number", -(std::int64_t{1} << 40)}));
  ::DosPacket size = Packet(QUORLE_ACTION_GET_FILE_SIZE64, 0, 0, Word(&file));
  EXPECT_EQ(ProblemOf({{"result", std::int64_t{1} << 40}}, size), "");
  EXPECT_EQ(size.dp_Res64, std::int64_t{1} << 40);
  EXPECT_EQ(ProblemOf({{"result", true}}, size),
            "gave \"result\" as a truth value, which is no number");
}

TEST_F(PacketCodecTest, TagsAreNamedAndFilled) {
  std::uint32_t length = 0;
  char text[8] = "old";
  const ::TagItem tags[] = {
      {QUORLE_FSA_MaxFileNameLengthR, static_cast<std::uintptr_t>(Word(&length))},
      {QUORLE_FSA_VersionStringR, static_cast<std::uintptr_t>(Word(text))},
      {QUORLE_FSA_VersionStringR_BufSize, sizeof text},
      {QUORLE_TAG_DONE, 0}};
  ::DosPacket packet = Packet(QUORLE_ACTION_FILESYSTEM_ATTR, Word(tags));
  EXPECT_EQ(codec.Arguments(packet)[0],
            Json({"tags",
                  {{QUORLE_FSA_MaxFileNameLengthR, "FSA_MaxFileNameLengthR", 0},
                   {QUORLE_FSA_VersionStringR, "FSA_VersionStringR", 8},
                   {QUORLE_FSA_VersionStringR_BufSize, "FSA_VersionStringR_BufSize", 8}}}));
  EXPECT_EQ(ProblemOf({{"result", -1}, {"tags", {107, "1.0"}}}, packet), "");
  EXPECT_EQ(length, 107U);
  EXPECT_STREQ(text, "1.0");
  EXPECT_EQ(ProblemOf({{"result", -1}, {"tags", {nullptr, "12345678"}}}, packet),
            "gave \"tags\" as a text of 8 bytes, of at most 7");
  EXPECT_EQ(ProblemOf({{"result", -1}, {"tags", {nullptr, nullptr, 1}}}, packet),
            "gave a value for a tag that leads nowhere");
  EXPECT_EQ(ProblemOf({{"result", -1}, {"tags", {1, "", nullptr, 1}}}, packet),
            "gave more \"tags\" than were asked for");
  const ::TagItem owner[] = {{QUORLE_OI_OwnerUID, 7}, {QUORLE_TAG_DONE, 0}};
  EXPECT_EQ(codec.Arguments(Packet(QUORLE_ACTION_SET_OWNER_INFO, 0, 0, Word(owner)))[2],
            Json({"tags", Json::array({{QUORLE_OI_OwnerUID, "OI_OwnerUID", 7}})}));
}

TEST_F(PacketCodecTest, AScanKeepsItsPlace) {
  ::PRIVATE_ExamineDirContext scan{};
  scan.Directory = Lock(4);
  scan.FSPrivate[0] = 3;
  ::DosPacket packet = Packet(QUORLE_ACTION_EXAMINEDATA_DIR, Word(&scan));
  EXPECT_EQ(codec.Arguments(packet)[0], Json({"scan", {{"lock", 4}, {"place", {3, 0}}}}));
  EXPECT_EQ(ProblemOf({{"result", -1}, {"entry", {{"name", "n"}}}, {"place", {4, -1}}}, packet),
            "");
  EXPECT_STREQ(scan.Entry->Name, "n");
  EXPECT_EQ(scan.FSPrivate[0], 4);
  EXPECT_EQ(scan.FSPrivate[1], -1);
  EXPECT_EQ(ProblemOf({{"result", -1}}, packet), "left out \"entry\"");
  EXPECT_EQ(ProblemOf({{"result", -1}, {"entry", Json::object()}, {"place", {4}}}, packet),
            "gave \"place\" as a list, which is no pair of numbers");
  scan.Entry = nullptr;
  EXPECT_EQ(ProblemOf({{"result", 0}, {"code", 232}}, packet), "");
  EXPECT_EQ(scan.Entry, nullptr);
}

TEST_F(PacketCodecTest, RecordsAndInfoAndBlocks) {
  ::DosPacket examine = Packet(QUORLE_ACTION_EXAMINEDATA);
  EXPECT_EQ(ProblemOf({{"result", {{"name", "n"}}}}, examine), "");
  EXPECT_STREQ(At<::ExamineData>(examine.dp_Res1)->Name, "n");
  EXPECT_EQ(ProblemOf({{"result", 0}, {"code", 209}}, examine), "");
  EXPECT_EQ(examine.dp_Res1, 0);
  EXPECT_EQ(ProblemOf({{"result", 1}}, examine),
            "gave \"result\" as a number, which is no record: a map, or 0");
  ::InfoData info{};
  ::DosPacket facts = Packet(QUORLE_ACTION_DISK_INFO, Word(&info));
  EXPECT_EQ(codec.Arguments(facts)[0], Json({"info", nullptr}));
  EXPECT_EQ(ProblemOf({{"result", -1}, {"info", {{"blocks", 5}}}}, facts), "");
  EXPECT_EQ(info.id_NumBlocks, 5U);
  EXPECT_EQ(ProblemOf({{"result", -1}}, facts), "left out \"info\"");
  ::FileInfoBlock block{};
  ::DosPacket next = Packet(QUORLE_ACTION_EXAMINE_NEXT, 0, Word(&block));
  EXPECT_EQ(codec.Arguments(next)[1][0], "block");
  EXPECT_EQ(ProblemOf({{"result", -1}, {"block", {{"size", 5}}}}, next), "");
  EXPECT_EQ(block.fib_Size, 5);
}

TEST_F(PacketCodecTest, ARequestIsANumberUntilItIsRemovedOrRefused) {
  ::NotifyRequest request{};
  request.nr_FullName = "DH0:file";
  request.nr_Flags = NRF_SEND_MESSAGE;
  const Json shown = Json::array(
      {"request", {{"request", 1}, {"name", TextValue("DH0:file")}, {"flags", NRF_SEND_MESSAGE}}});
  ::DosPacket add = Packet(QUORLE_ACTION_ADD_NOTIFY, Word(&request));
  EXPECT_EQ(codec.Arguments(add)[0], shown);
  EXPECT_EQ(ProblemOf({{"result", true}}, add), "");
  EXPECT_EQ(codec.RequestOf(1), &request);
  ::DosPacket remove = Packet(QUORLE_ACTION_REMOVE_NOTIFY, Word(&request));
  EXPECT_EQ(codec.Arguments(remove)[0], shown);
  EXPECT_EQ(ProblemOf({{"result", false}, {"code", 205}}, remove), "");
  EXPECT_EQ(codec.RequestOf(1), nullptr);

  codec.Arguments(add);
  EXPECT_EQ(codec.RequestOf(2), &request);
  EXPECT_EQ(ProblemOf({{"result", false}, {"code", 209}}, add), "");
  EXPECT_EQ(codec.RequestOf(2), nullptr);
}

TEST_F(PacketCodecTest, APacketThatNobodyKnowsIsFiveNumbers) {
  ::DosPacket packet = Packet(4711, 1, 2, 3, 4);
  packet.dp_Arg5 = 5;
  EXPECT_EQ(
      codec.Arguments(packet),
      Json::array({{"number", 1}, {"number", 2}, {"number", 3}, {"number", 4}, {"number", 5}}));
  EXPECT_EQ(ProblemOf({{"result", 0}, {"code", 209}}, packet), "");
  EXPECT_EQ(packet.dp_Res2, 209);
  EXPECT_EQ(ProblemOf({{"code", 209}}, packet), "left out \"result\"");
}

}  // namespace
}  // namespace quorle::connect
