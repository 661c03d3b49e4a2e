#include "tests/further/data_file.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Contents";

}  // namespace

std::int32_t WriteStretch(TestContext& ctx, FileHandle file, const char* how, const Stretch& what) {
  const std::int32_t written = ctx.IDOS->Write(file, what.data, what.bytes);
  if (written == what.bytes) return kPassed;
  if (written == -1) {
    return Failure(ctx,
                   "\nERROR: Write() of %ld bytes at %lld failed in a file opened %s; #%n %m\n"
                   "       What a program saves through this handle is lost.\n\n",
                   what.bytes, what.position, how);
  }
  return Failure(
      ctx,
      "\nERROR: Write() of %ld bytes at %lld gave %ld in a file opened %s.\n"
      "       It writes all, or gives -1: programs that look for that lose the rest.\n\n",
      what.bytes, what.position, written, how);
}

std::int32_t ReadStretch(TestContext& ctx, FileHandle file, const Stretch& what,
                         std::uint8_t* buffer) {
  const std::int32_t count = ctx.IDOS->Read(file, buffer, what.bytes);
  if (count == -1) {
    return Failure(ctx,
                   "\nERROR: Read() of %ld bytes at %lld failed; #%n %m\n"
                   "       What a program has saved it cannot load.\n\n",
                   what.bytes, what.position);
  }
  if (count != what.bytes) {
    return Failure(ctx,
                   "\nERROR: Read() of %ld bytes at %lld gave %ld, and all of them were written.\n"
                   "       A program that loads a file at once has lost the rest.\n\n",
                   what.bytes, what.position, count);
  }
  for (std::int32_t i = 0; i < what.bytes; ++i) {
    if (buffer[i] == what.data[i]) continue;
    return Failure(
        ctx,
        "\nERROR: The byte at %lld of \"%s\" was read as %lu, and should have been %lu.\n"
        "       What a program has saved is not what it loads.\n\n",
        what.position + i, DataFile::kName, buffer[i], what.data[i]);
  }
  return kPassed;
}

// ---- DataFile ------------------------------------------------------------------------------------

DataFile::DataFile(TestContext& ctx, std::uint32_t most) : ctx_(ctx), work_(ctx, kLabel) {
  if (!work_) return;
  data_ = static_cast<std::uint8_t*>(ctx.IExec->AllocVecTags(most + kReadAtOnce));
  if (data_ == nullptr) {
    ctx.IDOS->Printf("\nERROR: %s test failed, cannot AllocVecTags(%lu).\n\n", kLabel,
                     most + kReadAtOnce);
    return;
  }
  buffer_ = data_ + most;
}

DataFile::~DataFile() {
  Close();
  if (work_) CleanUp(ctx_, kName, kLabel, 2);
  ctx_.IExec->FreeVec(data_);
}

bool DataFile::OpenFromLock(std::int32_t mode, const char* how) {
  DosInterface& dos = *ctx_.IDOS;
  const LockHandle lock = dos.Lock(kName, mode);
  if (!lock) return Take({}, how);
  const FileHandle file = dos.OpenFromLock(lock);
  if (!file) dos.UnLock(lock);
  return Take(file, how);
}

void DataFile::Close() {
  ctx_.IDOS->Close(file_);
  file_ = {};
}

bool DataFile::Take(FileHandle file, const char* how) {
  file_ = file;
  how_ = how;
  if (file) return true;
  ctx_.IDOS->Printf("\nERROR: %s test failed, cannot open \"%s\" %s; #%n %m\n\n", kLabel, kName,
                    how);
  return false;
}

std::int32_t DataFile::Write(FileHandle file, const char* how, std::uint32_t position,
                             std::int32_t bytes) {
  constexpr std::uint32_t kPeriod = 251;  // a prime: two blocks are never the same
  std::uint32_t next = (position + 100 * ++writes_) % kPeriod;
  for (std::int32_t i = 0; i < bytes; ++i) {
    data_[position + static_cast<std::uint32_t>(i)] = static_cast<std::uint8_t>(next + 1);
    next = next + 1 == kPeriod ? 0 : next + 1;
  }
  const std::uint32_t end = position + static_cast<std::uint32_t>(bytes);
  if (size_ < end) size_ = end;
  return WriteStretch(ctx_, file, how, {position, data_ + position, bytes});
}

std::int32_t DataFile::Make(std::int32_t bytes) {
  size_ = 0;
  if (!Open(MODE_NEWFILE, "in MODE_NEWFILE")) return kFailed;
  const std::int32_t status = Write(0, bytes);
  Close();
  return status;
}

bool DataFile::MoveTo(FileHandle file, std::uint32_t position) {
  if (ctx_.IDOS->ChangeFilePosition(file, position, OFFSET_BEGINNING)) return true;
  ctx_.IDOS->Printf("\nERROR: %s test failed, cannot ChangeFilePosition(%lu,'OB'); #%n %m\n\n",
                    kLabel, position);
  return false;
}

bool DataFile::Resize(std::uint32_t bytes) {
  size_ = bytes;
  if (ctx_.IDOS->ChangeFileSize(file_, bytes, OFFSET_BEGINNING)) return true;
  ctx_.IDOS->Printf("\nERROR: %s test failed, cannot ChangeFileSize(%lu,'OB'); #%n %m\n\n", kLabel,
                    bytes);
  return false;
}

bool DataFile::Adopt(std::uint32_t position) {
  const auto bytes = static_cast<std::int32_t>(size_ - position);
  if (ctx_.IDOS->Read(file_, data_ + position, bytes) == bytes) return true;
  ctx_.IDOS->Printf("\nERROR: %s test failed, cannot Read() %ld bytes at %lu; #%n %m\n\n", kLabel,
                    bytes, position);
  return false;
}

std::int32_t DataFile::CheckSize(FileHandle file) {
  const std::int64_t size = ctx_.IDOS->GetFileSize(file);
  if (size == size_) return kPassed;
  return Failure(ctx_,
                 "\nERROR: The size of \"%s\" is %lld, and should have been %lu.\n"
                 "       What a program has saved is not what it loads.\n\n",
                 kName, size, size_);
}

std::int32_t DataFile::Check() {
  DosInterface& dos = *ctx_.IDOS;
  const FileHandle file = dos.Open(kName, MODE_OLDFILE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_OLDFILE); #%n %m\n\n", kLabel,
               kName);
    return kFailed;
  }
  const std::int32_t status = CheckAll(file);
  dos.Close(file);
  return status;
}

std::int32_t DataFile::CheckAll(FileHandle file) {
  std::int32_t status = CheckSize(file);
  if (status != kPassed) return status;
  for (std::uint32_t position = 0; position < size_; position += kReadAtOnce) {
    const std::uint32_t left = size_ - position;
    const std::int32_t bytes = left < kReadAtOnce ? static_cast<std::int32_t>(left) : kReadAtOnce;
    status = Read(file, position, bytes);
    if (status != kPassed) return status;
  }
  const std::int32_t count = ctx_.IDOS->Read(file, buffer_, 1);
  if (count == 0) return kPassed;
  return Failure(
      ctx_,
      "\nERROR: Read() at the end of a file of %lu bytes gave %ld, and should have given 0.\n"
      "       A program that reads until the end does not find it.\n\n",
      size_, count);
}

}  // namespace quorle
