#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "calls/call_shape.h"
#include "calls/vector_table.h"
#include "hosted/calls/fenced_memory.h"
#include "hosted/isolation/message.h"
#include "hosted/isolation/remote_vectors.h"
#include "hosted/isolation/reply.h"
#include "hosted/isolation/shared_block.h"
#include "hosted/isolation/turns.h"
#include "hosted/isolation/wire.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle::isolation {
namespace {

// ---- Messages ----------------------------------------------------------------------------------

using Buffer = std::array<std::byte, 64>;

std::span<std::byte> Start(Buffer& buffer, std::size_t bytes) {
  return std::span(buffer).first(bytes);
}

TEST(MessageTest, IsReadAsItWasWritten) {
  Buffer buffer{};
  MessageWriter writer(buffer);
  writer.Number(-5);
  writer.Bytes("texts");
  writer.Bytes("");
  ASSERT_TRUE(writer.ok());
  EXPECT_EQ(writer.size(), 8U + 16U + 16U);
  MessageReader reader(Start(buffer, writer.size()));
  EXPECT_EQ(reader.Number(), -5);
  EXPECT_EQ(reader.Bytes(), "texts");
  EXPECT_FALSE(reader.ReadAll());
  EXPECT_EQ(reader.Text(), "");
  EXPECT_TRUE(reader.ReadAll());
}

TEST(MessageTest, ATextIsFollowedByAZero) {
  Buffer buffer;
  buffer.fill(std::byte{0xFF});
  MessageWriter writer(buffer);
  writer.Bytes("12345678");
  MessageReader reader(buffer);
  EXPECT_STREQ(reader.Bytes().data(), "12345678");
}

TEST(MessageTest, WhatDoesNotFitIsNotWritten) {
  Buffer buffer{};
  MessageWriter writer(Start(buffer, 24));
  writer.Bytes("12345678");  // 8 and 9, which takes 16
  EXPECT_TRUE(writer.ok());
  writer.Number(1);
  EXPECT_FALSE(writer.ok());
  MessageWriter other(Start(buffer, 24));
  other.Bytes(std::string(1000, 'x'));
  EXPECT_FALSE(other.ok());
  other.Number(1);
  EXPECT_FALSE(other.ok());
}

TEST(MessageTest, NothingIsReadBeyondTheEnd) {
  Buffer buffer{};
  for (const std::int64_t length : {std::int64_t{57}, std::int64_t{64}, std::int64_t{1} << 62,
                                    std::int64_t{-1}, INT64_MIN, INT64_MAX}) {
    MessageWriter(buffer).Number(length);
    MessageReader reader(buffer);
    EXPECT_EQ(reader.Bytes(), "") << length;
    EXPECT_FALSE(reader.ok()) << length;
    EXPECT_EQ(reader.Number(), 0);
    EXPECT_FALSE(reader.ReadAll());
  }
  MessageReader none(Start(buffer, 7));
  EXPECT_EQ(none.Number(), 0);
  EXPECT_FALSE(none.ok());
}

// ---- Answers -----------------------------------------------------------------------------------

/// The numbers and texts of an answer.
class Answer {
 public:
  Answer& N(std::int64_t number) {
    writer_.Number(number);
    return *this;
  }
  Answer& T(std::string_view text) {
    writer_.Bytes(text);
    return *this;
  }
  /// A record with those texts.
  Answer& Record(std::int64_t size, std::string_view name) {
    N(1);
    for (int i = 0; i < 10; ++i) N(i);
    N(size).T(name);
    return N(4).T("c").N(kNoText);
  }
  std::span<const std::byte> bytes() const { return std::span(place_).first(writer_.size()); }
  /// Whether it is one with nothing notified behind it: no flag, no count.
  bool IsOne(const calls::CallShape& shape, const ::TagItem* tags = nullptr) const {
    std::vector<std::byte> message(bytes().begin(), bytes().end());
    message.resize(message.size() + 2 * sizeof(std::int64_t));
    return IsAnswer(message, shape, tags);
  }
  /// Whether it is one as it is.
  bool IsWhole(const calls::CallShape& shape) const { return IsAnswer(bytes(), shape, nullptr); }

 private:
  static bool IsAnswer(std::span<const std::byte> message, const calls::CallShape& shape,
                       const ::TagItem* tags) {
    MessageReader reader(message);
    Reply reply;
    return ReadAnswer(reader, shape, tags, reply);
  }

  std::array<std::byte, 1024> place_{};
  MessageWriter writer_{place_};
};

constexpr calls::CallShape kNumber = {"", "", '#'};
constexpr calls::CallShape kLock = {"", "L", 'L'};
constexpr calls::CallShape kRecord = {"", "", 'E'};

TEST(ReadAnswerTest, TakesWhatHasAShape) {
  EXPECT_TRUE(Answer().N(205).N(-1).N(1).N(0).IsOne(kNumber));
  EXPECT_TRUE(Answer().N(0).N(1).N(-2).N(1).N(-1).N(0).N(0).IsOne(kLock));
  EXPECT_TRUE(Answer().N(0).N(0).N(1).N(0).IsOne(kRecord));
  EXPECT_TRUE(Answer().N(0).Record(5, "name").N(1).N(0).IsOne(kRecord));
  EXPECT_TRUE(Answer().N(0).Record(1, "").N(1).N(0).IsOne(kRecord));
}

TEST(ReadAnswerTest, RefusesWhatHasNone) {
  EXPECT_FALSE(Answer().IsOne(kNumber));
  EXPECT_FALSE(Answer().N(205).N(-1).N(1).IsOne(kNumber)) << "too short";
  EXPECT_TRUE(Answer().N(0).N(-1).N(1).N(6).IsOne(kNumber));
  EXPECT_FALSE(Answer().N(0).N(-1).N(1).N(7).IsOne(kNumber)) << "no breach";
  EXPECT_FALSE(Answer().N(0).N(-1).N(1).N(-1).IsOne(kNumber)) << "no breach";
  EXPECT_FALSE(Answer().N(205).N(-1).N(1).N(0).N(0).IsOne(kNumber)) << "too long";
  EXPECT_FALSE(Answer().N(205).N(-1).N(2).N(0).IsOne(kNumber)) << "no flag";
  EXPECT_FALSE(Answer().N(INT64_MAX).N(-1).N(1).N(0).IsOne(kNumber)) << "no code";
  EXPECT_FALSE(Answer().N(0).N(1).N(1LL << 32).N(1).N(-1).N(0).N(0).IsOne(kLock)) << "no mode";
  EXPECT_FALSE(Answer().N(0).N(1).N(-2).N(7).N(-1).N(0).N(0).IsOne(kLock))
      << "neither there nor not";
  EXPECT_FALSE(Answer().N(0).Record(4, "name").N(1).N(0).IsOne(kRecord)) << "no room for the zero";
  EXPECT_FALSE(Answer().N(0).Record(0, "").N(1).N(0).IsOne(kRecord)) << "no buffer";
  EXPECT_FALSE(Answer().N(0).Record(-7, "").N(1).N(0).IsOne(kRecord)) << "less than none";
  EXPECT_FALSE(Answer().N(0).Record(65537, "name").N(1).N(0).IsOne(kRecord))
      << "too large a buffer";
  EXPECT_FALSE(Answer().N(0).Record(9, {"na\0me", 5}).N(1).N(0).IsOne(kRecord)) << "a zero within";
  EXPECT_FALSE(Answer().N(0).N(2).N(1).N(0).IsOne(kRecord)) << "neither a record nor none";
}

TEST(ReadAnswerTest, NotificationsAreCounted) {
  EXPECT_TRUE(Answer().N(0).N(-1).N(1).N(0).N(1).N(2).N(7).N(-8).IsWhole(kNumber));
  EXPECT_FALSE(Answer().N(0).N(-1).N(1).N(0).N(2).N(0).IsWhole(kNumber)) << "no flag";
  EXPECT_FALSE(Answer().N(0).N(-1).N(1).N(0).N(0).N(-1).IsWhole(kNumber)) << "less than none";
  EXPECT_FALSE(Answer().N(0).N(-1).N(1).N(0).N(0).N(2).N(7).IsWhole(kNumber)) << "too short";
  EXPECT_FALSE(Answer().N(0).N(-1).N(1).N(0).N(0).N(1).N(7).N(7).IsWhole(kNumber)) << "too long";
  EXPECT_FALSE(Answer().N(0).N(-1).N(1).N(0).N(0).N(INT64_MAX).IsWhole(kNumber)) << "too many";
}

TEST(ReadAnswerTest, StructuresHaveTheirSize) {
  const calls::CallShape info = {"", "I", '#'};
  EXPECT_TRUE(Answer().N(0).N(1).T(std::string(sizeof(::InfoData), 'x')).N(1).N(0).IsOne(info));
  EXPECT_FALSE(
      Answer().N(0).N(1).T(std::string(sizeof(::InfoData) - 1, 'x')).N(1).N(0).IsOne(info));

  std::uint32_t value = 0;
  const ::TagItem tags[] = {{QUORLE_FSA_DOSTypeR, reinterpret_cast<std::uintptr_t>(&value)},
                            {QUORLE_TAG_IGNORE, 1},
                            {QUORLE_TAG_DONE, 0}};
  const calls::CallShape attributes = {"", "G", '#'};
  EXPECT_TRUE(Answer().N(0).N(1).T("1234").T("").N(1).N(0).IsOne(attributes, tags));
  EXPECT_FALSE(Answer().N(0).N(1).T("12345").T("").N(1).N(0).IsOne(attributes, tags));
  EXPECT_FALSE(Answer().N(0).N(1).T("1234").N(1).N(0).IsOne(attributes, tags));
}

/// Whatever comes, it is read without a fault; nearly nothing of it is an answer.
TEST(ReadAnswerTest, AnythingMayCome) {
  std::mt19937_64 numbers(1);
  const auto below = [&numbers](std::size_t most) {
    return static_cast<std::size_t>(numbers() % most);
  };
  const Answer good = Answer().N(0).Record(5, "name").N(1).N(0).N(0).N(0);
  int taken = 0;
  for (int i = 0; i < 100'000; ++i) {
    std::vector<std::byte> message(good.bytes().begin(), good.bytes().end());
    const std::size_t changes = 1 + below(3);
    for (std::size_t change = 0; change < changes; ++change) {
      const std::uint64_t word = below(4) == 0 ? below(300) : numbers();
      std::memcpy(message.data() + below(message.size() / 8) * 8, &word, sizeof word);
    }
    if (below(4) == 0) message.resize(below(message.size()));
    MessageReader reader(message);
    Reply reply;
    if (!ReadAnswer(reader, kRecord, nullptr, reply)) continue;
    ++taken;
    if (!reply.record || !reply.record->name) continue;
    EXPECT_LT(reply.record->name->text.size(), reply.record->name->size);
    EXPECT_LE(reply.record->name->size, kMostText);
  }
  EXPECT_LT(taken, 50'000);
}

// ---- Shapes ------------------------------------------------------------------------------------

TEST(CallShapeTest, APacketHasFiveArgumentsAndOneHasSix) {
  int known = 0;
  for (std::int32_t action = 0; action < 10'000; ++action) {
    ::DosPacket packet{};
    packet.dp_Type = action;
    const calls::CallShape shape = calls::ShapeOfPacket(packet);
    const std::size_t arguments = action == QUORLE_ACTION_LOCK_RECORD ? 6 : 5;
    EXPECT_EQ(std::strlen(shape.arguments), arguments) << action;
    const bool has_name = calls::NameOfPacket(action) != "packet " + std::to_string(action);
    known += has_name ? 1 : 0;
  }
  EXPECT_EQ(known, 55);
}

TEST(CallShapeTest, TwoPacketsHaveTwoForms) {
  ::DosPacket packet{};
  packet.dp_Type = QUORLE_ACTION_MAKE_LINK;
  packet.dp_Arg4 = QUORLE_PACKET_LINK_SOFT;
  EXPECT_STREQ(calls::ShapeOfPacket(packet).arguments, "LTC#=");
  packet.dp_Arg4 = QUORLE_PACKET_LINK_HARD;
  EXPECT_STREQ(calls::ShapeOfPacket(packet).arguments, "LTL#=");
  packet.dp_Type = QUORLE_ACTION_CHANGE_MODE;
  EXPECT_STREQ(calls::ShapeOfPacket(packet).arguments, "#L#..");
  packet.dp_Arg1 = 1;
  EXPECT_STREQ(calls::ShapeOfPacket(packet).arguments, "#F#..");
}

/// Notes what the table led to.
class NotedCalls final : public VectorCalls {
 public:
  calls::Outcome CallVector(std::size_t index, std::span<const std::int64_t> words) override {
    last = index;
    count = words.size();
    return {-1, 77};
  }
  std::size_t last = 0;
  std::size_t count = 0;
};

TEST(RemoteVectorsTest, EachFunctionHasItsShape) {
  NotedCalls calls;
  const ::FileSystemVectors table = RemoteTable(calls);
  ::FileSystemVectorPort port{};
  port.FSV = table;
  const std::array<std::int64_t, calls::kMostArguments> words{};
  for (std::size_t i = 0; i < VectorCount(); ++i) {
    const calls::CallShape& shape = VectorShape(i);
    ASSERT_TRUE(HasVector(table, i)) << shape.name;
    const calls::Outcome outcome = CallVectorOf(port.FSV, port, i, words.data());
    EXPECT_EQ(calls.last, i);
    EXPECT_EQ(calls.count, std::strlen(shape.arguments)) << shape.name;
    EXPECT_EQ(outcome.result, -1) << shape.name;
    EXPECT_EQ(outcome.res2, 77);
  }
  EXPECT_EQ(VectorCount(), 47U);
  EXPECT_STREQ(VectorShape(calls::kVectorIndex<&::FileSystemVectors::FSAddNotify>).name,
               "FSAddNotify()");
}

TEST(RemoteVectorsTest, AFunctionCanBeTakenOut) {
  NotedCalls calls;
  ::FileSystemVectors table = RemoteTable(calls);
  for (std::size_t i = 0; i < VectorCount(); ++i) {
    DropVector(table, i);
    EXPECT_FALSE(HasVector(table, i));
  }
  EXPECT_FALSE(HasFunctions(table));
}

// ---- Lent memory -------------------------------------------------------------------------------

TEST(FencedMemoryTest, HoldsACopyBetweenFences) {
  FencedMemory memory;
  for (const std::size_t size : {0U, 1U, 7U, 256U, 5000U}) {
    const std::string text(size, 't');
    std::byte* const copy = memory.Copy(text.data(), size);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(copy) % 16, 0U);
    EXPECT_EQ(std::memcmp(copy, text.data(), size), 0);
    std::memset(copy, 'x', size);
    EXPECT_TRUE(memory.IsIntact(0));
  }
  memory.Release(0);
  EXPECT_EQ(memory.count(), 0U);
}

TEST(FencedMemoryTest, NoticesEveryByteBesideAPiece) {
  for (std::size_t size : {0U, 13U, 256U}) {
    for (std::size_t n = 0; n < FencedMemory::kFenceBytes; ++n) {
      for (const bool behind : {true, false}) {
        FencedMemory memory;
        const std::string text(size, 't');
        memory.Copy("other", 5);
        std::byte* const copy = memory.Copy(text.data(), size);
        memory.Copy("other", 5);
        *(behind ? copy + size + n : copy - 1 - n) = std::byte{0};
        EXPECT_FALSE(memory.IsIntact(0)) << size << ' ' << n << ' ' << behind;
      }
    }
  }
}

TEST(FencedMemoryTest, AMebibyteBehindAPieceHarmsNothing) {
  FencedMemory memory;
  std::byte* const copy = memory.Copy("text", 4);
  std::memset(copy, 'x', 4 + (1U << 20));
  EXPECT_FALSE(memory.IsIntact(0));
  memory.Release(0);
  EXPECT_EQ(memory.Copy("text", 4), copy);
  EXPECT_TRUE(memory.IsIntact(0));
}

TEST(FencedMemoryTest, APieceMayHaveAnySize) {
  FencedMemory memory;
  const std::string large(5U << 20, 'x');
  ASSERT_NE(memory.Copy(large.data(), large.size()), nullptr);
  EXPECT_EQ(memory.Copy(large.data(), large.size()), nullptr)
      << "pieces in use stay where they are";
  EXPECT_TRUE(memory.IsIntact(0));
  memory.Release(0);
  EXPECT_NE(memory.Copy(large.data(), 2 * large.size() / 3), nullptr);
}

TEST(FencedMemoryTest, CallsMayBeMadeWithinACall) {
  FencedMemory memory;
  std::byte* const outer = memory.Copy("outer", 5);
  const std::size_t first = memory.count();
  std::byte* const inner = memory.Copy("inner", 5);
  inner[5] = std::byte{0};
  EXPECT_FALSE(memory.IsIntact(first));
  memory.Release(first);
  EXPECT_TRUE(memory.IsIntact(0));
  EXPECT_EQ(std::memcmp(outer, "outer", 5), 0);
}

TEST(FencedMemoryTest, APlaceCanBeFencedWhereItLies) {
  std::vector<std::byte> place(2 * FencedMemory::kFenceBytes + 10);
  FencedMemory memory;
  memory.FenceInPlace(place.data() + FencedMemory::kFenceBytes, 10);
  EXPECT_TRUE(memory.IsIntact(0));
  place[FencedMemory::kFenceBytes + 10] = std::byte{0};
  EXPECT_FALSE(memory.IsIntact(0));
}

// ---- Turns -------------------------------------------------------------------------------------

TEST(TurnsTest, GoToAndFro) {
  const auto block = SharedBlock::Create();
  ASSERT_NE(block, nullptr);
  int seen = 0;
  std::thread other([&] {
    Turns handler(block->turns(), Side::kHandler);
    for (int i = 0; i < 1000; ++i) {
      handler.Await();
      ++seen;
      handler.HandOver();
    }
  });
  Turns host(block->turns(), Side::kHost);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(seen, i);
    // Now and then the other is asleep by the time.
    if (i % 100 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    host.HandOver();
    ASSERT_EQ(host.AwaitFor(std::chrono::seconds(10)), Awaited::kTurn);
  }
  other.join();
}

TEST(TurnsTest, AWaitHasAnEnd) {
  const auto block = SharedBlock::Create();
  Turns host(block->turns(), Side::kHost);
  EXPECT_EQ(host.AwaitFor({}), Awaited::kTurn) << "it begins with the host";
  host.HandOver();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(host.AwaitFor(std::chrono::milliseconds(20)), Awaited::kTimeout);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
  block->turns().turn.store(99);
  EXPECT_EQ(host.AwaitFor(std::chrono::seconds(10)), Awaited::kGarbage);
}

}  // namespace
}  // namespace quorle::isolation
