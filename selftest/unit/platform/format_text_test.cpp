#include "platform/format_text.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <string>
#include <vector>

#include "platform/error_texts.h"

namespace quorle {
namespace {

class Kept final : public TextSink {
 public:
  void Put(char c) override { text += c; }
  std::string text;
};

std::string FormatList(const char* format, const std::vector<FormatArgument>& args,
                       ErrorArguments error = {}) {
  Kept sink;
  const std::size_t count = FormatText(format, args.data(), args.size(), error, sink);
  EXPECT_EQ(count, sink.text.size());
  return sink.text;
}

template <class... Args>
std::string Format(const char* format, const Args&... args) {
  return FormatList(format, {FormatArgument(args)...});
}

std::string FormatError(const char* format, std::int32_t code) {
  return FormatList(format, {}, {code, true});
}

TEST(FormatTextTest, PlainText) {
  EXPECT_EQ(Format(""), "");
  EXPECT_EQ(Format("text\n"), "text\n");
  EXPECT_EQ(Format("100%%"), "100%");
}

TEST(FormatTextTest, Texts) {
  EXPECT_EQ(Format("<%s>", "text"), "<text>");
  EXPECT_EQ(Format("<%s>", static_cast<const char*>(nullptr)), "<>");
  EXPECT_EQ(Format("<%6s>", "text"), "<  text>");
  EXPECT_EQ(Format("<%-6s>", "text"), "<text  >");
  EXPECT_EQ(Format("<%2s>", "text"), "<text>");
  EXPECT_EQ(Format("<%.2s>", "text"), "<te>");
  EXPECT_EQ(Format("<%.9s>", "text"), "<text>");
  EXPECT_EQ(Format("<%4.1s>", "text"), "<   t>");
}

TEST(FormatTextTest, LongNumbers) {
  EXPECT_EQ(Format("%ld", 0), "0");
  EXPECT_EQ(Format("%ld", -5), "-5");
  EXPECT_EQ(Format("%ld", std::numeric_limits<std::int32_t>::min()), "-2147483648");
  EXPECT_EQ(Format("%lu", 4294967295U), "4294967295");
  EXPECT_EQ(Format("%lu", -1), "4294967295");
  EXPECT_EQ(Format("%ld", 4294967295U), "-1");
  EXPECT_EQ(Format("%lx", 0xABCDEFU), "abcdef") << "lower case";
  EXPECT_EQ(Format("%lx", -1), "ffffffff");
}

TEST(FormatTextTest, WidthsOfNumbers) {
  EXPECT_EQ(Format("<%2ld>", 7), "< 7>");
  EXPECT_EQ(Format("<%2ld>", 123), "<123>");
  EXPECT_EQ(Format("<%-4ld>", 7), "<7   >");
  EXPECT_EQ(Format("%02ld", 1), "01");
  EXPECT_EQ(Format("%08lx", 0x444F5303U), "444f5303");
  EXPECT_EQ(Format("%08lx", 0x22U), "00000022");
  EXPECT_EQ(Format("%02lx", 3U), "03");
  EXPECT_EQ(Format("%04lx", 0x12345U), "12345");
  EXPECT_EQ(Format("%05ld", -12), "-0012") << "zeros stand behind the sign";
  EXPECT_EQ(Format("<%5ld>", -12), "<  -12>");
  EXPECT_EQ(Format("<%-05ld>", -12), "<-12  >") << "no zeros on the right";
}

TEST(FormatTextTest, WordsHaveSixteenBits) {
  EXPECT_EQ(Format("%d", 65535), "-1");
  EXPECT_EQ(Format("%u", 65537), "1");
  EXPECT_EQ(Format("%x", 0x12345678), "5678");
  EXPECT_EQ(Format("%hd", -32768), "-32768");
}

TEST(FormatTextTest, WideNumbers) {
  EXPECT_EQ(Format("%lld", std::int64_t{8589934592}), "8589934592");
  EXPECT_EQ(Format("%lld", std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(Format("%llu", std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(Format("%llx", std::int64_t{-1}), "ffffffffffffffff");
}

TEST(FormatTextTest, Characters) {
  EXPECT_EQ(Format("[%lc%lc]", 0x44U, 0x4FU), "[DO]");
  EXPECT_EQ(Format("%lc", 0x1E9U), "\xe9") << "one byte";
  EXPECT_EQ(Format("<%3lc>", 'x'), "<  x>");
}

TEST(FormatTextTest, ErrorNumberAndText) {
  EXPECT_EQ(FormatError("#%n %m\n", 205), "#205 object not found\n");
  EXPECT_EQ(FormatError("#%n %m|", 0), "#0 |");
  EXPECT_EQ(FormatError("#%n %m|", 999), "#999 Error code 999|");
  EXPECT_EQ(FormatError("#%n %m|", -7), "#-7 Error code -7|");
  EXPECT_EQ(FormatError("<%5n>", 205), "<  205>");
  EXPECT_EQ(FormatList("%s %n %s", {FormatArgument("a"), FormatArgument("b")}, {209, true}),
            "a 209 b")
      << "they take no argument";
}

TEST(FormatTextTest, ErrorConversionsPrintNothingInBuffers) {
  EXPECT_EQ(FormatList("<%n%m>", {}, {205, false}), "<>");
}

TEST(FormatTextTest, WhatIsNoConversionStays) {
  EXPECT_EQ(Format("%q"), "%q");
  EXPECT_EQ(Format("50%"), "50%");
  EXPECT_EQ(Format("%-"), "%-");
  EXPECT_EQ(Format("%5"), "%5");
  EXPECT_EQ(Format("%lll", 5), "%lll");
  EXPECT_EQ(Format("%99999999999s", "x"), "%99999999999s");
}

TEST(FormatTextTest, ArgumentsThatDoNotFitPrintNothing) {
  EXPECT_EQ(Format("<%s>"), "<>");
  EXPECT_EQ(Format("<%ld>"), "<>");
  EXPECT_EQ(Format("<%s>", 5), "<>");
  EXPECT_EQ(Format("<%ld>", "text"), "<>");
}

TEST(ErrorTextTest, CodesOfTheTester) {
  EXPECT_STREQ(ErrorText(103), "not enough memory available");
  EXPECT_STREQ(ErrorText(120), "argument line invalid or too long");
  EXPECT_STREQ(ErrorText(202), "object is in use");
  EXPECT_STREQ(ErrorText(203), "object already exists");
  EXPECT_STREQ(ErrorText(205), "object not found");
  EXPECT_STREQ(ErrorText(209), "packet request type unknown");
  EXPECT_STREQ(ErrorText(211), "invalid object lock");
  EXPECT_STREQ(ErrorText(212), "object is not of required type");
  EXPECT_STREQ(ErrorText(214), "disk is write-protected");
  EXPECT_STREQ(ErrorText(216), "directory not empty");
  EXPECT_STREQ(ErrorText(219), "seek failure");
  EXPECT_STREQ(ErrorText(222), "object is protected from deletion");
  EXPECT_STREQ(ErrorText(223), "file is write protected");
  EXPECT_STREQ(ErrorText(224), "file is read protected");
  EXPECT_STREQ(ErrorText(233), "object is soft link");
  EXPECT_STREQ(ErrorText(304), "***Break");
  EXPECT_EQ(ErrorText(0), nullptr);
  EXPECT_EQ(ErrorText(104), nullptr);
  EXPECT_EQ(ErrorText(208), nullptr);
  EXPECT_EQ(ErrorText(-1), nullptr);
}

}  // namespace
}  // namespace quorle
