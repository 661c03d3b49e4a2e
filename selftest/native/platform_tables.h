#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/dos.h"
#include "platform/exec.h"
#include "platform/utility.h"
#include "selftest/native/gate.h"

namespace quorle::selftest {

/// The platform as a program finds it in memory: ExecBase, the own process, and three interfaces
/// with a method at each published offset that the tester may use. Every other method, and one that
/// did not exist in dos.library 53.90, ends the test with its number.
///
/// Behind them is somebody's ExecInterface. Locks, ports and the like become records at addresses
/// that are never used again, filled with rubbish where the program must not read. All numbers here
/// are written down again, from the platform's documentation: nothing is shared with the program
/// under test.
///
/// A call that no correct program makes (a record that was never handed out, a tag list that is not
/// understood) ends the process with status 97 and a line on standard error.
class PlatformTables {
 public:
  /// `exec` must outlive this.
  explicit PlatformTables(ExecInterface& exec);
  ~PlatformTables();
  PlatformTables(const PlatformTables&) = delete;
  PlatformTables& operator=(const PlatformTables&) = delete;

  Gate& gate() { return gate_; }
  void* exec_base() { return exec_base_.data(); }

  /// What is out of balance after the program has returned, as a text; empty when nothing is.
  std::string Imbalance() const;

  /// How many examine records the program held at a time, at most.
  std::size_t most_examined() const { return most_examined_; }

 private:
  struct Calls;
  struct Table;
  struct TagList;
  using Record = std::vector<unsigned char>;

  /// The object whose table `self` is; checks what every call must keep.
  static PlatformTables& Served(Table* self, std::uint32_t which);

  void Fill(Table& table, std::uint32_t which, std::uint32_t end);
  void Publish(Table& table, std::uint32_t offset, const void* function);
  void PublishExec();
  void PublishDos();
  void PublishUtility();

  Record& NewRecord(std::size_t bytes);
  std::uint32_t ToProgram(LockHandle lock);
  std::uint32_t ToProgram(FileHandle file);
  std::uint32_t ToProgram(PortHandle port);
  LockHandle LockOf(std::uint32_t bptr) const;
  FileHandle FileOf(std::uint32_t bptr) const;
  PortHandle PortOf(std::uint32_t address) const;
  void* ToProgram(const ExamineData* data);

  ExecInterface& exec_;
  DosInterface* dos_ = nullptr;          ///< while the program has its interface
  UtilityInterface* utility_ = nullptr;  ///< the same
  Interface* dos_interface_ = nullptr;
  Interface* utility_interface_ = nullptr;

  Gate gate_{};
  Record exec_base_;
  Record process_;
  std::uint32_t process_port_ = 0;  ///< the platform's own handle
  std::unique_ptr<Table> tables_[3];
  std::deque<Method> methods_;
  MethodCode* code_ = nullptr;
  std::size_t code_used_ = 0;

  std::deque<Record> records_;
  std::map<std::uint32_t, LockHandle> locks_;
  std::map<std::uintptr_t, std::uint32_t> lock_addresses_;
  std::map<std::uint32_t, FileHandle> files_;
  std::map<std::uint32_t, PortHandle> ports_;
  std::map<std::uintptr_t, Record*> port_records_;
  std::map<std::uint32_t, const ExamineData*> examined_;
  std::size_t most_examined_ = 0;
  std::map<std::uint32_t, const DevProc*> devprocs_;
  struct OpenLibrary {
    const Library* library;
    std::string name;
  };
  std::map<std::uint32_t, OpenLibrary> libraries_;
  std::int32_t obtained_ = 0;
  std::int32_t forbidden_ = 0;
  bool from_desktop_ = false;
};

}  // namespace quorle::selftest
