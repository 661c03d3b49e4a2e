#include "hosted/isolation/isolated_program.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "handlers/ram/ram_handler.h"
#include "hosted/calls/mount.h"
#include "platform/constants.h"
#include "selftest/plugins/rogue_handler.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle::isolation {
namespace {

/// The processes that this one has made and not yet seen end.
std::vector<pid_t> Children() {
  std::vector<pid_t> children;
  std::ifstream file("/proc/self/task/" + std::to_string(getpid()) + "/children");
  for (pid_t child = 0; file >> child;) children.push_back(child);
  return children;
}

std::ptrdiff_t OpenDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

/// Memory of a process that is in use and its own, in KiB.
long ResidentKiB(const std::string& process) {
  std::ifstream file("/proc/" + process + "/statm");
  long total = 0;
  long resident = 0;
  file >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/// The rogue handler in a process of its own, behind a port.
class IsolatedProgramTest : public testing::Test {
 protected:
  ~IsolatedProgramTest() override {
    port_.reset();
    EXPECT_TRUE(Children().empty()) << "a process is left";
  }

  void Mount(const MountKeys& keys, PortType type = PortType::kVector, bool restart = false) {
    auto program = std::make_unique<IsolatedProgram>(
        std::make_unique<PlainProgram>(*QuorleRogueHandler()),
        IsolationSettings{.limit = std::chrono::seconds(1), .restart = restart}, watch_);
    std::string problem;
    port_ = MountHandler(
        std::move(program),
        {.device_name = "DH0",
         .type = type,
         .keys = keys,
         .may_be_named = [](const ::MsgPort&, const std::string& name) { return name != "Taken"; }},
        clock_, problem);
    problem_ = problem;
  }
  /// A mount whose function `in` misbehaves as `how` says from its call `at` on.
  void MountRogue(const char* in, const char* how, int at = 1, bool restart = false) {
    Mount({{"in", in}, {"how", how}, {"at", std::to_string(at)}}, PortType::kVector, restart);
    ASSERT_NE(port_, nullptr) << problem_;
  }

  ::Lock* Lock(const char* name, std::int32_t mode = SHARED_LOCK) {
    return port_->Lock(code_, nullptr, name, mode);
  }
  void MakeFile(const char* name, const std::string& content = "content") {
    ::FileHandle file{};
    ASSERT_TRUE(port_->Open(code_, file, nullptr, name, MODE_NEWFILE)) << code_;
    const auto length = static_cast<std::int32_t>(content.size());
    EXPECT_EQ(port_->Write(code_, file, content.data(), length), length) << code_;
    EXPECT_TRUE(port_->Close(code_, file));
  }
  std::string NameOf(::Lock* lock) {
    ::ExamineData* const data = port_->ExamineLock(code_, lock);
    if (data == nullptr) return "#" + std::to_string(code_);
    std::string name = data->Name;
    port_->FreeExamineData(data);
    return name;
  }

  std::vector<std::string> lines_;
  RunWatch watch_{[this](const std::string& line) {
    // Where in the handler that was stands in lines of its own.
    if (!line.starts_with("  #")) lines_.push_back(line);
  }};
  FixedClock clock_;
  std::unique_ptr<HandlerPort> port_;
  std::string problem_;
  std::int32_t code_ = 0;
};

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

// ---- Its end -----------------------------------------------------------------------------------

struct Way {
  const char* how;
  const char* told;
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
              std::string("handler process of DH0: ") + GetParam().told + " in " + function);
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
            std::string("the handler process ") + GetParam().told + " in Mount()");
  EXPECT_TRUE(lines_.empty());
}

TEST_P(WayToEndTest, WhenItIsUnmounted) {
  MountRogue("Unmount", GetParam().how);
  EXPECT_TRUE(port_->Unmount().empty());
  ASSERT_EQ(lines_.size(), 1U);
  // As an answer to this call nothing is not too short; but then there is no end.
  const bool is_short = std::string_view(GetParam().how) == "short";
  const char* const told = is_short ? "did not end within 1 second" : GetParam().told;
  EXPECT_EQ(lines_[0], std::string("handler process of DH0: ") + told + " in Unmount()");
}

TEST_P(WayToEndTest, InATest) {
  MountRogue("FSRename", GetParam().how);
  watch_.BeginTest(34, "Rename()");
  EXPECT_FALSE(port_->Rename(code_, nullptr, "a", nullptr, "b"));
  watch_.EndTest();
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(lines_[0], std::string("handler process of DH0: ") + GetParam().told +
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

TEST_F(IsolatedProgramTest, WrongReleasesAreToldAsEver) {
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
                "started anew for the next test"});
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

TEST_F(IsolatedProgramTest, WhatCannotBeStartedAnewStaysAway) {
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
            "handler process of DH0: could not be started anew: it was mounted once before");
  std::filesystem::remove(file);
}

// ---- Growth ------------------------------------------------------------------------------------

/// What a growth of nothing may look like: pages that were used for the first time.
constexpr long kNoGrowthKiB = 256;

#if defined(__SANITIZE_ADDRESS__) || defined(__powerpc__)
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
