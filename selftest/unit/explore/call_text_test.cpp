#include "explore/call_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "explore/call_reader.h"
#include "platform/constants.h"
#include "selftest/unit/explore/ram_side.h"

namespace quorle::explore {
namespace {

// ---- Calls of every operation --------------------------------------------------------------------

/// Draws calls of every kind, most of which no filesystem would grant.
class AnyCalls {
 public:
  explicit AnyCalls(std::uint32_t seed) : random_(seed) {}

  Call Next() {
    const auto rows = Operations();
    const OperationRow& row = rows[next_++ % rows.size()];
    Call call;
    call.operation = row.operation;
    if (IsObject(row.result)) call.result = static_cast<std::uint8_t>(Below(kMostObjects + 1));
    std::size_t texts = 0;
    for (std::size_t i = 0; i != row.Arguments().size(); ++i) {
      Draw(row.Arguments()[i], i, texts, call);
    }
    return call;
  }

 private:
  std::size_t Below(std::size_t bound) { return random_() % bound; }

  template <class List>
  auto OneOf(const List& list) {
    return list.begin()[Below(list.size())];
  }

  std::string Text(bool may_have_nul) {
    std::string text;
    for (std::size_t parts = Below(4); parts != 0; --parts) {
      std::string part;
      for (std::size_t length = Below(6); length != 0; --length) {
        part += static_cast<char>(Below(3) == 0 ? Below(256) : 'a' + Below(3));
      }
      if (Below(3) == 0) part = "\"\\*+";
      const std::size_t times = Below(4) == 0 ? Below(300) : 1;
      for (std::size_t i = 0; i != times; ++i) text += part;
    }
    if (!may_have_nul) std::erase(text, '\0');
    return text;
  }

  std::int64_t Number(std::int64_t least, std::int64_t most) {
    switch (Below(3)) {
      case 0:
        return std::max(least,
                        std::min<std::int64_t>(most, static_cast<std::int64_t>(Below(9)) - 2));
      case 1:
        return OneOf(std::initializer_list<std::int64_t>{least, most, 0, 1, 511, 4097});
      default:
        return least + static_cast<std::int64_t>(random_() % 100000);
    }
  }

  void Draw(Argument argument, std::size_t place, std::size_t& texts, Call& call) {
    if (IsWord(argument)) return;
    std::int64_t& number = call.number[place];
    if (IsObject(argument)) {
      number = static_cast<std::int64_t>(Below(kMostObjects + 1));
      return;
    }
    switch (argument) {
      case Argument::kName:
      case Argument::kText:
        call.text[texts++] = Text(false);
        return;
      case Argument::kData:
        if (Below(2) == 0) {
          call.text[0] = Text(true);
          call.pattern = Call::kQuoted;
          number = static_cast<std::int64_t>(call.text[0].size());
          return;
        }
        call.pattern = static_cast<std::uint32_t>(Number(0, 0xFFFFFFFE));
        number = Number(INT64_MIN, INT64_MAX);
        return;
      case Argument::kDate:
        call.date.ds_Days = static_cast<std::int32_t>(Number(INT32_MIN, INT32_MAX));
        call.date.ds_Minute = static_cast<std::int32_t>(Number(-5, 1445));
        call.date.ds_Tick = static_cast<std::int32_t>(Number(-5, 3005));
        if (Below(2) == 0) call.date = {static_cast<std::int32_t>(Below(40000)), 1439, 2999};
        return;
      case Argument::kPosition:
        number = Number(INT64_MIN, INT64_MAX);
        return;
      default: {
        const WordSet words = WordsOf(argument);
        number = Number(INT32_MIN, 0xFFFFFFFF);
        if (!words.words.empty() && Below(2) == 0) number = OneOf(words.words).value;
        if (words.are_flags && Below(2) == 0) number = static_cast<std::int64_t>(Below(64));
        return;
      }
    }
  }

  std::mt19937 random_;
  std::size_t next_ = 0;
};

TEST(CallText, IsReadAsTheCallThatItIsOf) {
  AnyCalls calls(20);
  for (int i = 0; i != 20000; ++i) {
    const Call call = calls.Next();
    const std::string text = TextOf(call);
    for (const char c : text) ASSERT_TRUE(c >= 0x20 && c < 0x7F) << text;
    CallLine line;
    std::string problem;
    ASSERT_TRUE(ReadCallLine(text, line, problem)) << text << "\n" << problem;
    ASSERT_TRUE(line.call == call) << text << "\n" << TextOf(line.call);
    ASSERT_FALSE(line.due);
  }
}

Call CallOf(Operation operation) {
  Call call;
  call.operation = operation;
  return call;
}

std::string ReadAndWritten(std::string_view text) {
  CallLine line;
  std::string problem;
  if (!ReadCallLine(text, line, problem)) return problem;
  return TextOf(line.call) + (line.due ? " => " + TextOf(line.call, *line.due) : "");
}

TEST(CallText, IsMadeToBeRead) {
  Call open = CallOf(Operation::kOpen);
  open.result = 1;
  open.text[0] = std::string(108, 'a') + ".txt";
  open.number[1] = MODE_NEWFILE;
  EXPECT_EQ(TextOf(open), R"(Open("a" * 108 + ".txt", MODE_NEWFILE) = f1)");
  open.text[0] = "\xE4\"\\\n";
  open.number[1] = 7;
  EXPECT_EQ(TextOf(open), R"(Open("\xE4\"\\\n", 7) = f1)");

  Call write = CallOf(Operation::kWrite);
  write.number = {1, 300};
  write.pattern = 7;
  EXPECT_EQ(TextOf(write), "Write(f1, 300 bytes of 7)");

  Call date = CallOf(Operation::kSetDate);
  date.text[0] = "d/a";
  date.date = {8094, 750, 270};
  EXPECT_EQ(TextOf(date), R"(SetDate("d/a", 2000-02-29 12:30:05.20))");
  date.date.ds_Minute = 1440;
  EXPECT_EQ(TextOf(date), R"(SetDate("d/a", {8094 1440 270}))");

  Call link = CallOf(Operation::kMakeHardLink);
  link.text[0] = "h";
  EXPECT_EQ(TextOf(link), R"(MakeLink("h", 0, LINK_HARD))");
  Call protect = CallOf(Operation::kSetProtection);
  protect.text[0] = "p";
  protect.number[1] = 0x11;
  EXPECT_EQ(TextOf(protect), R"(SetProtection("p", EXDF_NO_DELETE|EXDF_ARCHIVE))");
  protect.number[1] = 0x80000001;
  EXPECT_EQ(TextOf(protect), R"(SetProtection("p", 0x80000001))");
}

TEST(CallText, MayBeWrittenFreely) {
  EXPECT_EQ(ReadAndWritten(R"(  Open ( "a"+"b" , 1006 )=f3=>f3 # a comment)"),
            R"(Open("ab", MODE_NEWFILE) = f3 => f3)");
  EXPECT_EQ(ReadAndWritten(R"(Open("a", MODE_OLDFILE) => f2)"),
            R"(Open("a", MODE_OLDFILE) = f2 => f2)");
  EXPECT_EQ(ReadAndWritten(R"(Open("a", MODE_OLDFILE) = f2 => 0 205)"),
            R"(Open("a", MODE_OLDFILE) = f2 => 0 205)");
  EXPECT_EQ(ReadAndWritten("Delete(\"\xC3\xA4#\")"), R"(Delete("\xE4#"))");
  EXPECT_EQ(ReadAndWritten(R"(SetDate("a", 1978-01-01 00:00:01))"),
            R"(SetDate("a", 1978-01-01 00:00:01.00))");
  EXPECT_EQ(ReadAndWritten(R"(SetProtection("a", EXDF_NO_READ|0x100))"),
            R"(SetProtection("a", 0x108))");
  EXPECT_EQ(ReadAndWritten(R"(Write(f1, 1 byte of 0))"), "Write(f1, 1 bytes of 0)");
  EXPECT_EQ(ReadAndWritten(R"(Rename("a", "b") => FALSE 203|202)"),
            R"(Rename("a", "b") => FALSE 203|202)");
  EXPECT_EQ(ReadAndWritten(R"(ExamineObject(EX_LockInput, l1) => Comment="c" FileSize=0x10)"),
            R"(ExamineObject(EX_LockInput, l1) => FileSize=16 Comment="c")");
  EXPECT_EQ(ReadAndWritten("SameLock(l1, 0) => LOCK_DIFFERENT"),
            "SameLock(l1, 0) => LOCK_DIFFERENT");
  EXPECT_EQ(ReadAndWritten(R"(Read(f1, 10) => 10 bytes with checksum 0x1f)"),
            "Read(f1, 10) => 10 bytes with checksum 0x000000000000001F");
}

TEST(CallText, OneLineSaysWhatIsWrong) {
  EXPECT_EQ(ReadAndWritten("hello"), R"(a call is expected, such as Delete("a"))");
  EXPECT_EQ(ReadAndWritten("Opn(\"a\", MODE_OLDFILE)"), "\"Opn\" is not an operation");
  EXPECT_EQ(ReadAndWritten("Open(\"a\")"), "Open() takes 2 arguments, not 1");
  EXPECT_EQ(ReadAndWritten("Open(\"a\", MODE_OLDFIL)"),
            "Open(), argument 2: MODE_READWRITE, a constant like it or a number is expected, not "
            "\"MODE_OLDFIL\"");
  EXPECT_EQ(ReadAndWritten("Close(l1)"),
            "Close(), argument 1: 0, or f1 to f15 is expected, not \"l1\"");
  EXPECT_EQ(ReadAndWritten("Close(f16)"),
            "Close(), argument 1: 0, or f1 to f15 is expected, not \"f16\"");
  EXPECT_EQ(ReadAndWritten("Delete(\"a)"), "the closing quote is missing");
  EXPECT_EQ(ReadAndWritten("Delete(\"a\" * 65537)"), "a text is longer than 65536 bytes");
  EXPECT_EQ(ReadAndWritten("Delete(\"a\" * 99999999999999999999)"),
            "how often a text is repeated is a number");
  EXPECT_EQ(ReadAndWritten("Delete(\"\" * 9223372036854775807)"), "Delete(\"\")");
  EXPECT_EQ(ReadAndWritten("Delete(\"\\x00\")"),
            "Delete(), argument 1: a name or text has no \\x00 in it");
  EXPECT_EQ(ReadAndWritten("Delete(\"\xE4\")"), "a character that is not in Latin-1, or not UTF-8");
  EXPECT_EQ(ReadAndWritten("Delete(\"a\") b"), "there is more than a call: \"b\"");
  EXPECT_EQ(ReadAndWritten("Delete(\"a\") => MAYBE"),
            "TRUE, FALSE or FALSE and a code is expected");
  EXPECT_EQ(ReadAndWritten("Delete(\"a\") => FALSE 99999999999"),
            "a code of an error is expected, or several as 203|202");
  EXPECT_EQ(ReadAndWritten("Delete(\"a\") = f1"), "Delete() returns no object");
  EXPECT_EQ(ReadAndWritten("Lock(\"a\", SHARED_LOCK) = l1 => l2"), "the object has two numbers");
  EXPECT_EQ(ReadAndWritten("UnLock(l1) => TRUE"), "UnLock() has no result");
  EXPECT_EQ(ReadAndWritten("SetDate(\"a\", 2000-02-30 00:00:00)"),
            "there is no such moment: \"2000-02-30 00:00:00)\"");
  EXPECT_EQ(ReadAndWritten("ExamineObject(EX_LockInput, l1) => FileSize=1 FileSize=2"),
            "FileSize is given twice");
  EXPECT_EQ(ReadAndWritten("ExamineObject(EX_LockInput, \"a\")"),
            "ExamineObject(), argument 2: 0, or l1 to l15 is expected");
  EXPECT_EQ(ReadAndWritten("Read(f1, 9223372036854775808)"),
            "Read(), argument 2: a number is expected, not \"9223372036854775808\"");
  EXPECT_EQ(ReadAndWritten("Read(f1, 4294967296)"),
            "Read(), argument 2: 4294967296 has more than 32 bits");
}

// ---- What came of calls --------------------------------------------------------------------------

TEST(OutcomeText, IsReadAsWhatCameOfTheCall) {
  RamSide ram;
  AnyCalls calls(21);
  std::vector<int> done(kOperations);
  // Names of objects that are there, so that some calls are granted.
  for (int i = 0; i != 20000; ++i) {
    Call call = calls.Next();
    const OperationRow& row = RowOf(call.operation);
    // dos waits for records of bytes, and the name of the volume, once it is protected, stays.
    if (call.operation == Operation::kMakeFiles) call.number[1] %= 5;
    if (call.operation == Operation::kInhibit || call.operation == Operation::kWriteProtect) {
      call.number[0] = 0;
    }
    if (call.operation == Operation::kLockRecord) call.number[3] |= 1;
    if (call.operation == Operation::kWrite) call.number[1] %= 5000;
    if (call.operation == Operation::kChangeFileSize) call.number[1] %= 5000;
    for (std::string& text : call.text) {
      if (i % 4 != 0 && call.operation != Operation::kWrite)
        text = std::string(1, static_cast<char>('a' + i % 5));
    }
    if (row.arguments[0] == Argument::kFile && i % 3 != 0) call.number[0] = 1 + i % 2;
    if (IsObject(row.result) && i % 3 != 0) call.result = static_cast<std::uint8_t>(1 + i % 2);
    if (row.arguments[1] == Argument::kOpenMode && i % 3 != 0) call.number[1] = MODE_READWRITE;

    if (call.operation == Operation::kLockRecord || call.operation == Operation::kUnLockRecord) {
      std::fill_n(call.number.begin(), 3, 1);
    }

    ram.clock().Step();
    Outcome outcome;
    ram.side().Make(call, outcome);
    if (outcome.done) ++done[static_cast<std::size_t>(call.operation)];
    const DueOutcome all = AllOf(call, outcome);
    ASSERT_TRUE(IsAsDue(all, all));
    const std::string text = TextOf(call, outcome);
    if (row.result == Result::kNothing) {
      ASSERT_EQ(text, "");
      continue;
    }
    Call named = call;
    DueOutcome due;
    std::string problem;
    ASSERT_TRUE(ReadDue(text, named, due, problem)) << TextOf(call) << " => " << text << "\n"
                                                    << problem;
    ASSERT_TRUE(due == all) << TextOf(call) << " => " << text << "\n" << TextOf(call, due);
    ASSERT_TRUE(named == call) << text;
  }
  for (std::size_t i = 0; i != kOperations; ++i) {
    EXPECT_NE(done[i], 0) << Operations()[i].id << " was never granted";
  }
}

TEST(OutcomeText, SaysWhatWasRead) {
  RamSide ram;
  const auto result = [&](const char* text) {
    CallLine line;
    std::string problem;
    EXPECT_TRUE(ReadCallLine(text, line, problem)) << problem;
    Outcome outcome;
    ram.side().Make(line.call, outcome);
    return TextOf(line.call, outcome);
  };
  EXPECT_EQ(result(R"(Open("a", MODE_NEWFILE) = f1)"), "f1");
  EXPECT_EQ(result(R"(Lock("b", SHARED_LOCK) = l1)"), "0 205");
  EXPECT_EQ(result(R"(CreateDir("d"))"), "a lock");
  EXPECT_EQ(result("Write(f1, 600 bytes of 7)"), "600");
  EXPECT_EQ(result("ChangeFilePosition(f1, 0, OFFSET_BEGINNING)"), "TRUE");
  EXPECT_EQ(result("Read(f1, 512)"), "512 bytes of 7");
  EXPECT_EQ(result("Read(f1, 512)"), "88 bytes with checksum 0x9F8B9E1B1484C63F");
  EXPECT_EQ(result("Read(f1, 512)"), "\"\"");
  EXPECT_EQ(result("ChangeFilePosition(f1, 601, OFFSET_BEGINNING)"), "FALSE 219");
  EXPECT_EQ(result("ChangeFileSize(f1, 0, OFFSET_BEGINNING)"), "TRUE");
  EXPECT_EQ(result("ChangeFileSize(f1, 108, OFFSET_BEGINNING)"), "TRUE");
  EXPECT_EQ(result("Read(f1, 512)"), R"("\x00" * 108)");
  EXPECT_EQ(result("Read(f9, 1)"), "-1 116");
  EXPECT_EQ(result(R"(MakeLink("s", "over/there", LINK_SOFT))"), "TRUE");
  EXPECT_EQ(result(R"(ReadSoftLink(0, "s", 100))"), "\"over/there\"");
  EXPECT_EQ(result(R"(ReadSoftLink(0, "s", 4))"), "-2 120");
  EXPECT_EQ(result(R"(ExamineObject(EX_StringNameInput, "b"))"), "0 205");
  EXPECT_EQ(result(R"(SetDate("d", 2000-02-29 12:30:05.20))"), "TRUE");
  EXPECT_EQ(result(R"(ExamineObject(EX_StringNameInput, "d"))"),
            "Type=FSO_TYPE_DIRECTORY FileSize=-1 Date=2000-02-29 12:30:05.20 RefCount=1 Name=\"d\" "
            "Comment=\"\" Link=\"\" Protection=0 OwnerUID=0 OwnerGID=0");
}

TEST(DueOutcome, ComparesOnlyWhatIsGiven) {
  CallLine line;
  std::string problem;
  Call read = CallOf(Operation::kRead);
  const auto is_due = [&](const char* due, const char* all, Call call) {
    DueOutcome a;
    DueOutcome b;
    EXPECT_TRUE(ReadDue(due, call, a, problem)) << problem;
    EXPECT_TRUE(ReadDue(all, call, b, problem)) << problem;
    return IsAsDue(a, b);
  };
  EXPECT_TRUE(is_due("3 bytes", "\"abc\"", read));
  EXPECT_FALSE(is_due("4 bytes", "\"abc\"", read));
  EXPECT_TRUE(is_due("3 bytes with checksum 0xE71FA2190541574B", "\"abc\"", read));
  EXPECT_FALSE(is_due("\"abd\"", "\"abc\"", read));
  EXPECT_FALSE(is_due("\"abc\"", "-1 224", read));
  EXPECT_TRUE(is_due("-1", "-1 224", read));
  EXPECT_FALSE(is_due("-1 219|223", "-1 224", read));
  EXPECT_TRUE(is_due("-1 219|224", "-1 224", read));
  const Call examine = CallOf(Operation::kExamineLock);
  EXPECT_TRUE(is_due("FileSize=3", "FileSize=3 Name=\"a\"", examine));
  EXPECT_FALSE(is_due("FileSize=4", "FileSize=3 Name=\"a\"", examine));
  EXPECT_TRUE(is_due("done", "FileSize=3 Name=\"a\"", examine));
  EXPECT_FALSE(is_due("done", "0 205", examine));
}

TEST(Pattern, IsTheSameByteForByteAndInOnePiece) {
  for (const std::uint32_t pattern : {0U, 7U, 0xFFFFFFFEU}) {
    for (const std::size_t size : {0U, 1U, 7U, 8U, 9U, 513U}) {
      std::vector<std::uint8_t> bytes(size + 1, 0xEE);
      FillPattern(pattern, {bytes.data(), size});
      for (std::size_t i = 0; i != size; ++i) ASSERT_EQ(bytes[i], PatternByte(pattern, i)) << i;
      ASSERT_EQ(bytes[size], 0xEE);
    }
  }
}

}  // namespace
}  // namespace quorle::explore
