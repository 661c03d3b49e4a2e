#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "hosted/calls/call_gate.h"
#include "hosted/dos/hosted_dos.h"
#include "selftest/unit/hosted/calls/scripted_program.h"
#include "selftest/unit/hosted/machine_fixture.h"

// What dos makes of a handler of classic packets.

namespace quorle {
namespace {

class ClassicDosTest : public ::testing::Test {
 protected:
  ClassicDosTest() {
    std::string problem;
    port_ = MountHandler(std::make_unique<ScriptedProgram>(script_),
                         {.device_name = "DH0", .watch = &watch_}, clock_, problem);
    EXPECT_NE(port_, nullptr) << problem;
    EXPECT_TRUE(list_.AddDevice(*port_));
    port_->SetGate(&gate_);
    // The root holds three links, or one without an end.
    script_.answers[QUORLE_ACTION_EXAMINE_NEXT] = [this](::DosPacket& packet) {
      ::FileInfoBlock& block = PacketScript::BlockOf(packet);
      if (!repeats_ && ++block.fib_DiskKey > 3) {
        return PacketScript::Answer(packet, 0, ERROR_NO_MORE_ENTRIES);
      }
      block.fib_DirEntryType = ST_SOFTLINK;
      PacketScript::SetText(block.fib_FileName, "link" + std::to_string(block.fib_DiskKey));
      PacketScript::Answer(packet, kDosTrue);
    };
    // Nothing but the root can be locked.
    script_.answers[QUORLE_ACTION_LOCATE_OBJECT] = [this](::DosPacket& packet) {
      const bool is_root = *PlainText(packet.dp_Arg2).c_str() == '\0';
      const auto lock = is_root ? reinterpret_cast<std::intptr_t>(script_.NewLock()) : 0;
      PacketScript::Answer(packet, lock, is_root ? 0 : ERROR_IS_SOFT_LINK);
    };
    script_.sent.clear();
  }
  ~ClassicDosTest() override {
    dos_.ReleaseEverything();
    EXPECT_TRUE(port_->Unmount().empty());
    EXPECT_TRUE(script_.locks.empty());
  }

  PacketScript script_;
  bool repeats_ = false;
  std::vector<std::string> lines_;
  RunWatch watch_{[this](const std::string& line) { lines_.push_back(line); }};
  CallGate gate_{{}, watch_};
  FixedClock clock_;
  std::unique_ptr<HandlerPort> port_;
  DosList list_;
  HandleNumbers numbers_;
  MemorySink output_;
  MemorySink errors_;
  Console console_{output_, errors_, false};
  FixedInput input_;
  FixedBreak breaks_;
  HostedDos dos_{{.list = list_,
                  .numbers = numbers_,
                  .console = console_,
                  .input = input_,
                  .clock = clock_,
                  .breaks = breaks_},
                 {}};
};

TEST_F(ClassicDosTest, ASoftLinkIsFoundByAScanOfItsDirectory) {
  const ExamineData* const data = dos_.ExamineObject(EX_ObjectNameInput, "DH0:link2");
  ASSERT_NE(data, nullptr) << dos_.IoErr();
  EXPECT_EQ(data->Type, std::uint32_t{FSO_TYPE_SOFTLINK});
  EXPECT_STREQ(data->Name, "link2");
  EXPECT_STREQ(data->Link, "");
  EXPECT_EQ(data->ObjectID, 2U);
  EXPECT_EQ(script_.sent,
            (std::vector<std::int32_t>{QUORLE_ACTION_EXAMINEDATA_OBJ, QUORLE_ACTION_LOCATE_OBJECT,
                                       QUORLE_ACTION_LOCATE_OBJECT, QUORLE_ACTION_EXAMINEDATA_DIR,
                                       QUORLE_ACTION_EXAMINE_OBJECT, QUORLE_ACTION_EXAMINE_NEXT,
                                       QUORLE_ACTION_EXAMINE_NEXT, QUORLE_ACTION_FREE_LOCK}));
  dos_.FreeDosObject(DOS_EXAMINEDATA, data);
}

TEST_F(ClassicDosTest, ALinkThatIsNotThereIsNotFound) {
  EXPECT_EQ(dos_.ExamineObject(EX_ObjectNameInput, "DH0:link4"), nullptr);
  EXPECT_EQ(dos_.IoErr(), ERROR_OBJECT_NOT_FOUND);
}

TEST_F(ClassicDosTest, AScanThatRepeatsItselfEnds) {
  repeats_ = true;
  EXPECT_EQ(dos_.ExamineObject(EX_ObjectNameInput, "DH0:link4"), nullptr);
  EXPECT_EQ(dos_.IoErr(), ERROR_OBJECT_NOT_FOUND);
  EXPECT_LT(script_.sent.size(), 100U);
  EXPECT_EQ(lines_, std::vector<std::string>{
                        "DH0: ACTION_EXAMINE_NEXT gives the same entry again and again"});
}

}  // namespace
}  // namespace quorle
