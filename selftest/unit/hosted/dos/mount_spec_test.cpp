#include "hosted/dos/mount_spec.h"

#include <gtest/gtest.h>

#include <string>

namespace quorle {
namespace {

TEST(ParseMountSpecTest, AHandlerAlone) {
  MountSpec spec;
  std::string problem;
  ASSERT_TRUE(ParseMountSpec("DH0=ram", spec, problem)) << problem;
  EXPECT_EQ(spec.name, "DH0");
  EXPECT_EQ(spec.handler, "ram");
  EXPECT_EQ(spec.argument, "");
  EXPECT_EQ(spec.port, std::nullopt);
  EXPECT_TRUE(spec.keys.empty());
}

TEST(ParseMountSpecTest, AnArgumentMayHoldColonsAndEqualSigns) {
  MountSpec spec;
  std::string problem;
  ASSERT_TRUE(ParseMountSpec("W=plugin:./a=b:c.so,x=y", spec, problem)) << problem;
  EXPECT_EQ(spec.handler, "plugin");
  EXPECT_EQ(spec.argument, "./a=b:c.so");
  EXPECT_EQ(spec.keys, (MountKeys{{"x", "y"}}));
}

TEST(ParseMountSpecTest, KeysKeepTheirOrderAndThePortIsTakenOut) {
  MountSpec spec;
  std::string problem;
  ASSERT_TRUE(ParseMountSpec("D=dir:/tmp,volume=,port=packet,version=a=b:c", spec, problem))
      << problem;
  EXPECT_EQ(spec.argument, "/tmp");
  EXPECT_EQ(spec.port, PortType::kPacket);
  EXPECT_EQ(spec.keys, (MountKeys{{"volume", ""}, {"version", "a=b:c"}}));
}

TEST(ParseMountSpecTest, EachKindOfPortCanBeNamed) {
  MountSpec spec;
  std::string problem;
  ASSERT_TRUE(ParseMountSpec("D=ram,port=vector", spec, problem));
  EXPECT_EQ(spec.port, PortType::kVector);
  EXPECT_TRUE(spec.keys.empty());
  ASSERT_TRUE(ParseMountSpec("D=ram,port=packet", spec, problem));
  EXPECT_EQ(spec.port, PortType::kPacket);
  ASSERT_TRUE(ParseMountSpec("D=ram,port=classic", spec, problem));
  EXPECT_EQ(spec.port, PortType::kClassic);
}

TEST(ParseMountSpecTest, NothingOfAnEarlierSpecStays) {
  MountSpec spec;
  std::string problem;
  ASSERT_TRUE(ParseMountSpec("A=dir:x,port=packet,k=v", spec, problem));
  ASSERT_TRUE(ParseMountSpec("B=ram", spec, problem));
  EXPECT_EQ(spec.argument, "");
  EXPECT_EQ(spec.port, std::nullopt);
  EXPECT_TRUE(spec.keys.empty());
}

TEST(ParseMountSpecTest, TheLongestNameHas255Bytes) {
  MountSpec spec;
  std::string problem;
  EXPECT_TRUE(ParseMountSpec(std::string(255, 'x') + "=ram", spec, problem));
  EXPECT_FALSE(ParseMountSpec(std::string(256, 'x') + "=ram", spec, problem));
  EXPECT_EQ(problem, "the device name is longer than 255 bytes");
}

struct BadSpec {
  const char* text;
  const char* problem;
};

class BadMountSpec : public testing::TestWithParam<BadSpec> {};

TEST_P(BadMountSpec, IsRefused) {
  MountSpec spec;
  std::string problem;
  EXPECT_FALSE(ParseMountSpec(GetParam().text, spec, problem));
  EXPECT_EQ(problem, GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    MountSpec, BadMountSpec,
    testing::Values(BadSpec{"", "\"\" is not of the form NAME=HANDLER"},
                    BadSpec{"DH0", "\"DH0\" is not of the form NAME=HANDLER"},
                    BadSpec{"DH0:ram", "\"DH0:ram\" is not of the form NAME=HANDLER"},
                    BadSpec{"a\nb", "\"a\nb\" is not of the form NAME=HANDLER"},
                    BadSpec{"=ram", "the device name is empty"},
                    BadSpec{"DH0:=ram", "the device name \"DH0:\" holds a ':'"},
                    BadSpec{"a/b=ram", "the device name \"a/b\" holds a '/'"},
                    BadSpec{"a\x1B=ram", "the device name \"a\x1B\" holds a control character"},
                    BadSpec{"a\x7F=ram", "the device name \"a\x7F\" holds a control character"},
                    BadSpec{"DH0=", "there is no handler after \"DH0=\""},
                    BadSpec{"DH0=,port=vector", "there is no handler after \"DH0=\""},
                    BadSpec{"DH0=:x", "there is no handler after \"DH0=\""},
                    BadSpec{"DH0=dir:", "there is nothing after \"dir:\""},
                    BadSpec{"DH0=dir:,volume=x", "there is nothing after \"dir:\""},
                    BadSpec{"DH0=ram,", "\"\" is not of the form key=value"},
                    BadSpec{"DH0=ram,,a=b", "\"\" is not of the form key=value"},
                    BadSpec{"DH0=ram,volume", "\"volume\" is not of the form key=value"},
                    BadSpec{"DH0=ram,=x", "\"=x\" has no key before its '='"},
                    BadSpec{"DH0=ram,a=1,b=2,a=3", "the key \"a\" is given twice"},
                    BadSpec{"DH0=ram,port=vector,port=vector", "the key \"port\" is given twice"},
                    BadSpec{"DH0=ram,port=", "port=: the port is vector, packet or classic"},
                    BadSpec{"DH0=ram,port=Vector",
                            "port=Vector: the port is vector, packet or classic"}));

}  // namespace
}  // namespace quorle
