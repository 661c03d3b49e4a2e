#pragma once

#include <cstdint>

#include "handlers/deviate/deviation.h"
#include "quorle/handler.h"

namespace quorle::deviate {

/// The platform's true, as a handler returns it.
inline constexpr std::int32_t kTrue = -1;

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
      0;  ///< of a lock, an open, a seek, the lock of OpenFromLock(); the state of a protection, or of Inhibit()
  std::int64_t number = 0;  ///< position, size, byte count, mask, owner, group, pass key, DOS type
  ::DateStamp date{};
  void* buffer = nullptr;
  const void* data = nullptr;
  ::InfoData* info = nullptr;
  const ::TagItem* tags = nullptr;
  ::FileHandle* other_file = nullptr;  ///< of SameFile()
  ::PRIVATE_ExamineDirContext* scan = nullptr;
  ::NotifyRequest* request = nullptr;
  std::int64_t length = 0;  ///< of a record, which begins at `number`
  std::uint32_t ticks = 0;  ///< for which a lock on a record is waited

  std::int64_t result = 0;  ///< a truth value, a count, a position, a size
  ::Lock* given_lock = nullptr;
  ::ExamineData* record = nullptr;
  std::int32_t res2 = 0;
};

/// What the operation returns.
bool GivesLock(Op op);
bool GivesRecord(Op op);
/// A number of bytes, a position or a size, and -1 on failure.
bool GivesNumber(Op op);

/// Whether the call failed. ParentDir() of the root did not.
bool Failed(const Call& call);

/// Makes `call` one that failed with `code`.
void Fail(Call& call, std::int32_t code);

/// Makes `call` by the functions of `vectors`. A missing one answers 209.
void Perform(const ::FileSystemVectors& vectors, ::FileSystemVectorPort& port, Call& call);

/// Takes the call in place of the function that dos called.
class Interceptor {
 public:
  virtual void Intercept(Call& call) = 0;
  virtual void InterceptUnLock(::Lock* lock) = 0;
  /// The functions that the port had before, and what was its DOSPrivate.
  virtual const ::FileSystemVectors& OwnVectors() const = 0;

 protected:
  ~Interceptor() = default;
};

/// Replaces those functions of `port` that are there by ones that hand each call to `interceptor`.
/// What has no Op is called as it was.
void Divert(::FileSystemVectorPort& port, Interceptor& interceptor);

}  // namespace quorle::deviate
