#pragma once

#include <cstdint>

#include "handlers/deviate/deviation.h"
#include "quorle/handler.h"

namespace quorle::deviate {

/// One call of a function of the vector table: its arguments, as far as it has them, and what came
/// of it.
struct Call {
  Op op;

  ::Lock* rel = nullptr;  ///< with `name`; null: the root
  const char* name = nullptr;
  ::Lock* lock = nullptr;
  ::FileHandle* file = nullptr;
  ::Lock* other = nullptr;  ///< a second lock: of SameLock(), the target of a hard link, Rename()
  const char* text = nullptr;  ///< new name, comment, what a soft link holds, label
  std::int32_t mode =
      0;  ///< of a lock, an open, a seek, the lock of OpenFromLock(); the state of a protection
  std::int64_t number = 0;  ///< position, size, byte count, mask, owner, group, pass key
  ::DateStamp date{};
  void* buffer = nullptr;
  const void* data = nullptr;
  ::InfoData* info = nullptr;
  const ::TagItem* tags = nullptr;

  std::int64_t result = 0;  ///< a truth value, a count, a position, a size
  ::Lock* given_lock = nullptr;
  ::ExamineData* record = nullptr;
  std::int32_t res2 = 0;
};

/// What the operation gives.
constexpr bool GivesLock(Op op) {
  return op == Op::kLock || op == Op::kDupLock || op == Op::kCreateDir || op == Op::kParentDir ||
         op == Op::kDupLockFromFH || op == Op::kParentOfFH;
}
constexpr bool GivesRecord(Op op) {
  return op == Op::kExamineObj || op == Op::kExamineLock || op == Op::kExamineFile;
}
/// A number of bytes, a position or a size, and -1 on failure.
constexpr bool GivesNumber(Op op) {
  return op == Op::kRead || op == Op::kWrite || op == Op::kGetFilePosition ||
         op == Op::kGetFileSize || op == Op::kReadSoftLink;
}

/// Whether the call failed. ParentDir() of the root did not.
inline bool Failed(const Call& call) {
  if (call.op == Op::kParentDir) return call.given_lock == nullptr && call.res2 != 0;
  if (GivesLock(call.op)) return call.given_lock == nullptr;
  if (GivesRecord(call.op)) return call.record == nullptr;
  return GivesNumber(call.op) ? call.result < 0 : call.result == 0;
}

/// Makes `call` by the functions of `vectors`. A missing one answers 209.
void Perform(const ::FileSystemVectors& vectors, ::FileSystemVectorPort& port, Call& call);

/// Takes the call in place of the function that dos called.
class Interceptor {
 public:
  virtual void Intercept(Call& call) = 0;
  virtual void InterceptUnLock(::Lock* lock) = 0;

 protected:
  ~Interceptor() = default;
};

/// Replaces those functions of `port` that are there by ones that hand each call to `interceptor`.
/// What has no Op stays as it is.
void Divert(::FileSystemVectorPort& port, Interceptor& interceptor);

}  // namespace quorle::deviate
