#include "hosted/connect/records.h"

#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "hosted/calls/handler_program.h"
#include "hosted/connect/member.h"
#include "selftest/support/test_clock.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

/// How the program ends of `action`; "" when it does not.
template <class Action>
std::string ProblemOf(Action action) {
  try {
    action();
    return {};
  } catch (const ProgramEnd& end) {
    return end.how();
  }
}

TEST(ConnectMemberTest, TextsAreLatin1InUtf8) {
  EXPECT_EQ(TextFrom("a\u00e4\u00ff", "t", 9), "a\xE4\xFF");
  EXPECT_EQ(TextValue("a\xE4\xFF"), Json("a\u00e4\u00ff"));
  EXPECT_EQ(TextFrom(BytesValue("a\xE4\xFF"), "t", 9), "a\xE4\xFF");
  for (const char* const text : {"\u20ac", "\xE4", "\xC3",
                                 "\xC3"
                                 "a",
                                 "\xC0\x80", "\x80"}) {
    EXPECT_EQ(ProblemOf([&] { TextFrom(text, "t", 9); }),
              "gave \"t\" as a text that is not of Latin-1 in UTF-8");
  }
  EXPECT_EQ(ProblemOf([] { TextFrom(std::string("a\0b", 3), "t", 9); }),
            "gave \"t\" as a text with a zero in it");
  EXPECT_EQ(ProblemOf([] { TextFrom("abc", "t", 2); }),
            "gave \"t\" as a text of 3 bytes, of at most 2");
  EXPECT_EQ(ProblemOf([] { TextFrom(5, "t", 2); }), "gave \"t\" as a number, which is no text");
}

TEST(ConnectMemberTest, NumbersAreWholeAndInTheirRange) {
  EXPECT_EQ(Integer(-5, "n"), -5);
  EXPECT_EQ(Integer(std::uint64_t{7}, "n", 0, 7), 7);
  EXPECT_EQ(ProblemOf([] { Integer(8, "n", 0, 7); }), "gave \"n\" as 8, which is not 0 to 7");
  EXPECT_EQ(
      ProblemOf([] { Integer(std::uint64_t{1} << 63, "n"); }),
      "gave \"n\" as 9223372036854775808, which is not -9223372036854775808 to 9223372036854775807");
  for (const auto& [value, name] :
       std::initializer_list<std::pair<Json, const char*>>{{1.5, "a fraction"},
                                                           {"1", "a text"},
                                                           {true, "a truth value"},
                                                           {Json::array(), "a list"},
                                                           {Json::object(), "a map"},
                                                           {nullptr, "nil"},
                                                           {BytesValue("1"), "bytes"}}) {
    EXPECT_EQ(ProblemOf([&value = value] { Integer(value, "n"); }),
              std::string("gave \"n\" as ") + name + ", which is no number");
  }
  EXPECT_EQ(WideNumberIn({{"id", ~std::uint64_t{0}}}, "id", 0), ~std::uint64_t{0});
  EXPECT_EQ(NumberIn<std::uint32_t>({{"n", nullptr}}, "n", 7), 7U);
}

TEST(ConnectRecordsTest, ARecordIsMadeOfAMap) {
  selftest::TestClock clock;
  HostServices services(clock, nullptr);
  const ::ExamineData* const record = RecordFrom({{"name", "\u00e4"},
                                                  {"type", 1},
                                                  {"size", std::int64_t{1} << 40},
                                                  {"date", {1, 2, 3}},
                                                  {"references", 2},
                                                  {"id", ~std::uint64_t{0}},
                                                  {"protection", 0xFFFFFFFFU},
                                                  {"comment", "c"},
                                                  {"link", std::string(5000, 'l')},
                                                  {"owner", 7},
                                                  {"group", 8},
                                                  {"later", {1, 2}}},
                                                 services);
  EXPECT_STREQ(record->Name, "\xE4");
  EXPECT_EQ(record->Type, 1U);
  EXPECT_EQ(record->FileSize, std::int64_t{1} << 40);
  EXPECT_EQ(record->Date.ds_Days, 1);
  EXPECT_EQ(record->Date.ds_Minute, 2);
  EXPECT_EQ(record->Date.ds_Tick, 3);
  EXPECT_EQ(record->RefCount, 2U);
  EXPECT_EQ(record->ObjectID, ~std::uint64_t{0});
  EXPECT_EQ(record->Protection, 0xFFFFFFFFU);
  EXPECT_STREQ(record->Comment, "c");
  EXPECT_EQ(std::strlen(record->Link), 5000U);
  EXPECT_EQ(record->OwnerUID, 7U);
  EXPECT_EQ(record->OwnerGID, 8U);
  const ::ExamineData* const empty = RecordFrom(Json::object(), services);
  EXPECT_STREQ(empty->Name, "?");
  EXPECT_EQ(empty->FileSize, -1);
  EXPECT_EQ(empty->Type, static_cast<std::uint32_t>(FSO_TYPE_INVALID));
  services.FreeEverything();
}

TEST(ConnectRecordsTest, InfoIsAMapOrTheBytesOfThePlatform) {
  ::InfoData info{};
  TakeInfo({{"errors", -1},
            {"unit", 2},
            {"state", 80},
            {"blocks", 0xFFFFFFFFU},
            {"used", 5},
            {"block_size", 1024},
            {"dos_type", 0xFFFFFFFFU},
            {"in_use", 9}},
           info);
  EXPECT_EQ(info.id_NumSoftErrors, -1);
  EXPECT_EQ(info.id_UnitNumber, 2);
  EXPECT_EQ(info.id_DiskState, 80);
  EXPECT_EQ(info.id_NumBlocks, 0xFFFFFFFFU);
  EXPECT_EQ(info.id_NumBlocksUsed, 5U);
  EXPECT_EQ(info.id_BytesPerBlock, 1024U);
  EXPECT_EQ(info.id_DiskType, -1);
  EXPECT_EQ(info.id_InUse, 9U);

  std::string bytes;
  for (unsigned char i = 0; i < kInfoBytes; ++i) bytes += static_cast<char>(i + 1);
  TakeInfo({{"bytes", BytesValue(bytes)}, {"unit", 99}}, info);
  EXPECT_EQ(info.id_NumSoftErrors, 0x01020304);
  EXPECT_EQ(info.id_UnitNumber, 0x05060708);
  EXPECT_EQ(info.id_DiskState, 0x090A0B0C);
  EXPECT_EQ(info.id_NumBlocks, 0x0D0E0F10U);
  EXPECT_EQ(info.id_NumBlocksUsed, 0x11121314U);
  EXPECT_EQ(info.id_BytesPerBlock, 0x15161718U);
  EXPECT_EQ(info.id_DiskType, 0x191A1B1C);
  EXPECT_EQ(info.id_InUse, 0x21222324U);
  EXPECT_EQ(ProblemOf([&] {
              TakeInfo({{"bytes", BytesValue("short")}}, info);
            }),
            "gave a record of 5 bytes, which has 36");
}

TEST(ConnectRecordsTest, ABlockIsAMapOrTheBytesOfThePlatform) {
  ::FileInfoBlock block{};
  TakeBlock({{"key", 7},
             {"type", -3},
             {"name", "\u00e4b"},
             {"protection", 0xFFFFFFFFU},
             {"size", 11},
             {"blocks", 12},
             {"date", {1, 2, 3}},
             {"comment", "note"},
             {"owner", 0xFFFF},
             {"group", 5}},
            block);
  EXPECT_EQ(block.fib_EntryType, -3);
  EXPECT_EQ(block.fib_Protection, -1);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(block.fib_FileName)),
            "\x02\xE4"
            "b");

  const Json value = BlockValue(block);
  EXPECT_EQ(value["name"], "\u00e4b");
  EXPECT_EQ(value["protection"], 0xFFFFFFFFU);
  const std::string bytes(BytesFrom(value["bytes"], "bytes"));
  ASSERT_EQ(bytes.size(), kBlockBytes);
  const auto at = [&bytes](std::size_t place, std::size_t size) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
      number = number << 8 | static_cast<unsigned char>(bytes[place + i]);
    }
    return number;
  };
  // The offsets of the platform.
  EXPECT_EQ(at(0, 4), 7U);
  EXPECT_EQ(at(4, 4), 0xFFFFFFFDU);
  EXPECT_EQ(at(8, 3), 0x02E462U);
  EXPECT_EQ(at(116, 4), 0xFFFFFFFFU);
  EXPECT_EQ(at(120, 4), 0xFFFFFFFDU);
  EXPECT_EQ(at(124, 4), 11U);
  EXPECT_EQ(at(128, 4), 12U);
  EXPECT_EQ(at(132, 4), 1U);
  EXPECT_EQ(at(140, 4), 3U);
  EXPECT_EQ(at(144, 2), 0x046EU);
  EXPECT_EQ(at(224, 2), 0xFFFFU);
  EXPECT_EQ(at(226, 2), 5U);

  ::FileInfoBlock copy{};
  TakeBlock({{"bytes", value["bytes"]}, {"key", 99}}, copy);
  EXPECT_EQ(std::memcmp(&copy, &block, sizeof block), 0);
  EXPECT_EQ(ProblemOf([&] {
              TakeBlock({{"name", std::string(108, 'n')}}, block);
            }),
            "gave \"name\" as a text of 108 bytes, of at most 107");
}

}  // namespace
}  // namespace quorle::connect
