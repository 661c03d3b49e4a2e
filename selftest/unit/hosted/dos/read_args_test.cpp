#include "hosted/dos/read_args.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/constants.h"

namespace quorle {
namespace {

constexpr std::string_view kTesterTemplate =
    "Device/A,NoInfoMessages=NI/S,NoWarnMessages=NW/S,NoRootMessages=NR/S,AbortOnErr=AOE/S,FirstTestNumber=FTN/K/N,LastTestNumber=LTN/K/N,TestNumber=TN/K/N";

/// Answers with prepared lines and keeps what it was asked.
class Lines final : public Prompter {
 public:
  explicit Lines(std::vector<std::string> lines) : lines_(std::move(lines)) {}

  bool Ask(std::string_view prompt, std::string& line) override {
    prompts.emplace_back(prompt);
    if (next_ == lines_.size()) return false;
    line = lines_[next_++];
    return true;
  }

  std::vector<std::string> prompts;

 private:
  std::vector<std::string> lines_;
  std::size_t next_ = 0;
};

/// One parse. What the words are is said by the template.
struct Parse {
  Parse(std::string_view argument_template, std::string_view line, Prompter* prompter = nullptr)
      : words(std::max<std::size_t>(CountFields(argument_template), 1)),
        result(ParseArguments(argument_template, line, words.data(), prompter)) {}

  std::string Text(std::size_t i) const {
    return words[i].text == nullptr ? "(none)" : words[i].text;
  }
  bool Flag(std::size_t i) const { return words[i].flag != 0; }
  std::string Number(std::size_t i) const {
    return words[i].number == nullptr ? "(none)" : std::to_string(*words[i].number);
  }
  std::string List(std::size_t i) const {
    std::string text;
    // NOLINTNEXTLINE: a list travels as the number of its address
    for (auto* item = reinterpret_cast<const char* const*>(words[i].flag);
         item != nullptr && *item != nullptr; ++item) {
      text += '[' + std::string(*item) + ']';
    }
    return text;
  }
  std::string NumberList(std::size_t i) const {
    std::string text;
    // NOLINTNEXTLINE: a list travels as the number of its address
    for (auto* item = reinterpret_cast<const std::int32_t* const*>(words[i].flag);
         item != nullptr && *item != nullptr; ++item) {
      text += '[' + std::to_string(**item) + ']';
    }
    return text;
  }

  std::vector<ArgumentWord> words;
  ReadArgsResult result;
};

std::int32_t ErrorOf(std::string_view argument_template, std::string_view line) {
  const Parse parse(argument_template, line);
  EXPECT_EQ(parse.result.arguments == nullptr, parse.result.error != 0);
  return parse.result.error;
}

// ---- Templates -----------------------------------------------------------------------------------

TEST(ReadArgsTemplateTest, FieldsAreCounted) {
  EXPECT_EQ(CountFields(""), 0U);
  EXPECT_EQ(CountFields("A"), 1U);
  EXPECT_EQ(CountFields("A,B=C/K,D/S"), 3U);
  EXPECT_EQ(CountFields(","), 2U) << "fields without a name";
  EXPECT_EQ(CountFields(kTesterTemplate), 8U);
}

TEST(ReadArgsTemplateTest, ModifiersInAnyOrderAndCase) {
  const Parse parse("NUM=N/n/K/a", "n 5");
  EXPECT_EQ(parse.result.error, 0);
  EXPECT_EQ(parse.Number(0), "5");
}

class WrongTemplateTest : public testing::TestWithParam<const char*> {};

TEST_P(WrongTemplateTest, Gives114) {
  EXPECT_EQ(ErrorOf(GetParam(), "x"), ERROR_BAD_TEMPLATE);
}

INSTANTIATE_TEST_SUITE_P(ReadArgs, WrongTemplateTest,
                         testing::Values("A/X",       // no such modifier
                                         "A/",        // an empty one
                                         "A//S",      // an empty one in between
                                         "A/SK",      // two letters
                                         "A/M,B/M",   // a second /M
                                         "A=/K",      // an empty alias
                                         "=A/K",      // an empty name before an alias
                                         "A==B",      // an empty alias in between
                                         "/S", "/K",  // nothing to name it by
                                         "A/S/N",     // a switch has no value
                                         "A/S/T", "A/T/M", "A/M/F", "A/F/N"));

// ---- Places and names ----------------------------------------------------------------------------

TEST(ReadArgsTest, ItemsFillFieldsInTheirOrder) {
  const Parse parse("A,B,C", "one two");
  EXPECT_EQ(parse.Text(0), "one");
  EXPECT_EQ(parse.Text(1), "two");
  EXPECT_EQ(parse.Text(2), "(none)");
}

TEST(ReadArgsTest, AbsentFieldKeepsItsPreset) {
  ArgumentWord words[2];
  words[0].text = "preset";
  words[1].flag = 7;
  const ReadArgsResult result = ParseArguments("A,B/S", "", words, nullptr);
  ASSERT_NE(result.arguments, nullptr);
  EXPECT_STREQ(words[0].text, "preset");
  EXPECT_EQ(words[1].flag, 7);
}

TEST(ReadArgsTest, NamesFillOutOfTurnInAnyCase) {
  const Parse parse("FROM,TO", "to x y");
  EXPECT_EQ(parse.Text(0), "y");
  EXPECT_EQ(parse.Text(1), "x");
}

TEST(ReadArgsTest, NamesAreWholeWords) {
  const Parse parse("FROM,TO", "fro x");
  EXPECT_EQ(parse.Text(0), "fro");
  EXPECT_EQ(parse.Text(1), "x");
}

TEST(ReadArgsTest, ValueAfterItsName) {
  for (const char* const line :
       {"TO=x", "TO = x", "TO =x", "TO= x", "TO x", "to\t=\tx", "TO \"x\"", "TO=\"x\""}) {
    EXPECT_EQ(Parse("A,TO/K", line).Text(1), "x") << line;
  }
}

TEST(ReadArgsTest, AliasesNameTheSameField) {
  EXPECT_EQ(Parse("A,LONG=L=ELL/K", "ell x").Text(1), "x");
  EXPECT_EQ(Parse("A,LONG=L=ELL/K", "L x").Text(1), "x");
}

TEST(ReadArgsTest, QuotedItemIsNeverAName) {
  const Parse parse("A,TO", "\"TO\" x");
  EXPECT_EQ(parse.Text(0), "TO");
  EXPECT_EQ(parse.Text(1), "x");
}

TEST(ReadArgsTest, SecondUseOfANameIsAnOrdinaryItem) {
  const Parse parse("A,ALL/S", "ALL all");
  EXPECT_EQ(parse.Text(0), "all");
  EXPECT_TRUE(parse.Flag(1));
}

TEST(ReadArgsTest, KeywordsAndSwitchesAreNotFilledByPlace) {
  EXPECT_EQ(ErrorOf("A/K,B/S,C/T", "x"), ERROR_TOO_MANY_ARGS);
}

TEST(ReadArgsTest, EqualsOutOfPlace) {
  EXPECT_EQ(ErrorOf("A,B/S", "x=y"), ERROR_BAD_TEMPLATE);
  EXPECT_EQ(ErrorOf("A,B/S", "B=x"), ERROR_BAD_TEMPLATE);
  EXPECT_EQ(ErrorOf("A", "=x"), ERROR_BAD_TEMPLATE);
}

// ---- Kinds of field ------------------------------------------------------------------------------

TEST(ReadArgsTest, SwitchIsNamed) {
  EXPECT_TRUE(Parse("S/S", "s").Flag(0));
  EXPECT_FALSE(Parse("S/S", "").Flag(0));
}

TEST(ReadArgsTest, ToggleNeedsOneOfFourWords) {
  EXPECT_TRUE(Parse("T/T", "T yes").Flag(0));
  EXPECT_TRUE(Parse("T/T", "T=ON").Flag(0));
  EXPECT_FALSE(Parse("T/T", "T no").Flag(0));
  EXPECT_FALSE(Parse("T/T", "T Off").Flag(0));
  EXPECT_EQ(ErrorOf("T/T", "T"), ERROR_KEY_NEEDS_ARG);
  EXPECT_EQ(ErrorOf("T/T", "T maybe"), ERROR_KEY_NEEDS_ARG);
}

TEST(ReadArgsTest, Numbers) {
  for (const auto& [line, number] : {std::pair{"5", "5"},
                                     {"+5", "5"},
                                     {"-5", "-5"},
                                     {"007", "7"},
                                     {"2147483647", "2147483647"},
                                     {"-2147483648", "-2147483648"},
                                     {"\" 5\"", "5"}}) {
    EXPECT_EQ(Parse("N/N", line).Number(0), number) << line;
  }
  EXPECT_EQ(Parse("N/N", "").Number(0), "(none)");
  for (const char* const line : {"x", "5x", "0x5", "-", "+", "--5", "5-", "1.5", "2147483648",
                                 "-2147483649", "99999999999999999999", "\"\"", "\"5 \""}) {
    EXPECT_EQ(ErrorOf("N/N", line), ERROR_BAD_NUMBER) << line;
  }
}

TEST(ReadArgsTest, RequiredFields) {
  EXPECT_EQ(ErrorOf("A/A", ""), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(ErrorOf("A/A/K", "x"), ERROR_TOO_MANY_ARGS);
  EXPECT_EQ(ErrorOf("A,B/A/K", "x"), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(ErrorOf("A/A,B/A", "x"), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(ErrorOf("A/A/M", ""), ERROR_REQUIRED_ARG_MISSING);
}

TEST(ReadArgsTest, NameWithoutItsValue) {
  EXPECT_EQ(ErrorOf("A,B/K", "B"), ERROR_KEY_NEEDS_ARG);
  EXPECT_EQ(ErrorOf("A,B/K", "B="), ERROR_KEY_NEEDS_ARG);
  EXPECT_EQ(ErrorOf("A,B/K", "B = = x"), ERROR_KEY_NEEDS_ARG);
}

TEST(ReadArgsTest, ItemsWithoutAField) {
  EXPECT_EQ(ErrorOf("A", "x y"), ERROR_TOO_MANY_ARGS);
  EXPECT_EQ(ErrorOf("", "x"), ERROR_TOO_MANY_ARGS);
  EXPECT_EQ(ErrorOf("", ""), 0);
}

TEST(ReadArgsTest, MultipleTakesWhatNobodyElseDoes) {
  const Parse parse("A,B/M,C/K,D/S", "one two three D four C five six");
  EXPECT_EQ(parse.Text(0), "one");
  EXPECT_EQ(parse.List(1), "[two][three][four][six]");
  EXPECT_EQ(parse.Text(2), "five");
  EXPECT_TRUE(parse.Flag(3));
  EXPECT_EQ(Parse("A/M", "").words[0].flag, 0);
  EXPECT_EQ(Parse("A/M/N", "1 2 -3").NumberList(0), "[1][2][-3]");
  EXPECT_EQ(ErrorOf("A/M/N", "1 x"), ERROR_BAD_NUMBER);
}

TEST(ReadArgsTest, RequiredFieldsTakeFromTheEndOfTheMultiple) {
  const Parse parse("FROM/A/M,TO/A", "a b c");
  EXPECT_EQ(parse.List(0), "[a][b]");
  EXPECT_EQ(parse.Text(1), "c");
  EXPECT_EQ(ErrorOf("FROM/A/M,TO/A", "a"), ERROR_REQUIRED_ARG_MISSING);
  const Parse two("FROM/M,TO/A,AT/A", "a b c");
  EXPECT_EQ(two.List(0), "[a]");
  EXPECT_EQ(two.Text(1), "b");
  EXPECT_EQ(two.Text(2), "c");
  EXPECT_EQ(ErrorOf("FROM/M,N/A/N", "a b"), ERROR_BAD_NUMBER);
}

TEST(ReadArgsTest, RestOfTheLineUnchanged) {
  EXPECT_EQ(Parse("A,B/F", "x y  \"z\" = *n ;w").Text(1), "y  \"z\" = *n ;w");
  EXPECT_EQ(Parse("B/F", "\"a b\" c").Text(0), "\"a b\" c");
  EXPECT_EQ(Parse("A,B/F", "B = x y").Text(1), "x y");
  const Parse named("A,B/F,C/K", "x C=1 y z");
  EXPECT_EQ(named.Text(1), "y z") << "a name before the rest begins is still a name";
  EXPECT_EQ(named.Text(2), "1");
}

// ---- Items ---------------------------------------------------------------------------------------

TEST(ReadArgsTest, BlanksAndTabsSeparate) {
  const Parse parse("A,B", " \t one\t\ttwo ");
  EXPECT_EQ(parse.Text(0), "one");
  EXPECT_EQ(parse.Text(1), "two");
}

TEST(ReadArgsTest, QuotesAndEscapes) {
  EXPECT_EQ(Parse("A", "\"a b\"").Text(0), "a b");
  EXPECT_EQ(Parse("A", "\"\"").Text(0), "");
  EXPECT_EQ(Parse("A", "\"*N*n*E*e*\"***x\"").Text(0), "\n\n\033\033\"*x");
  EXPECT_EQ(Parse("A", "a*n").Text(0), "a*n") << "outside quotes an asterisk is one";
  EXPECT_EQ(Parse("A", "a\"b").Text(0), "a\"b") << "inside a word a quote is one";
  const Parse touching("FROM,TO", "\"a\"b");
  EXPECT_EQ(touching.Text(0), "a");
  EXPECT_EQ(touching.Text(1), "b");
}

TEST(ReadArgsTest, UnclosedQuote) {
  EXPECT_EQ(ErrorOf("A", "\"a"), ERROR_UNMATCHED_QUOTES);
  EXPECT_EQ(ErrorOf("A", "\""), ERROR_UNMATCHED_QUOTES);
  EXPECT_EQ(ErrorOf("A", "\"a*"), ERROR_UNMATCHED_QUOTES);
  EXPECT_EQ(ErrorOf("A", "\"a*\""), ERROR_UNMATCHED_QUOTES);
  EXPECT_EQ(ErrorOf("A/K", "A=\"a"), ERROR_UNMATCHED_QUOTES);
}

TEST(ReadArgsTest, LineEnds) {
  EXPECT_EQ(Parse("A,B", "one\ntwo").Text(1), "(none)");
  EXPECT_EQ(Parse("A,B", std::string_view("one\0two", 7)).Text(1), "(none)");
  EXPECT_EQ(Parse("A,B", "one ;two").Text(1), "(none)");
  EXPECT_EQ(Parse("A,B", "one;two").Text(0), "one;two") << "inside an item it is a character";
}

TEST(ReadArgsTest, LongLines) {
  EXPECT_EQ(ErrorOf("A", std::string(kMaxLineLength, 'x')), 0);
  EXPECT_EQ(ErrorOf("A", std::string(kMaxLineLength + 1, 'x')), ERROR_LINE_TOO_LONG);
}

TEST(ReadArgsTest, EveryByteIsAnItemOrNot) {
  for (int c = 1; c < 256; ++c) {
    const char byte = static_cast<char>(c);
    const std::string line(1, byte);
    const std::int32_t error = ErrorOf("FIRST", line);
    if (byte == '=') {
      EXPECT_EQ(error, ERROR_BAD_TEMPLATE);
    } else if (byte == '"') {
      EXPECT_EQ(error, ERROR_UNMATCHED_QUOTES);
    } else {
      EXPECT_EQ(error, 0) << c;
    }
  }
}

// ---- Prompting -----------------------------------------------------------------------------------

TEST(ReadArgsPromptTest, QuestionMarkAsksWithTheTemplate) {
  Lines lines({"two"});
  const Parse parse("A,B", "one ?", &lines);
  EXPECT_EQ(lines.prompts, std::vector<std::string>{"A,B: "});
  EXPECT_EQ(parse.Text(0), "one");
  EXPECT_EQ(parse.Text(1), "two");
}

TEST(ReadArgsPromptTest, SecondQuestionAsksAgain) {
  Lines lines({"?", "x"});
  const Parse parse("A", "?", &lines);
  EXPECT_EQ(lines.prompts, (std::vector<std::string>{"A: ", "A: "}));
  EXPECT_EQ(parse.Text(0), "x");
}

TEST(ReadArgsPromptTest, NoLineToBeHad) {
  Lines lines({});
  EXPECT_EQ(Parse("A/A", "?", &lines).result.error, ERROR_REQUIRED_ARG_MISSING);
}

TEST(ReadArgsPromptTest, OnlyALoneQuestionMarkAtTheEnd) {
  for (const char* const line : {"a?", "\"?\"", "? x", "?x"}) {
    Lines lines({"more"});
    const Parse parse("A,B", line, &lines);
    EXPECT_TRUE(lines.prompts.empty()) << line;
  }
  EXPECT_EQ(Parse("A", "?").Text(0), "?") << "without anybody to ask";
}

// ---- The tester's own ----------------------------------------------------------------------------

TEST(TesterArgumentsTest, WholeLine) {
  const Parse parse(kTesterTemplate, "DH0: ni NoWarnMessages NR AOE FTN 3 LTN=5 TestNumber = 7");
  ASSERT_EQ(parse.result.error, 0);
  EXPECT_EQ(parse.Text(0), "DH0:");
  for (std::size_t i = 1; i <= 4; ++i) EXPECT_TRUE(parse.Flag(i));
  EXPECT_EQ(parse.Number(5), "3");
  EXPECT_EQ(parse.Number(6), "5");
  EXPECT_EQ(parse.Number(7), "7");
}

TEST(TesterArgumentsTest, MissingDevice) {
  EXPECT_EQ(ErrorOf(kTesterTemplate, ""), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(ErrorOf(kTesterTemplate, "NI TN 5"), ERROR_REQUIRED_ARG_MISSING);
}

}  // namespace
}  // namespace quorle
