#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>
#include <type_traits>

#include "handlers/common/names.h"
#include "handlers/hostdir/host_dates.h"
#include "handlers/hostdir/host_error.h"
#include "handlers/hostdir/host_names.h"
#include "handlers/hostdir/record.h"

namespace quorle::hostdir {
namespace {

// ---- Errors -------------------------------------------------------------------------------------

// An error of the host is none of the platform and the other way round: neither becomes the other, is
// assigned to it or compared with it.
static_assert(!std::is_convertible_v<int, HostError>);
static_assert(!std::is_constructible_v<DosError, HostError>);
static_assert(!std::is_constructible_v<HostError, DosError>);
static_assert(!std::is_constructible_v<DosError, decltype(errno)>);
static_assert(!std::is_assignable_v<DosError&, HostError>);
static_assert(!std::is_assignable_v<HostError&, DosError>);
static_assert(!std::is_convertible_v<HostError, int>);
template <class A, class B>
concept Comparable = requires(A a, B b) {
  a == b;
};
static_assert(Comparable<DosError, DosError>);
static_assert(!Comparable<DosError, HostError>);
static_assert(!Comparable<DosError, int>);
static_assert(!Comparable<HostError, int>);

TEST(HostErrorTest, IsThatOfAFailedCall) {
  EXPECT_FALSE(HostError());
  EXPECT_FALSE(HostError::Of(0));
  EXPECT_FALSE(HostError::Of(3));
  errno = ENOSPC;
  const HostError error = HostError::Of(-1);
  EXPECT_TRUE(error);
  EXPECT_TRUE(error.Is(ENOSPC));
  EXPECT_TRUE(error.Is(EDQUOT, ENOSPC));
  EXPECT_FALSE(error.Is(EDQUOT, EFBIG));
  EXPECT_EQ(error.Message(), "No space left on device");
}

TEST(HostErrorTest, NoErrorIsNoneOfThePlatform) {
  const HostError none;
  for (const DosError error : {none.ForReading(), none.ForWriting(), none.ForDeleting(),
                               none.ForResizing(), none.ForLinking(), none.ForMoving(true)}) {
    EXPECT_FALSE(error);
  }
}

TEST(HostErrorTest, AMissingPermissionIsWhatWasDenied) {
  for (const int number : {EACCES, EPERM, EBADF}) {
    const HostError error(number);
    EXPECT_EQ(error.ForReading().code(), ERROR_READ_PROTECTED);
    EXPECT_EQ(error.ForWriting().code(), ERROR_WRITE_PROTECTED);
    EXPECT_EQ(error.ForDeleting().code(), ERROR_DELETE_PROTECTED);
  }
}

TEST(HostErrorTest, OthersAreTheSameWhateverWasDone) {
  struct Row {
    int number;
    std::int32_t code;
  };
  for (const Row& row :
       {Row{ENOENT, ERROR_OBJECT_NOT_FOUND}, Row{ENOTDIR, ERROR_OBJECT_WRONG_TYPE},
        Row{ELOOP, ERROR_OBJECT_WRONG_TYPE}, Row{EEXIST, ERROR_OBJECT_EXISTS},
        Row{ENOTEMPTY, ERROR_DIRECTORY_NOT_EMPTY}, Row{ENAMETOOLONG, ERROR_INVALID_COMPONENT_NAME},
        Row{EROFS, ERROR_DISK_WRITE_PROTECTED}, Row{EXDEV, ERROR_RENAME_ACROSS_DEVICES},
        Row{EBUSY, ERROR_OBJECT_IN_USE}, Row{ENOMEM, ERROR_NO_FREE_STORE},
        Row{ENOSPC, ERROR_DISK_FULL}, Row{EFBIG, ERROR_DISK_FULL},
        Row{EOVERFLOW, ERROR_OBJECT_TOO_LARGE}, Row{EOPNOTSUPP, ERROR_ACTION_NOT_KNOWN},
        Row{ESTALE, ERROR_INVALID_LOCK}, Row{EIO, ERROR_DISK_NOT_VALIDATED}}) {
    EXPECT_EQ(HostError(row.number).ForReading().code(), row.code) << row.number;
    EXPECT_EQ(HostError(row.number).ForWriting().code(), row.code) << row.number;
  }
}

TEST(HostErrorTest, SomeMeanMoreByWhatWasDone) {
  EXPECT_EQ(HostError(EEXIST).ForDeleting().code(), ERROR_DIRECTORY_NOT_EMPTY);
  EXPECT_EQ(HostError(EINVAL).ForWriting().code(), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(HostError(EINVAL).ForResizing().code(), ERROR_DISK_FULL);
  EXPECT_EQ(HostError(EINVAL).ForMoving(true).code(), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(HostError(EINVAL).ForMoving(false).code(), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(HostError(EPERM).ForLinking().code(), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(HostError(ENOENT).ForLinking().code(), ERROR_INVALID_LOCK);
}

// ---- Names --------------------------------------------------------------------------------------

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

// ---- Records ------------------------------------------------------------------------------------

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

// ---- Dates --------------------------------------------------------------------------------------

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
