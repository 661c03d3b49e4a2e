#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "explore/call.h"
#include "explore/outcome.h"
#include "platform/dos.h"
#include "platform/further_dos.h"
#include "platform/handles.h"

namespace quorle::explore {

/// The most bytes that one call reads or writes.
inline constexpr std::int32_t kMostBytes = 8 << 20;

/// One of the devices that calls are made on, with the objects that a sequence holds there.
///
/// Names are relative to the directory that Begin() names, or to that of SetCurrentDir(); ":" is the
/// root of the volume. A number without an object stands for none; a number that has one already
/// gives that back first. A current directory whose lock goes is left before.
class Side {
 public:
  /// `device` has its colon. The references must outlive this, and nobody else makes calls on them
  /// between Begin() and End().
  Side(DosInterface& dos, FurtherDosInterface& further, std::string device);
  Side(const Side&) = delete;
  Side& operator=(const Side&) = delete;
  ~Side() { End(); }

  /// Makes the directory `name` of the device the one that names are relative to; "" is the root.
  /// Returns 0, or the code with which locking it failed.
  std::int32_t Begin(const std::string& name);
  /// Gives everything back that is held, objects made last first, and leaves the directory.
  void End();
  /// Whether Begin() has been called and End() has not.
  bool has_begun() const { return static_cast<bool>(base_); }

  /// Makes `call`.
  void Make(const Call& call, Outcome& outcome);
  /// The record of the object `name` itself, valid until the next call; null with `code`.
  const ExamineData* Look(const char* name, std::int32_t& code);
  /// The record of the lock or file with that number, valid until the next call; null with `code`.
  const ExamineData* LookAt(Argument kind, std::uint8_t number, std::int32_t& code);

  /// Whether the object with that number is there; `kind` is one of Argument's four.
  bool Has(Argument kind, std::uint8_t number) const;
  /// Which numbers have an object: a bit each, bit 1 for the number 1.
  std::uint16_t Held(Argument kind) const;
  /// The lock with that number; none where there is none.
  LockHandle LockOf(std::uint8_t number) const { return locks_[number]; }
  DosInterface& dos() { return dos_; }
  FurtherDosInterface& further() { return further_; }
  const std::string& device() const { return device_; }
  /// The directory that names are relative to.
  LockHandle base() const { return base_; }

 private:
  template <class Handle>
  using Numbered = std::array<Handle, kMostObjects + 1>;

  template <class Handle>
  static std::uint16_t BitsOf(const Numbered<Handle>& objects);

  void Refuse(Outcome& outcome, std::int64_t value);
  void Truth(Outcome& outcome, bool done);
  void Number(Outcome& outcome, std::int64_t value);
  void Record(Outcome& outcome, const ExamineData* record);
  template <class Handle, class Release>
  void Keep(Outcome& outcome, Numbered<Handle>& objects, const Call& call, Handle made,
            Release release);
  void KeepLock(Outcome& outcome, const Call& call, LockHandle lock);
  void KeepFile(Outcome& outcome, const Call& call, FileHandle file);
  void KeepScan(Outcome& outcome, const Call& call, DirContextHandle scan);
  template <class Handle>
  static Handle& At(Numbered<Handle>& objects, std::int64_t number);
  void FreeRecord();
  /// Leaves the current directory when its lock is the one with that number.
  void LeaveBefore(std::int64_t lock);
  void Read(Outcome& outcome, FileHandle file, std::int64_t bytes);
  void Write(Outcome& outcome, FileHandle file, const Call& call);
  void ReadLink(Outcome& outcome, LockHandle lock, const Call& call);
  void MakeFiles(Outcome& outcome, const Call& call);
  void MakeOnFiles(const Call& call, Outcome& outcome);
  void MakeOnLocks(const Call& call, Outcome& outcome);
  void MakeOnObjects(const Call& call, Outcome& outcome);
  void MakeOnVolume(const Call& call, Outcome& outcome);
  void MakeFurther(const Call& call, Outcome& outcome);

  DosInterface& dos_;
  FurtherDosInterface& further_;
  std::string device_;
  LockHandle base_;
  LockHandle outside_;        ///< what was the current directory before Begin()
  std::int64_t current_ = 0;  ///< the number of the lock that is the current directory; 0: base_
  Numbered<LockHandle> locks_{};
  Numbered<FileHandle> files_{};
  Numbered<DirContextHandle> scans_{};
  Numbered<NotifyHandle> requests_{};
  const ExamineData* record_ = nullptr;  ///< to be freed before the next call
  std::vector<std::uint8_t> buffer_;
  std::string name_;
};

}  // namespace quorle::explore
