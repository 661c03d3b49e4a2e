#pragma once

#include <cstddef>
#include <cstdint>

#include "tests/further/vocabulary.h"

/// The steps of the groups "LockRecord()" and "UnLockRecord()".
namespace quorle {

/// What a step does.
enum class RecordAct : std::uint8_t { kLock, kUnLock, kClose };

/// A call for a range of bytes, and what must come of it.
struct RecordStep {
  RecordAct act;
  std::uint8_t handle;  ///< 0 to 2: of the file; 3: of another one
  std::int64_t offset;  ///< not of kClose, as is all that follows
  std::int64_t length;
  std::uint32_t mode;  ///< REC_..., of kLock
  std::int32_t code;   ///< with which it is refused; 0: it is not
};

/// Locks `length` bytes from `offset` on, in a REC_... mode.
constexpr RecordStep LockStep(std::uint8_t handle, std::int64_t offset, std::int64_t length,
                              std::uint32_t mode, std::int32_t code = 0) {
  return {RecordAct::kLock, handle, offset, length, mode, code};
}
/// Releases them.
constexpr RecordStep UnLockStep(std::uint8_t handle, std::int64_t offset, std::int64_t length,
                                std::int32_t code = 0) {
  return {RecordAct::kUnLock, handle, offset, length, 0, code};
}
constexpr RecordStep CloseStep(std::uint8_t handle) {
  return {RecordAct::kClose, handle, 0, 0, 0, 0};
}

/// Two scratch files with handles.
class [[nodiscard]] RecordFiles {
 public:
  /// The size of the first one in bytes.
  static constexpr std::int32_t kSize = 100;

  /// Makes and opens them. What goes wrong is printed; `number` is what a CLEANUP ERROR calls the first.
  RecordFiles(TestContext& ctx, const char* label, std::uint32_t number);
  /// Closes and removes them.
  ~RecordFiles();
  RecordFiles(const RecordFiles&) = delete;
  RecordFiles& operator=(const RecordFiles&) = delete;

  /// Whether all of them are open.
  explicit operator bool() const { return is_open_; }
  FileHandle handle(std::uint8_t number) const { return handles_[number]; }

  /// Makes the steps in their order, until one comes out wrong. `when` says what the others have locked,
  /// for messages: "beside a shared lock on 10 to 19". Returns the status.
  template <std::size_t count>
  std::int32_t Run(const RecordStep (&steps)[count], const char* when) {
    std::int32_t status = kPassed;
    for (std::size_t i = 0; i < count && status == kPassed; ++i) status = Make(steps[i], when);
    return status;
  }

  /// Says it when dos did what the last step asked for, by the name of the group.
  void SayWhenEmulated();

 private:
  static constexpr std::uint8_t kHandles = 4;

  bool Open(std::uint8_t number, const char* name, std::int32_t mode);
  std::int32_t Make(const RecordStep& step, const char* when);
  std::int32_t Lock(const RecordStep& step, const char* when);
  std::int32_t UnLock(const RecordStep& step, const char* when);

  TestContext& ctx_;
  const char* label_;
  std::uint32_t number_;
  ScratchName name_;
  ScratchName other_name_;
  FileHandle handles_[kHandles];
  bool is_open_ = false;
};

}  // namespace quorle
