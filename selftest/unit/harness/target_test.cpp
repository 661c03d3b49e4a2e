#include "harness/target.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

using selftest::Operations;
using selftest::TestBench;

constexpr TestGroup kPasses = {
    .label = "Some()",
    .run = [](TestContext&, const TestGroup&, RunListener&) -> std::int32_t { return 0; }};
constexpr TestEntry kOneRow[] = {{&kPasses, "Only"}, {nullptr, ""}};

class TargetTest : public testing::Test {
 protected:
  /// Runs the tester without tests; returns what it printed after the first clearing of the console.
  std::string Identify(const std::vector<std::string>& words, const std::string& rules,
                       std::int32_t expected_result) {
    TestBench bench(words, rules);
    SilentListener listener;
    EXPECT_EQ(bench.Run({.name = "rows", .entries = kOneRow}, listener), expected_result);
    EXPECT_EQ(bench.UnusedRule(), "");
    EXPECT_EQ(bench.StillOpen(), "");
    operations_ = Operations(bench.TakeTrace());
    const std::string output = bench.TakeOutput();
    EXPECT_TRUE(output.starts_with("\n\f\n"));
    return output.substr(3);
  }

  std::string Refused(const std::vector<std::string>& words, const std::string& rules = "") {
    const std::string output = Identify(words, rules, RETURN_FAIL);
    EXPECT_TRUE(
        operations_.ends_with("FreeArgs FreeDeviceProc DropInterface CloseLibrary "
                              "DropInterface CloseLibrary FreeVec"));
    EXPECT_EQ(operations_.find("Delay"), std::string::npos);
    EXPECT_EQ(operations_.find(" Lock"), std::string::npos) << "refused before any lock is taken";
    return output;
  }

  /// The lines that describe the filesystem, of a run that is accepted.
  std::string Filesystem(const std::vector<std::string>& words, const std::string& rules = "") {
    const std::string output = Identify(words, rules, RETURN_OK);
    const std::string before =
        "\n\f\nStarting tests for Device Name= DH0:        Volume Name= Work\n";
    EXPECT_TRUE(output.starts_with(before)) << output;
    EXPECT_TRUE(output.ends_with("\n"));
    return output.substr(before.size(), output.size() - before.size() - 1);
  }

  std::string operations_;
};

std::vector<std::string> Dh0(const std::string& keys) {
  return {"--mount", "DH0=ram,volume=Work" + keys, "DH0:"};
}

constexpr char kHead[] = "\n\f\nStarting tests for Device Name= DH0:        Volume Name= Work\n";

TEST_F(TargetTest, UnknownDevice) {
  EXPECT_EQ(Refused({"NIX:"}), "ERROR: Can't find NIX:\n");
}

TEST_F(TargetTest, LongDeviceNameIsCutTo255Characters) {
  EXPECT_EQ(Refused({std::string(300, 'x') + ":"}),
            "ERROR: Can't find " + std::string(255, 'x') + "\n");
}

TEST_F(TargetTest, DeviceWithoutAFilesystem) {
  EXPECT_EQ(Refused({"NIL:"}), "\033[1mERROR, NIL: is not identified as a filesystem.\n\n\033[0m");
}

TEST_F(TargetTest, HandlerWithoutAName) {
  EXPECT_EQ(Refused(Dh0(""), "DevNameFromPort#1 fail 120"),
            "ERROR: Can't get full handler name from \n");
}

TEST_F(TargetTest, VolumeNameBecomesItsDevice) {
  const std::string output = Identify({"--mount", "DH0=ram,volume=Work", "Work:"}, "", RETURN_OK);
  EXPECT_TRUE(output.starts_with(kHead)) << output;
}

TEST_F(TargetTest, WithoutAVolumeNameTheDeviceNameIsUsed) {
  const std::string output = Identify({"--mount", "DH0=ram,volume=", "DH0:"}, "", RETURN_OK);
  EXPECT_TRUE(
      output.starts_with("\n\f\nStarting tests for Device Name= DH0:        Volume Name= DH0\n"))
      << output;
}

TEST_F(TargetTest, WithoutAnyNameTheLineIsShort) {
  const std::string output =
      Identify(Dh0(""), "VolNameFromPort#1 fail 218\nDevNameFromPort#2 fail 120", RETURN_OK);
  EXPECT_TRUE(output.starts_with("\n\f\nStarting tests for Device Name= DH0: \n")) << output;
}

TEST_F(TargetTest, NoDiskInformation) {
  EXPECT_EQ(Refused(Dh0(""), "GetDiskInfo(*)#1 fail 226"),
            std::string(kHead) + "\033[1mERROR, IDOS->GetDiskInfo() failed for DH0:.\n\n\033[0m");
}

TEST_F(TargetTest, AVersionTextWithoutAnEndEndsWithItsBuffer) {
  EXPECT_EQ(Filesystem(Dh0(",dostype=0x444F5303"), "FileSystemAttr set fill=v"),
            "\033[1mHost Filesystem = " + std::string(255, 'v') +
                "   DOSType:0x444f5303 [DOS\\03]\n\n\033[0m");
}

TEST_F(TargetTest, DosTypeWithAVersionByte) {
  EXPECT_EQ(
      Filesystem(Dh0(",dostype=0x444F5303,version=name 53.4 (12.2.2020)")),
      "\033[1mHost Filesystem = name 53.4 (12.2.2020)   DOSType:0x444f5303 [DOS\\03]\n\n\033[0m");
}

TEST_F(TargetTest, DosTypeWithALastByteAboveABlankShowsFourCharacters) {
  EXPECT_EQ(Filesystem(Dh0(",dostype=0x46415432,version=fat")),
            "\033[1mHost Filesystem = fat   DOSType:0x46415432 [FAT2]\n\n\033[0m");
  EXPECT_EQ(Filesystem(Dh0(",dostype=0x46415421,version=fat")),
            "\033[1mHost Filesystem = fat   DOSType:0x46415421 [FAT!]\n\n\033[0m");
  EXPECT_EQ(Filesystem(Dh0(",dostype=0x46415420,version=fat")),
            "\033[1mHost Filesystem = fat   DOSType:0x46415420 [FAT\\20]\n\n\033[0m");
}

TEST_F(TargetTest, BytesOfTheDosTypeAreUnsigned) {
  EXPECT_EQ(Filesystem(Dh0(",version=x"), "FileSystemAttr set dostype=0xFF80E9FE"),
            "\033[1mHost Filesystem = x   DOSType:0xff80e9fe [\xff\x80\xe9\xfe]\n\n\033[0m");
}

TEST_F(TargetTest, DosTypeFromTheDiskInformation) {
  EXPECT_EQ(
      Filesystem(Dh0(""), "FileSystemAttr fail 209\nGetDiskInfo(*)#1 set DiskType=0x444F5307"),
      "----- NOTE: DOSType unavailable via IDOS->FileSystemAttr() - Falling back to IDOS->GetDiskInfo()\n"
      "\033[1mHost Filesystem =    DOSType:0x444f5307 [DOS\\07]\n\n\033[0m");
}

TEST_F(TargetTest, NoDosTypeAtAll) {
  const std::string zeros(3, '\0');
  EXPECT_EQ(Filesystem(Dh0(""), "FileSystemAttr fail 209\nGetDiskInfo(*)#1 set DiskType=0"),
            "\033[1mHost Filesystem =    DOSType:0x00000000 [" + zeros + "\\00]\n\n\033[0m");
}

TEST_F(TargetTest, VersionTextEndsWithItsFirstBracket) {
  EXPECT_EQ(
      Filesystem(Dh0(",dostype=0x444F5303,version=name 53.4 (12.2.2020) extra)")),
      "\033[1mHost Filesystem = name 53.4 (12.2.2020)   DOSType:0x444f5303 [DOS\\03]\n\n\033[0m");
  EXPECT_EQ(Filesystem(Dh0(",dostype=0x444F5303,version=no bracket")),
            "\033[1mHost Filesystem = no bracket   DOSType:0x444f5303 [DOS\\03]\n\n\033[0m");
  EXPECT_EQ(Filesystem(Dh0(",dostype=0x444F5303,version=)first")),
            "\033[1mHost Filesystem = )   DOSType:0x444f5303 [DOS\\03]\n\n\033[0m");
}

TEST_F(TargetTest, WriteProtectedVolume) {
  const std::string output = Refused(Dh0(",state=write-protected"));
  EXPECT_TRUE(
      output.ends_with("\n\n\033[0mERROR, DH0: is write-protected, cannot perform tests.\n\n"))
      << output;
}

TEST_F(TargetTest, VolumeThatIsNotValidated) {
  const std::string expected = "\n\n\033[0mERROR, DH0: is not validated, cannot perform tests.\n\n";
  EXPECT_TRUE(Refused(Dh0(",state=validating")).ends_with(expected));
  EXPECT_TRUE(Refused(Dh0(""), "GetDiskInfo(*)#1 set DiskState=0").ends_with(expected));
  EXPECT_TRUE(Refused(Dh0(""), "GetDiskInfo(*)#1 set DiskState=83").ends_with(expected));
}

}  // namespace
}  // namespace quorle
