#include "hosted/dos/hosted_utility.h"

#include <gtest/gtest.h>

#include <string>

namespace quorle {
namespace {

TEST(HostedUtilityTest, StrlcpyBoundsAndEndsTheCopy) {
  HostedUtility utility;
  char buffer[6] = "?????";
  EXPECT_EQ(utility.Strlcpy(buffer, "abc", 6), 3U);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(utility.Strlcpy(buffer, "abcdefgh", 6), 8U);
  EXPECT_STREQ(buffer, "abcde");
  EXPECT_EQ(utility.Strlcpy(buffer, "xyz", 1), 3U);
  EXPECT_STREQ(buffer, "");
  buffer[0] = '?';
  EXPECT_EQ(utility.Strlcpy(buffer, "xyz", 0), 3U);
  EXPECT_EQ(buffer[0], '?');
}

TEST(HostedUtilityTest, SNPrintfBoundsAndReturnsTheWholeLength) {
  HostedUtility utility;
  char buffer[8] = "???????";
  EXPECT_EQ(utility.SNPrintf(buffer, 8, "%s%02ld", "FILE", 3), 6);
  EXPECT_STREQ(buffer, "FILE03");
  EXPECT_EQ(utility.SNPrintf(buffer, 8, "%s/%s", "DIRECTORY01", "x"), 13);
  EXPECT_STREQ(buffer, "DIRECTO");
  EXPECT_EQ(utility.SNPrintf(buffer, 1, "abc"), 3);
  EXPECT_STREQ(buffer, "");
  buffer[0] = '?';
  EXPECT_EQ(utility.SNPrintf(buffer, 0, "abc"), 3);
  EXPECT_EQ(buffer[0], '?');
}

TEST(HostedUtilityTest, SNPrintfHasNoErrorCode) {
  HostedUtility utility;
  char buffer[8];
  EXPECT_EQ(utility.SNPrintf(buffer, 8, "a%nb%mc"), 3);
  EXPECT_STREQ(buffer, "abc");
}

TEST(HostedUtilityTest, StricmpIgnoresCase) {
  HostedUtility utility;
  EXPECT_EQ(utility.Stricmp("Ram Disk", "RAM DISK"), 0);
  EXPECT_EQ(utility.Stricmp("\xe4", "\xc4"), 0);
  EXPECT_LT(utility.Stricmp("a", "b"), 0);
  EXPECT_GT(utility.Stricmp("b", "A"), 0);
  EXPECT_NE(utility.Stricmp("a", "ab"), 0);
}

}  // namespace
}  // namespace quorle
