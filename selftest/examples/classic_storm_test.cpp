#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "selftest/examples/classic_handler_test.h"

// examples/classic_handler.c, with packets that nobody means.

namespace quorle::selftest {
namespace {

using Words = std::array<std::intptr_t, 5>;

/// Packets whose words are of the right kind: locks and files that are in use, or none, or somebody
/// else's; names that are there or cannot be; any numbers.
class PacketStorm {
 public:
  std::int32_t Action() { return OneOf(kActions); }
  Words WordsOf(std::int32_t action);
  /// Notes what a packet that succeeded gave or freed.
  void Take(std::int32_t action, const Words& words, std::intptr_t result);

  std::vector<std::intptr_t> locks, files;

 private:
  static constexpr std::array kActions = {
      8,    9,    15,   15,   16,   17,   19,   21,   22,   23,   24,   25,   26,   27,   28,
      29,   31,   31,   31,   34,   40,   82,   87,   87,   1004, 1005, 1006, 1007, 1008, 1020,
      1021, 1022, 1023, 1024, 1026, 1027, 1028, 1030, 1031, 1034, 1036, 2008, 2009};
  static constexpr std::array kNumbers = {-3, -2, -1,  0,   1,      2,         3,        4,
                                          9,  80, 255, 512, 100000, INT32_MIN, INT32_MAX};
  static constexpr std::array kPlainNames = {"", "a", "b", "c", "no such name"};

  std::size_t Below(std::size_t count) { return random_() % count; }
  template <class Values>
  typename Values::const_reference OneOf(const Values& values) {
    return values[Below(std::size(values))];
  }
  std::intptr_t Lock() {
    if (Below(8) == 0) return 0;
    return Below(8) == 0 || locks.empty() ? WordOf(&foreign_) : OneOf(locks);
  }
  std::intptr_t File() { return Below(8) == 0 || files.empty() ? WordOf(&foreign_) : OneOf(files); }
  std::intptr_t Name() { return Below(30) == 0 ? 0 : WordOf(&OneOf(names_)); }
  std::intptr_t Number() { return OneOf(kNumbers); }
  std::intptr_t Size() { return static_cast<std::intptr_t>(Below(buffer_.size() + 1)); }
  Words LinkWords();
  Words ModeWords();

  std::mt19937 random_{17};
  ::Lock foreign_{};
  ::FileHandle handle_{};
  std::array<char, 600> buffer_{};
  ::FileInfoBlock block_{};
  ::InfoData info_{};
  const ::DateStamp date_{4, 5, 6};
  const std::array<ShortText, 9> names_ = {ShortText(""),
                                           ShortText("a"),
                                           ShortText("b"),
                                           ShortText("C"),
                                           ShortText("c"),
                                           ShortText("/"),
                                           ShortText(std::string(107, 'n')),
                                           ShortText(std::string(108, 'n')),
                                           ShortText(std::string(255, 'x'))};
};

Words PacketStorm::LinkWords() {
  if (Below(2) == 0) return {Lock(), Name(), Lock(), QUORLE_PACKET_LINK_HARD};
  return {Lock(), Name(), WordOf(OneOf(kPlainNames)), QUORLE_PACKET_LINK_SOFT};
}

Words PacketStorm::ModeWords() {
  if (Below(2) == 0) return {CHANGE_LOCK, Lock(), Number()};
  handle_.fh_Arg1 = File();
  return {CHANGE_FH, WordOf(&handle_), Number()};
}

Words PacketStorm::WordsOf(std::int32_t action) {
  switch (action) {
    case QUORLE_ACTION_LOCATE_OBJECT:
      return {Lock(), Name(), Number()};
    case QUORLE_ACTION_RENAME_DISK:
    case QUORLE_ACTION_FORMAT:
      return {Name(), Number()};
    case QUORLE_ACTION_DELETE_OBJECT:
    case QUORLE_ACTION_CREATE_DIR:
      return {Lock(), Name()};
    case QUORLE_ACTION_RENAME_OBJECT:
      return {Lock(), Name(), Lock(), Name()};
    case QUORLE_ACTION_SET_DATE:
      return {0, Lock(), Name(), WordOf(&date_)};
    case QUORLE_ACTION_SET_COMMENT:
      return {0, Lock(), Name(), Name()};
    case QUORLE_ACTION_SET_PROTECT:
    case QUORLE_ACTION_SET_OWNER:
      return {0, Lock(), Name(), Number()};
    case QUORLE_ACTION_EXAMINE_OBJECT:
    case QUORLE_ACTION_EXAMINE_NEXT:
      return {Lock(), WordOf(&block_)};
    case QUORLE_ACTION_DISK_INFO:
      return {WordOf(&info_)};
    case QUORLE_ACTION_INFO:
      return {Lock(), WordOf(&info_)};
    case QUORLE_ACTION_INHIBIT:
    case QUORLE_ACTION_WRITE_PROTECT:
      return {Below(4) == 0 ? kTrue : 0};
    case QUORLE_ACTION_FINDUPDATE:
    case QUORLE_ACTION_FINDINPUT:
    case QUORLE_ACTION_FINDOUTPUT:
      return {WordOf(&handle_), Lock(), Name()};
    case QUORLE_ACTION_FH_FROM_LOCK:
      return {WordOf(&handle_), Lock()};
    case QUORLE_ACTION_READ:
    case QUORLE_ACTION_WRITE:
      return {File(), WordOf(buffer_.data()), Size()};
    case QUORLE_ACTION_SEEK:
    case QUORLE_ACTION_SET_FILE_SIZE:
    case QUORLE_ACTION_LOCK_RECORD:
    case QUORLE_ACTION_FREE_RECORD:
      return {File(), Number(), Number(), Number()};
    case QUORLE_ACTION_EXAMINE_FH:
      return {File(), WordOf(&block_)};
    case QUORLE_ACTION_END:
    case QUORLE_ACTION_COPY_LOCK_FH:
    case QUORLE_ACTION_PARENT_FH:
      return {File()};
    case QUORLE_ACTION_MAKE_LINK:
      return LinkWords();
    case QUORLE_ACTION_READ_SOFT_LINK:
      return {Lock(), WordOf(OneOf(kPlainNames)), WordOf(buffer_.data()), Size()};
    case QUORLE_ACTION_CHANGE_MODE:
      return ModeWords();
    default:  // FREE_LOCK, COPY_LOCK, PARENT, SAME_LOCK
      return {Lock(), Lock()};
  }
}

void PacketStorm::Take(std::int32_t action, const Words& words, std::intptr_t result) {
  switch (action) {
    case QUORLE_ACTION_LOCATE_OBJECT:
    case QUORLE_ACTION_COPY_LOCK:
    case QUORLE_ACTION_CREATE_DIR:
    case QUORLE_ACTION_PARENT:
    case QUORLE_ACTION_COPY_LOCK_FH:
    case QUORLE_ACTION_PARENT_FH:
      if (result != 0) locks.push_back(result);
      break;
    case QUORLE_ACTION_FREE_LOCK:
      std::erase(locks, words[0]);
      break;
    case QUORLE_ACTION_FH_FROM_LOCK:
      std::erase(locks, words[1]);
      [[fallthrough]];
    case QUORLE_ACTION_FINDUPDATE:
    case QUORLE_ACTION_FINDINPUT:
    case QUORLE_ACTION_FINDOUTPUT:
      files.push_back(handle_.fh_Arg1);
      break;
    case QUORLE_ACTION_END:
      std::erase(files, words[0]);
      break;
    default:
      break;
  }
}

TEST_F(ClassicHandlerTest, SurvivesAnyPackets) {
  constexpr int kPackets = 200000;
  PacketStorm storm;
  int succeeded = 0;
  int inhibited = 0;
  for (int i = 0; i < kPackets; ++i) {
    const std::int32_t action = storm.Action();
    const Words words = storm.WordsOf(action);
    const Answer answer = Send(action, words);
    if (answer.code != 0) continue;
    ++succeeded;
    if (action == QUORLE_ACTION_INHIBIT)
      inhibited = std::max(inhibited + (words[0] != 0 ? 1 : -1), 0);
    storm.Take(action, words, answer.result);
    ASSERT_EQ(services_->outstanding(), storm.locks.size() + 1) << "packet " << i << ", " << action;
  }
  EXPECT_GT(succeeded, kPackets / 10);
  while (inhibited-- > 0) Get(QUORLE_ACTION_INHIBIT);
  Get(QUORLE_ACTION_WRITE_PROTECT);
  for (const std::intptr_t lock : storm.locks) UnLock(lock);
  for (const std::intptr_t file : storm.files) Close(file);

  // Nothing is in use, and everything goes.
  const ShortText name("Fresh");
  ::InfoData info{};
  Get(QUORLE_ACTION_INHIBIT, {kTrue});
  Get(QUORLE_ACTION_FORMAT, {WordOf(&name), 0x444F5301});
  Get(QUORLE_ACTION_INHIBIT);
  Get(QUORLE_ACTION_DISK_INFO, {WordOf(&info)});
  EXPECT_EQ(info.id_InUse, 0U);
  EXPECT_EQ(info.id_NumBlocksUsed, 1U);
}

}  // namespace
}  // namespace quorle::selftest
