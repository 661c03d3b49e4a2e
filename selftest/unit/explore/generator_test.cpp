#include "explore/generator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "explore/numbers.h"
#include "platform/constants.h"
#include "selftest/unit/explore/ram_side.h"

namespace quorle::explore {
namespace {

using OnDrawn = std::function<void(const Call& call)>;

/// Draws `seeds` sequences of 200 calls and makes them on a volume in memory.
void DrawAll(Generator generator, std::uint64_t seeds, const OnDrawn& on_call) {
  RamSide ram;
  Call call;
  Outcome outcome;
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
    ram.Renew();
    const Choices choices = DrawChoices(seed, 200);
    for (std::size_t at = 0; at != choices.size(); at += kChoicesPerCall) {
      generator.Next({choices.data() + at, kChoicesPerCall}, ram.side(), call);
      on_call(call);
      ram.clock().Step();
      ram.side().Make(call, outcome);
    }
  }
}

/// The name and the second text of `call`, if it has them.
std::size_t TextsOf(const Call& call) {
  const auto arguments = RowOf(call.operation).Arguments();
  return static_cast<std::size_t>(std::count_if(arguments.begin(), arguments.end(), [](Argument a) {
    return a == Argument::kName || a == Argument::kText;
  }));
}

bool IsAbove(const std::string& path) {
  return path.starts_with('/') || path.find(':') != std::string::npos ||
         path.find("//") != std::string::npos;
}

std::size_t LongestNameOf(const std::string& path) {
  std::size_t longest = 0;
  std::size_t begin = 0;
  while (begin <= path.size()) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    longest = std::max(longest, end - begin);
    begin = end + 1;
  }
  return longest;
}

/// A choice that leads to `operation` itself, not to what needs an object of it first.
Choice ChoiceOf(Generator generator, Side& side, Operation operation) {
  std::array<Choice, kChoicesPerCall> choices{};
  Call call;
  for (std::uint32_t choice = 0; choice != 65536; choice += 4) {
    choices[kOperationChoice] = static_cast<Choice>(choice);
    choices[kObjectChoice] = 65535;
    generator.Next(choices, side, call);
    if (call.operation == operation) return static_cast<Choice>(choice);
  }
  ADD_FAILURE() << RowOf(operation).id << " is never drawn";
  return 0;
}

class GeneratorTest : public ::testing::Test {
 protected:
  Call Draw(const std::array<Choice, kChoicesPerCall>& choices) {
    Call call;
    generator_.Next(choices, ram_.side(), call);
    return call;
  }
  Call DrawPlain(Operation operation) {
    return Draw({ChoiceOf(generator_, ram_.side(), operation)});
  }
  void Make(const Call& call) {
    Outcome outcome;
    ram_.side().Make(call, outcome);
    ASSERT_TRUE(outcome.done) << RowOf(call.operation).id << ' ' << outcome.code;
  }

  Traits traits_;
  Generator generator_{traits_};
  RamSide ram_;
};

TEST_F(GeneratorTest, TheSameChoicesGiveTheSameCalls) {
  std::vector<Call> first;
  std::vector<Call> second;
  DrawAll(generator_, 10, [&](const Call& call) { first.push_back(call); });
  DrawAll(generator_, 10, [&](const Call& call) { second.push_back(call); });
  EXPECT_EQ(first.size(), 2000U);
  EXPECT_TRUE(first == second);
}

TEST_F(GeneratorTest, WhatACallWasBeforeDoesNotMatter) {
  Call call;
  call.operation = Operation::kRename;
  call.result = 3;
  call.number = {1, 2, 3, 4, 5};
  call.text = {"one", "two"};
  call.date = {1, 2, 3};
  call.pattern = 7;
  const std::array<Choice, kChoicesPerCall> choices{};
  generator_.Next(choices, ram_.side(), call);
  EXPECT_TRUE(call == Draw(choices));
}

TEST_F(GeneratorTest, NothingButZerosGivesThePlainestCall) {
  const Call open = Draw({});
  EXPECT_EQ(open.operation, Operation::kOpen);
  EXPECT_EQ(open.text[0], "a");
  EXPECT_EQ(open.number[1], MODE_NEWFILE);
  EXPECT_EQ(open.result, 1);
  Make(open);
  const Call close = DrawPlain(Operation::kClose);
  EXPECT_EQ(close.number[0], 1);
  const Call write = DrawPlain(Operation::kWrite);
  EXPECT_EQ(write.number[0], 1);
  EXPECT_EQ(write.number[1], 0);
  EXPECT_EQ(write.pattern, 0U);
  const Call seek = DrawPlain(Operation::kChangeFilePosition);
  EXPECT_EQ(seek.number[1], 0);
  EXPECT_EQ(seek.number[2], OFFSET_BEGINNING);
  const Call rename = DrawPlain(Operation::kRename);
  EXPECT_EQ(rename.text[0], "a");
  EXPECT_EQ(rename.text[1], "a");
  const Call make = DrawPlain(Operation::kCreateDir);
  EXPECT_EQ(make.text[0], "d");
  EXPECT_EQ(make.result, 1);
  Make(make);
  EXPECT_EQ(DrawPlain(Operation::kUnLock).number[0], 1);
  const Call same = DrawPlain(Operation::kSameLock);
  EXPECT_EQ(same.number[0], 1);
  EXPECT_EQ(same.number[1], 1);
  EXPECT_EQ(DrawPlain(Operation::kLock).number[1], SHARED_LOCK);
  EXPECT_EQ(DrawPlain(Operation::kSetProtection).number[1], 0);
  EXPECT_EQ(DrawPlain(Operation::kSetComment).text[1], "c");
  EXPECT_EQ(DrawPlain(Operation::kSetDate).date.ds_Days, 10000);
  EXPECT_EQ(DrawPlain(Operation::kMakeSoftLink).text[0], "s");
  EXPECT_EQ(DrawPlain(Operation::kSetCurrentDir).number[0], 0);
  EXPECT_EQ(DrawPlain(Operation::kInhibit).number[0], 0);
  EXPECT_EQ(DrawPlain(Operation::kMakeFiles).number[1], 1);
}

TEST_F(GeneratorTest, ALowerChoiceIsAPlainerCount) {
  std::int64_t last = -1;
  for (std::uint32_t choice = 0; choice != 65536; ++choice) {
    const std::int64_t bytes = DrawNumber(NumberKind::kBytesToWrite, static_cast<Choice>(choice));
    if (bytes < 0) break;  // what cannot be written comes last
    ASSERT_GE(bytes, last) << choice;
    last = bytes;
  }
  EXPECT_EQ(last, kMostBytes);
}

TEST_F(GeneratorTest, WhatNeedsAnObjectFirstMakesOne) {
  // Nobody has a file, a lock or a request yet: of each kind one comes.
  const Choice read = ChoiceOf(generator_, ram_.side(), Operation::kRead);
  EXPECT_EQ(Draw({read}).operation, Operation::kOpen);
  // Or, seldom, it is called without.
  const Call none = Draw({read, 65535});
  EXPECT_EQ(none.operation, Operation::kRead);
  EXPECT_EQ(none.number[0], 0);
  Make(Draw({}));
  EXPECT_EQ(Draw({read}).operation, Operation::kRead);
  EXPECT_EQ(Draw({read}).number[0], 1);
  EXPECT_EQ(Draw({read, 65535}).number[0], 0);
}

TEST_F(GeneratorTest, ObjectsAreTakenAmongThoseThatAreThere) {
  const Choice lock = ChoiceOf(generator_, ram_.side(), Operation::kLock);
  std::array<Choice, kChoicesPerCall> choices{lock};
  Call root = Draw(choices);
  root.text[0] = "";
  for (std::uint8_t number = 1; number <= kMostObjects; ++number) {
    EXPECT_EQ(Draw(choices).result, number);
    root.result = number;
    Make(root);
  }
  // No number is left.
  EXPECT_EQ(Draw(choices).result, 0);
  EXPECT_EQ(ram_.side().Held(Argument::kLock), 0xFFFE);
  Call release;
  release.operation = Operation::kUnLock;
  for (const std::uint8_t number : std::to_array<std::uint8_t>({1, 4, 15})) {
    release.number[0] = number;
    Make(release);
    EXPECT_FALSE(ram_.side().LockOf(number));
  }
  EXPECT_EQ(Draw(choices).result, 1);
  const Choice copy = ChoiceOf(generator_, ram_.side(), Operation::kDupLock);
  std::set<std::int64_t> seen;
  for (std::uint32_t object = 0; object != 65536; object += 16) {
    seen.insert(Draw({copy, static_cast<Choice>(object)}).number[0]);
  }
  EXPECT_EQ(seen, (std::set<std::int64_t>{0, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
}

TEST_F(GeneratorTest, EveryOperationIsDrawn) {
  std::array<std::uint64_t, kOperations> count{};
  DrawAll(generator_, 500,
          [&](const Call& call) { ++count[static_cast<std::size_t>(call.operation)]; });
  for (const OperationRow& row : Operations()) {
    EXPECT_GT(count[static_cast<std::size_t>(row.operation)], 0U) << row.id;
  }
}

TEST_F(GeneratorTest, NamesAndTextsKeepToTheLimitsAndReachThem) {
  traits_.name_limit = 30;
  traits_.comment_limit = 79;
  traits_.target_limit = 100;
  std::size_t name = 0;
  std::size_t comment = 0;
  std::size_t target = 0;
  DrawAll(Generator(traits_), 300, [&](const Call& call) {
    if (TextsOf(call) == 0 || call.operation == Operation::kRelabel) return;
    name = std::max(name, LongestNameOf(call.text[0]));
    if (call.operation == Operation::kSetComment) {
      comment = std::max(comment, call.text[1].size());
    } else if (call.operation == Operation::kMakeSoftLink) {
      const bool is_path = call.text[1].find('/') != std::string::npos;
      if (!is_path) target = std::max(target, call.text[1].size());
    } else {
      name = std::max(name, LongestNameOf(call.text[1]));
    }
  });
  EXPECT_EQ(name, 30U);
  EXPECT_EQ(comment, 79U);
  EXPECT_EQ(target, 100U);
}

TEST_F(GeneratorTest, AByteMoreIsDrawnWhereTheReferenceRefusesItToo) {
  const auto limit = static_cast<std::size_t>(traits_.name_limit);
  std::set<std::size_t> lengths;
  bool has_long_comment = false;
  bool has_long_path = false;
  DrawAll(generator_, 300, [&](const Call& call) {
    if (call.operation == Operation::kSetComment) {
      has_long_comment = has_long_comment ||
                         call.text[1].size() == static_cast<std::size_t>(traits_.comment_limit) + 1;
    } else if (TextsOf(call) != 0) {
      lengths.insert(LongestNameOf(call.text[0]));
      has_long_path =
          has_long_path || (call.text[0].size() > 255 && LongestNameOf(call.text[0]) <= limit);
    }
  });
  EXPECT_TRUE(has_long_comment);
  EXPECT_TRUE(has_long_path);
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, limit - 1, limit, limit + 1}) {
    EXPECT_TRUE(lengths.contains(length)) << length;
  }
  EXPECT_FALSE(lengths.contains(limit + 2));
}

TEST_F(GeneratorTest, SmallAmountsAreNothingButSmall) {
  constexpr std::int64_t kMostBytes = 65537;
  constexpr std::int64_t kMostFiles = 20;
  std::int64_t most_bytes = 0;
  std::int64_t most_files = 0;
  DrawAll(Generator(traits_, true, Amounts::kSmall), 2000, [&](const Call& call) {
    if (call.operation == Operation::kRead || call.operation == Operation::kWrite) {
      most_bytes = std::max(most_bytes, call.number[1]);
    }
    if (call.operation == Operation::kMakeFiles) most_files = std::max(most_files, call.number[1]);
  });
  EXPECT_EQ(most_bytes, kMostBytes);
  EXPECT_EQ(most_files, kMostFiles);
}

TEST_F(GeneratorTest, WhatIsMissingIsNeverDrawn) {
  for (const Operation missing :
       {Operation::kMakeHardLink, Operation::kLockRecord, Operation::kScanName, Operation::kOpen}) {
    traits_.knows[static_cast<std::size_t>(missing)] = missing == Operation::kOpen;
  }
  traits_.protection = 0x1F;
  traits_.owner = 0;
  traits_.group = 0xFF;
  traits_.root_attributes = false;
  traits_.date_ticks = 100;
  traits_.size_limit = std::int64_t{1} << 31;
  DrawAll(Generator(traits_), 300, [&](const Call& call) {
    EXPECT_NE(call.operation, Operation::kMakeHardLink);
    EXPECT_NE(call.operation, Operation::kLockRecord);
    EXPECT_NE(call.operation, Operation::kScanName);
    switch (call.operation) {
      case Operation::kSetProtection:
        EXPECT_LE(call.number[1], 0x1F);
        EXPECT_NE(call.text[0], "");
        break;
      case Operation::kSetOwner:
        EXPECT_EQ(call.number[2], 0);
        break;
      case Operation::kSetGroup:
        EXPECT_LE(call.number[2], 0xFF);
        EXPECT_NE(call.text[0], ":");
        break;
      case Operation::kSetDate:
        if (call.date.ds_Minute < 24 * 60 && call.date.ds_Minute >= 0 && call.date.ds_Tick < 3000) {
          EXPECT_EQ(call.date.ds_Tick % 100 == 0 || call.date.ds_Tick < 0, true);
        }
        break;
      case Operation::kChangeFileSize:
        EXPECT_LE(call.number[1], traits_.size_limit / 64);
        break;
      default:
        break;
    }
  });
}

TEST_F(GeneratorTest, HardLinksToDirectoriesAreNotDrawnWhereThereAreNone) {
  bool has_hard_link = false;
  const auto directories = [&](const Traits& traits) {
    RamSide ram;
    Generator generator(traits);
    const Choice link = ChoiceOf(generator, ram.side(), Operation::kMakeHardLink);
    Call call;
    call.operation = Operation::kLock;
    call.result = 1;
    call.number[1] = SHARED_LOCK;
    Outcome outcome;
    ram.side().Make(call, outcome);
    generator.Next(std::array<Choice, kChoicesPerCall>{link}, ram.side(), call);
    has_hard_link = call.operation == Operation::kMakeHardLink;
    return call;
  };
  EXPECT_EQ(directories(traits_).number[1], 1);
  EXPECT_TRUE(has_hard_link);
  traits_.links_to_directories = false;
  const Call instead = directories(traits_);
  EXPECT_EQ(instead.operation, Operation::kDupLock);
  EXPECT_EQ(instead.number[0], 1);
  EXPECT_EQ(instead.text[0], "");
}

TEST_F(GeneratorTest, InADirectoryNothingLeadsAboveIt) {
  RamSide ram;
  ram.dos().UnLock(ram.dos().CreateDir("DH0:scratch"));
  ram.side().End();
  ASSERT_EQ(ram.side().Begin("scratch"), 0);
  Generator generator(traits_, false);
  Call call;
  Outcome outcome;
  const auto make = [&](const Choices& choices) {
    for (std::size_t at = 0; at != choices.size(); at += kChoicesPerCall) {
      generator.Next({choices.data() + at, kChoicesPerCall}, ram.side(), call);
      EXPECT_NE(call.operation, Operation::kInhibit);
      EXPECT_NE(call.operation, Operation::kWriteProtect);
      EXPECT_NE(call.operation, Operation::kRelabel);
      EXPECT_FALSE(IsAbove(call.text[0])) << call.text[0];
      if (call.operation != Operation::kSetComment) {
        EXPECT_FALSE(IsAbove(call.text[1])) << call.text[1];
      }
      ram.clock().Step();
      ram.side().Make(call, outcome);
    }
  };
  for (std::uint64_t seed = 1; seed <= 300; ++seed) make(DrawChoices(seed, 200));
  ram.side().End();
  // What is beside it in the root is what was there: the directory alone.
  const LockHandle root = ram.dos().Lock("DH0:", SHARED_LOCK);
  std::vector<std::string> names;
  FurtherDosInterface& further = ram.side().further();
  const DirContextHandle scan = further.ObtainDirContext(EX_LockInput, root);
  while (const ExamineData* const entry = further.ExamineDir(scan)) names.emplace_back(entry->Name);
  further.ReleaseDirContext(scan);
  EXPECT_EQ(names, std::vector<std::string>{"scratch"});
  const ExamineData* const record = ram.dos().ExamineObject(EX_LockInput, root);
  ASSERT_NE(record, nullptr);
  EXPECT_STREQ(record->Comment, "");
  ram.dos().FreeDosObject(DOS_EXAMINEDATA, record);
  ram.dos().UnLock(root);
}

}  // namespace
}  // namespace quorle::explore
