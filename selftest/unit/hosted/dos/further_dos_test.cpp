#include "platform/further_dos.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "handlers/hostdir/hostdir_handler.h"
#include "hosted/dos/object_path.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "selftest/support/temporary_directory.h"
#include "selftest/unit/hosted/machine_fixture.h"

namespace quorle {
namespace {

/// Collects the lines of a trace.
class TraceLines final : public TraceSink {
 public:
  bool Take(const TraceEvent& event) override {
    std::string line;
    AppendJson(event, line);
    lines.push_back(line.substr(0, line.size() - 1));
    return true;
  }
  std::vector<std::string> lines;
};

/// DH0:, a volume in memory that notifies by itself, and HOST:, a directory that does not.
class FurtherDosTest : public MachineTest {
 protected:
  FurtherDosTest() {
    MachineOptions options;
    options.handlers = {{"ram", QuorleRamHandler()}, {"dir", QuorleHostdirHandler()}};
    MountSpec host = Spec("HOST", "dir", {{"volume", "Directory"}});
    host.argument = directory_.path().string();
    options.mounts = {Spec("DH0", "ram", {{"volume", "Work"}}), host};
    std::string problem;
    machine_ = Machine::Build(options, Parts(), problem);
    EXPECT_NE(machine_, nullptr) << problem;
    dos().SetCurrentDir(MustLock("DH0:"));
  }

  FurtherDosInterface& further() { return machine_->further(); }

  std::vector<std::string> Scan(DirContextHandle context) {
    std::vector<std::string> names;
    while (const ExamineData* const entry = further().ExamineDir(context)) {
      names.emplace_back(entry->Name);
    }
    EXPECT_EQ(dos().IoErr(), ERROR_NO_MORE_ENTRIES);
    std::sort(names.begin(), names.end());
    return names;
  }

  /// How many messages wait; they are replied to.
  int Messages(NotifyHandle request) {
    int count = 0;
    while (const MessageHandle message = further().GetNotifyMsg(request)) {
      further().ReplyNotifyMsg(message);
      ++count;
    }
    return count;
  }

  void WriteTo(const char* name) {
    const FileHandle file = dos().Open(name, MODE_OLDFILE);
    EXPECT_EQ(dos().Write(file, "text", 4), 4);
    EXPECT_TRUE(dos().Close(file));
  }

  selftest::TemporaryDirectory directory_;
};

// ---- Scans ---------------------------------------------------------------------------------------

TEST_F(FurtherDosTest, AScanGivesEachEntryOnce) {
  for (const char* const root : {"DH0:", "HOST:"}) {
    for (const char* const name : {"a", "b", "c"}) MakeFile((std::string(root) + name).c_str());
    const DirContextHandle by_name = further().ObtainDirContext(EX_StringNameInput, root);
    ASSERT_TRUE(by_name);
    const LockHandle lock = MustLock(root);
    const DirContextHandle by_lock = further().ObtainDirContext(EX_LockInput, lock);
    dos().UnLock(lock);  // which is the caller's alone
    EXPECT_EQ(Scan(by_name), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(Scan(by_lock), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(Code(further().ExamineDir(by_lock)), ERROR_NO_MORE_ENTRIES);
    further().ReleaseDirContext(by_name);
    further().ReleaseDirContext(by_lock);
    EXPECT_EQ(Code(further().ExamineDir(by_lock)), ERROR_INVALID_LOCK);
  }
  EXPECT_EQ(dos().CountOpen().examine_records, 0U);
  EXPECT_TRUE(machine_->ShutDown().empty());
}

TEST_F(FurtherDosTest, WhatIsNoDirectoryIsNotScanned) {
  MakeFile("DH0:file");
  const DirContextHandle context = further().ObtainDirContext(EX_StringNameInput, "DH0:file");
  ASSERT_TRUE(context);
  EXPECT_EQ(Code(further().ExamineDir(context)), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Code(further().ExamineDir({})), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(further().ObtainDirContext(EX_LockInput, LockHandle{})),
            ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(further().ObtainDirContext(EX_StringNameInput, LockHandle{})),
            ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(further().ObtainDirContext(EX_LockInput, "DH0:")), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(further().ObtainDirContext(EX_StringNameInput, "DH0:none")),
            ERROR_OBJECT_NOT_FOUND);
  further().ReleaseDirContext({});
  // The scan is still there: the machine gives it back.
  EXPECT_TRUE(machine_->ShutDown().empty());
}

// ---- Files ---------------------------------------------------------------------------------------

TEST_F(FurtherDosTest, HandlesAreCompared) {
  MakeFile("DH0:a");
  MakeFile("DH0:b");
  MakeFile("HOST:a");
  const FileHandle a = dos().Open("DH0:a", MODE_OLDFILE);
  const FileHandle again = dos().Open("DH0:A", MODE_OLDFILE);
  const FileHandle b = dos().Open("DH0:b", MODE_OLDFILE);
  const FileHandle other = dos().Open("HOST:a", MODE_OLDFILE);
  EXPECT_EQ(further().SameFile(a, again), LOCK_SAME);
  EXPECT_EQ(further().SameFile(a, b), LOCK_SAME_VOLUME);
  EXPECT_EQ(further().SameFile(a, other), LOCK_DIFFERENT);
  EXPECT_EQ(further().SameFile(a, {}), LOCK_DIFFERENT);
  dos().Close(again);
  EXPECT_EQ(further().SameFile(a, again), LOCK_DIFFERENT);
}

TEST_F(FurtherDosTest, RecordsAreThoseOfAnOpenFile) {
  MakeFile("DH0:file");
  const FileHandle file = dos().Open("DH0:file", MODE_OLDFILE);
  EXPECT_TRUE(further().LockRecord(file, 10, 10, REC_EXCLUSIVE, 0));
  EXPECT_TRUE(further().UnLockRecord(file, 10, 10));
  dos().Close(file);
  EXPECT_EQ(Code(further().LockRecord(file, 0, 1, REC_EXCLUSIVE, 0)), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(further().UnLockRecord(file, 0, 1)), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(further().LockRecord({}, 0, 1, REC_EXCLUSIVE, 0)), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(further().UnLockRecord({}, 0, 1)), ERROR_REQUIRED_ARG_MISSING);
}

// ---- Notification --------------------------------------------------------------------------------

TEST_F(FurtherDosTest, AChangeIsNotifiedOnceByTheHandlerOrByDos) {
  for (const bool by_dos : {false, true}) {
    const std::string root = by_dos ? "HOST:" : "DH0:";
    MakeDirectory((root + "dir").c_str());
    const std::string file = root + "dir/file";
    const std::string moved = root + "dir/moved";
    const NotifyHandle request = further().StartNotify(file.c_str(), NRF_SEND_MESSAGE);
    ASSERT_TRUE(request);
    EXPECT_EQ(further().WasEmulated(), by_dos);
    EXPECT_EQ(Messages(request), 0) << root;
    MakeFile(file.c_str());
    EXPECT_EQ(Messages(request), 1) << root << " made and closed";
    WriteTo(file.c_str());
    EXPECT_EQ(Messages(request), 1) << root << " written";
    EXPECT_TRUE(dos().SetProtection(file.c_str(), EXDF_NO_EXECUTE));
    EXPECT_EQ(Messages(request), 1) << root << " an attribute";
    EXPECT_TRUE(dos().Rename(file.c_str(), moved.c_str()));
    EXPECT_EQ(Messages(request), 1) << root << " renamed";
    WriteTo(moved.c_str());
    EXPECT_EQ(Messages(request), 0) << root << " another name";
    EXPECT_TRUE(dos().Rename(moved.c_str(), file.c_str()));
    EXPECT_EQ(Messages(request), 1) << root << " renamed back";
    EXPECT_TRUE(dos().Delete(file.c_str()));
    EXPECT_EQ(Messages(request), 1) << root << " deleted";
    dos().UnLock(MustLock((root + "dir").c_str()));
    EXPECT_EQ(Messages(request), 0) << root << " looked at";
    further().EndNotify(request);
    MakeFile(file.c_str());
    EXPECT_EQ(Messages(request), 0) << root << " ended";
  }
  EXPECT_TRUE(machine_->ShutDown().empty());
}

// One change is one message for each request, whoever watches, the handler or dos.
TEST_F(FurtherDosTest, DosNotifiesOfWhatAHandlerNotifiesOf) {
  using Root = const std::string&;
  struct Step {
    const char* what;
    std::function<bool(Root root)> make;
    std::array<int, 3> messages;  ///< for the file, its directory, and the root
  };
  const auto use = [this](const std::string& name, std::int32_t mode, const std::string& text) {
    const FileHandle file = dos().Open(name.c_str(), mode);
    const auto size = static_cast<std::int32_t>(text.size());
    return dos().Write(file, text.data(), size) == size && dos().Close(file);
  };
  const auto open = [this](const std::string& name, std::int32_t mode) {
    return dos().Close(dos().Open(name.c_str(), mode));
  };
  const auto resize = [this](const std::string& name, std::int64_t size) {
    const FileHandle file = dos().Open(name.c_str(), MODE_OLDFILE);
    return dos().ChangeFileSize(file, size, OFFSET_BEGINNING) && dos().Close(file);
  };
  const auto rename = [this](const std::string& from, const std::string& to) {
    return dos().Rename(from.c_str(), to.c_str());
  };
  const auto remove = [this](const std::string& name) { return dos().Delete(name.c_str()); };
  const std::vector<Step> steps = {
      {"made, written and closed",
       [&](Root root) { return use(root + "dir/file", MODE_NEWFILE, "text"); },
       {2, 2, 0}},
      {"opened and closed",
       [&](Root root) { return open(root + "dir/file", MODE_OLDFILE); },
       {0, 0, 0}},
      {"opened to be updated",
       [&](Root root) { return open(root + "dir/file", MODE_READWRITE); },
       {0, 0, 0}},
      {"nothing is written",
       [&](Root root) { return use(root + "dir/file", MODE_OLDFILE, ""); },
       {1, 1, 0}},
      {"made shorter", [&](Root root) { return resize(root + "dir/file", 2); }, {1, 1, 0}},
      {"emptied", [&](Root root) { return open(root + "dir/file", MODE_NEWFILE); }, {1, 1, 0}},
      {"emptied and written",
       [&](Root root) { return use(root + "dir/file", MODE_NEWFILE, "text"); },
       {1, 1, 0}},
      {"an attribute",
       [&](Root root) { return dos().SetComment((root + "dir/file").c_str(), "comment"); },
       {1, 0, 0}},
      {"renamed", [&](Root root) { return rename(root + "dir/file", root + "dir/b"); }, {1, 1, 0}},
      {"another one in the directory is renamed",
       [&](Root root) { return rename(root + "dir/b", root + "dir/c"); },
       {0, 1, 0}},
      {"renamed to what it is called",
       [&](Root root) { return rename(root + "dir/c", root + "dir/c"); },
       {0, 1, 0}},
      {"moved", [&](Root root) { return rename(root + "dir/c", root + "b"); }, {0, 1, 1}},
      {"moved to the watched name",
       [&](Root root) { return rename(root + "b", root + "dir/file"); },
       {1, 1, 1}},
      {"the directory is not empty", [&](Root root) { return !remove(root + "dir"); }, {0, 0, 0}},
      {"deleted", [&](Root root) { return remove(root + "dir/file"); }, {1, 1, 0}},
      {"made by an update",
       [&](Root root) { return open(root + "dir/file", MODE_READWRITE); },
       {1, 1, 0}},
      {"deleted again", [&](Root root) { return remove(root + "dir/file"); }, {1, 1, 0}},
      {"made and not written",
       [&](Root root) { return open(root + "dir/file", MODE_NEWFILE); },
       {1, 1, 0}},
      {"deleted a third time", [&](Root root) { return remove(root + "dir/file"); }, {1, 1, 0}},
      {"a soft link",
       [&](Root root) { return dos().MakeLink((root + "dir/file").c_str(), "b", LINK_SOFT); },
       {1, 1, 0}},
      {"a directory beside it",
       [&](Root root) {
         MakeDirectory((root + "dir/b").c_str());
         return true;
       },
       {0, 1, 0}},
      {"an attribute of the directory",
       [&](Root root) { return dos().SetProtection((root + "dir").c_str(), 0); },
       {0, 1, 0}},
      {"the volume is named",
       [&](Root root) { return dos().Relabel(root.c_str(), root == "DH0:" ? "One" : "Two"); },
       {0, 0, 1}},
      {"the directory is renamed",
       [&](Root root) { return rename(root + "dir", root + "d"); },
       {0, 1, 1}},
  };
  for (const std::string root : {"DH0:", "HOST:"}) {
    MakeDirectory((root + "dir").c_str());
    const std::array<NotifyHandle, 3> requests = {
        further().StartNotify((root + "dir/file").c_str(), NRF_SEND_MESSAGE),
        further().StartNotify((root + "dir").c_str(), NRF_SEND_MESSAGE),
        further().StartNotify(root.c_str(), NRF_SEND_MESSAGE)};
    EXPECT_EQ(further().WasEmulated(), root == "HOST:");
    for (const Step& step : steps) {
      EXPECT_TRUE(step.make(root)) << root << " " << step.what << ": " << dos().IoErr();
      const std::array<int, 3> messages = {Messages(requests[0]), Messages(requests[1]),
                                           Messages(requests[2])};
      EXPECT_EQ(messages, step.messages) << root << " " << step.what;
    }
  }
}

TEST_F(FurtherDosTest, AMessageIsHeldBackUntilTheLastWasRepliedTo) {
  for (const std::string file : {"DH0:file", "HOST:file"}) {
    MakeFile(file.c_str());
    const NotifyHandle waits =
        further().StartNotify(file.c_str(), NRF_SEND_MESSAGE | NRF_WAIT_REPLY);
    const NotifyHandle signals = further().StartNotify(file.c_str(), NRF_SEND_SIGNAL);
    const NotifyHandle initial =
        further().StartNotify(file.c_str(), NRF_SEND_MESSAGE | NRF_NOTIFY_INITIAL);
    EXPECT_EQ(Messages(initial), 1) << file;
    for (int i = 0; i < 3; ++i) WriteTo(file.c_str());
    const MessageHandle first = further().GetNotifyMsg(waits);
    EXPECT_TRUE(first);
    EXPECT_FALSE(further().GetNotifyMsg(waits)) << "held back";
    further().ReplyNotifyMsg(first);
    further().ReplyNotifyMsg(first);  // a second time: nothing happens
    EXPECT_EQ(Messages(waits), 1) << file;
    EXPECT_EQ(Messages(initial), 3) << file;
    EXPECT_TRUE(further().CheckNotifySignal(signals));
    EXPECT_FALSE(further().CheckNotifySignal(signals));
    EXPECT_FALSE(further().GetNotifyMsg(signals));
    WriteTo(file.c_str());
    const MessageHandle taken = further().GetNotifyMsg(waits);
    for (const NotifyHandle request : {waits, signals, initial}) further().EndNotify(request);
    further().ReplyNotifyMsg(taken);
    EXPECT_FALSE(further().CheckNotifySignal(signals));
  }
  further().EndNotify({});
  EXPECT_EQ(Code(further().StartNotify(nullptr, 0)), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(further().StartNotify("DH9:x", 0)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(further().StartNotify("DH0:none/x", 0)), ERROR_OBJECT_NOT_FOUND);
  const NotifyHandle absent =
      further().StartNotify("DH0:absent", NRF_SEND_MESSAGE | NRF_NOTIFY_INITIAL);
  EXPECT_EQ(Messages(absent), 0);
  EXPECT_TRUE(machine_->ShutDown().empty());
}

// ---- Volumes -------------------------------------------------------------------------------------

TEST_F(FurtherDosTest, VolumesAnswerForThemselves) {
  EXPECT_TRUE(further().Flush("DH0:"));
  InfoData info{};
  EXPECT_TRUE(further().VolumeInfoData("HOST:", info));
  EXPECT_EQ(info.id_DiskState, ID_DISKSTATE_VALIDATED);
  std::uint32_t length = 0;
  EXPECT_TRUE(further().FileSystemAttr("DH0:", FSA_MaxFileNameLengthR, length));
  EXPECT_GE(length, 30U);
  EXPECT_EQ(Code(further().FileSystemAttr("DH0:", 0x80002399, length)), ERROR_NOT_IMPLEMENTED);
  // A device's name, not a volume's, and with its colon.
  EXPECT_EQ(Code(further().Flush("Work:")), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(further().Flush("DH0")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(further().Inhibit("Work:", true)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(further().Serialize("HOST:")), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(further().Format("DH0:", nullptr, 0)), ERROR_REQUIRED_ARG_MISSING);
}

TEST_F(FurtherDosTest, AnInhibitedVolumeIsFormatted) {
  MakeFile("DH0:file");
  dos().UnLock(dos().SetCurrentDir({}));
  EXPECT_EQ(Code(further().Format("DH0:", "New", 0x444F5303)), ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(further().Inhibit("DH0:", true));
  EXPECT_TRUE(further().Inhibit("DH0:", true));
  EXPECT_EQ(Code(dos().Lock("DH0:file", SHARED_LOCK)), ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(further().Inhibit("DH0:", false));
  EXPECT_EQ(Code(dos().Lock("DH0:file", SHARED_LOCK)), ERROR_OBJECT_IN_USE) << "nested";
  EXPECT_TRUE(further().Format("DH0:", "New", 0x444F5303));
  EXPECT_TRUE(further().Inhibit("DH0:", false));
  EXPECT_TRUE(further().Inhibit("DH0:", false)) << "always succeeds";
  EXPECT_EQ(Code(dos().Lock("DH0:file", SHARED_LOCK)), ERROR_OBJECT_NOT_FOUND);
  dos().UnLock(MustLock("New:"));
}

// ---- Mounting again ------------------------------------------------------------------------------

TEST_F(FurtherDosTest, AVolumeIsMountedAgainWithItsRootAndNothingElseOpen) {
  for (const char* const device : {"DH0:", "HOST:"}) {
    const LockHandle root = MustLock(device);
    dos().UnLock(dos().SetCurrentDir(root));
    const FileHandle file = dos().Open("file", MODE_NEWFILE);
    EXPECT_EQ(dos().Write(file, "text", 4), 4);
    const LockHandle lock = MustLock("");
    dos().SetIoErr(4711);
    EXPECT_TRUE(further().Remount(device, root));
    EXPECT_EQ(dos().IoErr(), 4711);
    EXPECT_EQ(Code(dos().Close(file)), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().DupLock(lock)), ERROR_INVALID_LOCK);
    EXPECT_EQ(dos().CountOpen().locks, 1U);
    EXPECT_EQ(dos().CountOpen().files, 0U);
    const FileHandle again = dos().Open("file", MODE_OLDFILE);
    EXPECT_EQ(dos().GetFileSize(again), 4);
    EXPECT_TRUE(dos().Close(again));
    EXPECT_TRUE(dos().Delete("file")) << "it is still ours";
  }
  EXPECT_EQ(machine_->ShutDown(), std::vector<std::string>{});
}

TEST_F(FurtherDosTest, ADirectoryThatIsMountedAgainKnowsWhatItHasMade) {
  std::ofstream(directory_.path() / "stranger") << "text";
  MakeFile("HOST:file");
  MakeDirectory("HOST:dir");
  MakeFile("HOST:dir/inner");
  const LockHandle root = MustLock("HOST:");
  for (int round = 0; round < 2; ++round) EXPECT_TRUE(further().Remount("HOST:", root));
  EXPECT_EQ(Code(dos().Delete("HOST:stranger")), ERROR_INVALID_LOCK);
  EXPECT_TRUE(dos().Rename("HOST:dir/inner", "HOST:other"));
  for (const char* const name : {"HOST:other", "HOST:dir", "HOST:file"}) {
    EXPECT_TRUE(dos().Delete(name)) << name;
  }
  EXPECT_TRUE(further().Remount("HOST:", root)) << "nothing is left";
  // Nobody else's file becomes ours by a name that was ours.
  std::ofstream(directory_.path() / "file") << "text";
  EXPECT_EQ(Code(dos().Delete("HOST:file")), ERROR_INVALID_LOCK);
}

TEST_F(FurtherDosTest, OnlyAVolumeWithALockOnItIsMountedAgain) {
  const LockHandle elsewhere = MustLock("HOST:");
  EXPECT_EQ(Code(further().Remount("DH0:", elsewhere)), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(further().Remount("DH0:", {})), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(further().Remount("Work:", elsewhere)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(dos().CountOpen().locks, 2U) << "nothing was given back";
  dos().UnLock(elsewhere);
}

/// DH0: gets a program of its own, which is in this process all the same; HOST: is a directory.
class MadeHandlerTest : public MachineTest {
 protected:
  ~MadeHandlerTest() override { machine_.reset(); }

  void Build(bool remounts_all) {
    machine_.reset();
    const auto make = [](MountSpec&, std::string&) -> std::unique_ptr<HandlerProgram> {
      return std::make_unique<PlainProgram>(*QuorleRamHandler());
    };
    MachineOptions options;
    options.handlers = {{"made", nullptr, make}, {"dir", QuorleHostdirHandler()}};
    MountSpec host = Spec("HOST", "dir", {});
    host.argument = directory_.path().string();
    options.mounts = {Spec("DH0", "made", {{"volume", "Work"}}), host};
    options.remounts_all = remounts_all;
    MachineParts parts = Parts();
    parts.watch = &watch_;
    std::string problem;
    machine_ = Machine::Build(options, parts, problem);
    ASSERT_NE(machine_, nullptr) << problem;
    MakeFile("DH0:file");
    root_ = MustLock("DH0:");
  }
  FurtherDosInterface& further() { return machine_->further(); }

  selftest::TemporaryDirectory directory_;
  std::vector<std::string> lines_;
  RunWatch watch_{[this](const std::string& line) { lines_.push_back(line); }};
  LockHandle root_;
};

TEST_F(MadeHandlerTest, AVolumeThatMayNotOutliveItsMountIsMountedAgainWhenThatIsAskedForAlone) {
  Build(false);
  EXPECT_EQ(Code(further().Remount("DH0:", root_)), ERROR_NOT_IMPLEMENTED);
  EXPECT_EQ(dos().CountOpen().locks, 1U) << "nothing was given back";
  dos().UnLock(MustLock("DH0:file"));

  Build(true);
  EXPECT_TRUE(further().Remount("DH0:", root_));
  dos().UnLock(MustLock("DH0:file"));
}

TEST_F(MadeHandlerTest, AVolumeThatIsNotMountedAgainIsGoneAndThatIsReported) {
  Build(false);
  const LockHandle root = MustLock("HOST:");
  std::filesystem::remove_all(directory_.path());
  watch_.BeginTest(5, "Flush()");
  EXPECT_EQ(Code(further().Remount("HOST:", root)), ERROR_DEVICE_NOT_MOUNTED);
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_TRUE(lines_[0].starts_with("test 5 (Flush): HOST: mounting again failed: ")) << lines_[0];
  EXPECT_EQ(Code(dos().Lock("HOST:", SHARED_LOCK)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(further().Remount("HOST:", root)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(lines_.size(), 1U) << "it was gone already";
  std::filesystem::create_directory(directory_.path());
}

// ---- Paths ---------------------------------------------------------------------------------------

TEST_F(FurtherDosTest, AnObjectIsKnownByItsPath) {
  MakeDirectory("DH0:Dir");
  MakeDirectory("DH0:Dir/Sub");
  HandlerPort& port = *machine_->list().Find("DH0").port;
  std::int32_t code = 0;
  ::Lock* const dir = port.Lock(code, nullptr, "dir", SHARED_LOCK);
  ::Lock* const sub = port.Lock(code, dir, "SUB", SHARED_LOCK);
  EXPECT_EQ(PathOf(port, nullptr, ""), "");
  EXPECT_EQ(PathOf(port, nullptr, "x"), "x");
  EXPECT_EQ(PathOf(port, sub, ""), "Dir/Sub");
  EXPECT_EQ(PathOf(port, sub, "file"), "Dir/Sub/file");
  ::FileHandle file{};
  ASSERT_TRUE(port.Open(code, file, sub, "File", MODE_NEWFILE));
  EXPECT_EQ(PathOf(port, file), "Dir/Sub/File");
  EXPECT_TRUE(port.Close(code, file));
  port.UnLock(code, sub);
  port.UnLock(code, dir);
}

// ---- The interface and its trace -----------------------------------------------------------------

TEST_F(FurtherDosTest, TheTraceShowsItAndWhatDosDidItself) {
  TraceLines sink;
  Tracer tracer(machine_->dos(), sink);
  Interception interception(machine_->exec(), machine_->dos(), {&tracer}, &machine_->further());
  ExecInterface& exec = interception.exec();
  const Library* const library = exec.OpenLibrary("dos.library", 50);
  auto* const main = static_cast<DosInterface*>(exec.GetInterface(library, "main", 1));
  auto* const traced =
      static_cast<FurtherDosInterface*>(exec.GetInterface(library, kFurtherInterface, 1));
  ASSERT_NE(traced, nullptr);
  EXPECT_NE(traced, &machine_->further());
  sink.lines.clear();

  const FileHandle file = main->Open("HOST:file", MODE_NEWFILE);
  traced->LockRecord(file, 1, 2, REC_SHARED, 3);
  traced->LockRecord(file, 1, 2, REC_EXCLUSIVE_IMMED, 0);
  traced->UnLockRecord(file, 1, 2);
  traced->SameFile(file, file);
  const NotifyHandle request = traced->StartNotify("HOST:file", NRF_SEND_MESSAGE);
  main->Close(file);
  const MessageHandle message = traced->GetNotifyMsg(request);
  traced->ReplyNotifyMsg(message);
  traced->CheckNotifySignal(request);
  traced->EndNotify(request);
  const LockHandle lock = main->Lock("DH0:", SHARED_LOCK);
  const DirContextHandle context = traced->ObtainDirContext(EX_LockInput, lock);
  traced->ExamineDir(context);
  traced->ReleaseDirContext(context);
  traced->ObtainDirContext(EX_StringNameInput, "DH0:none");
  traced->Flush("DH0:");
  InfoData info{};
  traced->VolumeInfoData("NIL:", info);
  std::uint32_t number = 0;
  traced->FileSystemAttr("DH0:", FSA_DOSTypeR, number);
  traced->FileSystemAttr("NIL:", FSA_DOSTypeR, number);
  traced->Inhibit("DH0:", false);
  traced->Serialize("DH0:");
  traced->Format("DH0:", "New", 1);
  traced->Remount("DH0:", lock);
  exec.DropInterface(traced);
  EXPECT_FALSE(traced->WasEmulated());

  const std::vector<std::string> expected = {
      R"({"op":"Open","args":["HOST:file",1006],"result":"fh:1","ioerr":0})",
      R"({"op":"LockRecord","args":["fh:1",1,2,2,3],"result":true,"ioerr":0})",
      R"({"op":"LockRecord","args":["fh:1",1,2,1,0],"result":false,"ioerr":241})",
      R"({"op":"UnLockRecord","args":["fh:1",1,2],"result":true,"ioerr":241})",
      R"({"op":"SameFile","args":["fh:1","fh:1"],"result":0,"ioerr":241})",
      R"({"op":"StartNotify","args":["HOST:file",1],"result":"notify:2","ioerr":241,"emulated":true})",
      R"({"op":"Close","args":["fh:1"],"result":true,"ioerr":241})",
      R"({"op":"GetNotifyMsg","args":["notify:2"],"result":"msg:3","ioerr":241})",
      R"({"op":"ReplyNotifyMsg","args":["msg:3"],"result":null,"ioerr":241})",
      R"({"op":"CheckNotifySignal","args":["notify:2"],"result":false,"ioerr":241})",
      R"({"op":"EndNotify","args":["notify:2"],"result":null,"ioerr":241})",
      R"({"op":"Lock","args":["DH0:",-2],"result":"lock:4","ioerr":241})",
      R"({"op":"ObtainDirContext","args":["0x80001967","lock:4"],"result":"context:5","ioerr":241})",
      R"({"op":"ExamineDir","args":["context:5"],"result":null,"ioerr":232})",
      R"({"op":"ReleaseDirContext","args":["context:5"],"result":null,"ioerr":232})",
      R"({"op":"ObtainDirContext","args":["0x80001965","DH0:none"],"result":null,"ioerr":205})",
      R"({"op":"Flush","args":["DH0:"],"result":true,"ioerr":205})",
      R"({"op":"VolumeInfoData","args":["NIL:"],"result":null,"ioerr":209})",
      R"({"op":"FileSystemAttr","args":["DH0:","0x80002335"],"result":)" + std::to_string(number) +
          R"(,"ioerr":209})",
      R"({"op":"FileSystemAttr","args":["NIL:","0x80002335"],"result":null,"ioerr":209})",
      R"({"op":"Inhibit","args":["DH0:",false],"result":true,"ioerr":209})",
      R"({"op":"Serialize","args":["DH0:"],"result":false,"ioerr":202})",
      R"({"op":"Format","args":["DH0:","New",1],"result":false,"ioerr":202})",
      R"({"op":"Remount","args":["DH0:","lock:4"],"result":true,"ioerr":202})",
      R"({"op":"DropInterface","args":["dos.library"],"result":null,"ioerr":202})",
  };
  EXPECT_EQ(sink.lines, expected);
  sink.lines.clear();
  traced->VolumeInfoData("DH0:", info);
  EXPECT_TRUE(sink.lines[0].starts_with(
      R"({"op":"VolumeInfoData","args":["DH0:"],"result":{"state":82,"type":)"))
      << sink.lines[0];
  EXPECT_NE(sink.lines[0].find(R"(,"blocks":)"), std::string::npos) << sink.lines[0];
}

TEST_F(FurtherDosTest, TheInterfaceHasAName) {
  HostedExec& exec = machine_->exec();
  const Library* const library = exec.OpenLibrary("dos.library", 50);
  EXPECT_EQ(exec.GetInterface(library, kFurtherInterface, 1), &machine_->further());
  EXPECT_EQ(exec.GetInterface(library, kFurtherInterface, 2), nullptr);
  EXPECT_EQ(exec.GetInterface(exec.OpenLibrary("utility.library", 50), kFurtherInterface, 1),
            nullptr);
  exec.DropInterface(&machine_->further());
  EXPECT_EQ(exec.Balance().interfaces, 0);
  EXPECT_EQ(exec.Balance().wrong_releases, 0U);
}

}  // namespace
}  // namespace quorle
