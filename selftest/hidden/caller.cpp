#include "selftest/hidden/caller.h"

#include <stdexcept>
#include <vector>

#include "hosted/dos/machine.h"

namespace quorle::selftest {
namespace {

std::vector<std::string> MountWith(std::string_view deviation) {
  std::string mount = "DH0=ram";
  if (!deviation.empty()) mount += ",deviate=" + std::string(deviation);
  return {"--mount", mount, "DH0:"};
}

}  // namespace

std::string Joined(std::initializer_list<std::string> parts) {
  std::string text;
  const char* separator = "";
  for (const std::string& part : parts) {
    text += separator + part;
    separator = " ";
  }
  return text;
}

Caller::Caller(std::string_view deviation)
    : bench_(MountWith(deviation)), root_(dos().Lock("DH0:", SHARED_LOCK)) {
  dos().SetCurrentDir(root_);
}

Caller::~Caller() {
  dos().SetCurrentDir({});
  dos().UnLock(root_);
}

DosInterface& Caller::dos() {
  return bench_.machine().dos();
}

FurtherDosInterface& Caller::further() {
  return bench_.machine().further();
}

std::string Caller::Result(bool ok) {
  return ok ? "TRUE" : "FALSE " + std::to_string(dos().IoErr());
}

void Caller::Put(const char* name, const std::string& data) {
  if (WriteTo(name, data, 0, MODE_NEWFILE) != "TRUE") {
    throw std::runtime_error("cannot make " + std::string(name));
  }
}

void Caller::MakeDirectory(const char* name) {
  dos().UnLock(dos().CreateDir(name));
}

void Caller::HardLink(const char* name, const char* target) {
  const LockHandle lock = dos().Lock(target, SHARED_LOCK);
  dos().MakeLink(name, lock, LINK_HARD);
  dos().UnLock(lock);
}

std::string Caller::WriteTo(const char* name, const std::string& data, std::int64_t position,
                            std::int32_t mode) {
  const FileHandle file = dos().Open(name, mode);
  if (!file) return Result(false);
  const auto bytes = static_cast<std::int32_t>(data.size());
  if (position > 0) dos().ChangeFilePosition(file, position, OFFSET_BEGINNING);
  std::string result = Result(dos().Write(file, data.data(), bytes) == bytes);
  dos().Close(file);
  return result;
}

std::string Caller::Get(const char* name) {
  const FileHandle file = dos().Open(name, MODE_OLDFILE);
  if (!file) return Result(false);
  std::string data = Read(file, 0, static_cast<std::int32_t>(dos().GetFileSize(file)));
  dos().Close(file);
  return data;
}

std::string Caller::Read(FileHandle file, std::int64_t position, std::int32_t bytes) {
  std::string data(static_cast<std::size_t>(bytes), '\0');
  dos().ChangeFilePosition(file, position, OFFSET_BEGINNING);
  const std::int32_t count = dos().Read(file, data.data(), bytes);
  if (count < 0) return Result(false);
  return data.substr(0, static_cast<std::size_t>(count));
}

std::string Caller::Lock(const char* name) {
  const LockHandle lock = dos().Lock(name, SHARED_LOCK);
  std::string result = Result(static_cast<bool>(lock));
  dos().UnLock(lock);
  return result;
}

const ExamineData* Caller::Examine(const char* name) {
  return dos().ExamineObject(EX_ObjectNameInput, name);
}

template <class Show>
std::string Caller::Shown(const char* name, const Show& show) {
  const ExamineData* const record = Examine(name);
  if (record == nullptr) return Result(false);
  std::string text = show(*record);
  dos().FreeDosObject(DOS_EXAMINEDATA, record);
  return text;
}

std::string Caller::Size(const char* name) {
  return Shown(name, [](const ExamineData& record) { return std::to_string(record.FileSize); });
}

std::string Caller::Comment(const char* name) {
  return Shown(name, [](const ExamineData& record) { return std::string(record.Comment); });
}

std::string Caller::Protection(const char* name) {
  return Shown(name, [](const ExamineData& record) { return std::to_string(record.Protection); });
}

std::string Caller::Date(const char* name) {
  return Shown(name, [](const ExamineData& record) {
    return std::to_string(record.Date.ds_Days) + " " + std::to_string(record.Date.ds_Minute) + " " +
           std::to_string(record.Date.ds_Tick);
  });
}

std::string Caller::Links(const char* name) {
  return Shown(name, [](const ExamineData& record) { return std::to_string(record.RefCount); });
}

std::string Caller::Scan(const char* name) {
  const DirContextHandle scan = further().ObtainDirContext(EX_StringNameInput, name);
  std::string names;
  while (const ExamineData* const entry = further().ExamineDir(scan)) {
    if (!names.empty()) names += ' ';
    names += entry->Name;
  }
  if (dos().IoErr() != ERROR_NO_MORE_ENTRIES) names += Result(false);
  further().ReleaseDirContext(scan);
  return names;
}

std::int64_t Caller::Blocks() {
  InfoData info{};
  further().VolumeInfoData("DH0:", info);
  return info.id_NumBlocksUsed;
}

std::int64_t Caller::Users() {
  InfoData info{};
  further().VolumeInfoData("DH0:", info);
  return info.id_InUse;
}

std::string Caller::Remount() {
  HandlerPort& port = *bench_.machine().list().Find("DH0").port;
  bench_.machine().dos().ReleasePort(port, root_);
  port.UnmountForNow();
  std::string problem;
  if (!port.MountAgain(problem)) return problem;
  bench_.machine().dos().LockRootAgain(port, root_);
  return {};
}

std::string Caller::ShutDown() {
  std::string text;
  for (const std::string& line : bench_.machine().ShutDown()) text += line + "\n";
  return text;
}

}  // namespace quorle::selftest
