#include "handlers/deviate/call.h"

namespace quorle::deviate {
namespace {

using Port = ::FileSystemVectorPort;

/// Hands `call` to the interceptor of `vp`.
Call& Take(Port* vp, std::int32_t* res2, Call& call) {
  static_cast<Interceptor*>(vp->FSV.DOSPrivate)->Intercept(call);
  *res2 = call.res2;
  return call;
}

::Lock* TakeLock(Port* vp, std::int32_t* res2, Call call) {
  return Take(vp, res2, call).given_lock;
}

::ExamineData* TakeRecord(Port* vp, std::int32_t* res2, Call call) {
  return Take(vp, res2, call).record;
}

std::int64_t TakeNumber(Port* vp, std::int32_t* res2, Call call) {
  return Take(vp, res2, call).result;
}

std::int32_t TakeResult(Port* vp, std::int32_t* res2, Call call) {
  return static_cast<std::int32_t>(TakeNumber(vp, res2, call));
}

// ---- The functions that dos calls --------------------------------------------------------------

::Lock* FSLock(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name, std::int32_t mode) {
  return TakeLock(vp, res2, {.op = Op::kLock, .rel = rel, .name = name, .mode = mode});
}

std::int32_t FSUnLock(Port* vp, std::int32_t*, ::Lock* lock) {
  static_cast<Interceptor*>(vp->FSV.DOSPrivate)->InterceptUnLock(lock);
  return -1;
}

::Lock* FSDupLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
  return TakeLock(vp, res2, {.op = Op::kDupLock, .lock = lock});
}

::Lock* FSCreateDir(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  return TakeLock(vp, res2, {.op = Op::kCreateDir, .rel = rel, .name = name});
}

::Lock* FSParentDir(Port* vp, std::int32_t* res2, ::Lock* lock) {
  return TakeLock(vp, res2, {.op = Op::kParentDir, .lock = lock});
}

::Lock* FSDupLockFromFH(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return TakeLock(vp, res2, {.op = Op::kDupLockFromFH, .file = fh});
}

std::int32_t FSOpenFromLock(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* lock) {
  return TakeResult(vp, res2,
                    {.op = Op::kOpenFromLock,
                     .lock = lock,
                     .file = fh,
                     .mode = lock == nullptr ? SHARED_LOCK : lock->fl_Access});
}

::Lock* FSParentOfFH(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return TakeLock(vp, res2, {.op = Op::kParentOfFH, .file = fh});
}

std::int32_t FSOpen(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* rel, const char* name,
                    std::int32_t mode) {
  return TakeResult(vp, res2,
                    {.op = Op::kOpen, .rel = rel, .name = name, .file = fh, .mode = mode});
}

std::int32_t FSClose(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return TakeResult(vp, res2, {.op = Op::kClose, .file = fh});
}

std::int32_t FSDelete(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  return TakeResult(vp, res2, {.op = Op::kDelete, .rel = rel, .name = name});
}

std::int32_t FSRead(Port* vp, std::int32_t* res2, ::FileHandle* fh, void* buffer,
                    std::int32_t bytes) {
  return TakeResult(vp, res2, {.op = Op::kRead, .file = fh, .number = bytes, .buffer = buffer});
}

std::int32_t FSWrite(Port* vp, std::int32_t* res2, ::FileHandle* fh, const void* data,
                     std::int32_t bytes) {
  return TakeResult(vp, res2, {.op = Op::kWrite, .file = fh, .number = bytes, .data = data});
}

std::int32_t FSChangeFilePosition(Port* vp, std::int32_t* res2, ::FileHandle* fh, std::int32_t mode,
                                  std::int64_t position) {
  return TakeResult(vp, res2,
                    {.op = Op::kChangeFilePosition, .file = fh, .mode = mode, .number = position});
}

std::int32_t FSChangeFileSize(Port* vp, std::int32_t* res2, ::FileHandle* fh, std::int32_t mode,
                              std::int64_t size) {
  return TakeResult(vp, res2,
                    {.op = Op::kChangeFileSize, .file = fh, .mode = mode, .number = size});
}

std::int64_t FSGetFilePosition(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return TakeNumber(vp, res2, {.op = Op::kGetFilePosition, .file = fh});
}

std::int64_t FSGetFileSize(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return TakeNumber(vp, res2, {.op = Op::kGetFileSize, .file = fh});
}

std::int32_t FSChangeLockMode(Port* vp, std::int32_t* res2, ::Lock* lock, std::int32_t mode) {
  return TakeResult(vp, res2, {.op = Op::kChangeLockMode, .lock = lock, .mode = mode});
}

std::int32_t FSChangeFileMode(Port* vp, std::int32_t* res2, ::FileHandle* fh, std::int32_t mode) {
  return TakeResult(vp, res2, {.op = Op::kChangeFileMode, .file = fh, .mode = mode});
}

std::int32_t FSSetDate(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                       const ::DateStamp* date) {
  return TakeResult(vp, res2, {.op = Op::kSetDate, .rel = rel, .name = name, .date = *date});
}

std::int32_t FSSetProtection(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                             std::uint32_t mask) {
  return TakeResult(vp, res2, {.op = Op::kSetProtection, .rel = rel, .name = name, .number = mask});
}

std::int32_t FSSetComment(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                          const char* comment) {
  return TakeResult(vp, res2, {.op = Op::kSetComment, .rel = rel, .name = name, .text = comment});
}

std::int32_t FSSetGroup(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                        std::uint32_t group) {
  return TakeResult(vp, res2, {.op = Op::kSetGroup, .rel = rel, .name = name, .number = group});
}

std::int32_t FSSetOwner(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                        std::uint32_t owner) {
  return TakeResult(vp, res2, {.op = Op::kSetOwner, .rel = rel, .name = name, .number = owner});
}

std::int32_t FSRename(Port* vp, std::int32_t* res2, ::Lock* source_rel, const char* source,
                      ::Lock* destination_rel, const char* destination) {
  return TakeResult(vp, res2,
                    {.op = Op::kRename,
                     .rel = source_rel,
                     .name = source,
                     .other = destination_rel,
                     .text = destination});
}

std::int32_t FSCreateSoftLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                              const char* target) {
  return TakeResult(vp, res2,
                    {.op = Op::kCreateSoftLink, .rel = rel, .name = name, .text = target});
}

std::int32_t FSCreateHardLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                              ::Lock* target) {
  return TakeResult(vp, res2,
                    {.op = Op::kCreateHardLink, .rel = rel, .name = name, .other = target});
}

std::int32_t FSReadSoftLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                            char* buffer, std::int32_t size) {
  return TakeResult(
      vp, res2,
      {.op = Op::kReadSoftLink, .rel = rel, .name = name, .number = size, .buffer = buffer});
}

std::int32_t FSSameLock(Port* vp, std::int32_t* res2, ::Lock* a, ::Lock* b) {
  return TakeResult(vp, res2, {.op = Op::kSameLock, .lock = a, .other = b});
}

std::int32_t FSFileSystemAttr(Port* vp, std::int32_t* res2, const ::TagItem* tags) {
  return TakeResult(vp, res2, {.op = Op::kFileSystemAttr, .tags = tags});
}

std::int32_t FSDeviceInfoData(Port* vp, std::int32_t* res2, ::InfoData* info) {
  return TakeResult(vp, res2, {.op = Op::kDeviceInfoData, .info = info});
}

::ExamineData* FSExamineObj(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  return TakeRecord(vp, res2, {.op = Op::kExamineObj, .rel = rel, .name = name});
}

::ExamineData* FSExamineLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
  return TakeRecord(vp, res2, {.op = Op::kExamineLock, .lock = lock});
}

::ExamineData* FSExamineFile(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return TakeRecord(vp, res2, {.op = Op::kExamineFile, .file = fh});
}

std::int32_t FSWriteProtect(Port* vp, std::int32_t* res2, std::int32_t state, std::uint32_t key) {
  return TakeResult(vp, res2, {.op = Op::kWriteProtect, .mode = state, .number = key});
}

std::int32_t FSRelabel(Port* vp, std::int32_t* res2, const char* volume) {
  return TakeResult(vp, res2, {.op = Op::kRelabel, .text = volume});
}

template <class Function>
void Replace(Function& function, Function by) {
  if (function != nullptr) function = by;
}

/// Calls `function`; where there is none, the result is `failure`.
template <class Result, class Function, class... Args>
Result Make(Function function, ::FileSystemVectorPort& port, Call& call, Result failure,
            Args... args) {
  call.res2 = 0;
  if (function != nullptr) return function(&port, &call.res2, args...);
  call.res2 = ERROR_ACTION_NOT_KNOWN;
  return failure;
}

}  // namespace

void Divert(::FileSystemVectorPort& port, Interceptor& interceptor) {
  ::FileSystemVectors& vectors = port.FSV;
  vectors.DOSPrivate = &interceptor;
  Replace(vectors.FSLock, FSLock);
  Replace(vectors.FSUnLock, FSUnLock);
  Replace(vectors.FSDupLock, FSDupLock);
  Replace(vectors.FSCreateDir, FSCreateDir);
  Replace(vectors.FSParentDir, FSParentDir);
  Replace(vectors.FSDupLockFromFH, FSDupLockFromFH);
  Replace(vectors.FSOpenFromLock, FSOpenFromLock);
  Replace(vectors.FSParentOfFH, FSParentOfFH);
  Replace(vectors.FSOpen, FSOpen);
  Replace(vectors.FSClose, FSClose);
  Replace(vectors.FSDelete, FSDelete);
  Replace(vectors.FSRead, FSRead);
  Replace(vectors.FSWrite, FSWrite);
  Replace(vectors.FSChangeFilePosition, FSChangeFilePosition);
  Replace(vectors.FSChangeFileSize, FSChangeFileSize);
  Replace(vectors.FSGetFilePosition, FSGetFilePosition);
  Replace(vectors.FSGetFileSize, FSGetFileSize);
  Replace(vectors.FSChangeLockMode, FSChangeLockMode);
  Replace(vectors.FSChangeFileMode, FSChangeFileMode);
  Replace(vectors.FSSetDate, FSSetDate);
  Replace(vectors.FSSetProtection, FSSetProtection);
  Replace(vectors.FSSetComment, FSSetComment);
  Replace(vectors.FSSetGroup, FSSetGroup);
  Replace(vectors.FSSetOwner, FSSetOwner);
  Replace(vectors.FSRename, FSRename);
  Replace(vectors.FSCreateSoftLink, FSCreateSoftLink);
  Replace(vectors.FSCreateHardLink, FSCreateHardLink);
  Replace(vectors.FSReadSoftLink, FSReadSoftLink);
  Replace(vectors.FSSameLock, FSSameLock);
  Replace(vectors.FSFileSystemAttr, FSFileSystemAttr);
  Replace(vectors.FSDeviceInfoData, FSDeviceInfoData);
  Replace(vectors.FSExamineObj, FSExamineObj);
  Replace(vectors.FSExamineLock, FSExamineLock);
  Replace(vectors.FSExamineFile, FSExamineFile);
  Replace(vectors.FSWriteProtect, FSWriteProtect);
  Replace(vectors.FSRelabel, FSRelabel);
}

void Perform(const ::FileSystemVectors& vectors, ::FileSystemVectorPort& port, Call& call) {
  const auto lock = [&](auto function, auto... args) {
    call.given_lock = Make<::Lock*>(function, port, call, nullptr, args...);
  };
  const auto record = [&](auto function, auto... args) {
    call.record = Make<::ExamineData*>(function, port, call, nullptr, args...);
  };
  const auto result = [&](auto function, auto... args) {
    call.result = Make<std::int64_t>(function, port, call, GivesNumber(call.op) ? -1 : 0, args...);
  };
  const auto bytes = static_cast<std::int32_t>(call.number);
  const auto word = static_cast<std::uint32_t>(call.number);
  switch (call.op) {
    case Op::kLock:
      return lock(vectors.FSLock, call.rel, call.name, call.mode);
    case Op::kDupLock:
      return lock(vectors.FSDupLock, call.lock);
    case Op::kCreateDir:
      return lock(vectors.FSCreateDir, call.rel, call.name);
    case Op::kParentDir:
      return lock(vectors.FSParentDir, call.lock);
    case Op::kDupLockFromFH:
      return lock(vectors.FSDupLockFromFH, call.file);
    case Op::kOpenFromLock:
      return result(vectors.FSOpenFromLock, call.file, call.lock);
    case Op::kParentOfFH:
      return lock(vectors.FSParentOfFH, call.file);
    case Op::kOpen:
      return result(vectors.FSOpen, call.file, call.rel, call.name, call.mode);
    case Op::kClose:
      return result(vectors.FSClose, call.file);
    case Op::kDelete:
      return result(vectors.FSDelete, call.rel, call.name);
    case Op::kRead:
      return result(vectors.FSRead, call.file, call.buffer, bytes);
    case Op::kWrite:
      return result(vectors.FSWrite, call.file, call.data, bytes);
    case Op::kChangeFilePosition:
      return result(vectors.FSChangeFilePosition, call.file, call.mode, call.number);
    case Op::kChangeFileSize:
      return result(vectors.FSChangeFileSize, call.file, call.mode, call.number);
    case Op::kGetFilePosition:
      return result(vectors.FSGetFilePosition, call.file);
    case Op::kGetFileSize:
      return result(vectors.FSGetFileSize, call.file);
    case Op::kChangeLockMode:
      return result(vectors.FSChangeLockMode, call.lock, call.mode);
    case Op::kChangeFileMode:
      return result(vectors.FSChangeFileMode, call.file, call.mode);
    case Op::kSetDate:
      return result(vectors.FSSetDate, call.rel, call.name, &call.date);
    case Op::kSetProtection:
      return result(vectors.FSSetProtection, call.rel, call.name, word);
    case Op::kSetComment:
      return result(vectors.FSSetComment, call.rel, call.name, call.text);
    case Op::kSetGroup:
      return result(vectors.FSSetGroup, call.rel, call.name, word);
    case Op::kSetOwner:
      return result(vectors.FSSetOwner, call.rel, call.name, word);
    case Op::kRename:
      return result(vectors.FSRename, call.rel, call.name, call.other, call.text);
    case Op::kCreateSoftLink:
      return result(vectors.FSCreateSoftLink, call.rel, call.name, call.text);
    case Op::kCreateHardLink:
      return result(vectors.FSCreateHardLink, call.rel, call.name, call.other);
    case Op::kReadSoftLink:
      return result(vectors.FSReadSoftLink, call.rel, call.name, static_cast<char*>(call.buffer),
                    bytes);
    case Op::kSameLock:
      return result(vectors.FSSameLock, call.lock, call.other);
    case Op::kFileSystemAttr:
      return result(vectors.FSFileSystemAttr, call.tags);
    case Op::kDeviceInfoData:
      return result(vectors.FSDeviceInfoData, call.info);
    case Op::kExamineObj:
      return record(vectors.FSExamineObj, call.rel, call.name);
    case Op::kExamineLock:
      return record(vectors.FSExamineLock, call.lock);
    case Op::kExamineFile:
      return record(vectors.FSExamineFile, call.file);
    case Op::kWriteProtect:
      return result(vectors.FSWriteProtect, call.mode, word);
    case Op::kRelabel:
      return result(vectors.FSRelabel, call.text);
  }
}

}  // namespace quorle::deviate
