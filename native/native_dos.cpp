#include "native/native_dos.h"

#include "native/formatted_message.h"
#include "platform/constants.h"

namespace quorle::native {
namespace {

// dos's tags that only these calls use.
constexpr std::uint32_t TAG_DONE = 0;
constexpr std::uint32_t FSA_MsgPortInput = 0x8000232C;
constexpr std::uint32_t FSA_DOSTypeR = 0x80002335;
constexpr std::uint32_t FSA_VersionStringR = 0x8000233D;
constexpr std::uint32_t FSA_VersionStringR_BufSize = 0x8000233E;
constexpr std::uint32_t TDR_Timeout = 0x80000DAE;
constexpr std::uint32_t TDR_FormatString = 0x80000DB1;
constexpr std::uint32_t TDR_GadgetString = 0x80000DB3;
constexpr std::uint32_t TDR_ImageType = 0x80000DB4;

constexpr std::uint32_t kNoVolumeRequired = 0;

MsgPort* PortAt(PortHandle port) {
  return At<MsgPort>(port.value);
}

/// The BPTR of a length-prefixed text, whose address 4 divides.
Bptr ToBptr(const std::uint8_t* text) {
  return Word(text) >> 2;
}

ExamineData ForTester(const ExamineDataRecord& record) {
  return {.Type = record.Type,
          .FileSize = record.FileSize,
          .Date = record.Date,
          .RefCount = record.RefCount,
          .ObjectID = record.ObjectID,
          .Name = record.Name,
          .Comment = record.Comment,
          .Link = record.Link,
          .Protection = record.Protection,
          .OwnerUID = record.OwnerUID,
          .OwnerGID = record.OwnerGID};
}

/// The record whose first part the tester was shown.
DevProcRecord* RecordOf(const DevProc* devproc) {
  return At<DevProcRecord>(Word(devproc));
}

}  // namespace

// ---- Files -------------------------------------------------------------------------------------

FileHandle NativeDos::Open(const char* name, std::int32_t mode) {
  return {dos_->Open(dos_, name, mode)};
}

bool NativeDos::Close(FileHandle file) {
  return dos_->Close(dos_, file.value) != 0;
}

std::int32_t NativeDos::Read(FileHandle file, void* buffer, std::int32_t bytes) {
  return dos_->Read(dos_, file.value, buffer, bytes);
}

std::int32_t NativeDos::Write(FileHandle file, const void* data, std::int32_t bytes) {
  return dos_->Write(dos_, file.value, data, bytes);
}

bool NativeDos::ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) {
  return dos_->ChangeFilePosition(dos_, file.value, position, mode) != 0;
}

std::int64_t NativeDos::GetFilePosition(FileHandle file) {
  return dos_->GetFilePosition(dos_, file.value);
}

bool NativeDos::ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) {
  return dos_->ChangeFileSize(dos_, file.value, size, mode) != 0;
}

std::int64_t NativeDos::GetFileSize(FileHandle file) {
  return dos_->GetFileSize(dos_, file.value);
}

bool NativeDos::ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) {
  return dos_->ChangeMode(dos_, type, lock.value, mode) != 0;
}

bool NativeDos::ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) {
  return dos_->ChangeMode(dos_, type, file.value, mode) != 0;
}

// ---- Locks -------------------------------------------------------------------------------------

LockHandle NativeDos::Lock(const char* name, std::int32_t mode) {
  return {dos_->Lock(dos_, name, mode)};
}

void NativeDos::UnLock(LockHandle lock) {
  dos_->UnLock(dos_, lock.value);
}

LockHandle NativeDos::DupLock(LockHandle lock) {
  return {dos_->DupLock(dos_, lock.value)};
}

LockHandle NativeDos::DupLockFromFH(FileHandle file) {
  return {dos_->DupLockFromFH(dos_, file.value)};
}

FileHandle NativeDos::OpenFromLock(LockHandle lock) {
  return {dos_->OpenFromLock(dos_, lock.value)};
}

LockHandle NativeDos::ParentDir(LockHandle lock) {
  return {dos_->ParentDir(dos_, lock.value)};
}

LockHandle NativeDos::ParentOfFH(FileHandle file) {
  return {dos_->ParentOfFH(dos_, file.value)};
}

std::int32_t NativeDos::SameLock(LockHandle a, LockHandle b) {
  return dos_->SameLock(dos_, a.value, b.value);
}

LockHandle NativeDos::SetCurrentDir(LockHandle lock) {
  return {dos_->SetCurrentDir(dos_, lock.value)};
}

// ---- Objects, links, attributes ----------------------------------------------------------------

LockHandle NativeDos::CreateDir(const char* name) {
  return {dos_->CreateDir(dos_, name)};
}

LockHandle NativeDos::CreateDirTree(const char* path) {
  return {dos_->CreateDirTree(dos_, path)};
}

bool NativeDos::Delete(const char* name) {
  return dos_->Delete(dos_, name) != 0;
}

bool NativeDos::Rename(const char* old_name, const char* new_name) {
  return dos_->Rename(dos_, old_name, new_name) != 0;
}

bool NativeDos::MakeLink(const char* name, LockHandle target, std::int32_t kind) {
  return dos_->MakeLink(dos_, name, target.value, kind) != 0;
}

bool NativeDos::MakeLink(const char* name, const char* target, std::int32_t kind) {
  return dos_->MakeLink(dos_, name, Word(target), kind) != 0;
}

std::int32_t NativeDos::ReadSoftLink(PortHandle port, LockHandle lock, const char* name,
                                     char* buffer, std::int32_t size) {
  return dos_->ReadSoftLink(dos_, PortAt(port), lock.value, name, buffer, size);
}

bool NativeDos::SetComment(const char* name, const char* comment) {
  return dos_->SetComment(dos_, name, comment) != 0;
}

bool NativeDos::SetProtection(const char* name, std::uint32_t mask) {
  return dos_->SetProtection(dos_, name, mask) != 0;
}

bool NativeDos::SetDate(const char* name, const quorle::DateStamp& date) {
  return dos_->SetDate(dos_, name, &date) != 0;
}

bool NativeDos::SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) {
  const TagItem tags[] = {{OI_StringNameInput, Word(name)}, {id_tag, id}, {TAG_DONE, 0}};
  return dos_->SetOwnerInfo(dos_, tags) != 0;
}

void NativeDos::DateStamp(quorle::DateStamp& now) {
  dos_->DateStamp(dos_, &now);
}

const ExamineData* NativeDos::ExamineObject(std::uint32_t tag, const char* name) {
  return Examine(tag, Word(name));
}

const ExamineData* NativeDos::ExamineObject(std::uint32_t tag, FileHandle file) {
  return Examine(tag, file.value);
}

const ExamineData* NativeDos::ExamineObject(std::uint32_t tag, LockHandle lock) {
  return Examine(tag, lock.value);
}

const ExamineData* NativeDos::Examine(std::uint32_t tag, std::uint32_t object) {
  const TagItem tags[] = {{tag, object}, {TAG_DONE, 0}};
  ExamineDataRecord* const record = dos_->ExamineObject(dos_, tags);
  if (record == nullptr) return nullptr;
  for (Examined& place : examined_) {
    if (place.record != nullptr) continue;
    place = {.data = ForTester(*record), .record = record};
    return &place.data;
  }
  // As if the platform had been short of memory.
  dos_->FreeDosObject(dos_, DOS_EXAMINEDATA, record);
  dos_->SetIoErr(dos_, ERROR_NO_FREE_STORE);
  return nullptr;
}

void NativeDos::FreeDosObject(std::uint32_t type, const ExamineData* data) {
  ExamineDataRecord* record = nullptr;
  for (Examined& place : examined_) {
    if (data == &place.data) record = std::exchange(place.record, nullptr);
  }
  dos_->FreeDosObject(dos_, type, record);
}

// ---- Volumes and handlers ----------------------------------------------------------------------

const DevProc* NativeDos::GetDeviceProc(const char* name, const DevProc* previous) {
  DevProcRecord* const record = dos_->GetDeviceProc(dos_, name, RecordOf(previous));
  return record == nullptr ? nullptr : &record->seen;
}

void NativeDos::FreeDeviceProc(const DevProc* devproc) {
  dos_->FreeDeviceProc(dos_, RecordOf(devproc));
}

bool NativeDos::IsFileSystem(PortHandle port) {
  return dos_->IsFileSystemPort(dos_, PortAt(port)) != 0;
}

bool NativeDos::DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) {
  return dos_->DevNameFromPort(dos_, PortAt(port), buffer, size, add_colon ? 1 : 0) != 0;
}

bool NativeDos::VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) {
  return dos_->NameFromPort(dos_, PortAt(port), buffer, size, add_colon ? 1 : 0) != 0;
}

bool NativeDos::FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                               std::uint32_t& dos_type) {
  const TagItem tags[] = {{FSA_MsgPortInput, Word(PortAt(port))},
                          {FSA_VersionStringR, Word(version)},
                          {FSA_VersionStringR_BufSize, version_size},
                          {FSA_DOSTypeR, Word(&dos_type)},
                          {TAG_DONE, 0}};
  return dos_->FileSystemAttr(dos_, tags) != 0;
}

bool NativeDos::GetDiskInfo(PortHandle port, InfoData& info) {
  const TagItem tags[] = {{GDI_MsgPortInput, Word(PortAt(port))},
                          {GDI_VolumeRequired, kNoVolumeRequired},
                          {GDI_InfoData, Word(&info)},
                          {TAG_DONE, 0}};
  return dos_->GetDiskInfo(dos_, tags) != 0;
}

bool NativeDos::GetDiskInfo(const char* device, InfoData& info) {
  const TagItem tags[] = {{GDI_StringNameInput, Word(device)},
                          {GDI_VolumeRequired, kNoVolumeRequired},
                          {GDI_InfoData, Word(&info)},
                          {TAG_DONE, 0}};
  return dos_->GetDiskInfo(dos_, tags) != 0;
}

bool NativeDos::Relabel(const char* device, const char* volume) {
  return dos_->Relabel(dos_, device, volume) != 0;
}

bool NativeDos::WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                                   std::uint32_t reserved) {
  return dos_->WriteProtectVolume(dos_, device, on ? 1 : 0, key, reserved) != 0;
}

void* NativeDos::SetProcWindow(void* window) {
  return dos_->SetProcWindow(dos_, window);
}

LockHandle NativeDos::DoPkt(PortHandle port, std::int32_t action, LockHandle lock,
                            const std::uint8_t* name, std::int32_t arg3, std::int32_t arg4,
                            const std::uint8_t* arg5) {
  return {dos_->DoPkt(dos_, PortAt(port), action, lock.value, ToBptr(name),
                      static_cast<std::uint32_t>(arg3), static_cast<std::uint32_t>(arg4),
                      ToBptr(arg5))};
}

bool NativeDos::CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) {
  dos_->CopyStringCToBSTR(dos_, text, ToBptr(buffer), size);
  // Its result is not the same in all versions; the length byte shows it.
  return text[buffer[0]] == '\0';
}

// ---- Records in place --------------------------------------------------------------------------

FileLock NativeDos::FileLockOf(LockHandle lock) {
  if (!lock) return {};
  return {{Word(Behind<FileLockRecord>(lock.value)->fl_Port)}};
}

PortRecord NativeDos::PortRecordOf(PortHandle port) {
  if (!port) return {};
  const auto* const vector_port = At<FileSystemVectorPort>(port.value);
  const std::uint8_t type = vector_port->MP.mp_Node.ln_Type;
  // A packet port has no table behind it.
  if (type != NT_FILESYSTEM) return {.node_type = type, .version = 0, .word78 = false};
  return {
      .node_type = type, .version = vector_port->Version, .word78 = vector_port->FSCreateDir != 0};
}

// ---- Command line, output, errors, signals -----------------------------------------------------

RdArgsHandle NativeDos::ReadArgs(const char* argument_template, ArgumentWord* words,
                                 RdArgsHandle rdargs) {
  return {Word(dos_->ReadArgs(dos_, argument_template, words, At<void>(rdargs.value)))};
}

void NativeDos::FreeArgs(RdArgsHandle rdargs) {
  dos_->FreeArgs(dos_, At<void>(rdargs.value));
}

void NativeDos::VPrintf(const char* format, const FormatArgument* args, std::size_t count) {
  const FormattedMessage message(format, args, count);
  dos_->VPrintf(dos_, message.format(), message.words());
}

void NativeDos::PutStr(const char* text) {
  dos_->PutStr(dos_, text);
}

std::int32_t NativeDos::IoErr() {
  return dos_->IoErr(dos_);
}

void NativeDos::SetIoErr(std::int32_t code) {
  dos_->SetIoErr(dos_, code);
}

std::uint32_t NativeDos::CheckSignal(std::uint32_t mask) {
  return dos_->CheckSignal(dos_, mask);
}

void NativeDos::Delay(std::uint32_t ticks) {
  dos_->Delay(dos_, ticks);
}

std::int32_t NativeDos::TimedDosRequesterTags(std::uint32_t timeout, const char* body,
                                              const char* buttons, std::int32_t image) {
  const TagItem tags[] = {{TDR_Timeout, timeout},
                          {TDR_FormatString, Word(body)},
                          {TDR_GadgetString, Word(buttons)},
                          {TDR_ImageType, static_cast<std::uint32_t>(image)},
                          {TAG_DONE, 0}};
  return dos_->TimedDosRequester(dos_, tags);
}

bool NativeDos::DateToStr(DateTime& date) {
  DateTimeRecord record = {.dat_Stamp = date.dat_Stamp,
                           .dat_Format = date.dat_Format,
                           .dat_Flags = date.dat_Flags,
                           .dat_StrDay = date.dat_StrDay,
                           .dat_StrDate = date.dat_StrDate,
                           .dat_StrTime = date.dat_StrTime};
  return dos_->DateToStr(dos_, &record) != 0;
}

}  // namespace quorle::native
