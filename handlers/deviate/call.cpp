#include "handlers/deviate/call.h"

#include <array>
#include <cstddef>
#include <tuple>
#include <type_traits>
#include <utility>

#include "calls/vector_table.h"

namespace quorle::deviate {
namespace {

using Port = ::FileSystemVectorPort;
using Vectors = ::FileSystemVectors;

Interceptor& InterceptorOf(Port* vp) {
  return *static_cast<Interceptor*>(vp->FSV.DOSPrivate);
}

/// The function that `op` stands for, and the parts of a Call that are its arguments, in order.
template <Op op, auto function, auto... fields>
struct Operation {
  static constexpr Op kOp = op;
  static constexpr auto kFunction = function;

  template <class... Args>
  static void SetArguments(Call& call, Args... args) {
    (SetArgument<fields>(call, args), ...);
    if constexpr (op == Op::kOpenFromLock) {
      call.mode = call.lock == nullptr ? SHARED_LOCK : call.lock->fl_Access;
    }
  }

  template <class Result, class... Args>
  static Result Invoke(Result (*own)(Port*, std::int32_t*, Args...), Port& port, Call& call) {
    return own(&port, &call.res2, Argument<fields, Args>(call)...);
  }

 private:
  template <auto field>
  static constexpr bool kIsDate = std::is_same_v<decltype(field), ::DateStamp Call::*>;

  template <auto field, class Arg>
  static void SetArgument(Call& call, Arg arg) {
    if constexpr (kIsDate<field>) {
      call.*field = *arg;
    } else {
      call.*field = static_cast<std::remove_reference_t<decltype(call.*field)>>(arg);
    }
  }
  template <auto field, class Arg>
  static Arg Argument(Call& call) {
    if constexpr (kIsDate<field>) {
      return &(call.*field);
    } else {
      return static_cast<Arg>(call.*field);
    }
  }
};

/// In the order of Op.
constexpr std::tuple kOperations{
    Operation<Op::kLock, &Vectors::FSLock, &Call::rel, &Call::name, &Call::mode>(),
    Operation<Op::kDupLock, &Vectors::FSDupLock, &Call::lock>(),
    Operation<Op::kCreateDir, &Vectors::FSCreateDir, &Call::rel, &Call::name>(),
    Operation<Op::kParentDir, &Vectors::FSParentDir, &Call::lock>(),
    Operation<Op::kDupLockFromFH, &Vectors::FSDupLockFromFH, &Call::file>(),
    Operation<Op::kOpenFromLock, &Vectors::FSOpenFromLock, &Call::file, &Call::lock>(),
    Operation<Op::kParentOfFH, &Vectors::FSParentOfFH, &Call::file>(),
    Operation<Op::kOpen, &Vectors::FSOpen, &Call::file, &Call::rel, &Call::name, &Call::mode>(),
    Operation<Op::kClose, &Vectors::FSClose, &Call::file>(),
    Operation<Op::kDelete, &Vectors::FSDelete, &Call::rel, &Call::name>(),
    Operation<Op::kRead, &Vectors::FSRead, &Call::file, &Call::buffer, &Call::number>(),
    Operation<Op::kWrite, &Vectors::FSWrite, &Call::file, &Call::data, &Call::number>(),
    Operation<Op::kChangeFilePosition, &Vectors::FSChangeFilePosition, &Call::file, &Call::mode,
              &Call::number>(),
    Operation<Op::kChangeFileSize, &Vectors::FSChangeFileSize, &Call::file, &Call::mode,
              &Call::number>(),
    Operation<Op::kGetFilePosition, &Vectors::FSGetFilePosition, &Call::file>(),
    Operation<Op::kGetFileSize, &Vectors::FSGetFileSize, &Call::file>(),
    Operation<Op::kChangeLockMode, &Vectors::FSChangeLockMode, &Call::lock, &Call::mode>(),
    Operation<Op::kChangeFileMode, &Vectors::FSChangeFileMode, &Call::file, &Call::mode>(),
    Operation<Op::kSetDate, &Vectors::FSSetDate, &Call::rel, &Call::name, &Call::date>(),
    Operation<Op::kSetProtection, &Vectors::FSSetProtection, &Call::rel, &Call::name,
              &Call::number>(),
    Operation<Op::kSetComment, &Vectors::FSSetComment, &Call::rel, &Call::name, &Call::text>(),
    Operation<Op::kSetGroup, &Vectors::FSSetGroup, &Call::rel, &Call::name, &Call::number>(),
    Operation<Op::kSetOwner, &Vectors::FSSetOwner, &Call::rel, &Call::name, &Call::number>(),
    Operation<Op::kRename, &Vectors::FSRename, &Call::rel, &Call::name, &Call::other,
              &Call::text>(),
    Operation<Op::kCreateSoftLink, &Vectors::FSCreateSoftLink, &Call::rel, &Call::name,
              &Call::text>(),
    Operation<Op::kCreateHardLink, &Vectors::FSCreateHardLink, &Call::rel, &Call::name,
              &Call::other>(),
    Operation<Op::kReadSoftLink, &Vectors::FSReadSoftLink, &Call::rel, &Call::name, &Call::buffer,
              &Call::number>(),
    Operation<Op::kSameLock, &Vectors::FSSameLock, &Call::lock, &Call::other>(),
    Operation<Op::kFileSystemAttr, &Vectors::FSFileSystemAttr, &Call::tags>(),
    Operation<Op::kDeviceInfoData, &Vectors::FSDeviceInfoData, &Call::info>(),
    Operation<Op::kExamineObj, &Vectors::FSExamineObj, &Call::rel, &Call::name>(),
    Operation<Op::kExamineLock, &Vectors::FSExamineLock, &Call::lock>(),
    Operation<Op::kExamineFile, &Vectors::FSExamineFile, &Call::file>(),
    Operation<Op::kWriteProtect, &Vectors::FSWriteProtect, &Call::mode, &Call::number>(),
    Operation<Op::kRelabel, &Vectors::FSRelabel, &Call::text>(),
    Operation<Op::kSameFile, &Vectors::FSSameFile, &Call::file, &Call::other_file>(),
    Operation<Op::kExamineDir, &Vectors::FSExamineDir, &Call::scan>(),
    Operation<Op::kVolumeInfoData, &Vectors::FSVolumeInfoData, &Call::info>(),
    Operation<Op::kAddNotify, &Vectors::FSAddNotify, &Call::request>(),
    Operation<Op::kRemoveNotify, &Vectors::FSRemoveNotify, &Call::request>(),
    Operation<Op::kFlush, &Vectors::FSFlush>(),
    Operation<Op::kInhibit, &Vectors::FSInhibit, &Call::mode>(),
    Operation<Op::kFormat, &Vectors::FSFormat, &Call::text, &Call::number>(),
    Operation<Op::kSerialize, &Vectors::FSSerialize>(),
    Operation<Op::kLockRecord, &Vectors::FSLockRecord, &Call::file, &Call::number, &Call::length,
              &Call::mode, &Call::ticks>(),
    Operation<Op::kUnLockRecord, &Vectors::FSUnLockRecord, &Call::file, &Call::number,
              &Call::length>(),
};

/// The part of a Call that a function with this result sets.
template <class Result>
auto& ResultOf(Call& call) {
  if constexpr (std::is_same_v<Result, ::Lock*>) {
    return call.given_lock;
  } else if constexpr (std::is_same_v<Result, ::ExamineData*>) {
    return call.record;
  } else {
    return call.result;
  }
}

// ---- The functions that dos calls ----------------------------------------------------------------

template <class Operation, class Result, class... Args>
Result Intercepted(Port* vp, std::int32_t* res2, Args... args) {
  Call call{.op = Operation::kOp};
  Operation::SetArguments(call, args...);
  InterceptorOf(vp).Intercept(call);
  *res2 = call.res2;
  return static_cast<Result>(ResultOf<Result>(call));
}

std::int32_t InterceptedUnLock(Port* vp, std::int32_t*, ::Lock* lock) {
  InterceptorOf(vp).InterceptUnLock(lock);
  return -1;
}

template <class Operation, class Result, class... Args>
void Replace(Vectors& vectors, calls::VectorMember<Result, Args...> function) {
  if (vectors.*function != nullptr) vectors.*function = Intercepted<Operation, Result, Args...>;
}

/// A function that stands for no Op: the handler's own, which finds in the port what was its own.
template <auto function, class Result, class... Args>
Result PassedOn(Port* vp, std::int32_t* res2, Args... args) {
  const Vectors& own = InterceptorOf(vp).OwnVectors();
  void* const mine = std::exchange(vp->FSV.DOSPrivate, own.DOSPrivate);
  const Result result = (own.*function)(vp, res2, args...);
  vp->FSV.DOSPrivate = mine;
  return result;
}

template <auto function, class Result, class... Args>
void PassOn(Vectors& vectors, calls::VectorMember<Result, Args...> slot) {
  if (vectors.*slot != nullptr) vectors.*slot = PassedOn<function, Result, Args...>;
}

// ---- The functions of a handler ------------------------------------------------------------------

template <class Operation, class Result, class... Args>
void PerformBy(const Vectors& vectors, Port& port, Call& call,
               calls::VectorMember<Result, Args...> function) {
  if (vectors.*function != nullptr) {
    call.res2 = 0;
    ResultOf<Result>(call) = Operation::Invoke(vectors.*function, port, call);
    return;
  }
  call.res2 = ERROR_ACTION_NOT_KNOWN;
  if constexpr (std::is_pointer_v<Result>) {
    ResultOf<Result>(call) = nullptr;
  } else {
    ResultOf<Result>(call) = GivesNumber(Operation::kOp) ? -1 : 0;
  }
}

/// An operation, whatever the type of its function.
struct AnyOperation {
  Op op;
  char result;  ///< as calls::VectorForm has it
  void (*perform)(const Vectors& vectors, Port& port, Call& call);
};

template <class Operation>
constexpr AnyOperation Any(Operation) {
  return {Operation::kOp, calls::kVector<Operation::kFunction>.result,
          [](const Vectors& vectors, Port& port, Call& call) {
            PerformBy<Operation>(vectors, port, call, Operation::kFunction);
          }};
}

constexpr auto kAll =
    std::apply([](auto... operations) { return std::array{Any(operations)...}; }, kOperations);

constexpr bool AreInTheOrderOfOp() {
  for (std::size_t i = 0; i < kAll.size(); ++i) {
    if (kAll[i].op != static_cast<Op>(i)) return false;
  }
  return true;
}
static_assert(AreInTheOrderOfOp());

const AnyOperation& OperationOf(Op op) {
  return kAll[static_cast<std::size_t>(op)];
}

}  // namespace

bool GivesLock(Op op) {
  const char result = OperationOf(op).result;
  return result == 'L' || result == 'O';
}

bool GivesRecord(Op op) {
  return OperationOf(op).result == 'E';
}

bool GivesNumber(Op op) {
  return OperationOf(op).result == '-';
}

bool Failed(const Call& call) {
  if (call.op == Op::kParentDir) return call.given_lock == nullptr && call.res2 != 0;
  if (GivesLock(call.op)) return call.given_lock == nullptr;
  if (GivesRecord(call.op)) return call.record == nullptr;
  return GivesNumber(call.op) ? call.result < 0 : call.result == 0;
}

void Fail(Call& call, std::int32_t code) {
  call.given_lock = nullptr;
  call.record = nullptr;
  call.result = GivesNumber(call.op) ? -1 : 0;
  call.res2 = code;
}

void Divert(::FileSystemVectorPort& port, Interceptor& interceptor) {
  Vectors& vectors = port.FSV;
  vectors.DOSPrivate = &interceptor;
  std::apply(
      [&vectors](auto... rows) {
        (PassOn<decltype(rows)::kFunction>(vectors, rows.kFunction), ...);
      },
      calls::kVectors);
  std::apply(
      [&vectors](auto... operations) {
        (Replace<decltype(operations)>(vectors, operations.kFunction), ...);
      },
      kOperations);
  if (vectors.FSUnLock != nullptr) vectors.FSUnLock = InterceptedUnLock;
}

void Perform(const ::FileSystemVectors& vectors, ::FileSystemVectorPort& port, Call& call) {
  OperationOf(call.op).perform(vectors, port, call);
}

}  // namespace quorle::deviate
