#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "selftest/unit/hosted/isolation/isolated_program_test.h"

namespace quorle::isolation {
namespace {

// ---- Its end -----------------------------------------------------------------------------------

struct Way {
  const char* how;
  const char* reported;
};

std::ostream& operator<<(std::ostream& out, const Way& way) {
  return out << way.how;
}

class WayToEndTest : public IsolatedProgramTest, public testing::WithParamInterface<Way> {
 protected:
  /// The one line that is due, and everything after it as it must be.
  void ExpectEnd(const char* function) {
    ASSERT_EQ(lines_.size(), 1U) << function;
    EXPECT_EQ(lines_[0],
              std::string("handler process of DH0: ") + GetParam().reported + " in " + function);
    EXPECT_EQ(Lock(""), nullptr);
    EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
    EXPECT_TRUE(port_->Unmount().empty());
    EXPECT_EQ(lines_.size(), 1U);
    lines_.clear();
  }
};

TEST_P(WayToEndTest, InALock) {
  MountRogue("FSLock", GetParam().how);
  EXPECT_EQ(Lock(""), nullptr);
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  ExpectEnd("FSLock()");
}

TEST_P(WayToEndTest, InARead) {
  MountRogue("FSRead", GetParam().how);
  MakeFile("file");
  ::FileHandle file{};
  ASSERT_TRUE(port_->Open(code_, file, nullptr, "file", MODE_OLDFILE));
  char buffer[4] = "abc";
  EXPECT_EQ(port_->Read(code_, file, buffer, 3), -1);
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_FALSE(port_->Close(code_, file));
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  ExpectEnd("FSRead()");
}

TEST_P(WayToEndTest, InAnExamination) {
  MountRogue("FSExamineLock", GetParam().how);
  ::Lock* const root = Lock("");
  EXPECT_EQ(port_->ExamineLock(code_, root), nullptr);
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_FALSE(port_->UnLock(code_, root));
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  ExpectEnd("FSExamineLock()");
}

TEST_P(WayToEndTest, InAnUnLock) {
  MountRogue("FSUnLock", GetParam().how);
  EXPECT_FALSE(port_->UnLock(code_, Lock("")));
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  ExpectEnd("FSUnLock()");
}

TEST_P(WayToEndTest, InAnOpenAndAClose) {
  for (const char* const function : {"FSOpen", "FSClose"}) {
    MountRogue(function, GetParam().how);
    ::FileHandle file{};
    if (port_->Open(code_, file, nullptr, "file", MODE_NEWFILE)) port_->Close(code_, file);
    EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
    ExpectEnd((std::string(function) + "()").c_str());
  }
}

TEST_P(WayToEndTest, InARelabel) {
  MountRogue("FSRelabel", GetParam().how);
  EXPECT_FALSE(port_->Relabel(code_, "Other"));
  ExpectEnd("FSRelabel()");
}

TEST_P(WayToEndTest, WhenItIsMounted) {
  Mount({{"in", "Mount"}, {"how", GetParam().how}});
  EXPECT_EQ(port_, nullptr);
  // Where in the handler that was may follow.
  EXPECT_EQ(problem_.substr(0, problem_.find("; #0")),
            std::string("the handler process ") + GetParam().reported + " in Mount()");
  EXPECT_TRUE(lines_.empty());
}

TEST_P(WayToEndTest, WhenItIsUnmounted) {
  MountRogue("Unmount", GetParam().how);
  EXPECT_TRUE(port_->Unmount().empty());
  ASSERT_EQ(lines_.size(), 1U);
  // As an answer to this call nothing is not too short; but then there is no end.
  const bool is_short = std::string_view(GetParam().how) == "short";
  const char* const reported = is_short ? "did not end within 1 second" : GetParam().reported;
  EXPECT_EQ(lines_[0], std::string("handler process of DH0: ") + reported + " in Unmount()");
}

TEST_P(WayToEndTest, InATest) {
  MountRogue("FSRename", GetParam().how);
  watch_.BeginTest(34, "Rename()");
  EXPECT_FALSE(port_->Rename(code_, nullptr, "a", nullptr, "b"));
  watch_.EndTest();
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(lines_[0], std::string("handler process of DH0: ") + GetParam().reported +
                           " in FSRename(), test 34 (Rename)");
}

constexpr const char* kNoShape = "gave a reply without shape";
INSTANTIATE_TEST_SUITE_P(Ways, WayToEndTest,
                         testing::Values(Way{"signal", "ended by signal 11 (SIGSEGV)"},
                                         Way{"exit", "exited with status 3"},
                                         Way{"hang", "did not answer within 1 second"},
                                         Way{"throw", "ended by signal 6 (SIGABRT)"},
                                         Way{"ask", "did not answer within 1 second"},
                                         Way{"turn", kNoShape}, Way{"garbage", kNoShape},
                                         Way{"zeroes", kNoShape}, Way{"length", kNoShape},
                                         Way{"short", kNoShape}),
                         [](const auto& row) { return std::string(row.param.how); });

/// Every operation of a port, each with what it gives when it fails.
void ExpectEverythingRefused(HandlerPort& port, ::Lock* lock, ::FileHandle& open_file) {
  // By reference: the code is there after the call.
  const auto refused = [](bool failed, const std::int32_t& code) {
    return failed && code == ERROR_DEVICE_NOT_MOUNTED;
  };
  std::int32_t c = 0;
  ::FileHandle file{};
  ::InfoData info{};
  ::PRIVATE_ExamineDirContext scan{};
  char buffer[8] = {};
  const ::DateStamp date{};
  const ::TagItem tags[] = {{QUORLE_TAG_DONE, 0}};
  EXPECT_TRUE(refused(port.Lock(c, nullptr, "", SHARED_LOCK) == nullptr, c));
  EXPECT_TRUE(refused(port.DupLock(c, lock) == nullptr, c));
  EXPECT_TRUE(refused(port.CreateDir(c, lock, "x") == nullptr, c));
  EXPECT_TRUE(refused(port.ParentDir(c, lock) == nullptr, c));
  EXPECT_TRUE(refused(port.DupLockFromFH(c, open_file) == nullptr, c));
  EXPECT_TRUE(refused(port.ParentOfFH(c, open_file) == nullptr, c));
  EXPECT_TRUE(refused(!port.ChangeLockMode(c, lock, SHARED_LOCK), c));
  EXPECT_TRUE(refused(!port.SameLock(c, lock, nullptr), c));
  EXPECT_TRUE(refused(!port.Open(c, file, nullptr, "x", MODE_NEWFILE), c));
  EXPECT_TRUE(refused(!port.OpenFromLock(c, file, lock), c));
  EXPECT_TRUE(refused(port.Read(c, open_file, buffer, 8) == -1, c));
  EXPECT_TRUE(refused(port.Write(c, open_file, buffer, 8) == -1, c));
  EXPECT_TRUE(refused(!port.Flush(c), c));
  EXPECT_TRUE(refused(!port.ChangeFilePosition(c, open_file, OFFSET_BEGINNING, 0), c));
  EXPECT_TRUE(refused(!port.ChangeFileSize(c, open_file, OFFSET_BEGINNING, 0), c));
  EXPECT_TRUE(refused(port.GetFilePosition(c, open_file) == -1, c));
  EXPECT_TRUE(refused(port.GetFileSize(c, open_file) == -1, c));
  EXPECT_TRUE(refused(!port.ChangeFileMode(c, open_file, SHARED_LOCK), c));
  EXPECT_TRUE(refused(!port.SameFile(c, open_file, open_file), c));
  EXPECT_TRUE(refused(!port.LockRecord(c, open_file, 0, 1, 0, 0), c));
  EXPECT_TRUE(refused(!port.UnLockRecord(c, open_file, 0, 1), c));
  EXPECT_TRUE(refused(!port.Delete(c, nullptr, "x"), c));
  EXPECT_TRUE(refused(!port.SetDate(c, nullptr, "x", date), c));
  EXPECT_TRUE(refused(!port.SetProtection(c, nullptr, "x", 0), c));
  EXPECT_TRUE(refused(!port.SetComment(c, nullptr, "x", "y"), c));
  EXPECT_TRUE(refused(!port.SetGroup(c, nullptr, "x", 0), c));
  EXPECT_TRUE(refused(!port.SetOwner(c, nullptr, "x", 0), c));
  EXPECT_TRUE(refused(!port.Rename(c, nullptr, "x", nullptr, "y"), c));
  EXPECT_TRUE(refused(!port.CreateSoftLink(c, nullptr, "x", "y"), c));
  EXPECT_TRUE(refused(!port.CreateHardLink(c, nullptr, "x", lock), c));
  EXPECT_TRUE(refused(port.ReadSoftLink(c, nullptr, "x", buffer, 8) == -1, c));
  EXPECT_TRUE(refused(port.ExamineObj(c, nullptr, "x") == nullptr, c));
  EXPECT_TRUE(refused(port.ExamineLock(c, lock) == nullptr, c));
  EXPECT_TRUE(refused(port.ExamineFile(c, open_file) == nullptr, c));
  EXPECT_TRUE(refused(!port.ExamineDir(c, scan), c));
  EXPECT_TRUE(refused(!port.FileSystemAttr(c, tags), c));
  EXPECT_TRUE(refused(!port.VolumeInfoData(c, info), c));
  EXPECT_TRUE(refused(!port.DeviceInfoData(c, info), c));
  EXPECT_TRUE(refused(!port.Inhibit(c, true), c));
  EXPECT_TRUE(refused(!port.WriteProtect(c, true, 0), c));
  EXPECT_TRUE(refused(!port.Format(c, "x", 0), c));
  EXPECT_TRUE(refused(!port.Serialize(c), c));
  EXPECT_TRUE(refused(!port.Relabel(c, "x"), c));
  EXPECT_TRUE(refused(!port.AddNotify(c, nullptr), c));
  EXPECT_TRUE(refused(!port.RemoveNotify(c, nullptr), c));
  EXPECT_TRUE(refused(!port.Close(c, open_file), c));
  EXPECT_TRUE(refused(!port.UnLock(c, lock), c));
}

TEST_F(IsolatedProgramTest, EveryCallAfterItsEndIsRefused) {
  for (const PortType type : {PortType::kVector, PortType::kPacket}) {
    Mount({{"in", "FSRename"}, {"how", "exit"}}, type);
    ASSERT_NE(port_, nullptr) << problem_;
    MakeFile("file");
    ::Lock* const lock = Lock("");
    ::FileHandle file{};
    ASSERT_TRUE(port_->Open(code_, file, nullptr, "file", MODE_OLDFILE));
    EXPECT_FALSE(port_->Rename(code_, nullptr, "file", nullptr, "other"));
    ExpectEverythingRefused(*port_, lock, file);
    ::DosPacket packet{};
    packet.dp_Type = 4711;
    port_->Send(packet);
    EXPECT_EQ(packet.dp_Res1, 0);
    EXPECT_EQ(packet.dp_Res2, ERROR_DEVICE_NOT_MOUNTED);
    EXPECT_EQ(lines_.size(), 1U);
    EXPECT_TRUE(port_->Unmount().empty());
    lines_.clear();
  }
}

// ---- Replies -----------------------------------------------------------------------------------

TEST_F(IsolatedProgramTest, ALockThatWasNeverMadeEndsIt) {
  MountRogue("FSLock", "number");
  EXPECT_EQ(Lock(""), nullptr);
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(lines_[0], "handler process of DH0: gave a reply without shape in FSLock()");
}

TEST_F(IsolatedProgramTest, ATextWithoutAnEndIsNone) {
  MountRogue("FSExamineDir", "endless");
  MakeFile("file");
  ::PRIVATE_ExamineDirContext scan{};
  EXPECT_FALSE(port_->ExamineDir(code_, scan));
  EXPECT_EQ(code_, ERROR_BAD_NUMBER);
  EXPECT_EQ(scan.Entry, nullptr);
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(lines_[0], "handler of DH0: gave a text without an end in FSExamineDir()");
  MakeFile("other");
  EXPECT_TRUE(port_->Unmount().empty());
}

TEST_F(IsolatedProgramTest, ATextThatNoReplyHoldsEndsIt) {
  MountRogue("FSExamineLock", "large");
  EXPECT_EQ(port_->ExamineLock(code_, nullptr), nullptr);
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(lines_[0], "handler process of DH0: gave a reply without shape in FSExamineLock()");
}

TEST_F(IsolatedProgramTest, ARecordWithoutTextsIsOne) {
  MountRogue("FSExamineLock", "nameless");
  ::ExamineData* const data = port_->ExamineLock(code_, nullptr);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->Name, nullptr);
  EXPECT_EQ(data->Comment, nullptr);
  EXPECT_EQ(data->Link, nullptr);
  port_->FreeExamineData(data);
  EXPECT_TRUE(lines_.empty());
}

TEST_F(IsolatedProgramTest, ALockFromElsewhereIsNone) {
  for (const char* const how : {"foreign", "made-up", "stale"}) {
    MountRogue("FSLock", how);
    lines_.clear();
    watch_.BeginTest(1, how);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(Lock("", EXCLUSIVE_LOCK), nullptr);
      EXPECT_EQ(code_, ERROR_INVALID_LOCK);
    }
    EXPECT_EQ(lines_, std::vector<std::string>{
                          "handler of DH0: gave a lock that is not from AllocDosObject() in "
                          "FSLock(), test 1 (" +
                          std::string(how) + ")"});
    EXPECT_TRUE(port_->Unmount().empty());
  }
}

TEST_F(IsolatedProgramTest, ALockThatTheHandlerHasFreedIsNone) {
  MountRogue("FSRead", "early");
  MakeFile("file");
  ::Lock* const lock = Lock("file");
  ::FileHandle file{};
  ASSERT_TRUE(port_->Open(code_, file, nullptr, "file", MODE_OLDFILE));
  char byte = 0;
  EXPECT_EQ(port_->Read(code_, file, &byte, 1), 1);
  // The next one may lie where it was.
  ::Lock* const next = Lock("");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(port_->DupLock(code_, lock), nullptr);
    EXPECT_EQ(code_, ERROR_INVALID_LOCK);
  }
  EXPECT_EQ(lines_, std::vector<std::string>{
                        "handler of DH0: was to use a lock that it has freed in FSDupLock()"});
  EXPECT_NE(next, lock);
  EXPECT_TRUE(port_->UnLock(code_, next));
  EXPECT_FALSE(port_->UnLock(code_, lock));
  EXPECT_TRUE(port_->Close(code_, file));
}

TEST_F(IsolatedProgramTest, WrongReleasesAreReported) {
  MountRogue("FSUnLock", "keep");
  EXPECT_TRUE(port_->UnLock(code_, Lock("")));
  EXPECT_EQ(port_->Unmount(),
            std::vector<std::string>{"never freed: a lock (1), made in FSLock() (1)"});
  MountRogue("FSUnLock", "twice");
  EXPECT_TRUE(port_->UnLock(code_, Lock("")));
  EXPECT_EQ(port_->Unmount(), std::vector<std::string>{
                                  "freed twice or never allocated: a lock (1), in FSUnLock() (1)"});
}

// ---- Another process ---------------------------------------------------------------------------

TEST_F(IsolatedProgramTest, AnotherProcessIsMadeForTheNextTest) {
  MountRogue("FSRename", "exit", 1, true);
  ::Lock* const root = Lock("");
  ::Lock* const second = port_->DupLock(code_, root);
  MakeFile("file");
  ::Lock* const dead = Lock("file");
  ::FileHandle file{};
  ASSERT_TRUE(port_->Open(code_, file, nullptr, "file", MODE_OLDFILE));
  EXPECT_TRUE(port_->Relabel(code_, "Other"));

  watch_.BeginTest(34, "Rename()");
  EXPECT_FALSE(port_->Rename(code_, root, "file", root, "other"));
  EXPECT_EQ(Lock(""), nullptr) << "not before the next test";
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  watch_.EndTest();
  EXPECT_EQ(Lock(""), nullptr);
  EXPECT_TRUE(Children().empty());

  watch_.BeginTest(35, "Some()");
  // The locks on the root work, on an empty volume with its first name; nothing else does.
  EXPECT_EQ(NameOf(root), NameOf(second));
  EXPECT_NE(port_->volume_name(), "Other");
  EXPECT_EQ(port_->Lock(code_, root, "file", SHARED_LOCK), nullptr);
  EXPECT_EQ(code_, ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(port_->DupLock(code_, dead), nullptr);
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(port_->GetFileSize(code_, file), -1);
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_FALSE(port_->Close(code_, file));
  EXPECT_FALSE(port_->UnLock(code_, dead));
  MakeFile("new");
  EXPECT_TRUE(port_->UnLock(code_, root));
  EXPECT_TRUE(port_->UnLock(code_, second));
  watch_.EndTest();
  EXPECT_TRUE(port_->Unmount().empty());
  EXPECT_EQ(lines_,
            std::vector<std::string>{
                "handler process of DH0: exited with status 3 in FSRename(), test 34 (Rename); "
                "started again for the next test"});
}

TEST_F(IsolatedProgramTest, ARootLockByPacketsIsTakenAgainToo) {
  Mount({{"in", "FSRename"}, {"how", "exit"}}, PortType::kPacket, true);
  ASSERT_NE(port_, nullptr) << problem_;
  ::Lock* const root = Lock("");
  EXPECT_FALSE(port_->Rename(code_, root, "a", root, "b"));
  watch_.BeginTest(1, "Some()");
  ::Lock* const directory = port_->CreateDir(code_, root, "dir");
  EXPECT_NE(directory, nullptr) << code_;
  EXPECT_TRUE(port_->UnLock(code_, directory));
  EXPECT_TRUE(port_->UnLock(code_, root));
}

TEST_F(IsolatedProgramTest, WhatCannotBeStartedAgainStaysAway) {
  const std::string file =
      testing::TempDir() + "/isolated_program_test." + std::to_string(getpid());
  Mount({{"in", "FSRename"}, {"how", "exit"}, {"once", file}}, PortType::kVector, true);
  ASSERT_NE(port_, nullptr) << problem_;
  EXPECT_FALSE(port_->Rename(code_, nullptr, "a", nullptr, "b"));
  for (const int test : {2, 3}) {
    watch_.BeginTest(test, "Some()");
    EXPECT_EQ(Lock(""), nullptr);
    EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
    watch_.EndTest();
  }
  ASSERT_EQ(lines_.size(), 2U);
  EXPECT_EQ(lines_[1],
            "handler process of DH0: could not be started again: it was mounted once before");
  std::filesystem::remove(file);
}

// ---- Growth ------------------------------------------------------------------------------------

/// What a growth of nothing may look like: pages that were used for the first time.
constexpr long kNoGrowthKiB = 256;

#if defined(QUORLE_SANITIZE) || defined(__powerpc__)
constexpr bool kMeasuresMemory = false;  // the sanitizer and the emulator keep some of their own
#else
constexpr bool kMeasuresMemory = true;
#endif

TEST_F(IsolatedProgramTest, TenThousandCallsCostNoMemoryAndNoDescriptors) {
  MountRogue("", "");
  MakeFile("file");
  const auto calls = [this](int count) {
    for (int i = 0; i < count; i += 10) {
      ::Lock* const lock = Lock("file");
      ::ExamineData* const data = port_->ExamineLock(code_, lock);
      port_->FreeExamineData(data);
      ::FileHandle file{};
      ASSERT_TRUE(port_->Open(code_, file, nullptr, "file", MODE_OLDFILE));
      char buffer[16];
      EXPECT_EQ(port_->Read(code_, file, buffer, sizeof buffer), 7);
      EXPECT_TRUE(port_->Close(code_, file));
      EXPECT_TRUE(port_->UnLock(code_, lock));
      MakeFile("other");
      EXPECT_TRUE(port_->Delete(code_, nullptr, "other"));
      EXPECT_EQ(Lock("nothing"), nullptr);
    }
  };
  calls(1000);
  const std::string handler = std::to_string(Children().front());
  const long host_before = ResidentKiB("self");
  const long handler_before = ResidentKiB(handler);
  const auto descriptors = OpenDescriptors();
  calls(10'000);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  if (!kMeasuresMemory) return;
  EXPECT_LE(ResidentKiB("self") - host_before, kNoGrowthKiB);
  EXPECT_LE(ResidentKiB(handler) - handler_before, kNoGrowthKiB);
}

TEST_F(IsolatedProgramTest, AHundredRestartsCostNoMemoryAndNoDescriptors) {
  MountRogue("FSRename", "exit", 1, true);
  ::Lock* const root = Lock("");
  const auto restarts = [&](int count) {
    for (int i = 0; i < count; ++i) {
      watch_.BeginTest(i + 1, "Some()");
      ::Lock* const lock = port_->DupLock(code_, root);
      ASSERT_NE(lock, nullptr) << code_;
      EXPECT_TRUE(port_->UnLock(code_, lock));
      MakeFile("file");
      ::Lock* const dead = Lock("file");
      EXPECT_FALSE(port_->Rename(code_, nullptr, "file", nullptr, "other"));
      EXPECT_FALSE(port_->UnLock(code_, dead));
      watch_.EndTest();
    }
  };
  restarts(10);
  const long before = ResidentKiB("self");
  const auto descriptors = OpenDescriptors();
  restarts(100);
  EXPECT_EQ(lines_.size(), 110U);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_LE(Children().size(), 1U);
  if (kMeasuresMemory) {
    EXPECT_LE(ResidentKiB("self") - before, kNoGrowthKiB);
  }
}

}  // namespace
}  // namespace quorle::isolation
