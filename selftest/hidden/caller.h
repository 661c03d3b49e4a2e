#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/constants.h"
#include "platform/further_dos.h"
#include "selftest/support/test_bench.h"

namespace quorle::selftest {

/// `parts` with blanks between them. The braces have them made in their order.
std::string Joined(std::initializer_list<std::string> parts);

/// A program with a volume in memory, DH0:, whose root is its current directory; what comes of its calls
/// is text, to be compared.
class Caller {
 public:
  /// Over the volume lies `deviation`; none when empty.
  explicit Caller(std::string_view deviation);
  ~Caller();
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  DosInterface& dos();
  FurtherDosInterface& further();

  /// "TRUE", or "FALSE" and the error code.
  std::string Result(bool ok);

  /// Makes an object; returns nothing, since it is no part of what is tried.
  void Put(const char* name, const std::string& data = {});
  void MakeDirectory(const char* name);
  void HardLink(const char* name, const char* target);

  /// Writes `data` at `position` of the file, opened in `mode`, and closes it.
  std::string WriteTo(const char* name, const std::string& data, std::int64_t position,
                      std::int32_t mode = MODE_OLDFILE);
  /// All that is in a file; a short text when it cannot be read.
  std::string Get(const char* name);
  /// What one handle reads from `position`.
  std::string Read(FileHandle file, std::int64_t position, std::int32_t bytes);

  std::string Lock(const char* name);
  std::string Rename(const char* from, const char* to) { return Result(dos().Rename(from, to)); }
  /// Size, comment, protection, date (days, minutes and ticks), number of names, of the object itself.
  std::string Size(const char* name);
  std::string Comment(const char* name);
  std::string Protection(const char* name);
  std::string Date(const char* name);
  std::string Links(const char* name);
  /// The names in a directory in the order of a scan, blanks between them.
  std::string Scan(const char* name);
  /// Blocks used and users of the volume.
  std::int64_t Blocks();
  std::int64_t Users();
  /// Unmounts the volume and mounts it again. What went wrong, or nothing.
  std::string Remount();
  /// What dos complains of when everything ends.
  std::string ShutDown();

 private:
  const ExamineData* Examine(const char* name);
  template <class Show>
  std::string Shown(const char* name, const Show& show);

  TestBench bench_;
  LockHandle root_;
};

}  // namespace quorle::selftest
