#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "hosted/calls/clock.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/console.h"
#include "hosted/dos/machine.h"
#include "platform/constants.h"
#include "platform/dos.h"
#include "selftest/support/classic_limits.h"
#include "selftest/support/temporary_directory.h"

namespace quorle::selftest {

/// A handler that keeps the contract, and how it is mounted.
struct Subject {
  const char* name;  ///< of the row, letters and digits
  const ::Handler& (*handler)();
  PortType port;
  const char* metadata = nullptr;  ///< of a directory of the host: where it keeps attributes
  bool directory_links = true;     ///< whether a directory may have a second name
  const char* isolate = nullptr;   ///< of a plugin, which `handler` is loaded from: yes or no
};

/// How GoogleTest shows a row: without it, the addresses in it, which are others on every run.
inline void PrintTo(const Subject& subject, std::ostream* out) {
  *out << subject.name;
}

/// All rows, each handler on every kind of port.
std::span<const Subject> Subjects();

/// The name of a row, for the name of its tests.
std::string SubjectName(const ::testing::TestParamInfo<Subject>& info);

/// The day on which the clock stands, and one long before it.
inline constexpr std::int32_t kToday = 16000;
inline constexpr std::int32_t kLongAgo = 12000;

/// What is known of an object, kept beyond its record. `found` is false when it cannot be examined.
struct ObjectFacts {
  bool found = false;
  std::uint32_t type = 0;  ///< the low byte
  std::int64_t size = 0;
  DateStamp date{};
  std::uint32_t links = 0;
  std::uint64_t id = 0;
  std::string name;
  std::string comment;
  std::uint32_t protection = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
};

/// The rules that the tester holds a filesystem to, and those that it relies on, checked where it
/// checks them: through the operations of dos. Expected values are the rules', never a handler's.
///
/// The subject is DH0: with the volume "Subject Disk" and the DOS type 0x51545301; its root is the
/// current directory. OTHER: is a second volume; LEFT: is one behind the same kind of port whose handler
/// leaves to dos what dos can do itself: record locks. The clock stands still at kToday.
class ContractTest : public ::testing::TestWithParam<Subject> {
 protected:
  ContractTest();
  /// The handlers must have released what they took, and nothing twice.
  ~ContractTest() override;
  /// Skips a subject that this host has no place for.
  void SetUp() override;

  /// Mounts the subject again with further keys, on an empty volume.
  void Remount(const MountKeys& keys);

  Machine& machine() { return *machine_; }
  DosInterface& dos() { return machine_->dos(); }
  LockHandle root() const { return root_; }
  /// Ticks that dos waited since the last time it was asked; the clock stands still meanwhile.
  std::uint32_t TakeSlept() { return std::exchange(clock_.slept, 0); }
  PortHandle port() { return dos().FileLockOf(root_).fl_Port; }
  /// Whether the subject is behind classic packets: what they cannot carry is in classic_limits.h.
  static bool IsClassic() { return GetParam().port == PortType::kClassic; }

  // ---- Objects to work on; a failure fails the test ------------------------------------------

  void MakeFile(const char* name, std::string_view content = {});
  void MakeDirectory(const char* name);
  void MakeSoftLink(const char* name, const char* target);
  void MakeHardLink(const char* name, const char* target);
  void Protect(const char* name, std::uint32_t mask);
  LockHandle MustLock(const char* name, std::int32_t mode = SHARED_LOCK);
  FileHandle MustOpen(const char* name, std::int32_t mode = MODE_OLDFILE);
  void WriteProtect(bool on);

  // ---- Looking -------------------------------------------------------------------------------

  bool Exists(const char* name);
  std::string ContentOf(const char* name);
  ObjectFacts Look(const char* name);  ///< links followed
  ObjectFacts LookAtItself(const char* name);
  ObjectFacts Keep(const ExamineData* data);  ///< the facts of a record, which is freed

  /// The error code of a call that gave `result`: 0 when it succeeded.
  template <class Result>
  std::int32_t Code(Result result) {
    return result ? 0 : dos().IoErr();
  }
  /// The same for a call that fails with -1.
  std::int32_t CountCode(std::int64_t result) { return result >= 0 ? 0 : dos().IoErr(); }
  /// The code of an open in `mode`; the file is closed again.
  std::int32_t OpenCode(const char* name, std::int32_t mode);
  /// The code of a lock in `mode`; it is released again.
  std::int32_t LockCode(const char* name, std::int32_t mode);

 private:
  class Stream final : public ByteSink {
   public:
    bool Write(std::string_view) override { return true; }
    std::string Problem() const override { return {}; }
  };
  class NoInput final : public LineInput {
   public:
    bool ReadLine(std::string&) override { return false; }
  };
  class NoBreak final : public BreakSource {
   public:
    bool TakeBreak() override { return false; }
  };
  class FixedClock final : public Clock {
   public:
    DateStamp Now() override { return {kToday, 720, 100}; }
    void Sleep(std::uint32_t ticks) override { slept += ticks; }
    std::uint32_t slept = 0;
  };

  void ShutDown();

  std::unique_ptr<TemporaryDirectory> directory_;  ///< of a subject that has one on the host
  bool has_place_ = true;
  Stream stream_;
  Console console_{stream_, stream_, false};
  NoInput input_;
  NoBreak breaks_;
  FixedClock clock_;
  RunWatch watch_{[](const std::string& line) { ADD_FAILURE() << line; }};
  std::unique_ptr<Machine> machine_;
  LockHandle root_;
};

}  // namespace quorle::selftest
