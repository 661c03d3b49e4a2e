#include "results/check_texts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "results/check_list.h"
#include "results/check_texts/source_file.h"
#include "results/check_texts/text_walk.h"
#include "tests/catalogue.h"

namespace quorle {
namespace {

/// A group's source around the body of its check.
std::string GroupWith(const std::string& body, const std::string& before = {}) {
  return "#include \"x.h\"\nnamespace quorle {\nnamespace {\nconstexpr char kLabel[] = \"Lock()\";\n" +
         before +
         "std::int32_t Rule(TestContext& ctx, std::int32_t) {\n  DosInterface& dos = *ctx.IDOS;\n" +
         body +
         "}\nconstexpr SubTestTable kSubTests = {\n    {\"Rule\", Rule},  // 1\n    {},\n};\n}\n"
         "const TestGroup kLockGroup = {kLabel, kSubTests};\n}\n";
}

/// "line|effect" of each text of the check, arguments as "*".
std::set<std::string> TextsIn(const std::string& source, const std::string& shared = {}) {
  const SourceFile own = ReadSource(source);
  const SourceFile others = ReadSource(shared);
  const SourceSet sources = {
      .own = &own, .shared = {&others}, .codes = {{"ERROR_OBJECT_IN_USE", 202}}};
  std::set<std::string> texts;
  for (const FoundText& found : TextsOfCheck(sources, "Rule")) {
    std::string line = found.line;
    std::replace(line.begin(), line.end(), kAnyText, '*');
    constexpr const char* kNames[] = {"passes", "fails",    "ends",
                                      "stops",  "releases", "unsupported"};
    texts.insert(line + "|" + kNames[static_cast<int>(found.effect)]);
  }
  return texts;
}

using Texts = std::set<std::string>;

TEST(CheckTexts, FollowWhatIsReturnedBehindThem) {
  EXPECT_EQ(TextsIn(GroupWith(R"(
  if (a) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: one \"%s\"\n       two\n\n", x);
    return kFailed;
  }
  if (b) dos.PutStr("\nWARN:  three 5%\n");
  // dos.PutStr("no text");
  return kPassed;
)")),
            (Texts{"ERROR: one \"*\"|ends", "two|ends", "WARN:  three 5%|passes"}));
  // It goes on in the next round, and the last word is another's.
  EXPECT_EQ(TextsIn(GroupWith(R"(
  std::int32_t result = kPassed;
  for (const Case* row = kCases; row->name != nullptr; ++row) {
    if (a) {
      dos.Printf("\nERROR: breaks\n");
      break;
    }
    if (b) {
      dos.Printf("\nERROR: fails\n");
      result = kFailed;
    }
    if (c) dos.Printf("\nERROR: only says so\n");
  }
  return result;
)")),
            (Texts{"ERROR: breaks|passes", "ERROR: fails|fails", "ERROR: only says so|passes"}));
  EXPECT_EQ(TextsIn(GroupWith(R"(
  if (a) {
    const bool in_use = dos.IoErr() == ERROR_OBJECT_IN_USE;
    dos.Printf("\nERROR: locked\n");
    if (in_use) dos.Printf("       in use\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }
  return kPassed;
)")),
            (Texts{"ERROR: locked|ends", "in use|stops"}));
}

TEST(CheckTexts, AreThoseOfWhatACheckCalls) {
  const std::string shared = R"(
bool UniqueFile(TestContext& ctx, ScratchName& name) { return false; }
void ShouldHaveBeen(TestContext& ctx, std::int32_t expected) {
  ctx.IDOS->SetIoErr(expected);
  ctx.IDOS->Printf("       it should be; #%n %m.\n\n");
}
bool MakeFile(TestContext& ctx, const char* name, const char* label) {
  if (!ctx.IDOS->Open(name)) {
    ctx.IDOS->Printf("\nERROR: %s test failed, cannot Open(\"%s\"); #%n %m\n\n", label, name);
    return false;
  }
  return true;
}
void CleanUp(TestContext& ctx, const char* name, const char* label, std::uint32_t number) {
  ctx.IDOS->Printf("\nCLEANUP ERROR[%lu]: %s left \"%s\"\n\n", number, label, name);
}
Record* SetUp(TestContext& ctx, const char* label) {
  auto* const record = Allocate();
  record->label = label;
  return record;
}
bool Shows(TestContext& ctx, const Record* record) {
  const char* const label = record->label;
  ctx.IDOS->Printf("\nERROR: %s shows nothing\n", label);
  return false;
}
)";
  const std::string body = R"body(
  const AtEnd release([&] { CleanUp(ctx, name, kLabel, 3); });
  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;
  Record* const made = SetUp(ctx, "Other()");
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    dos.Printf("\nWARN:  wrong; #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_OBJECT_IN_USE);
    return kFailed;
  }
  return Shows(ctx, made) ? kPassed : kFailed;
)body";
  EXPECT_EQ(
      TextsIn(GroupWith(body), shared),
      (Texts{"CLEANUP ERROR[3]: Lock() left \"*\"|releases",
             "ERROR: Lock() test failed, cannot Open(\"FILE*\"); #*|ends", "WARN:  wrong; #*|ends",
             "it should be; #202*.|ends", "ERROR: Other() shows nothing|ends"}));
}

TEST(CheckTexts, KnowNothingOfWhatChanges) {
  EXPECT_EQ(TextsIn(GroupWith(R"(
  std::int32_t size = 20;
  dos.Printf("INFO:  %ld\n", size);
  size += 4;
  dos.Printf("INFO:  then %ld\n", size);
  std::int32_t step = 1;
  while (step < 5) {
    dos.Printf("INFO:  step %ld\n", step);
    ++step;
  }
  const char* text = "a";
  if (x) text = "b";
  dos.Printf("INFO:  %s\n", text);
  dos.Printf("INFO:  %ld %s\n", -size, x ? "c" : "d");
  return kPassed;
)")),
            (Texts{"INFO:  20|passes", "INFO:  then *|passes", "INFO:  step *|passes",
                   "INFO:  *|passes", "INFO:  * *|passes"}));
}

TEST(CheckTexts, OfACheckThatLooksForTheUnknownOperation) {
  EXPECT_EQ(TextsIn(GroupWith("  if (NotImplemented(ctx)) return kFatal;\n  return kPassed;\n")),
            (Texts{"Lock() test skipped because it is not implemented for *|unsupported"}));
  EXPECT_EQ(TextsIn(GroupWith("  if (NotImplemented(ctx)) return kPassed;\n  return kPassed;\n")),
            Texts{});
}

TEST(CheckTexts, EndWhereASourceIsNoSource) {
  for (const char* const source :
       {"", "{", "}", "void f(", "void f() { if (", "\"", "/*", "'", "#", "void f() { f(); }",
        "= = = {", "namespace", "\"\\", "void f() {{{ \"\\x"}) {
    EXPECT_TRUE(TextsIn(source).empty()) << source;
  }
  EXPECT_TRUE(TextsIn(GroupWith("  return Rule(ctx, 0);\n")).empty()) << "it calls itself";
}

TEST(CheckTexts, AreOfTheCatalogue) {
  std::set<std::string> ids;
  for (const CheckInfo& check : ListChecks(kStandardCatalogue)) {
    ids.insert(check.id);
    ids.insert(check.group);
  }
  std::set<std::string> with_text;
  for (const CheckText& text : CheckTexts()) {
    EXPECT_TRUE(ids.contains(std::string(text.check))) << text.check;
    with_text.insert(std::string(text.check));
  }
  for (const CheckInfo& check : ListChecks(kStandardCatalogue)) {
    EXPECT_EQ(with_text.contains(check.id), check.id != "UnLock.Placeholder") << check.id;
  }
}

TEST(CheckTexts, FitALine) {
  const std::string any(1, kAnyText);
  EXPECT_TRUE(FitsText("abc", "abc"));
  EXPECT_FALSE(FitsText("abc", "abcd"));
  EXPECT_FALSE(FitsText("abcd", "abc"));
  EXPECT_TRUE(FitsText("a" + any + "c", "ac"));
  EXPECT_TRUE(FitsText("a" + any + "c", "abbcbc"));
  EXPECT_FALSE(FitsText("a" + any + "c", "abbcb"));
  EXPECT_TRUE(FitsText(any + "," + any, "x,y,z"));
  EXPECT_TRUE(FitsText(any, ""));
  EXPECT_TRUE(FitsText("", ""));
  EXPECT_FALSE(FitsText("", "a"));
}

}  // namespace
}  // namespace quorle
