#include "selftest/unit/hosted/isolation/isolated_program_test.h"

#include <sys/time.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include "handlers/ram/ram_handler.h"

namespace quorle::isolation {
namespace {

// ---- Calls -------------------------------------------------------------------------------------

TEST_F(IsolatedProgramTest, WhatTheHandlerReportsIsShown) {
  static const ::Handler kHandler = {sizeof(::Handler),
                                     QUORLE_HANDLER_VERSION,
                                     "reporting",
                                     [](const ::HandlerMount* mount) -> ::FileSystemVectorPort* {
                                       mount->Dos->Report(mount->Dos, "something to know");
                                       return nullptr;
                                     },
                                     [](::FileSystemVectorPort*) {},
                                     nullptr,
                                     nullptr};
  testing::internal::CaptureStderr();
  std::string problem;
  port_ = MountHandler(
      std::make_unique<IsolatedProgram>(std::make_unique<PlainProgram>(kHandler),
                                        IsolationSettings{}, watch_),
      {.device_name = "DH0", .report = [](const std::string& line) { std::cerr << "! " << line; }},
      clock_, problem);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "! something to know");
}

TEST_F(IsolatedProgramTest, MountsInAProcessOfItsOwn) {
  Mount({{"volume", "Work"}});
  ASSERT_NE(port_, nullptr) << problem_;
  EXPECT_EQ(Children().size(), 1U);
  EXPECT_EQ(port_->volume_name(), "Work");
  EXPECT_TRUE(port_->Unmount().empty());
  EXPECT_TRUE(Children().empty());
  EXPECT_TRUE(lines_.empty());
}

TEST_F(IsolatedProgramTest, CarriesLocks) {
  MountRogue("", "");
  ::Lock* const root = Lock("");
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->fl_Port, port_->port());
  ::Lock* const directory = port_->CreateDir(code_, root, "dir");
  ASSERT_NE(directory, nullptr);
  EXPECT_EQ(NameOf(directory), "dir");
  ::Lock* const parent = port_->ParentDir(code_, directory);
  EXPECT_TRUE(port_->SameLock(code_, parent, root));
  EXPECT_FALSE(port_->SameLock(code_, directory, root));
  EXPECT_TRUE(port_->SameLock(code_, nullptr, root));
  EXPECT_EQ(port_->ParentDir(code_, root), nullptr);
  EXPECT_EQ(code_, 0);
  EXPECT_EQ(Lock("nothing"), nullptr);
  EXPECT_EQ(code_, ERROR_OBJECT_NOT_FOUND);
  for (::Lock* const lock : {root, directory, parent}) EXPECT_TRUE(port_->UnLock(code_, lock));
  EXPECT_TRUE(port_->UnLock(code_, nullptr));
  EXPECT_TRUE(port_->Unmount().empty());
}

TEST_F(IsolatedProgramTest, CarriesTheModeOfALock) {
  MountRogue("", "");
  MakeFile("file");
  ::Lock* const lock = Lock("file", EXCLUSIVE_LOCK);
  ASSERT_NE(lock, nullptr);
  EXPECT_EQ(lock->fl_Access, EXCLUSIVE_LOCK);
  EXPECT_TRUE(port_->ChangeLockMode(code_, lock, SHARED_LOCK));
  EXPECT_EQ(lock->fl_Access, SHARED_LOCK);
  ::FileHandle file{};
  EXPECT_TRUE(port_->OpenFromLock(code_, file, lock));  // the lock is the file's now
  EXPECT_TRUE(port_->Close(code_, file));
  EXPECT_TRUE(port_->Unmount().empty());
}

TEST_F(IsolatedProgramTest, CarriesWhatIsReadAndWritten) {
  MountRogue("", "");
  MakeFile("file", "0123456789");
  ::FileHandle file{};
  ASSERT_TRUE(port_->Open(code_, file, nullptr, "file", MODE_READWRITE));
  EXPECT_EQ(file.fh_MsgPort, port_->port());
  char buffer[8] = "-------";
  EXPECT_EQ(port_->Read(code_, file, buffer, 4), 4);
  EXPECT_STREQ(buffer, "0123---");
  EXPECT_EQ(port_->GetFilePosition(code_, file), 4);
  EXPECT_TRUE(port_->ChangeFilePosition(code_, file, OFFSET_END, -1));
  EXPECT_EQ(port_->Read(code_, file, buffer, 4), 1);
  EXPECT_STREQ(buffer, "9123---");
  EXPECT_EQ(port_->Read(code_, file, buffer, 4), 0);
  EXPECT_FALSE(port_->ChangeFilePosition(code_, file, OFFSET_BEGINNING, -1));
  EXPECT_EQ(code_, ERROR_SEEK_ERROR);
  EXPECT_EQ(port_->GetFileSize(code_, file), 10);
  EXPECT_TRUE(port_->Close(code_, file));
}

TEST_F(IsolatedProgramTest, CarriesMoreThanItsMemoryHolds) {
  MountRogue("", "");
  std::string content(SharedBlock::kDataBytes * 2 + 12345, '\0');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i / 4096);
  MakeFile("large", content);
  ::FileHandle file{};
  ASSERT_TRUE(port_->Open(code_, file, nullptr, "large", MODE_OLDFILE));
  const auto size = static_cast<std::int32_t>(content.size());
  std::string back(content.size() + 100, 'x');
  EXPECT_EQ(port_->Read(code_, file, back.data(), size + 100), size);
  EXPECT_EQ(back.substr(0, content.size()), content);
  EXPECT_TRUE(port_->Close(code_, file));
}

TEST_F(IsolatedProgramTest, CarriesRecords) {
  MountRogue("", "");
  MakeFile("file");
  const ::DateStamp date{12345, 678, 90};
  EXPECT_TRUE(port_->SetDate(code_, nullptr, "file", date));
  EXPECT_TRUE(port_->SetComment(code_, nullptr, "file", "a comment"));
  EXPECT_TRUE(port_->SetProtection(code_, nullptr, "file", 0xFEDCBA98));
  EXPECT_TRUE(port_->SetOwner(code_, nullptr, "file", 0xFFFFFFFF));
  EXPECT_TRUE(port_->SetGroup(code_, nullptr, "file", 7));
  ::ExamineData* const data = port_->ExamineObj(code_, nullptr, "file");
  ASSERT_NE(data, nullptr);
  EXPECT_STREQ(data->Name, "file");
  EXPECT_STREQ(data->Comment, "a comment");
  EXPECT_STREQ(data->Link, "");
  EXPECT_EQ(data->Type, static_cast<std::uint32_t>(FSO_TYPE_FILE));
  EXPECT_EQ(data->FileSize, 7);
  EXPECT_EQ(data->Date.ds_Days, 12345);
  EXPECT_EQ(data->Date.ds_Minute, 678);
  EXPECT_EQ(data->Date.ds_Tick, 90);
  EXPECT_EQ(data->RefCount, 1U);
  EXPECT_NE(data->ObjectID, 0U);
  EXPECT_EQ(data->Protection, 0xFEDCBA98);
  EXPECT_EQ(data->OwnerUID, 0xFFFFFFFF);
  EXPECT_EQ(data->OwnerGID, 7U);
  port_->FreeExamineData(data);
  EXPECT_EQ(port_->ExamineObj(code_, nullptr, "nothing"), nullptr);
  EXPECT_EQ(code_, ERROR_OBJECT_NOT_FOUND);
  EXPECT_TRUE(port_->Unmount().empty());
}

TEST_F(IsolatedProgramTest, CarriesScans) {
  MountRogue("", "");
  for (const char* const name : {"a", "b", "c"}) MakeFile(name);
  ::PRIVATE_ExamineDirContext scan{};
  scan.Directory = Lock("");
  std::string names;
  while (port_->ExamineDir(code_, scan)) {
    names += scan.Entry->Name;
    port_->FreeExamineData(std::exchange(scan.Entry, nullptr));
  }
  EXPECT_EQ(code_, ERROR_NO_MORE_ENTRIES);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, "abc");
  EXPECT_TRUE(port_->UnLock(code_, scan.Directory));
}

TEST_F(IsolatedProgramTest, CarriesLinks) {
  MountRogue("", "");
  MakeFile("file");
  EXPECT_TRUE(port_->CreateSoftLink(code_, nullptr, "soft", "some/where"));
  char buffer[16] = "--------------";
  EXPECT_EQ(port_->ReadSoftLink(code_, nullptr, "soft", buffer, sizeof buffer), 10);
  EXPECT_STREQ(buffer, "some/where");
  EXPECT_EQ(port_->ReadSoftLink(code_, nullptr, "soft", buffer, 10), -2);
  EXPECT_EQ(port_->ReadSoftLink(code_, nullptr, "file", buffer, 10), -1);
  ::Lock* const target = Lock("file");
  EXPECT_TRUE(port_->CreateHardLink(code_, nullptr, "hard", target));
  EXPECT_TRUE(port_->UnLock(code_, target));
  EXPECT_TRUE(port_->Rename(code_, nullptr, "hard", nullptr, "renamed"));
}

TEST_F(IsolatedProgramTest, ALockOfAnotherVolumeStaysOne) {
  MountRogue("", "");
  MakeFile("file");
  ::MsgPort elsewhere{QUORLE_NT_FILESYSTEM};
  ::Lock foreign{SHARED_LOCK, &elsewhere, nullptr, nullptr};
  EXPECT_FALSE(port_->CreateHardLink(code_, nullptr, "link", &foreign));
  EXPECT_EQ(code_, ERROR_INVALID_LOCK);
}

TEST_F(IsolatedProgramTest, CarriesTheFactsOfTheVolume) {
  Mount({{"dostype", "0x51545301"}, {"version", "rogue 1.2"}});
  ASSERT_NE(port_, nullptr) << problem_;
  ::InfoData info{};
  EXPECT_TRUE(port_->VolumeInfoData(code_, info));
  EXPECT_EQ(info.id_DiskType, 0x51545301);
  EXPECT_TRUE(port_->DeviceInfoData(code_, info));
  EXPECT_EQ(info.id_DiskState, ID_DISKSTATE_VALIDATED);
  std::uint32_t dos_type = 0;
  char version[10] = "?????????";
  const auto address = [](auto* object) { return reinterpret_cast<std::uintptr_t>(object); };
  ::TagItem tags[] = {{QUORLE_FSA_VersionStringR_BufSize, sizeof version},
                      {QUORLE_FSA_DOSTypeR, address(&dos_type)},
                      {QUORLE_TAG_IGNORE, 12345},
                      {QUORLE_FSA_VersionStringR, address(version)},
                      {QUORLE_TAG_DONE, 0}};
  EXPECT_TRUE(port_->FileSystemAttr(code_, tags));
  EXPECT_EQ(dos_type, 0x51545301U);
  EXPECT_STREQ(version, "rogue 1.2");
  tags[0].ti_Data = 9;
  EXPECT_FALSE(port_->FileSystemAttr(code_, tags));
  EXPECT_EQ(code_, ERROR_LINE_TOO_LONG);
}

TEST_F(IsolatedProgramTest, TheHostSaysWhichNamesAreFree) {
  Mount({{"volume", "Taken"}});
  EXPECT_EQ(port_, nullptr);
  EXPECT_NE(problem_.find("Taken"), std::string::npos) << problem_;
  Mount({{"volume", "Work"}});
  ASSERT_NE(port_, nullptr) << problem_;
  EXPECT_FALSE(port_->Relabel(code_, "Taken"));
  EXPECT_EQ(code_, ERROR_OBJECT_EXISTS);
  EXPECT_EQ(port_->volume_name(), "Work");
  EXPECT_TRUE(port_->Relabel(code_, "Free"));
  EXPECT_EQ(port_->volume_name(), "Free");
}

TEST_F(IsolatedProgramTest, AVolumeMayLoseItsName) {
  Mount({{"volume", ""}});
  ASSERT_NE(port_, nullptr) << problem_;
  EXPECT_EQ(port_->volume_name(), std::nullopt);
  EXPECT_TRUE(port_->Relabel(code_, "Named"));
  EXPECT_EQ(port_->volume_name(), "Named");
  // To the name of its device: it has none of its own any more.
  EXPECT_TRUE(port_->Relabel(code_, "DH0"));
  EXPECT_EQ(port_->volume_name(), std::nullopt);
}

TEST_F(IsolatedProgramTest, ATextThatNoMessageHoldsIsRefused) {
  MountRogue("", "");
  MakeFile("file");
  const std::string text(SharedBlock::kMessageBytes, 'x');
  EXPECT_FALSE(port_->SetComment(code_, nullptr, "file", text.c_str()));
  EXPECT_EQ(code_, ERROR_LINE_TOO_LONG);
  EXPECT_FALSE(port_->SetComment(code_, nullptr, "file", text.substr(1000).c_str()));
  EXPECT_EQ(code_, ERROR_COMMENT_TOO_BIG);
  EXPECT_TRUE(port_->SetComment(code_, nullptr, "file", "short"));
}

TEST_F(IsolatedProgramTest, TheClockIsTheHostsAsItWas) {
  clock_.now = {4321, 1, 2};
  MountRogue("", "");
  MakeFile("file");
  ::ExamineData* const data = port_->ExamineObj(code_, nullptr, "file");
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->Date.ds_Days, 4321);
  port_->FreeExamineData(data);
}

// ---- The process -------------------------------------------------------------------------------

TEST_F(IsolatedProgramTest, HasNoDescriptorsOfTheHost) {
  const int pipe_end = dup(STDERR_FILENO);
  Mount({{"in", "FSGetFileSize"}, {"how", "child"}});
  ASSERT_NE(port_, nullptr) << problem_;
  MakeFile("file");
  ::FileHandle file{};
  ASSERT_TRUE(port_->Open(code_, file, nullptr, "file", MODE_OLDFILE));
  // Input, output and errors; the fourth is /dev/null as it was opened, when that did not take the
  // place of one of them.
  EXPECT_EQ(port_->GetFileSize(code_, file), 3);
  EXPECT_TRUE(port_->Close(code_, file));
  close(pipe_end);
}

TEST_F(IsolatedProgramTest, SharesNothingWithOtherHandlers) {
#ifdef __powerpc__
  GTEST_SKIP() << "the emulator keeps from the system what processes are not to share";
#endif
  MountRogue("", "");
  const std::unique_ptr<HandlerPort> first = std::move(port_);
  // It writes over everything of that size that it shares with anybody, which is its own block.
  MountRogue("FSLock", "zeroes");
  EXPECT_EQ(Lock(""), nullptr);
  EXPECT_EQ(lines_.size(), 1U);
  EXPECT_EQ(Children().size(), 1U);
  ::Lock* const root = first->Lock(code_, nullptr, "", SHARED_LOCK);
  EXPECT_NE(root, nullptr);
  EXPECT_TRUE(first->UnLock(code_, root));
  EXPECT_TRUE(first->Unmount().empty());
}

TEST_F(IsolatedProgramTest, IsNotEndedFromTheKeyboard) {
  MountRogue("", "");
  ASSERT_EQ(Children().size(), 1U);
  kill(Children().front(), SIGINT);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ::Lock* const root = Lock("");
  EXPECT_NE(root, nullptr);
  EXPECT_TRUE(port_->UnLock(code_, root));
}

TEST_F(IsolatedProgramTest, ASignalDoesNotDisturbAWait) {
  MountRogue("", "");
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, &before);
  itimerval often{{0, 500}, {0, 500}};
  setitimer(ITIMER_REAL, &often, nullptr);
  for (int i = 0; i < 2000; ++i) {
    ::Lock* const root = Lock("");
    EXPECT_NE(root, nullptr);
    port_->UnLock(code_, root);
  }
  often = {};
  setitimer(ITIMER_REAL, &often, nullptr);
  sigaction(SIGALRM, &before, nullptr);
}

TEST_F(IsolatedProgramTest, DoesNotOutliveItsHost) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t host = fork();
  if (host == 0) {
    MountRogue("", "");
    const pid_t handler = Children().front();
    static_cast<void>(!write(ends[1], &handler, sizeof handler));
    _exit(0);  // without a word to the handler
  }
  pid_t handler = 0;
  ASSERT_EQ(read(ends[0], &handler, sizeof handler), static_cast<ssize_t>(sizeof handler));
  waitpid(host, nullptr, 0);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  bool gone = false;
  while (!gone && std::chrono::steady_clock::now() < end) {
    // An orphan that nobody has waited for is gone as well.
    std::ifstream status("/proc/" + std::to_string(handler) + "/stat");
    std::string text((std::istreambuf_iterator<char>(status)), {});
    gone = text.empty() || text.find(") Z ") != std::string::npos;
  }
  EXPECT_TRUE(gone);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace quorle::isolation
