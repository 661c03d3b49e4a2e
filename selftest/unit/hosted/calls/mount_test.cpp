#include "hosted/calls/mount.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle {
namespace {

class MountTest : public testing::Test {
 protected:
  std::unique_ptr<HandlerPort> Mount(const MountKeys& keys = {}) {
    return MountHandler(state.handler,
                        {.device_name = "DH0", .keys = keys, .may_be_named = may_be_named},
                        state.clock, problem);
  }

  RecordingHandler state;
  VolumeNameCheck may_be_named;
  std::string problem = "left over";
};

// What a mount hands over, written into its Problem.
::FileSystemVectorPort* RefuseWithTheRequest(const ::HandlerMount* mount) {
  std::string seen = std::to_string(mount->StructSize == sizeof *mount) + " " +
                     std::to_string(mount->Version) + " " + mount->DeviceName;
  for (std::uint32_t i = 0; i < mount->KeyCount; ++i) {
    seen += std::string(" ") + mount->Keys[i].Key + "=" + mount->Keys[i].Value;
  }
  std::snprintf(mount->Problem, mount->ProblemSize, "%s", seen.c_str());
  return nullptr;
}

::FileSystemVectorPort* RefuseSilently(const ::HandlerMount* mount) {
  mount->Dos->AllocVec(mount->Dos, 100);  // forgotten: must be freed by the host
  return nullptr;
}

// Fills the whole buffer, without a zero.
::FileSystemVectorPort* RefuseTooLong(const ::HandlerMount* mount) {
  for (std::uint32_t i = 0; i < mount->ProblemSize; ++i) mount->Problem[i] = 'x';
  return nullptr;
}

template <std::int32_t kVersion>
::FileSystemVectorPort* MountVersion(const ::HandlerMount* mount) {
  ::FileSystemVectors table = RecordingHandler::FullTable();
  table.Version = kVersion;
  const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&table)},
                            {QUORLE_TAG_DONE, 0}};
  return static_cast<::FileSystemVectorPort*>(
      mount->Dos->AllocDosObject(mount->Dos, QUORLE_DOS_FSVECTORPORT, tags));
}

::FileSystemVectorPort* MountNamed(const ::HandlerMount* mount) {
  ::FileSystemVectorPort* const port = MountVersion<53>(mount);
  if (mount->Dos->SetVolumeName(mount->Dos, port, "Work") != 0) return port;
  std::snprintf(mount->Problem, mount->ProblemSize, "the name is taken");
  mount->Dos->FreeDosObject(mount->Dos, QUORLE_DOS_FSVECTORPORT, port);
  return nullptr;
}

::FileSystemVectorPort* MountForeign(const ::HandlerMount*) {
  return new ::FileSystemVectorPort{};
}

void FreeForeign(::FileSystemVectorPort* port) {
  delete port;
}

void ForgetEverything(::FileSystemVectorPort*) {}

TEST_F(MountTest, Succeeds) {
  const auto port = Mount();
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(problem, "");
  EXPECT_EQ(port->device_name(), "DH0");
}

TEST_F(MountTest, HandsOverTheDeviceAndTheKeys) {
  state.handler.Mount = RefuseWithTheRequest;
  EXPECT_EQ(Mount({{"volume", "Work"}, {"state", ""}}), nullptr);
  EXPECT_EQ(problem, "1 2 DH0 volume=Work state=");
}

TEST_F(MountTest, ARefusalWithoutAReasonGetsOne) {
  state.handler.Mount = RefuseSilently;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(problem, "the handler refused to be mounted and did not say why");
}

TEST_F(MountTest, AReasonWithoutAnEndIsCut) {
  state.handler.Mount = RefuseTooLong;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(problem, std::string(255, 'x'));
}

TEST_F(MountTest, AHandlerOfNoVersionIsRefused) {
  state.handler.Version = 0;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(problem, "the handler was not made for this header: version 0, size " +
                         std::to_string(sizeof(::Handler)));
}

TEST_F(MountTest, ANewerHandlerIsMounted) {
  state.handler.Version = QUORLE_HANDLER_VERSION + 1;
  state.handler.StructSize = sizeof(::Handler) + 64;
  EXPECT_NE(Mount(), nullptr);
}

TEST_F(MountTest, AHandlerThatIsTooSmallIsRefused) {
  state.handler.StructSize = 16;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(problem, "the handler was not made for this header: version 2, size 16");
}

TEST_F(MountTest, AHandlerMustHaveItsTwoFunctions) {
  state.handler.Unmount = nullptr;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(problem, "the handler has no Mount() or no Unmount()");
}

TEST_F(MountTest, AnOldTableIsRefused) {
  state.handler.Mount = MountVersion<52>;
  state.handler.Unmount = ForgetEverything;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(problem, "the handler's table of functions has version 52, at least 53 is needed");
}

TEST_F(MountTest, ANewerTableIsMounted) {
  state.handler.Mount = MountVersion<54>;
  state.handler.Unmount = ForgetEverything;
  const auto port = Mount();
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->Record().version, 54U);
}

TEST_F(MountTest, AForeignPortIsRefusedAndGivenBack) {
  state.handler.Mount = MountForeign;
  state.handler.Unmount = FreeForeign;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(problem, "the handler's port does not come from AllocDosObject()");
}

TEST_F(MountTest, TheVolumeIsNamedByTheHandler) {
  std::vector<std::string> asked;
  const ::MsgPort* asking = nullptr;
  may_be_named = [&](const ::MsgPort& port, const std::string& name) {
    asked.push_back(name);
    asking = &port;
    return true;
  };
  state.handler.Mount = MountNamed;
  state.handler.Unmount = ForgetEverything;
  const auto port = Mount();
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->volume_name(), "Work");
  EXPECT_EQ(asked, std::vector<std::string>{"Work"});
  EXPECT_EQ(asking, port->port());
  port->Unmount();
  EXPECT_EQ(port->volume_name(), std::nullopt);
}

TEST_F(MountTest, ATakenVolumeNameCanRefuseTheMount) {
  may_be_named = [](const ::MsgPort&, const std::string&) { return false; };
  state.handler.Mount = MountNamed;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(problem, "the name is taken");
}

TEST_F(MountTest, TheUnmountTellsWhatWasForgotten) {
  state.handler.Unmount = RecordingHandler::Forget;
  const auto port = Mount();
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->Unmount(),
            (std::vector<std::string>{"never freed: a lock (3), made in Mount() (3)",
                                      "never freed: an examine record (1), made in Mount() (1)",
                                      "never freed: a vector port (1), made in Mount() (1)"}));
  EXPECT_TRUE(port->Unmount().empty());
}

// ---- The medium --------------------------------------------------------------------------------

/// A handler that counts its mounts in its medium.
struct Medium {
  int mounts = 0;
  void** place = nullptr;
};
Medium* the_medium = nullptr;  // of the handler that is mounted
int discarded = 0;             // mounts of the last medium that was

::FileSystemVectorPort* MountMedium(const ::HandlerMount* mount) {
  if (*mount->Medium == nullptr) *mount->Medium = new Medium;
  the_medium = static_cast<Medium*>(std::exchange(*mount->Medium, nullptr));
  the_medium->place = mount->Medium;
  ++the_medium->mounts;
  return MountVersion<53>(mount);
}

::FileSystemVectorPort* LeaveTheMediumAndRefuse(const ::HandlerMount* mount) {
  *mount->Medium = new Medium{.mounts = 100};
  return nullptr;
}

void UnmountMedium(::FileSystemVectorPort*) {
  *the_medium->place = the_medium;
}

void DiscardMedium(void* medium) {
  discarded = static_cast<Medium*>(medium)->mounts;
  delete static_cast<Medium*>(medium);
}

class MediumTest : public MountTest {
 protected:
  MediumTest() {
    discarded = 0;
    state.handler.Mount = MountMedium;
    state.handler.Unmount = UnmountMedium;
    state.handler.Discard = DiscardMedium;
  }
};

TEST_F(MediumTest, OutlivesAnUnmountAndIsDiscardedInTheEnd) {
  auto port = Mount();
  ASSERT_NE(port, nullptr) << problem;
  port->UnmountForNow();
  EXPECT_TRUE(port->MountAgain(problem)) << problem;
  EXPECT_EQ(the_medium->mounts, 2);
  EXPECT_EQ(discarded, 0);
  port->Unmount();
  EXPECT_EQ(discarded, 2);
}

TEST_F(MediumTest, IsDiscardedWithADeviceThatIsUnmounted) {
  auto port = Mount();
  port->UnmountForNow();
  port.reset();
  EXPECT_EQ(discarded, 1);
}

TEST_F(MediumTest, IsDiscardedWhenTheMountFails) {
  state.handler.Mount = LeaveTheMediumAndRefuse;
  EXPECT_EQ(Mount(), nullptr);
  EXPECT_EQ(discarded, 100);
}

TEST_F(MediumTest, IsNotDiscardedByAHandlerThatIsTooOldToKnow) {
  state.handler.Version = 1;
  auto port = Mount();
  port->Unmount();
  EXPECT_EQ(discarded, 0);
  delete the_medium;
  state.handler.Version = 2;
  state.handler.StructSize = offsetof(::Handler, Discard);
  port = Mount();
  port->Unmount();
  EXPECT_EQ(discarded, 0);
  delete the_medium;
  state.handler.StructSize = sizeof state.handler;
  state.handler.Discard = nullptr;
  port = Mount();
  port->Unmount();
  delete the_medium;
}

TEST_F(MountTest, AHandlerThatHasLostItsFunctionsIsNotMountedAgain) {
  state.handler.Packet = [](::FileSystemVectorPort*, ::DosPacket*) {};
  const auto port = Mount();
  ASSERT_NE(port, nullptr);
  port->UnmountForNow();
  state.handler.Mount = [](const ::HandlerMount* mount) {
    ::FileSystemVectorPort* const made = MountVersion<53>(mount);
    made->FSV = {};
    made->FSV.Version = 53;
    return made;
  };
  state.handler.Unmount = ForgetEverything;
  EXPECT_FALSE(port->MountAgain(problem));
  EXPECT_EQ(problem, "the handler has no functions any more, it takes packets alone");
  EXPECT_EQ(port->life(), HandlerProgram::Life::kIsOver);
}

TEST_F(MountTest, AnExamineRecordGoesBackToTheHandlersMemory) {
  const auto port = Mount();
  ASSERT_NE(port, nullptr);
  const ::HandlerServices* const dos = RecordingHandler::DosOf(*port);
  auto* const data =
      static_cast<::ExamineData*>(dos->AllocDosObject(dos, QUORLE_DOS_EXAMINEDATA, nullptr));
  port->FreeExamineData(data);
  port->FreeExamineData(nullptr);
  EXPECT_TRUE(port->Unmount().empty());
}

}  // namespace
}  // namespace quorle
