#include "handlers/ram/ram_handler.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include "handlers/common/settings.h"
#include "handlers/common/vectors.h"
#include "handlers/ram/names.h"
#include "handlers/ram/volume.h"

namespace quorle::ram {
namespace {

using common::Answer;
using common::AnswerAttributes;
using common::BlockWord;
using common::CopyText;
using common::KeyAnswer;
using common::kFalse;
using common::kTrue;
using common::NotOffered;
using common::Truth;

constexpr std::uint32_t kVersionNumber = 53U << 16 | 1;
constexpr const char* kVersionText = "ram-handler 53.1 (21.11.2026)";

/// A mounted volume.
struct Mounted {
  Mounted(const ::HandlerServices& services, VolumeSettings settings, std::uint64_t size)
      : dos(services),
        volume(
            std::move(settings),
            [this] {
              ::DateStamp now{};
              dos.DateStamp(&dos, &now);
              return now;
            },
            size) {}

  const ::HandlerServices& dos;
  Volume volume;
};

using Port = ::FileSystemVectorPort;

Mounted& Of(Port* vp) {
  return *static_cast<Mounted*>(vp->FSV.FSPrivate);
}

Entry* EntryOf(const ::Lock* lock) {
  return lock == nullptr ? nullptr : static_cast<Entry*>(lock->fl_FSPrivate1);
}

OpenFile& FileOf(const ::FileHandle* fh) {
  return *static_cast<OpenFile*>(fh->fh_Arg2);
}

// ---- Locks -------------------------------------------------------------------------------------

bool IsExclusive(const ::Lock& lock) {
  return lock.fl_Access == EXCLUSIVE_LOCK;
}

/// A lock record for `entry`, which is taken in the mode asked for, or in shared mode when it is a
/// directory. Null with the code in `res2`.
::Lock* GiveLock(Port* vp, std::int32_t* res2, Entry& entry, bool exclusive) {
  Mounted& mounted = Of(vp);
  auto* const lock =
      static_cast<::Lock*>(mounted.dos.AllocDosObject(&mounted.dos, QUORLE_DOS_LOCK, nullptr));
  if (lock == nullptr) {
    *res2 = ERROR_NO_FREE_STORE;
    return nullptr;
  }
  *res2 = mounted.volume.TakeLock(entry, exclusive);
  if (*res2 != 0) {
    mounted.dos.FreeDosObject(&mounted.dos, QUORLE_DOS_LOCK, lock);
    return nullptr;
  }
  lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
  lock->fl_Port = &vp->MP;
  lock->fl_FSPrivate1 = &entry;
  return lock;
}

void FreeLock(Port* vp, ::Lock* lock) {
  Mounted& mounted = Of(vp);
  mounted.dos.FreeDosObject(&mounted.dos, QUORLE_DOS_LOCK, lock);
}

::Lock* FSLock(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name, std::int32_t mode) {
  Entry* entry = nullptr;
  *res2 = Of(vp).volume.FindTarget(EntryOf(rel), name, entry);
  return *res2 == 0 ? GiveLock(vp, res2, *entry, mode == EXCLUSIVE_LOCK) : nullptr;
}

std::int32_t FSUnLock(Port* vp, std::int32_t*, ::Lock* lock) {
  if (lock == nullptr) return kTrue;
  Of(vp).volume.ReleaseLock(*EntryOf(lock), IsExclusive(*lock));
  FreeLock(vp, lock);
  return kTrue;
}

::Lock* FSDupLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
  if (lock == nullptr) return GiveLock(vp, res2, Of(vp).volume.root(), false);
  return GiveLock(vp, res2, *EntryOf(lock), false);
}

::Lock* FSCreateDir(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  Entry* made = nullptr;
  const bool ok =
      Truth(res2, [&] { return Of(vp).volume.MakeDirectory(EntryOf(rel), name, made); }) != kFalse;
  return ok ? GiveLock(vp, res2, *made, false) : nullptr;
}

::Lock* FSParentDir(Port* vp, std::int32_t* res2, ::Lock* lock) {
  Volume& volume = Of(vp).volume;
  Entry* const parent = lock == nullptr ? nullptr : volume.Parent(*EntryOf(lock));
  return parent == nullptr ? nullptr : GiveLock(vp, res2, *parent, false);
}

::Lock* FSDupLockFromFH(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return GiveLock(vp, res2, *FileOf(fh).entry, false);
}

::Lock* FSParentOfFH(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return GiveLock(vp, res2, *Of(vp).volume.Parent(*FileOf(fh).entry), false);
}

std::int32_t FSChangeLockMode(Port* vp, std::int32_t* res2, ::Lock* lock, std::int32_t mode) {
  return Truth(res2, [&]() -> std::int32_t {
    if (lock == nullptr) return ERROR_INVALID_LOCK;
    if (mode != SHARED_LOCK && mode != EXCLUSIVE_LOCK) return ERROR_BAD_NUMBER;
    bool exclusive = IsExclusive(*lock);
    const std::int32_t error =
        Of(vp).volume.ChangeLock(*EntryOf(lock), exclusive, mode == EXCLUSIVE_LOCK);
    lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
    return error;
  });
}

std::int32_t FSSameLock(Port* vp, std::int32_t*, ::Lock* a, ::Lock* b) {
  Entry* const root = &Of(vp).volume.root();
  const Entry* const first = a == nullptr ? root : EntryOf(a);
  const Entry* const second = b == nullptr ? root : EntryOf(b);
  return first->node == second->node ? kTrue : kFalse;
}

// ---- Files -------------------------------------------------------------------------------------

std::int32_t FSOpen(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* rel, const char* name,
                    std::int32_t mode) {
  return Truth(res2, [&] {
    auto file = std::make_unique<OpenFile>();
    const std::int32_t error = Of(vp).volume.Open(EntryOf(rel), name, mode, *file);
    if (error == 0) fh->fh_Arg2 = file.release();
    return error;
  });
}

std::int32_t FSOpenFromLock(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* lock) {
  return Truth(res2, [&]() -> std::int32_t {
    if (lock == nullptr) return ERROR_INVALID_LOCK;
    auto file = std::make_unique<OpenFile>();
    const std::int32_t error = Of(vp).volume.OpenLocked(*EntryOf(lock), IsExclusive(*lock), *file);
    if (error != 0) return error;
    fh->fh_Arg2 = file.release();
    FreeLock(vp, lock);
    return 0;
  });
}

std::int32_t FSClose(Port* vp, std::int32_t*, ::FileHandle* fh) {
  OpenFile* const file = &FileOf(fh);
  Of(vp).volume.Close(*file);
  delete file;
  fh->fh_Arg2 = nullptr;
  return kTrue;
}

std::int32_t FSRead(Port* vp, std::int32_t* res2, ::FileHandle* fh, void* buffer,
                    std::int32_t bytes) {
  std::int32_t count = 0;
  const std::int32_t ok =
      Truth(res2, [&] { return Of(vp).volume.Read(FileOf(fh), buffer, bytes, count); });
  return ok != kFalse ? count : -1;
}

std::int32_t FSWrite(Port* vp, std::int32_t* res2, ::FileHandle* fh, const void* data,
                     std::int32_t bytes) {
  return Answer<std::int32_t>(res2, bytes, -1,
                              [&] { return Of(vp).volume.Write(FileOf(fh), data, bytes); });
}

std::int32_t FSFlush(Port*, std::int32_t*) {
  return kTrue;
}

std::int32_t FSChangeFilePosition(Port* vp, std::int32_t* res2, ::FileHandle* fh, std::int32_t mode,
                                  std::int64_t position) {
  return Truth(res2, [&] { return Of(vp).volume.Seek(FileOf(fh), mode, position); });
}

std::int32_t FSChangeFileSize(Port* vp, std::int32_t* res2, ::FileHandle* fh, std::int32_t mode,
                              std::int64_t size) {
  return Truth(res2, [&] { return Of(vp).volume.Resize(FileOf(fh), mode, size); });
}

std::int64_t FSGetFilePosition(Port*, std::int32_t*, ::FileHandle* fh) {
  return FileOf(fh).position;
}

std::int64_t FSGetFileSize(Port*, std::int32_t*, ::FileHandle* fh) {
  return FileOf(fh).entry->node->content.size();
}

std::int32_t FSChangeFileMode(Port* vp, std::int32_t* res2, ::FileHandle* fh, std::int32_t mode) {
  return Truth(res2, [&]() -> std::int32_t {
    if (mode != SHARED_LOCK && mode != EXCLUSIVE_LOCK) return ERROR_BAD_NUMBER;
    return Of(vp).volume.ChangeFileMode(FileOf(fh), mode == EXCLUSIVE_LOCK);
  });
}

std::int32_t FSSameFile(Port*, std::int32_t*, ::FileHandle* a, ::FileHandle* b) {
  return FileOf(a).entry->node == FileOf(b).entry->node ? kTrue : kFalse;
}

// ---- Objects -----------------------------------------------------------------------------------

std::int32_t FSDelete(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  return Truth(res2, [&] { return Of(vp).volume.Delete(EntryOf(rel), name); });
}

std::int32_t FSRename(Port* vp, std::int32_t* res2, ::Lock* source_rel, const char* source,
                      ::Lock* destination_rel, const char* destination) {
  return Truth(res2, [&]() -> std::int32_t {
    for (const ::Lock* const lock : {source_rel, destination_rel}) {
      if (lock != nullptr && lock->fl_Port != &vp->MP) return ERROR_RENAME_ACROSS_DEVICES;
    }
    return Of(vp).volume.Rename(EntryOf(source_rel), source, EntryOf(destination_rel), destination);
  });
}

std::int32_t FSCreateSoftLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                              const char* target) {
  return Truth(res2, [&] { return Of(vp).volume.MakeSoftLink(EntryOf(rel), name, target); });
}

std::int32_t FSCreateHardLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                              ::Lock* target) {
  return Truth(res2, [&]() -> std::int32_t {
    if (target == nullptr || target->fl_Port != &vp->MP) return ERROR_INVALID_LOCK;
    return Of(vp).volume.MakeHardLink(EntryOf(rel), name, *EntryOf(target));
  });
}

std::int32_t FSReadSoftLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                            char* buffer, std::int32_t size) {
  Entry* entry = nullptr;
  *res2 = Of(vp).volume.Find(EntryOf(rel), name, entry);
  if (*res2 != 0) return -1;
  if (!entry->node->IsSoftLink()) {
    *res2 = ERROR_OBJECT_WRONG_TYPE;
    return -1;
  }
  const std::string& target = entry->node->target;
  if (size < 0 || target.size() >= static_cast<std::size_t>(size)) {
    *res2 = ERROR_LINE_TOO_LONG;
    return -2;
  }
  std::memcpy(buffer, target.c_str(), target.size() + 1);
  return static_cast<std::int32_t>(target.size());
}

/// Changes an attribute, as Volume::SetAttribute() does.
template <class Change>
std::int32_t Set(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                 const Change& change) {
  return Truth(res2, [&] { return Of(vp).volume.SetAttribute(EntryOf(rel), name, change); });
}

std::int32_t FSSetDate(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                       const ::DateStamp* date) {
  return Set(vp, res2, rel, name, [date](Node& node) { node.date = *date; });
}

std::int32_t FSSetProtection(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                             std::uint32_t mask) {
  return Set(vp, res2, rel, name, [mask](Node& node) { node.protection = mask; });
}

std::int32_t FSSetComment(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                          const char* comment) {
  if (std::strlen(comment) > kMaxComment) {
    *res2 = ERROR_COMMENT_TOO_BIG;
    return kFalse;
  }
  return Set(vp, res2, rel, name, [comment](Node& node) { node.comment = comment; });
}

std::int32_t FSSetGroup(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                        std::uint32_t group) {
  return Set(vp, res2, rel, name, [group](Node& node) { node.group = group; });
}

std::int32_t FSSetOwner(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                        std::uint32_t owner) {
  return Set(vp, res2, rel, name, [owner](Node& node) { node.owner = owner; });
}

// ---- Examination -------------------------------------------------------------------------------

/// A record of what `entry` leads to; `link` is what a scan tells of a link. Null with the code.
::ExamineData* Examine(Port* vp, std::int32_t* res2, Entry& entry, const std::string& link) {
  Mounted& mounted = Of(vp);
  Node& node = *entry.node;
  const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, entry.name.size() + 1},
                            {QUORLE_ADO_ExamineData_CommentSize, node.comment.size() + 1},
                            {QUORLE_ADO_ExamineData_LinkSize, link.size() + 1},
                            {QUORLE_TAG_DONE, 0}};
  auto* const data = static_cast<::ExamineData*>(
      mounted.dos.AllocDosObject(&mounted.dos, QUORLE_DOS_EXAMINEDATA, tags));
  if (data == nullptr) {
    *res2 = ERROR_NO_FREE_STORE;
    return nullptr;
  }
  const bool is_own_name = node.names.front() == &entry;
  data->FileSize = -1;
  if (node.IsFile()) {
    data->Type = FSO_TYPE_FILE;
    data->FileSize = node.content.size();
  } else if (node.IsDirectory()) {
    data->Type = FSO_TYPE_DIRECTORY;
  } else {
    data->Type = static_cast<std::uint32_t>(FSO_TYPE_SOFTLINK) | FSOF_LINK;
  }
  if (!is_own_name) data->Type |= FSOF_LINK;
  data->RefCount = is_own_name ? static_cast<std::uint32_t>(node.names.size()) : 1;
  data->ObjectID = node.id;
  data->Date = node.date;
  data->Protection = node.protection;
  data->OwnerUID = node.owner;
  data->OwnerGID = node.group;
  CopyText(entry.name, data->Name, data->NameSize);
  CopyText(node.comment, data->Comment, data->CommentSize);
  CopyText(link, data->Link, data->LinkSize);
  return data;
}

::ExamineData* FSExamineObj(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  Entry* entry = nullptr;
  *res2 = Of(vp).volume.Find(EntryOf(rel), name, entry);
  return *res2 == 0 ? Examine(vp, res2, *entry, {}) : nullptr;
}

::ExamineData* FSExamineLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
  return Examine(vp, res2, lock == nullptr ? Of(vp).volume.root() : *EntryOf(lock), {});
}

::ExamineData* FSExamineFile(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return Examine(vp, res2, *FileOf(fh).entry, {});
}

/// FSPrivate[0] and [1] of a scan: the serial number of the last entry, low and high half.
std::uint64_t Place(const ::PRIVATE_ExamineDirContext& context) {
  return static_cast<std::uint64_t>(static_cast<std::uint32_t>(context.FSPrivate[1])) << 32 |
         static_cast<std::uint32_t>(context.FSPrivate[0]);
}

std::int32_t FSExamineDir(Port* vp, std::int32_t* res2, ::PRIVATE_ExamineDirContext* context) {
  Entry& place =
      context->Directory == nullptr ? Of(vp).volume.root() : *EntryOf(context->Directory);
  if (!place.node->IsDirectory()) {
    *res2 = ERROR_OBJECT_WRONG_TYPE;
    return kFalse;
  }
  std::uint64_t serial = Place(*context);
  Entry* const entry = place.node->entries.Next(serial);
  if (entry == nullptr) {
    *res2 = ERROR_NO_MORE_ENTRIES;
    return kFalse;
  }
  std::string link;
  if (entry->node->IsSoftLink()) {
    link = entry->node->target;
  } else if (entry->node->names.front() != entry) {
    link = entry->node->names.front()->name;
  }
  context->Entry = Examine(vp, res2, *entry, link);
  if (context->Entry == nullptr) return kFalse;
  context->FSPrivate[0] = static_cast<std::intptr_t>(static_cast<std::uint32_t>(serial));
  context->FSPrivate[1] = static_cast<std::intptr_t>(serial >> 32);
  return kTrue;
}

// ---- The volume --------------------------------------------------------------------------------

std::int32_t FSFileSystemAttr(Port* vp, std::int32_t* res2, const ::TagItem* tags) {
  return Truth(res2, [&] {
    return AnswerAttributes(Of(vp).volume.settings(), kVersionNumber, kMaxName, tags);
  });
}

std::int32_t FillInfo(Port* vp, ::InfoData* info) {
  const Volume& volume = Of(vp).volume;
  *info = {};
  info->id_DiskState = volume.disk_state();
  info->id_NumBlocks = BlockWord(volume.blocks());
  info->id_NumBlocksUsed = BlockWord(volume.blocks_used());
  info->id_BytesPerBlock = Content::kPageSize;
  info->id_DiskType = static_cast<std::int32_t>(volume.settings().dos_type);
  info->id_InUse = volume.in_use();
  return kTrue;
}

std::int32_t FSVolumeInfoData(Port* vp, std::int32_t*, ::InfoData* info) {
  return FillInfo(vp, info);
}

std::int32_t FSDeviceInfoData(Port* vp, std::int32_t*, ::InfoData* info) {
  return FillInfo(vp, info);
}

std::int32_t FSWriteProtect(Port* vp, std::int32_t* res2, std::int32_t state, std::uint32_t key) {
  return Truth(res2, [&] { return Of(vp).volume.WriteProtect(state != 0, key); });
}

std::int32_t FSRelabel(Port* vp, std::int32_t* res2, const char* name) {
  return Truth(res2, [&]() -> std::int32_t {
    Mounted& mounted = Of(vp);
    if (const std::int32_t problem = mounted.volume.WriteProblem(); problem != 0) return problem;
    if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
    const char* const node = mounted.volume.IsNoLabel(name) ? nullptr : name;
    if (mounted.dos.SetVolumeName(&mounted.dos, vp, node) == 0) {
      return ERROR_OBJECT_EXISTS;
    }
    return mounted.volume.Relabel(name);
  });
}

::FileSystemVectors MakeVectors() {
  ::FileSystemVectors vectors{};
  vectors.StructSize = sizeof vectors;
  vectors.Version = QUORLE_FS_VECTORPORT_VERSION;
  vectors.FSLock = FSLock;
  vectors.FSUnLock = FSUnLock;
  vectors.FSDupLock = FSDupLock;
  vectors.FSCreateDir = FSCreateDir;
  vectors.FSParentDir = FSParentDir;
  vectors.FSDupLockFromFH = FSDupLockFromFH;
  vectors.FSOpenFromLock = FSOpenFromLock;
  vectors.FSParentOfFH = FSParentOfFH;
  vectors.FSOpen = FSOpen;
  vectors.FSClose = FSClose;
  vectors.FSDelete = FSDelete;
  vectors.FSRead = FSRead;
  vectors.FSWrite = FSWrite;
  vectors.FSFlush = FSFlush;
  vectors.FSChangeFilePosition = FSChangeFilePosition;
  vectors.FSChangeFileSize = FSChangeFileSize;
  vectors.FSGetFilePosition = FSGetFilePosition;
  vectors.FSGetFileSize = FSGetFileSize;
  vectors.FSChangeLockMode = FSChangeLockMode;
  vectors.FSChangeFileMode = FSChangeFileMode;
  vectors.FSSetDate = FSSetDate;
  vectors.FSSetProtection = FSSetProtection;
  vectors.FSSetComment = FSSetComment;
  vectors.FSSetGroup = FSSetGroup;
  vectors.FSSetOwner = FSSetOwner;
  vectors.FSRename = FSRename;
  vectors.FSCreateSoftLink = FSCreateSoftLink;
  vectors.FSCreateHardLink = FSCreateHardLink;
  vectors.FSReadSoftLink = FSReadSoftLink;
  vectors.FSSameLock = FSSameLock;
  vectors.FSSameFile = FSSameFile;
  vectors.FSFileSystemAttr = FSFileSystemAttr;
  vectors.FSVolumeInfoData = FSVolumeInfoData;
  vectors.FSDeviceInfoData = FSDeviceInfoData;
  vectors.FSExamineObj = FSExamineObj;
  vectors.FSExamineLock = FSExamineLock;
  vectors.FSExamineFile = FSExamineFile;
  vectors.FSExamineDir = FSExamineDir;
  vectors.FSInhibit = NotOffered;
  vectors.FSWriteProtect = FSWriteProtect;
  vectors.FSFormat = NotOffered;
  vectors.FSSerialize = NotOffered;
  vectors.FSRelabel = FSRelabel;
  vectors.FSAddNotify = NotOffered;
  vectors.FSRemoveNotify = NotOffered;
  vectors.FSLockRecord = NotOffered;
  vectors.FSUnLockRecord = NotOffered;
  vectors.End_Marker = -1;
  return vectors;
}

// ---- Mounting ----------------------------------------------------------------------------------

bool ReadKeys(const ::HandlerMount& mount, VolumeSettings& settings, std::uint64_t& size) {
  return common::ReadKeys(mount, settings, "ram", ", size",
                          [&size](std::string_view key, const char* value) {
                            if (key != "size") return KeyAnswer::kUnknown;
                            constexpr auto kLeast = static_cast<std::uint64_t>(Content::kPageSize);
                            return common::Taken(common::ReadNumber(value, size) && size >= kLeast);
                          });
}

Port* StartVolume(const ::HandlerMount& mount) {
  VolumeSettings settings;
  settings.device = mount.DeviceName;
  settings.label = settings.device + " Disk";
  settings.version = kVersionText;
  std::uint64_t size = 0;
  if (!ReadKeys(mount, settings, size)) return nullptr;

  const ::HandlerServices& dos = *mount.Dos;
  const std::string label = settings.label;
  auto mounted = std::make_unique<Mounted>(dos, std::move(settings), size);
  ::FileSystemVectors vectors = MakeVectors();
  vectors.FSPrivate = mounted.get();
  const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&vectors)},
                            {QUORLE_TAG_DONE, 0}};
  auto* const port = static_cast<Port*>(dos.AllocDosObject(&dos, QUORLE_DOS_FSVECTORPORT, tags));
  if (port == nullptr) throw std::bad_alloc();
  port->FSV.FSPrivate = mounted.get();
  if (!label.empty() && dos.SetVolumeName(&dos, port, label.c_str()) == 0) {
    std::snprintf(mount.Problem, mount.ProblemSize, "the volume name %s is taken", label.c_str());
    dos.FreeDosObject(&dos, QUORLE_DOS_FSVECTORPORT, port);
    return nullptr;
  }
  static_cast<void>(mounted.release());  // the port's, until Unmount()
  return port;
}

Port* Mount(const ::HandlerMount* mount) {
  try {
    return StartVolume(*mount);
  } catch (const std::exception&) {
    std::snprintf(mount->Problem, mount->ProblemSize, "not enough memory");
    return nullptr;
  }
}

void Unmount(Port* port) {
  const std::unique_ptr<Mounted> mounted(&Of(port));
  const ::HandlerServices& dos = mounted->dos;
  if (!mounted->volume.settings().label.empty()) dos.SetVolumeName(&dos, port, nullptr);
  dos.FreeDosObject(&dos, QUORLE_DOS_FSVECTORPORT, port);
}

constexpr ::Handler kHandler = {
    sizeof(::Handler), QUORLE_HANDLER_VERSION, "ram", Mount, Unmount, nullptr};

}  // namespace
}  // namespace quorle::ram

const struct Handler* QuorleRamHandler() {
  return &quorle::ram::kHandler;
}
