#include "hosted/dos/date_text.h"

#include <gtest/gtest.h>

#include <string>

#include "hosted/calls/clock.h"
#include "platform/constants.h"

namespace quorle {
namespace {

std::string DateOf(std::int32_t days, std::uint8_t format) {
  char text[LEN_DATSTRING] = "untouched";
  DateTime date{};
  date.dat_Stamp.ds_Days = days;
  date.dat_Format = format;
  date.dat_StrDate = text;
  return DateToText(date) ? text : "no date";
}

TEST(DateTextTest, IsoFormat) {
  EXPECT_EQ(DateOf(0, FORMAT_ISO), "1978-01-01");
  EXPECT_EQ(DateOf(3654, FORMAT_ISO), "1988-01-03");
  EXPECT_EQ(DateOf(7307, FORMAT_ISO), "1998-01-03");
  EXPECT_EQ(DateOf(10959, FORMAT_ISO), "2008-01-03");
  EXPECT_EQ(DateOf(14612, FORMAT_ISO), "2018-01-03");
  EXPECT_EQ(DateOf(18264, FORMAT_ISO), "2028-01-03");
  EXPECT_EQ(DateOf(789, FORMAT_ISO), "1980-02-29") << "a leap day";
}

TEST(DateTextTest, OtherFormats) {
  EXPECT_EQ(DateOf(3654, 0), "03-Jan-88");
  EXPECT_EQ(DateOf(3654, 1), "88-01-03");
  EXPECT_EQ(DateOf(3654, 2), "01-03-88");
  EXPECT_EQ(DateOf(3654, 3), "03-01-88");
  EXPECT_EQ(DateOf(3654, 4), "03-Jan-88");
  EXPECT_EQ(DateOf(3654, 99), "03-Jan-88") << "an unknown one is that of dos";
}

TEST(DateTextTest, NoDate) {
  EXPECT_EQ(DateOf(-1, FORMAT_ISO), "no date");
  EXPECT_EQ(DateOf(2147483647, FORMAT_ISO), "no date");
  EXPECT_EQ(DateOf(2929974, FORMAT_ISO), "9999-12-31");
  EXPECT_EQ(DateOf(2929975, FORMAT_ISO), "no date");
  DateTime date{};
  for (const DateStamp& stamp :
       {DateStamp{1, -1, 0}, DateStamp{1, 1440, 0}, DateStamp{1, 0, -1}, DateStamp{1, 0, 3000}}) {
    date.dat_Stamp = stamp;
    EXPECT_FALSE(DateToText(date));
  }
}

TEST(DateTextTest, DayAndTime) {
  char day[LEN_DATSTRING] = "";
  char time[LEN_DATSTRING] = "";
  DateTime date{};
  date.dat_Stamp = {3, 23 * 60 + 59, 59 * 50 + 49};
  date.dat_StrDay = day;
  date.dat_StrTime = time;
  EXPECT_TRUE(DateToText(date));
  EXPECT_STREQ(day, "Wednesday") << "1978 began on a Sunday";
  EXPECT_STREQ(time, "23:59:59");
}

TEST(ClockTest, MomentsOfTheHost) {
  // Whatever the time zone: the day after 1 January 1978 is one day further.
  const DateStamp first = ToDateStamp({252460800 + 43200, 0});
  const DateStamp second = ToDateStamp({252460800 + 43200 + 86400, 500'000'000});
  EXPECT_EQ(second.ds_Days, first.ds_Days + 1);
  EXPECT_EQ(second.ds_Minute, first.ds_Minute);
  EXPECT_EQ(second.ds_Tick, 25);
  const DateStamp early = ToDateStamp({0, 0});
  EXPECT_EQ(early.ds_Days, 0);
  EXPECT_EQ(early.ds_Minute, 0);
}

}  // namespace
}  // namespace quorle
