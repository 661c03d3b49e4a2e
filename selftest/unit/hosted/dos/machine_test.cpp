#include "hosted/dos/machine.h"

#include <gtest/gtest.h>

#include <string>

#include "program/built_in_handlers.h"
#include "selftest/unit/hosted/machine_fixture.h"

namespace quorle {
namespace {

class MachineBuildTest : public MachineTest {
 protected:
  /// Why a machine with these mounts is not built; empty when it is.
  std::string Problem(std::vector<MountSpec> mounts) {
    MachineOptions options;
    options.handlers = BuiltInHandlers();
    options.handlers.push_back({"tree", &TreeHandler()});
    options.layers = BuiltInLayers();
    options.mounts = std::move(mounts);
    std::string problem;
    const auto machine = Machine::Build(options, Parts(), problem);
    EXPECT_EQ(machine == nullptr, !problem.empty());
    return problem;
  }
};

TEST_F(MachineBuildTest, TheStandardMountsFitTogether) {
  EXPECT_EQ(Problem(StandardMounts()), "");
}

TEST_F(MachineBuildTest, TheStandardDevices) {
  MachineOptions options;
  options.handlers = BuiltInHandlers();
  options.mounts = StandardMounts();
  std::string problem;
  const auto machine = Machine::Build(options, Parts(), problem);
  ASSERT_NE(machine, nullptr) << problem;
  EXPECT_NE(machine->list().Find("RAM").port, nullptr);
  EXPECT_EQ(machine->list().Find("Ram Disk").port, machine->list().Find("RAM").port);
  EXPECT_NE(machine->list().Find("ENV").port, nullptr);
  EXPECT_NE(machine->list().Find("ENV").port, machine->list().Find("RAM").port);
  ASSERT_NE(machine->list().Find("NIL").port, nullptr);
  EXPECT_EQ(machine->list().Find("NIL").port->type(), PortType::kNone);
  EXPECT_EQ(machine->list().home(), machine->list().Find("RAM").port);
}

TEST_F(MachineBuildTest, AMachineWithoutMountsHasNil) {
  EXPECT_EQ(Problem({}), "");
}

TEST_F(MachineBuildTest, AnUnknownHandlerIsRefused) {
  EXPECT_EQ(Problem({Spec("DH0", "floppy", {})}),
            "cannot mount DH0: no handler is called \"floppy\"; there are: ram, dir, tree");
}

TEST_F(MachineBuildTest, ALayerIsAskedForByItsKey) {
  EXPECT_EQ(Problem({Spec("DH0", "ram", {{"deviate", "delete-root+lock-missing"}})}), "");
  EXPECT_EQ(Problem({Spec("DH0", "ram", {{"deviate", "delete-root+nonsense"}})}),
            "cannot mount DH0: no deviation is called \"nonsense\"; quorle --list-deviations lists "
            "them");
  EXPECT_EQ(Problem({Spec("DH0", "ram", {{"deviate", ""}})}),
            "cannot mount DH0: no deviation is called \"\"; quorle --list-deviations lists "
            "them");
}

TEST_F(MachineBuildTest, NamesAreTakenOnce) {
  const MountSpec first = Spec("DH0", "tree", {{"volume", "Work"}});
  EXPECT_EQ(Problem({first, Spec("dh0", "tree", {})}), "cannot mount dh0: the name is taken");
  EXPECT_EQ(Problem({first, Spec("WORK", "tree", {})}), "cannot mount WORK: the name is taken");
  EXPECT_EQ(Problem({Spec("nil", "tree", {})}), "cannot mount nil: the name is taken");
  EXPECT_TRUE(Problem({first, Spec("DH1", "tree", {{"volume", "work"}})})
                  .starts_with("cannot mount DH1: "));
  EXPECT_TRUE(
      Problem({first, Spec("DH1", "tree", {{"volume", "DH0"}})}).starts_with("cannot mount DH1: "));
  EXPECT_TRUE(
      Problem({Spec("DH1", "tree", {{"volume", "dh1"}})}).starts_with("cannot mount DH1: "));
  EXPECT_EQ(Problem({first, Spec("DH1", "tree", {{"volume", "Play"}})}), "");
}

TEST_F(MachineBuildTest, AHandlersProblemIsReportedWithTheDevice) {
  EXPECT_TRUE(
      Problem({Spec("DH0", "ram", {{"nosuchkey", "1"}})}).starts_with("cannot mount DH0: "));
}

TEST_F(MachineBuildTest, AnArgumentBecomesThePathKey) {
  MountSpec spec = Spec("DH0", "ram", {});
  spec.argument = "somewhere";
  EXPECT_NE(Problem({spec}).find("path"), std::string::npos);  // which this handler does not know
}

TEST_F(MachineBuildTest, ShutDownReleasesAndMayBeRepeated) {
  MakeFile("file");
  MustLock("file");
  dos().Open("file", MODE_OLDFILE);
  EXPECT_TRUE(machine_->ShutDown().empty());
  EXPECT_EQ(dos().CountOpen(), OpenObjects{});
  EXPECT_TRUE(machine_->ShutDown().empty());
}

TEST_F(MachineBuildTest, ARenamedVolumeKeepsClearOfTheOthers) {
  EXPECT_FALSE(dos().Relabel("DH0:", "Other Disk"));
  EXPECT_FALSE(dos().Relabel("DH0:", "TREE"));
  EXPECT_FALSE(dos().Relabel("DH0:", "DH0"));
  EXPECT_TRUE(dos().Relabel("DH0:", "WORK"));
  EXPECT_TRUE(dos().Relabel("DH0:", "Free Name"));
}

}  // namespace
}  // namespace quorle
