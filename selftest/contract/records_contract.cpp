#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "selftest/contract/contract_test.h"

// Locks on ranges of bytes: kept by the handler, or by dos for one that answers 209. Nobody can say which
// but by the trace.

namespace quorle::selftest {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

/// A call of LockRecord() or UnLockRecord() and what it does.
struct RecordCall {
  const char* operation;
  char file;  ///< a, b: the same file; l: by its other name; o: another file
  std::int64_t offset;
  std::int64_t length;
  std::uint32_t mode;
  std::uint32_t ticks;
  std::int32_t code;     ///< 0: it succeeds
  bool is_wide = false;  ///< more than 31 bits: classic packets cannot carry it, which is 207
  bool is_asked = true;  ///< false: dos refuses it for every handler
};

RecordCall Lock(char file, std::int64_t offset, std::int64_t length, std::uint32_t mode,
                std::int32_t code) {
  return {"LockRecord", file, offset, length, mode, 50, code};
}
RecordCall UnLock(char file, std::int64_t offset, std::int64_t length, std::int32_t code) {
  return {"UnLockRecord", file, offset, length, 0, 0, code};
}
RecordCall Wide(RecordCall call) {
  call.is_wide = true;
  return call;
}
RecordCall Refused(RecordCall call) {
  call.is_asked = false;
  return call;
}

/// In this order; what was locked stays so.
std::vector<RecordCall> RecordCalls() {
  return {
      // A byte in common at either end, all of it, and none. The file is empty.
      Lock('a', 10, 10, REC_EXCLUSIVE, 0),
      Lock('b', 19, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      Lock('b', 0, 11, REC_SHARED_IMMED, ERROR_LOCK_COLLISION),
      Lock('b', 0, 100, REC_EXCLUSIVE, ERROR_LOCK_TIMEOUT),
      Lock('b', 12, 2, REC_SHARED, ERROR_LOCK_TIMEOUT),
      Lock('b', 20, 5, REC_EXCLUSIVE, 0),
      Lock('b', 0, 10, REC_SHARED_IMMED, 0),
      // The same file by another name, another file, and the handle itself.
      Lock('l', 10, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      Lock('o', 10, 1, REC_EXCLUSIVE_IMMED, 0),
      Lock('a', 10, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      // Shared ones share, with nobody else.
      Lock('a', 5, 5, REC_SHARED, 0),
      Lock('l', 5, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      UnLock('b', 0, 10, 0),
      Lock('l', 5, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      UnLock('a', 5, 5, 0),
      Lock('l', 5, 1, REC_EXCLUSIVE_IMMED, 0),
      // Released as it was locked: all of it, by the same handle, once.
      UnLock('a', 10, 9, ERROR_RECORD_NOT_LOCKED),
      UnLock('a', 11, 9, ERROR_RECORD_NOT_LOCKED),
      UnLock('b', 10, 10, ERROR_RECORD_NOT_LOCKED),
      UnLock('a', 0, 1, ERROR_RECORD_NOT_LOCKED),
      UnLock('a', 10, 10, 0),
      UnLock('a', 10, 10, ERROR_RECORD_NOT_LOCKED),
      Lock('b', 10, 10, REC_SHARED, 0),
      // A handle may share with itself; each lock is released for itself.
      Lock('b', 10, 10, REC_SHARED, 0),
      UnLock('b', 10, 10, 0),
      Lock('a', 10, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      UnLock('b', 10, 10, 0),
      Lock('a', 10, 1, REC_EXCLUSIVE_IMMED, 0),
      // The end of these lies beyond what 64 bits hold.
      Wide(Lock('a', kMost - 1, kMost, REC_EXCLUSIVE, 0)),
      Wide(Lock('b', kMost, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION)),
      Wide(Lock('b', 1000, kMost, REC_SHARED_IMMED, ERROR_LOCK_COLLISION)),
      Wide(Lock('b', 1000, kMost - 1001, REC_EXCLUSIVE_IMMED, 0)),
      Wide(UnLock('a', kMost - 1, kMost, 0)),
      Wide(UnLock('b', 1000, kMost - 1001, 0)),
      // What is no range, and no mode.
      Refused(Lock('a', -1, 5, REC_EXCLUSIVE, ERROR_BAD_NUMBER)),
      Refused(Lock('a', 500, 0, REC_EXCLUSIVE, ERROR_BAD_NUMBER)),
      Refused(Lock('a', 500, -1, REC_SHARED_IMMED, ERROR_BAD_NUMBER)),
      Refused(Lock('a', 500, 1, REC_SHARED_IMMED + 1, ERROR_BAD_NUMBER)),
  };
}

class RecordTrace final : public TraceSink {
 public:
  bool Take(const TraceEvent& event) override {
    line.clear();
    AppendJson(event, line);
    line.pop_back();  // the line break
    return true;
  }
  std::string line;  ///< the last one
};

/// The subject has record locks; LEFT: is one that leaves them to dos, behind the same kind of port.
class RecordsContract : public ContractTest {
 protected:
  using Files = std::array<FileHandle, 4>;  // a, b, l, o

  FurtherDosInterface& further() { return machine().further(); }

  Files OpenOn(const std::string& device) {
    MakeFile((device + "file").c_str());
    MakeFile((device + "other").c_str());
    const LockHandle file = MustLock((device + "file").c_str());
    EXPECT_TRUE(dos().MakeLink((device + "link").c_str(), file, LINK_HARD)) << dos().IoErr();
    dos().UnLock(file);
    return {MustOpen((device + "file").c_str()), MustOpen((device + "file").c_str()),
            MustOpen((device + "link").c_str()), MustOpen((device + "other").c_str())};
  }

  /// Makes the calls on `device` and compares results, codes and traces with the table.
  void ExpectRecordCalls(const std::string& device, bool by_dos) {
    const Files files = OpenOn(device);
    RecordTrace sink;
    Tracer tracer(dos(), sink);
    Interception interception(machine().exec(), dos(), {&tracer}, &further());
    ExecInterface& exec = interception.exec();
    auto* const traced = static_cast<FurtherDosInterface*>(
        exec.GetInterface(exec.OpenLibrary("dos.library", 50), kFurtherInterface, 1));
    ASSERT_NE(traced, nullptr);
    for (const RecordCall& call : RecordCalls()) {
      // The trace numbers them in the order in which the table comes to them.
      const std::size_t index = std::string_view("ablo").find(call.file);
      const FileHandle file = files.at(index);
      const bool is_lock = std::string_view(call.operation) == "LockRecord";
      const bool is_carried = !call.is_wide || !IsClassic();
      const std::int32_t code = is_carried ? call.code : ERROR_OBJECT_TOO_LARGE;
      const bool is_emulated = by_dos && call.is_asked && is_carried;
      std::string expected = std::string(R"({"op":")") + call.operation + R"(","args":["fh:)" +
                             std::to_string(index + 1) + "\"," + std::to_string(call.offset) + "," +
                             std::to_string(call.length);
      if (is_lock) expected += "," + std::to_string(call.mode) + "," + std::to_string(call.ticks);
      expected += std::string(R"(],"result":)") + (code == 0 ? "true" : "false") + R"(,"ioerr":)" +
                  std::to_string(code) + (is_emulated ? R"(,"emulated":true})" : "}");
      dos().SetIoErr(0);
      const bool done =
          is_lock ? traced->LockRecord(file, call.offset, call.length, call.mode, call.ticks)
                  : traced->UnLockRecord(file, call.offset, call.length);
      EXPECT_EQ(done, code == 0) << device << expected;
      EXPECT_EQ(sink.line, expected) << device;
      // Nobody ends a wait before its ticks are over. Who answers one call at a time does not wait.
      EXPECT_EQ(TakeSlept(), is_emulated && code == ERROR_LOCK_TIMEOUT ? call.ticks : 0U)
          << expected;
    }
    exec.DropInterface(traced);
    for (const FileHandle file : files) EXPECT_TRUE(dos().Close(file));
  }
};

INSTANTIATE_TEST_SUITE_P(Handlers, RecordsContract, ::testing::ValuesIn(Subjects()), SubjectName);

TEST_P(RecordsContract, AHandlersOwnAnswerAsThoseOfDosDo) {
  ExpectRecordCalls("DH0:", false);
  ExpectRecordCalls("LEFT:", true);
}

TEST_P(RecordsContract, ClosingAFileReleasesWhatItHas) {
  for (const std::string device : {"DH0:", "LEFT:"}) {
    MakeFile((device + "file").c_str());
    const FileHandle a = MustOpen((device + "file").c_str());
    const FileHandle b = MustOpen((device + "file").c_str());
    EXPECT_TRUE(further().LockRecord(a, 0, 5, REC_EXCLUSIVE, 0)) << device;
    EXPECT_TRUE(further().LockRecord(a, 5, 5, REC_SHARED, 0)) << device;
    EXPECT_TRUE(further().LockRecord(b, 20, 5, REC_EXCLUSIVE, 0)) << device;
    EXPECT_EQ(Code(further().LockRecord(b, 0, 1, REC_SHARED_IMMED, 0)), ERROR_LOCK_COLLISION);
    EXPECT_TRUE(dos().Close(a));
    EXPECT_TRUE(further().LockRecord(b, 0, 10, REC_EXCLUSIVE_IMMED, 0)) << device << dos().IoErr();
    const FileHandle c = MustOpen((device + "file").c_str());
    EXPECT_EQ(Code(further().LockRecord(c, 24, 1, REC_EXCLUSIVE_IMMED, 0)), ERROR_LOCK_COLLISION)
        << device << "another's stay";
    EXPECT_EQ(Code(further().LockRecord(a, 0, 1, REC_EXCLUSIVE, 0)), ERROR_INVALID_LOCK);
    EXPECT_TRUE(dos().Close(b));
    EXPECT_TRUE(dos().Close(c));
  }
}

TEST_P(RecordsContract, ReadsAndWritesDoNotCare) {
  for (const std::string device : {"DH0:", "LEFT:"}) {
    MakeFile((device + "file").c_str(), "0123456789");
    const FileHandle a = MustOpen((device + "file").c_str());
    const FileHandle b = MustOpen((device + "file").c_str());
    EXPECT_TRUE(further().LockRecord(a, 0, 100, REC_EXCLUSIVE, 0)) << device;
    EXPECT_EQ(dos().Write(b, "abc", 3), 3) << device;
    std::array<char, 7> rest{};
    EXPECT_EQ(dos().Read(b, rest.data(), 7), 7) << device;
    EXPECT_TRUE(dos().ChangeFileSize(b, 5, OFFSET_BEGINNING)) << device;
    EXPECT_TRUE(dos().Close(b));
    EXPECT_TRUE(dos().Close(a));
    EXPECT_EQ(ContentOf((device + "file").c_str()), "abc34");
  }
}

}  // namespace
}  // namespace quorle::selftest
