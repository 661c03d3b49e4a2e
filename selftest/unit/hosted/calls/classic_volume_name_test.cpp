#include <gtest/gtest.h>

#include "selftest/unit/hosted/calls/classic_fallback_fixture.h"

// What the volume of a handler of classic packets is called.

namespace quorle {
namespace {

TEST_F(ClassicFallbackTest, TheVolumeIsCalledWhatTheRootIsCalled) {
  script.root = "Work";
  EXPECT_EQ(TryMount(), "");
  EXPECT_EQ(port->type(), PortType::kPacket);
  EXPECT_EQ(port->volume_name(), "Work");
  EXPECT_EQ(script.sent, (Actions{QUORLE_ACTION_LOCATE_OBJECT, QUORLE_ACTION_EXAMINEDATA,
                                  QUORLE_ACTION_EXAMINE_OBJECT, QUORLE_ACTION_FREE_LOCK}));
}

TEST_F(ClassicFallbackTest, WithoutARootThereIsNoVolume) {
  Give(QUORLE_ACTION_LOCATE_OBJECT, 0, ERROR_NO_DISK);
  EXPECT_EQ(TryMount(), "");
  EXPECT_EQ(port->volume_name(), std::nullopt);
  script.answers.erase(QUORLE_ACTION_LOCATE_OBJECT);
  Give(QUORLE_ACTION_INHIBIT, kDosTrue);
  EXPECT_TRUE(port->Inhibit(res2, true));
  EXPECT_EQ(port->volume_name(), std::nullopt);
  EXPECT_TRUE(port->Inhibit(res2, false));
  EXPECT_EQ(port->volume_name(), "Root") << "a disk was put in";
}

TEST_F(ClassicFallbackTest, WithoutANameThereIsNoVolume) {
  script.root = "";
  EXPECT_EQ(TryMount(), "");
  EXPECT_EQ(port->volume_name(), std::nullopt);
}

TEST_F(ClassicFallbackTest, AHandlerWithFunctionsNamesItself) {
  script.functions = true;
  EXPECT_EQ(TryMount(), "");
  EXPECT_EQ(port->volume_name(), std::nullopt);
  EXPECT_TRUE(script.sent.empty());
}

TEST_F(ClassicFallbackTest, ANameThatIsTakenRefusesTheMount) {
  const auto never = [](const ::MsgPort&, const std::string&) { return false; };
  script.root = "Work";
  EXPECT_EQ(TryMount({}, never), "the volume name \"Work\" is taken");
  EXPECT_EQ(port, nullptr);
  EXPECT_TRUE(script.locks.empty());
  for (const char* const root : {"a:b", "a/b", "\n"}) {
    script.root = root;
    EXPECT_EQ(TryMount(), "the name of the root is no name for a volume");
    EXPECT_EQ(port, nullptr);
  }
}

TEST_F(ClassicFallbackTest, TheNameIsReadAgainAfterARelabel) {
  Mount();
  script.answers[QUORLE_ACTION_RENAME_DISK] = [this](::DosPacket& packet) {
    script.root = PlainText(packet.dp_Arg1).c_str();
    PacketScript::Answer(packet, kDosTrue);
  };
  EXPECT_TRUE(port->Relabel(res2, "New"));
  EXPECT_EQ(port->volume_name(), "New");
  Give(QUORLE_ACTION_RENAME_DISK, 0, ERROR_DISK_WRITE_PROTECTED);
  script.root = "Other";
  EXPECT_FALSE(port->Relabel(res2, "Newer"));
  EXPECT_EQ(res2, ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(port->volume_name(), "New");
}

TEST_F(ClassicFallbackTest, ANameThatIsTakenIsNoNewName) {
  EXPECT_EQ(TryMount({}, [](const ::MsgPort&, const std::string& name) { return name != "Taken"; }),
            "");
  Forget();
  EXPECT_FALSE(port->Relabel(res2, "Taken"));
  EXPECT_EQ(res2, ERROR_OBJECT_EXISTS);
  EXPECT_TRUE(script.sent.empty());
  Give(QUORLE_ACTION_INHIBIT, kDosTrue);
  script.root = "Taken";
  EXPECT_TRUE(port->Inhibit(res2, false));
  EXPECT_EQ(port->volume_name(), "Root");
  EXPECT_EQ(lines, std::vector<std::string>{"handler of DH0: the volume name \"Taken\" is taken"});
}

}  // namespace
}  // namespace quorle
