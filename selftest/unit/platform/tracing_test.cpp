#include "platform/tracing.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "harness/context.h"
#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

using selftest::TestBench;

class TracingTest : public testing::Test {
 protected:
  void SetUp() override { ctx_.IDOS->SetIoErr(0); }

  /// The line of the one call made since the last time.
  std::string Line() {
    const std::vector<std::string> lines = bench_.TakeTraceLines();
    EXPECT_EQ(lines.size(), 1U);
    return lines.empty() ? std::string() : lines.front();
  }

  void MakeFile(const char* name, const std::string& data = "") {
    const FileHandle file = dos_.Open(name, MODE_NEWFILE);
    ASSERT_TRUE(file);
    EXPECT_EQ(dos_.Write(file, data.data(), static_cast<std::int32_t>(data.size())),
              static_cast<std::int32_t>(data.size()));
    dos_.Close(file);
    bench_.TakeTraceLines();
  }

  TestBench bench_{{"RAM:"}};
  TestContext& ctx_ = bench_.Context();
  DosInterface& dos_ = *ctx_.IDOS;
};

/// The last text of `value` that begins with `start`, without that.
std::string LastText(const nlohmann::json& value, const std::string& start) {
  if (value.is_string() && value.get<std::string>().starts_with(start)) {
    return value.get<std::string>().substr(start.size());
  }
  std::string last;
  if (!value.is_structured()) return last;
  for (const nlohmann::json& item : value) {
    if (std::string text = LastText(item, start); !text.empty()) last = std::move(text);
  }
  return last;
}

/// The number that a trace gave the last handle of a line, as text.
std::string LastNumber(const std::string& line, const std::string& kind) {
  return LastText(nlohmann::json::parse(line), kind + ":");
}

TEST_F(TracingTest, FailureHasNullAndItsCode) {
  dos_.Lock("FILE01", SHARED_LOCK);
  EXPECT_EQ(Line(), R"({"op":"Lock","args":["FILE01",-2],"result":null,"ioerr":205})");
  dos_.Open("FILE09", MODE_OLDFILE);
  EXPECT_EQ(Line(), R"({"op":"Open","args":["FILE09",1005],"result":null,"ioerr":205})");
  dos_.Delete("FILE09");
  EXPECT_EQ(Line(), R"({"op":"Delete","args":["FILE09"],"result":false,"ioerr":205})");
}

TEST_F(TracingTest, HandlesAreNumberedOnce) {
  const LockHandle first = dos_.Lock("", SHARED_LOCK);
  const std::string line = Line();
  const std::string number = LastNumber(line, "lock");
  EXPECT_EQ(line, R"({"op":"Lock","args":["",-2],"result":"lock:)" + number + R"(","ioerr":0})");
  dos_.UnLock(first);
  EXPECT_EQ(Line(), R"({"op":"UnLock","args":["lock:)" + number + R"("],"result":null,"ioerr":0})");
  const LockHandle second = dos_.Lock("", SHARED_LOCK);
  const std::string next = LastNumber(Line(), "lock");
  EXPECT_GT(std::stoul(next), std::stoul(number));
  dos_.UnLock(second);
}

TEST_F(TracingTest, ReleasesOfNothing) {
  dos_.UnLock({});
  EXPECT_EQ(Line(), R"({"op":"UnLock","args":[null],"result":null,"ioerr":0})");
  dos_.Close({});
  EXPECT_EQ(Line(), R"({"op":"Close","args":[null],"result":false,"ioerr":0})");
  dos_.FreeDosObject(DOS_EXAMINEDATA, nullptr);
  EXPECT_EQ(Line(), R"({"op":"FreeDosObject","args":[11,null],"result":null,"ioerr":0})");
  dos_.FreeArgs({});
  EXPECT_EQ(Line(), R"({"op":"FreeArgs","args":[null],"result":null,"ioerr":0})");
  dos_.FreeDeviceProc(nullptr);
  EXPECT_EQ(Line(), R"({"op":"FreeDeviceProc","args":[null],"result":null,"ioerr":0})");
}

TEST_F(TracingTest, Files) {
  const FileHandle file = dos_.Open("FILE01", MODE_NEWFILE);
  const std::string open = Line();
  const std::string fh = "\"fh:" + LastNumber(open, "fh") + "\"";
  EXPECT_EQ(open, R"({"op":"Open","args":["FILE01",1006],"result":)" + fh + R"(,"ioerr":0})");

  dos_.Write(file, "a\0\n\"\\\xe9\x7f", 7);
  EXPECT_EQ(Line(), R"({"op":"Write","args":[)" + fh + R"(,"a\u0000\n\"\\\u00e9)" + "\x7f" +
                        R"("],"result":7,"ioerr":0})");
  dos_.ChangeFilePosition(file, -5, OFFSET_END);
  EXPECT_EQ(Line(),
            R"({"op":"ChangeFilePosition","args":[)" + fh + R"(,-5,1],"result":true,"ioerr":0})");
  dos_.GetFilePosition(file);
  EXPECT_EQ(Line(), R"({"op":"GetFilePosition","args":[)" + fh + R"(],"result":2,"ioerr":0})");
  char buffer[16];
  dos_.Read(file, buffer, sizeof buffer);
  EXPECT_EQ(Line(), R"({"op":"Read","args":[)" + fh +
                        R"(,16],"result":{"count":5,"data":"\n\"\\\u00e9)" + "\x7f" +
                        R"("},"ioerr":0})");
  dos_.Read(file, buffer, sizeof buffer);
  EXPECT_EQ(Line(),
            R"({"op":"Read","args":[)" + fh + R"(,16],"result":{"count":0,"data":""},"ioerr":0})");
  dos_.ChangeFileSize(file, 8589934592, OFFSET_BEGINNING);
  EXPECT_EQ(Line(), R"({"op":"ChangeFileSize","args":[)" + fh +
                        R"(,8589934592,-1],"result":true,"ioerr":0})");
  dos_.GetFileSize(file);
  EXPECT_EQ(Line(), R"({"op":"GetFileSize","args":[)" + fh + R"(],"result":8589934592,"ioerr":0})");
  dos_.ChangeMode(CHANGE_FH, file, SHARED_LOCK);
  EXPECT_EQ(Line(), R"({"op":"ChangeMode","args":[1,)" + fh + R"(,-2],"result":true,"ioerr":0})");
  dos_.Close(file);
  EXPECT_EQ(Line(), R"({"op":"Close","args":[)" + fh + R"(],"result":true,"ioerr":0})");
}

TEST_F(TracingTest, ObjectsAndAttributes) {
  MakeFile("FILE01");
  dos_.SetComment("FILE01", "text");
  EXPECT_EQ(Line(), R"({"op":"SetComment","args":["FILE01","text"],"result":true,"ioerr":0})");
  dos_.SetProtection("FILE01", 0xABCD1234);
  EXPECT_EQ(Line(),
            R"({"op":"SetProtection","args":["FILE01",2882343476],"result":true,"ioerr":0})");
  dos_.SetDate("FILE01", {3654, 2, 3});
  EXPECT_EQ(
      Line(),
      R"({"op":"SetDate","args":["FILE01",{"days":3654,"minutes":2,"ticks":3}],"result":true,"ioerr":0})");
  dos_.SetOwnerInfo("FILE01", OI_OwnerUID, 0x9321DCBA);
  EXPECT_EQ(
      Line(),
      R"({"op":"SetOwnerInfo","args":["FILE01","owner",2468469946],"result":true,"ioerr":0})");
  dos_.SetOwnerInfo("FILE01", OI_OwnerGID, 7);
  EXPECT_EQ(Line(), R"({"op":"SetOwnerInfo","args":["FILE01","group",7],"result":true,"ioerr":0})");

  const ExamineData* const data = dos_.ExamineObject(EX_StringNameInput, "FILE01");
  ASSERT_NE(data, nullptr);
  const std::string id = std::to_string(data->ObjectID);
  const std::string line = Line();
  const std::string handle = "\"examine:" + LastNumber(line, "examine") + "\"";
  EXPECT_EQ(
      line,
      R"({"op":"ExamineObject","args":["0x80001965","FILE01"],"result":{"handle":)" + handle +
          R"(,"type":1,"size":0,"date":{"days":3654,"minutes":2,"ticks":3},"refcount":1,"objectid":)" +
          id +
          R"(,"name":"FILE01","comment":"text","link":"","protection":2882343476,"owner":2468469946,"group":7},"ioerr":0})");
  dos_.FreeDosObject(DOS_EXAMINEDATA, data);
  EXPECT_EQ(Line(),
            R"({"op":"FreeDosObject","args":[11,)" + handle + R"(],"result":null,"ioerr":0})");
  dos_.ExamineObject(EX_ObjectNameInput, "FILE02");
  EXPECT_EQ(Line(),
            R"({"op":"ExamineObject","args":["0x80001968","FILE02"],"result":null,"ioerr":205})");

  dos_.SetProtection("FILE01", 0);
  dos_.SetIoErr(0);
  bench_.TakeTraceLines();
  dos_.Rename("FILE01", "FILE02");
  EXPECT_EQ(Line(), R"({"op":"Rename","args":["FILE01","FILE02"],"result":true,"ioerr":0})");
}

TEST_F(TracingTest, Links) {
  MakeFile("FILE01");
  const LockHandle lock = dos_.Lock("FILE01", SHARED_LOCK);
  const std::string number = LastNumber(Line(), "lock");
  dos_.MakeLink("LINK01", lock, LINK_HARD);
  EXPECT_EQ(Line(), R"({"op":"MakeLink","args":["LINK01","lock:)" + number +
                        R"(",0],"result":true,"ioerr":0})");
  dos_.UnLock(lock);
  bench_.TakeTraceLines();
  dos_.MakeLink("LINK02", "FILE01", LINK_SOFT);
  EXPECT_EQ(Line(), R"({"op":"MakeLink","args":["LINK02","FILE01",1],"result":true,"ioerr":0})");

  const PortHandle port = dos_.FileLockOf(ctx_.root_lock).fl_Port;
  char buffer[256];
  dos_.ReadSoftLink(port, ctx_.root_lock, "LINK02", buffer, 256);
  std::string line = Line();
  const std::string head = R"({"op":"ReadSoftLink","args":["port:)" + LastNumber(line, "port") +
                           R"(","lock:)" + LastNumber(line, "lock") + R"(","LINK02",)";
  EXPECT_EQ(line, head + R"(256],"result":{"length":6,"target":"FILE01"},"ioerr":0})");
  dos_.ReadSoftLink(port, ctx_.root_lock, "LINK02", buffer, 4);
  EXPECT_EQ(Line(), head + R"(4],"result":{"length":-2,"target":null},"ioerr":120})");
}

TEST_F(TracingTest, VolumesAndHandlers) {
  const PortHandle port = dos_.FileLockOf(ctx_.root_lock).fl_Port;
  EXPECT_TRUE(dos_.IsFileSystem(port));
  std::string line = Line();
  const std::string p = "\"port:" + LastNumber(line, "port") + "\"";
  EXPECT_EQ(line, R"({"op":"IsFileSystem","args":[)" + p + R"(],"result":true,"ioerr":0})");
  char name[64];
  dos_.DevNameFromPort(port, name, sizeof name, true);
  EXPECT_EQ(Line(),
            R"({"op":"DevNameFromPort","args":[)" + p + R"(,true],"result":"RAM:","ioerr":0})");
  dos_.VolNameFromPort(port, name, sizeof name, false);
  EXPECT_EQ(Line(), R"({"op":"VolNameFromPort","args":[)" + p +
                        R"(,false],"result":"Ram Disk","ioerr":0})");
  dos_.VolNameFromPort(port, name, 3, false);
  EXPECT_EQ(Line(),
            R"({"op":"VolNameFromPort","args":[)" + p + R"(,false],"result":null,"ioerr":120})");

  dos_.SetIoErr(0);
  char version[256] = "";
  std::uint32_t type = 0;
  bench_.SetRules(
      "FileSystemAttr#1 set version=text dostype=0x444F5303\nFileSystemAttr#2 fail 209");
  dos_.FileSystemAttr(port, version, sizeof version, type);
  EXPECT_EQ(Line(), R"({"op":"FileSystemAttr","args":[)" + p +
                        R"(],"result":{"version":"text","dostype":1146049283},"ioerr":0})");
  dos_.FileSystemAttr(port, version, sizeof version, type);
  EXPECT_EQ(Line(), R"({"op":"FileSystemAttr","args":[)" + p + R"(],"result":null,"ioerr":209})");
  dos_.SetIoErr(0);

  InfoData info{};
  bench_.SetRules("GetDiskInfo set DiskState=81 DiskType=0x444F5303");
  dos_.GetDiskInfo(port, info);
  EXPECT_EQ(Line(), R"({"op":"GetDiskInfo","args":[)" + p +
                        R"(],"result":{"state":81,"type":1146049283},"ioerr":0})");
  dos_.GetDiskInfo("RAM:", info);
  EXPECT_EQ(
      Line(),
      R"({"op":"GetDiskInfo","args":["RAM:"],"result":{"state":81,"type":1146049283},"ioerr":0})");
  bench_.SetRules("");

  dos_.WriteProtectVolume("RAM:", true, 0, 0);
  EXPECT_EQ(Line(),
            R"({"op":"WriteProtectVolume","args":["RAM:",true,0,0],"result":true,"ioerr":0})");
  dos_.WriteProtectVolume("RAM:", false, 0, 0);
  EXPECT_EQ(Line(),
            R"({"op":"WriteProtectVolume","args":["RAM:",false,0,0],"result":true,"ioerr":0})");
  dos_.Relabel("RAM:", "Other");
  EXPECT_EQ(Line(), R"({"op":"Relabel","args":["RAM:","Other"],"result":true,"ioerr":0})");
}

TEST_F(TracingTest, Packet) {
  const PortHandle port = dos_.FileLockOf(ctx_.root_lock).fl_Port;
  alignas(4) std::uint8_t name[32];
  dos_.CopyStringSTRToBSTR("DIRECTORY01", name, sizeof name);
  const LockHandle lock = dos_.DoPkt(port, ACTION_CREATE_DIR, ctx_.root_lock, name, 0, 0, name);
  ASSERT_TRUE(lock);
  const std::string line = Line();
  EXPECT_NE(line.find(R"(,22,"lock:)"), std::string::npos) << line;
  EXPECT_NE(line.find(R"(","DIRECTORY01",0,0,"DIRECTORY01"],"result":"lock:)"), std::string::npos)
      << line;
  dos_.UnLock(lock);
}

TEST_F(TracingTest, OutputIsTheFinishedText) {
  dos_.SetIoErr(ERROR_OBJECT_NOT_FOUND);
  dos_.Printf("\nERROR: %s(\"%s\") #%n %m\n", "Lock", "FILE01");
  EXPECT_EQ(Line(),
            R"({"op":"Output","text":"\nERROR: Lock(\"FILE01\") #205 object not found\n"})");
  dos_.PutStr("\033[1m\f\r\t");
  EXPECT_EQ(Line(), R"({"op":"Output","text":"\u001b[1m\f\r\t"})");
}

TEST_F(TracingTest, Process) {
  dos_.Delay(25);
  EXPECT_EQ(Line(), R"({"op":"Delay","args":[25],"result":null,"ioerr":0})");
  dos_.CheckSignal(SIGBREAKF_CTRL_C);
  EXPECT_EQ(Line(), R"({"op":"CheckSignal","args":[4096],"result":0,"ioerr":0})");
  void* const window = dos_.SetProcWindow(kNoRequesters);
  EXPECT_EQ(Line(), R"({"op":"SetProcWindow","args":[-1],"result":null,"ioerr":0})");
  dos_.SetProcWindow(window);
  EXPECT_EQ(Line(), R"({"op":"SetProcWindow","args":["previous"],"result":null,"ioerr":0})");
  ctx_.IExec->AllocVecTags(236);
  const std::string line = Line();
  EXPECT_EQ(line, R"({"op":"AllocVecTags","args":[236],"result":"mem:)" + LastNumber(line, "mem") +
                      R"(","ioerr":0})");
  DateStamp now{};
  dos_.DateStamp(now);
  const std::int64_t seconds = now.ds_Days * 86400LL + now.ds_Minute * 60LL + now.ds_Tick / 50;
  EXPECT_EQ(Line(),
            R"({"op":"DateStamp","args":[],"result":{"days":)" + std::to_string(now.ds_Days) +
                R"(,"minutes":)" + std::to_string(now.ds_Minute) + R"(,"ticks":)" +
                std::to_string(now.ds_Tick) + R"(},"ioerr":)" + std::to_string(seconds) + "}");
}

TEST_F(TracingTest, NotTraced) {
  dos_.IoErr();
  dos_.SetIoErr(5);
  char text[16];
  ctx_.IUtility->Strlcpy(text, "text", sizeof text);
  ctx_.IUtility->SNPrintf(text, sizeof text, "%ld", 5);
  ctx_.IUtility->Stricmp("a", "b");
  ctx_.IExec->CopyMem("text", text, 4);
  DateTime date{};
  dos_.DateToStr(date);
  dos_.FileLockOf(ctx_.root_lock);
  EXPECT_TRUE(bench_.TakeTraceLines().empty());
}

TEST(TraceOfARunTest, ArgumentWordsFollowTheTemplate) {
  TestBench bench({"RAM:", "NW", "FTN=24", "LTN", "24"});
  EXPECT_EQ(bench.Run(), 0);
  std::string words;
  for (const nlohmann::json& call : bench.TakeTrace()) {
    if (call["op"] == "ReadArgs") words = call["result"].dump();
  }
  EXPECT_EQ(words, R"(["RAM:",false,true,false,false,24,24,null])");
}

TEST(TraceOfARunTest, DesktopStartHasItsMessage) {
  TestBench bench({"--workbench", "RAM:"});
  bench.Run();
  const std::vector<std::string> lines = bench.TakeTraceLines();
  EXPECT_EQ(lines[0], R"({"op":"FindTask","args":[null],"result":{"cli":false},"ioerr":0})");
  EXPECT_EQ(lines[1], R"({"op":"WaitPort","args":[],"result":null,"ioerr":0})");
  EXPECT_EQ(lines[2], R"({"op":"GetMsg","args":[],"result":"msg:1","ioerr":0})");
  EXPECT_EQ(lines.back(), R"({"op":"ReplyMsg","args":["msg:1"],"result":null,"ioerr":0})");
}

/// A sink that is full after some events.
class FullSink final : public TraceSink {
 public:
  bool Take(const TraceEvent&) override { return ++events < 3; }
  int events = 0;
};

TEST(TraceSinkTest, NothingIsOfferedAfterAFailedWrite) {
  TestBench bench({"RAM:"});
  FullSink sink;
  TestContext& ctx = bench.Context();
  Tracer tracer(*ctx.IDOS, sink);
  Interception interception(*ctx.IExec, *ctx.IDOS, {&tracer});
  ExecInterface& exec = interception.exec();
  for (int i = 0; i < 10; ++i) exec.FreeVec(exec.AllocVecTags(8));
  EXPECT_EQ(sink.events, 3);
}

}  // namespace
}  // namespace quorle
