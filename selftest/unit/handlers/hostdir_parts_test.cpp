#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "handlers/common/names.h"
#include "handlers/hostdir/host_dates.h"
#include "handlers/hostdir/host_names.h"
#include "handlers/hostdir/record.h"

namespace quorle::hostdir {
namespace {

// ---- Names
// ---------------------------------------------------------------------------------------

std::string NameOf(std::string_view host) {
  std::string name;
  return FromHostName(host, name) ? name : "(foreign)";
}

TEST(HostdirNamesTest, TheHostHasNamesInUtf8) {
  EXPECT_EQ(ToHostName("File01 (copy)"), "File01 (copy)");
  EXPECT_EQ(ToHostName("\xe9t\xe9"), "\xc3\xa9t\xc3\xa9");
  EXPECT_EQ(ToHostName("\x80\xff"), "\xc2\x80\xc3\xbf");
  EXPECT_EQ(NameOf("\xc3\xa9t\xc3\xa9"), "\xe9t\xe9");
}

TEST(HostdirNamesTest, EveryNameComesBack) {
  for (int code = 1; code < 256; ++code) {
    for (const std::string& name : {std::string(1, static_cast<char>(code)),
                                    "x" + std::string(3, static_cast<char>(code)) + "y"}) {
      if (common::IsName(name)) {
        EXPECT_EQ(NameOf(ToHostName(name)), name) << code;
      }
    }
  }
}

TEST(HostdirNamesTest, NoNameReachesBeyondItsDirectory) {
  for (const char* const name : {".", ".."}) {
    const std::string host = ToHostName(name);
    EXPECT_EQ(host.find_first_of("./"), std::string::npos) << name;
    EXPECT_EQ(NameOf(host), name);
    EXPECT_EQ(NameOf(name), "(foreign)");
  }
  // Only these two mean something to the host.
  for (const char* const name : {"...", ".x", "..x", "x.", "x.."})
    EXPECT_EQ(ToHostName(name), name);
}

TEST(HostdirNamesTest, TheHandlersOwnFilesHaveNoName) {
  for (const char* const host :
       {".quorle-metadata", ".quorle-metadata.new", ".Quorle-METADATA", ".quorle-metadata2"}) {
    EXPECT_EQ(NameOf(host), "(foreign)") << host;
    EXPECT_NE(ToHostName(host), host);
    EXPECT_EQ(NameOf(ToHostName(host)), host);
  }
  EXPECT_EQ(NameOf(".quorle-meta"), ".quorle-meta");
}

TEST(HostdirNamesTest, WhatNoNameMakesIsForeign) {
  for (const char* const host : {
           "", "a:b", "a\nb", "\x01",
           "\xff",              // never in UTF-8
           "\xe9t\xe9",         // Latin-1 is not UTF-8
           "\xc3",              // cut off
           "\xc3x",             // not continued
           "\xc0\xaf",          // "/" the long way
           "\xc1\xa1",          // "a" the long way
           "\xc4\x80",          // beyond Latin-1
           "\xe2\x82\xac",      // the same
           "\xef\x80\xae.txt",  // a hidden dot where none has to be
           "x\xef\x80\xae",     // the same
           "\xef\x80\xae\xef\x80\xae\xef\x80\xae",
           "\xef\x80\xaf",  // another character for private use
       }) {
    EXPECT_EQ(NameOf(host), "(foreign)") << host;
  }
  EXPECT_EQ(NameOf(std::string_view("a\0b", 3)), "(foreign)");
}

// ---- Records
// -------------------------------------------------------------------------------------

TEST(HostdirRecordTest, APlainRecordIsNothing) {
  EXPECT_EQ(ToText({}), "");
  EXPECT_EQ(ToText(FromText("")), "");
}

TEST(HostdirRecordTest, ARecordComesBack) {
  Record record;
  record.soft_link = true;
  record.protection = 0xABCD1234;
  record.owner = 7;
  record.group = 0xFFFFFFFF;
  record.date = {{-1, 1439, 2999}, {}};
  record.date->stand_in.tv_sec = 123456;
  record.date->stand_in.tv_nsec = 987654321;
  for (int code = 1; code < 256; ++code) record.comment += static_cast<char>(code);
  record.label = "My Disk = 100%";
  const std::string text = ToText(record);
  for (const char c : text) EXPECT_TRUE(c >= ' ' && c < 0x7F);

  const Record back = FromText(text);
  EXPECT_TRUE(back.soft_link);
  EXPECT_EQ(back.protection, record.protection);
  EXPECT_EQ(back.owner, 7U);
  EXPECT_EQ(back.group, 0xFFFFFFFFU);
  ASSERT_TRUE(back.date);
  EXPECT_TRUE(SameDate(back.date->date, record.date->date));
  EXPECT_EQ(back.date->stand_in.tv_sec, 123456);
  EXPECT_EQ(back.date->stand_in.tv_nsec, 987654321);
  EXPECT_EQ(back.comment, record.comment);
  EXPECT_EQ(back.label, record.label);
  EXPECT_EQ(ToText(back), text);
}

TEST(HostdirRecordTest, WhatIsNotUnderstoodIsPassedOver) {
  const Record record = FromText(
      "colour=blue protection owner=x date=1:2 =5  group=3 kind=pipe comment=50%25%zz%4 x=");
  EXPECT_EQ(record.protection, 0U);
  EXPECT_EQ(record.owner, 0U);
  EXPECT_EQ(record.group, 3U);
  EXPECT_FALSE(record.soft_link);
  EXPECT_FALSE(record.date);
  EXPECT_EQ(record.comment, "50%%zz%4");
}

// ---- Dates
// ---------------------------------------------------------------------------------------

TEST(HostdirDatesTest, DatesComeBack) {
  // A zone without summer time: in others an hour a year has no moment of its own.
  ::setenv("TZ", "XYZ-5:30", 1);
  ::tzset();
  for (std::int32_t days = 0; days < 40000; days += 37) {
    const ::DateStamp date{days, days % 1440, days % 3000};
    const ::DateStamp back = FromHostTime(ToHostTime(date));
    EXPECT_TRUE(SameDate(back, date)) << days;
  }
  ::unsetenv("TZ");
  ::tzset();
}

TEST(HostdirDatesTest, TimeBefore1978IsTheFirstMoment) {
  EXPECT_TRUE(SameDate(FromHostTime({}), {0, 0, 0}));
}

}  // namespace
}  // namespace quorle::hostdir
