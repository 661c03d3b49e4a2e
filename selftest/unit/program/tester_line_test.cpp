#include "program/tester_line.h"

#include <gtest/gtest.h>

namespace quorle::selftest {
namespace {

TEST(TesterLineTest, TheDeviceIsWhatTheTesterTakesForIt) {
  for (const char* const line :
       {"DH0: NI TN=34", "NI TN 34 DH0:", "tn=34 DEVICE=DH0: ni",
        "Device \"DH0:\" TestNumber=34 NI", "\"DH0:\" NoInfoMessages TN=34 ; a comment"}) {
    const TesterLine read = ReadTesterLine(line);
    EXPECT_EQ(read.device, "DH0:") << line;
    EXPECT_EQ(read.words, "NI TN=34") << line;
  }
  EXPECT_EQ(ReadTesterLine("\"Ram Disk:\" FTN=24").device, "Ram Disk:");
  EXPECT_EQ(ReadTesterLine("\"a*\"b:\"").device, "a\"b:");
}

TEST(TesterLineTest, EveryOtherWordIsShownInShort) {
  EXPECT_EQ(ReadTesterLine("DH0: LTN=9 FTN=2 AOE NR NW NI").words, "NI NW NR AOE FTN=2 LTN=9");
  EXPECT_EQ(ReadTesterLine("DH0:").words, "");
}

TEST(TesterLineTest, ALineThatTheTesterRefusesNamesNoDevice) {
  for (const char* const line : {"", "NI", "DH0: TN=x", "DH0: DH1:", "\"DH0:"}) {
    const TesterLine read = ReadTesterLine(line);
    EXPECT_EQ(read.device, "") << line;
    EXPECT_EQ(read.words, line);
  }
}

}  // namespace
}  // namespace quorle::selftest
