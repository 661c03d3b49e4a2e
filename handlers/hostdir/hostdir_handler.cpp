#include "handlers/hostdir/hostdir_handler.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "handlers/common/names.h"
#include "handlers/common/settings.h"
#include "handlers/common/vectors.h"
#include "handlers/hostdir/side_file.h"
#include "handlers/hostdir/volume.h"
#include "handlers/hostdir/xattr_store.h"

namespace quorle::hostdir {
namespace {

using common::Answer;
using common::BlockWord;
using common::CopyText;
using common::KeyAnswer;
using common::kFalse;
using common::kTrue;
using common::NotOffered;
using common::Truth;

constexpr std::uint32_t kVersionNumber = 53U << 16 | 1;
constexpr const char* kVersionText = "hostdir-handler 53.1 (21.11.2026)";

/// A mounted volume.
struct Mounted {
  Mounted(const ::HandlerServices& services, VolumeSettings settings, Opened root,
          std::unique_ptr<RecordStore> records)
      : dos(services), volume(std::move(settings), std::move(root), std::move(records), [this] {
          ::DateStamp now{};
          dos.DateStamp(&dos, &now);
          return now;
        }) {}

  const ::HandlerServices& dos;
  Volume volume;
};

using Port = ::FileSystemVectorPort;

Mounted& Of(Port* vp) {
  return *static_cast<Mounted*>(vp->FSV.FSPrivate);
}

/// What a lock holds; of a null lock, nothing.
PlaceRef PlaceOf(const ::Lock* lock) {
  return lock == nullptr ? nullptr : *static_cast<PlaceRef*>(lock->fl_FSPrivate1);
}

OpenFile& FileOf(const ::FileHandle* fh) {
  return *static_cast<OpenFile*>(fh->fh_Arg2);
}

// ---- Locks -------------------------------------------------------------------------------------

bool IsExclusive(const ::Lock& lock) {
  return lock.fl_Access == EXCLUSIVE_LOCK;
}

void FreeLock(Port* vp, ::Lock* lock) {
  Mounted& mounted = Of(vp);
  delete static_cast<PlaceRef*>(lock->fl_FSPrivate1);
  mounted.dos.FreeDosObject(&mounted.dos, QUORLE_DOS_LOCK, lock);
}

/// A lock record for `place`, which is taken in the mode asked for, or in shared mode when it is a
/// directory.
std::int32_t GiveLock(Port* vp, const PlaceRef& place, bool exclusive, ::Lock*& lock) {
  Mounted& mounted = Of(vp);
  auto held = std::make_unique<PlaceRef>(place);
  lock = static_cast<::Lock*>(mounted.dos.AllocDosObject(&mounted.dos, QUORLE_DOS_LOCK, nullptr));
  if (lock == nullptr) return ERROR_NO_FREE_STORE;
  if (const std::int32_t error = mounted.volume.TakeLock(*place, exclusive); error != 0) {
    mounted.dos.FreeDosObject(&mounted.dos, QUORLE_DOS_LOCK, lock);
    lock = nullptr;
    return error;
  }
  lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
  lock->fl_Port = &vp->MP;
  lock->fl_FSPrivate1 = held.release();
  return 0;
}

/// A lock that `call(lock)` gives, which returns an error code. Null with the code in `res2`.
template <class Call>
::Lock* LockFrom(std::int32_t* res2, const Call& call) {
  ::Lock* lock = nullptr;
  Truth(res2, [&] { return call(lock); });
  return lock;
}

::Lock* FSLock(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name, std::int32_t mode) {
  return LockFrom(res2, [&](::Lock*& lock) {
    PlaceRef place;
    const std::int32_t error = Of(vp).volume.FindTarget(PlaceOf(rel), name, place);
    return error == 0 ? GiveLock(vp, place, mode == EXCLUSIVE_LOCK, lock) : error;
  });
}

std::int32_t FSUnLock(Port* vp, std::int32_t*, ::Lock* lock) {
  if (lock == nullptr) return kTrue;
  Volume& volume = Of(vp).volume;
  volume.EndScans(lock);
  volume.ReleaseLock(*PlaceOf(lock), IsExclusive(*lock));
  FreeLock(vp, lock);
  return kTrue;
}

::Lock* FSDupLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
  return LockFrom(res2, [&](::Lock*& copy) {
    return GiveLock(vp, lock == nullptr ? Of(vp).volume.root() : PlaceOf(lock), false, copy);
  });
}

::Lock* FSCreateDir(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  return LockFrom(res2, [&](::Lock*& lock) {
    PlaceRef made;
    const std::int32_t error = Of(vp).volume.MakeDirectory(PlaceOf(rel), name, made);
    return error == 0 ? GiveLock(vp, made, false, lock) : error;
  });
}

::Lock* FSParentDir(Port* vp, std::int32_t* res2, ::Lock* lock) {
  const PlaceRef place = PlaceOf(lock);
  if (place == nullptr || place->directory == nullptr) return nullptr;
  return LockFrom(res2,
                  [&](::Lock*& parent) { return GiveLock(vp, place->directory, false, parent); });
}

::Lock* FSDupLockFromFH(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return LockFrom(res2, [&](::Lock*& lock) { return GiveLock(vp, FileOf(fh).place, false, lock); });
}

::Lock* FSParentOfFH(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  return LockFrom(res2, [&](::Lock*& parent) {
    return GiveLock(vp, FileOf(fh).place->directory, false, parent);
  });
}

std::int32_t FSChangeLockMode(Port* vp, std::int32_t* res2, ::Lock* lock, std::int32_t mode) {
  return Truth(res2, [&]() -> std::int32_t {
    if (lock == nullptr) return ERROR_INVALID_LOCK;
    if (mode != SHARED_LOCK && mode != EXCLUSIVE_LOCK) return ERROR_BAD_NUMBER;
    bool exclusive = IsExclusive(*lock);
    const std::int32_t error =
        Of(vp).volume.ChangeLock(*PlaceOf(lock), exclusive, mode == EXCLUSIVE_LOCK);
    lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
    return error;
  });
}

std::int32_t FSSameLock(Port* vp, std::int32_t*, ::Lock* a, ::Lock* b) {
  const PlaceRef& root = Of(vp).volume.root();
  const PlaceRef first = a == nullptr ? root : PlaceOf(a);
  const PlaceRef second = b == nullptr ? root : PlaceOf(b);
  return first->object == second->object ? kTrue : kFalse;
}

// ---- Files -------------------------------------------------------------------------------------

std::int32_t FSOpen(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* rel, const char* name,
                    std::int32_t mode) {
  return Truth(res2, [&] {
    auto file = std::make_unique<OpenFile>();
    const std::int32_t error = Of(vp).volume.Open(PlaceOf(rel), name, mode, *file);
    if (error == 0) fh->fh_Arg2 = file.release();
    return error;
  });
}

std::int32_t FSOpenFromLock(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* lock) {
  return Truth(res2, [&]() -> std::int32_t {
    if (lock == nullptr) return ERROR_INVALID_LOCK;
    auto file = std::make_unique<OpenFile>();
    const std::int32_t error = Of(vp).volume.OpenLocked(PlaceOf(lock), IsExclusive(*lock), *file);
    if (error != 0) return error;
    fh->fh_Arg2 = file.release();
    FreeLock(vp, lock);
    return 0;
  });
}

std::int32_t FSClose(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  const std::unique_ptr<OpenFile> file(&FileOf(fh));
  fh->fh_Arg2 = nullptr;
  return Truth(res2, [&] { return Of(vp).volume.Close(*file); });
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

std::int32_t FSFlush(Port* vp, std::int32_t* res2) {
  return Truth(res2, [&] { return Of(vp).volume.Flush(); });
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

std::int64_t FSGetFileSize(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  std::int64_t size = -1;
  const std::int32_t ok = Truth(res2, [&] { return Of(vp).volume.SizeOf(FileOf(fh), size); });
  return ok != kFalse ? size : -1;
}

std::int32_t FSChangeFileMode(Port* vp, std::int32_t* res2, ::FileHandle* fh, std::int32_t mode) {
  return Truth(res2, [&]() -> std::int32_t {
    if (mode != SHARED_LOCK && mode != EXCLUSIVE_LOCK) return ERROR_BAD_NUMBER;
    return Of(vp).volume.ChangeFileMode(FileOf(fh), mode == EXCLUSIVE_LOCK);
  });
}

std::int32_t FSSameFile(Port*, std::int32_t*, ::FileHandle* a, ::FileHandle* b) {
  return FileOf(a).place->object == FileOf(b).place->object ? kTrue : kFalse;
}

// ---- Objects -----------------------------------------------------------------------------------

std::int32_t FSDelete(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  return Truth(res2, [&] { return Of(vp).volume.Delete(PlaceOf(rel), name); });
}

std::int32_t FSRename(Port* vp, std::int32_t* res2, ::Lock* source_rel, const char* source,
                      ::Lock* destination_rel, const char* destination) {
  return Truth(res2, [&]() -> std::int32_t {
    for (const ::Lock* const lock : {source_rel, destination_rel}) {
      if (lock != nullptr && lock->fl_Port != &vp->MP) return ERROR_RENAME_ACROSS_DEVICES;
    }
    return Of(vp).volume.Rename(PlaceOf(source_rel), source, PlaceOf(destination_rel), destination);
  });
}

std::int32_t FSCreateSoftLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                              const char* target) {
  return Truth(res2, [&] { return Of(vp).volume.MakeSoftLink(PlaceOf(rel), name, target); });
}

std::int32_t FSCreateHardLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                              ::Lock* target) {
  return Truth(res2, [&]() -> std::int32_t {
    if (target == nullptr || target->fl_Port != &vp->MP) return ERROR_INVALID_LOCK;
    return Of(vp).volume.MakeHardLink(PlaceOf(rel), name, *PlaceOf(target));
  });
}

std::int32_t FSReadSoftLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                            char* buffer, std::int32_t size) {
  std::string target;
  const std::int32_t ok = Truth(res2, [&]() -> std::int32_t {
    PlaceRef place;
    const std::int32_t error = Of(vp).volume.Find(PlaceOf(rel), name, place);
    return error == 0 ? Of(vp).volume.ReadTarget(*place, target) : error;
  });
  if (ok == kFalse) return -1;
  if (size < 0 || target.size() >= static_cast<std::size_t>(size)) {
    *res2 = ERROR_LINE_TOO_LONG;
    return -2;
  }
  std::memcpy(buffer, target.c_str(), target.size() + 1);
  return static_cast<std::int32_t>(target.size());
}

std::int32_t FSSetDate(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                       const ::DateStamp* date) {
  return Truth(res2, [&] { return Of(vp).volume.SetDate(PlaceOf(rel), name, *date); });
}

/// Changes an attribute, as Volume::SetAttribute() does.
template <class Change>
std::int32_t Set(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                 const Change& change) {
  return Truth(res2, [&] { return Of(vp).volume.SetAttribute(PlaceOf(rel), name, change); });
}

std::int32_t FSSetProtection(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                             std::uint32_t mask) {
  return Set(vp, res2, rel, name, [mask](Record& record) { record.protection = mask; });
}

std::int32_t FSSetComment(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                          const char* comment) {
  if (std::strlen(comment) > common::kMaxComment) {
    *res2 = ERROR_COMMENT_TOO_BIG;
    return kFalse;
  }
  return Set(vp, res2, rel, name, [comment](Record& record) { record.comment = comment; });
}

std::int32_t FSSetGroup(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                        std::uint32_t group) {
  return Set(vp, res2, rel, name, [group](Record& record) { record.group = group; });
}

std::int32_t FSSetOwner(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                        std::uint32_t owner) {
  return Set(vp, res2, rel, name, [owner](Record& record) { record.owner = owner; });
}

// ---- Examination -------------------------------------------------------------------------------

/// A record of what stands at `place`; `link` is what a scan tells of a link.
std::int32_t Tell(Port* vp, const Place& place, const Facts& facts, const std::string& link,
                  ::ExamineData*& data) {
  Mounted& mounted = Of(vp);
  const Record& record = facts.record;
  const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, place.name.size() + 1},
                            {QUORLE_ADO_ExamineData_CommentSize, record.comment.size() + 1},
                            {QUORLE_ADO_ExamineData_LinkSize, link.size() + 1},
                            {QUORLE_TAG_DONE, 0}};
  data = static_cast<::ExamineData*>(
      mounted.dos.AllocDosObject(&mounted.dos, QUORLE_DOS_EXAMINEDATA, tags));
  if (data == nullptr) return ERROR_NO_FREE_STORE;
  data->FileSize = -1;
  data->RefCount = 1;
  switch (place.object->kind) {
    case Kind::kFile:
      data->Type = FSO_TYPE_FILE;
      data->FileSize = facts.stat.size;
      // The names of a file are equal on the host: none of them is the link.
      data->RefCount = facts.stat.links;
      break;
    case Kind::kDirectory:
      data->Type = FSO_TYPE_DIRECTORY;
      break;
    case Kind::kSoftLink:
      data->Type = static_cast<std::uint32_t>(FSO_TYPE_SOFTLINK) | FSOF_LINK;
      break;
  }
  data->ObjectID = facts.stat.inode;
  data->Date = facts.date;
  data->Protection = record.protection;
  data->OwnerUID = record.owner;
  data->OwnerGID = record.group;
  CopyText(place.name, data->Name, data->NameSize);
  CopyText(record.comment, data->Comment, data->CommentSize);
  CopyText(link, data->Link, data->LinkSize);
  return 0;
}

std::int32_t Examine(Port* vp, const Place& place, ::ExamineData*& data) {
  Facts facts;
  const std::int32_t error = Of(vp).volume.Examine(place, facts);
  return error == 0 ? Tell(vp, place, facts, {}, data) : error;
}

::ExamineData* FSExamineObj(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
  ::ExamineData* data = nullptr;
  Truth(res2, [&] {
    PlaceRef place;
    const std::int32_t error = Of(vp).volume.Find(PlaceOf(rel), name, place);
    return error == 0 ? Examine(vp, *place, data) : error;
  });
  return data;
}

::ExamineData* FSExamineLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
  ::ExamineData* data = nullptr;
  const PlaceRef place = lock == nullptr ? Of(vp).volume.root() : PlaceOf(lock);
  Truth(res2, [&] { return Examine(vp, *place, data); });
  return data;
}

::ExamineData* FSExamineFile(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  ::ExamineData* data = nullptr;
  Truth(res2, [&] { return Examine(vp, *FileOf(fh).place, data); });
  return data;
}

/// FSPrivate[0] of a scan: its number.
std::int32_t FSExamineDir(Port* vp, std::int32_t* res2, ::PRIVATE_ExamineDirContext* context) {
  return Truth(res2, [&] {
    const PlaceRef directory =
        context->Directory == nullptr ? Of(vp).volume.root() : PlaceOf(context->Directory);
    PlaceRef found;
    Facts facts;
    const std::int32_t error = Of(vp).volume.Next(directory, context, context->Directory,
                                                  context->FSPrivate[0], found, facts);
    return error == 0 ? Tell(vp, *found, facts, facts.target, context->Entry) : error;
  });
}

// ---- The volume --------------------------------------------------------------------------------

std::int32_t FSFileSystemAttr(Port* vp, std::int32_t* res2, const ::TagItem* tags) {
  return Truth(res2, [&] {
    const Volume& volume = Of(vp).volume;
    return common::AnswerAttributes(volume.settings(), kVersionNumber, volume.max_name(), tags);
  });
}

std::int32_t FillInfo(Port* vp, std::int32_t* res2, ::InfoData* info) {
  return Truth(res2, [&] {
    const Volume& volume = Of(vp).volume;
    Room room;
    const std::int32_t error = volume.HowMuchRoom(room);
    if (error != 0) return error;
    // A block that is too small to count the room in 32 bits is told as a larger one.
    while (BlockWord(room.blocks) != room.blocks) {
      room.blocks /= 2;
      room.blocks_used /= 2;
      room.block_size *= 2;
    }
    *info = {};
    info->id_DiskState = common::DiskState(volume.settings());
    info->id_NumBlocks = BlockWord(room.blocks);
    info->id_NumBlocksUsed = BlockWord(room.blocks_used);
    info->id_BytesPerBlock = static_cast<std::uint32_t>(room.block_size);
    info->id_DiskType = static_cast<std::int32_t>(volume.settings().dos_type);
    info->id_InUse = volume.in_use();
    return 0;
  });
}

std::int32_t FSVolumeInfoData(Port* vp, std::int32_t* res2, ::InfoData* info) {
  return FillInfo(vp, res2, info);
}

std::int32_t FSDeviceInfoData(Port* vp, std::int32_t* res2, ::InfoData* info) {
  return FillInfo(vp, res2, info);
}

std::int32_t FSWriteProtect(Port* vp, std::int32_t* res2, std::int32_t state, std::uint32_t key) {
  return Truth(res2, [&] { return Of(vp).volume.WriteProtect(state != 0, key); });
}

std::int32_t FSRelabel(Port* vp, std::int32_t* res2, const char* name) {
  return Truth(res2, [&]() -> std::int32_t {
    Mounted& mounted = Of(vp);
    Volume& volume = mounted.volume;
    if (const std::int32_t problem = volume.WriteProblem(); problem != 0) return problem;
    if (!common::IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
    const std::string old = volume.settings().label;
    const char* const node = volume.IsNoLabel(name) ? nullptr : name;
    if (mounted.dos.SetVolumeName(&mounted.dos, vp, node) == 0) return ERROR_OBJECT_EXISTS;
    const std::int32_t error = volume.Relabel(name);
    if (error != 0) {
      mounted.dos.SetVolumeName(&mounted.dos, vp, old.empty() ? nullptr : old.c_str());
    }
    return error;
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

/// How the directory is to be mounted.
struct MountRequest {
  VolumeSettings settings;
  std::string path;
  bool has_label = false;
  bool has_side_file = false;
};

KeyAnswer ReadKey(std::string_view key, const char* value, MountRequest& request) {
  if (key == "path") {
    request.path = value;
    return common::Taken(!request.path.empty());
  }
  if (key == "metadata") {
    const std::string_view where = value;
    request.has_side_file = where == "file";
    return common::Taken(where == "xattr" || where == "file");
  }
  if (key == "volume") request.has_label = true;
  return KeyAnswer::kUnknown;
}

std::string HostMessage() {
  return std::generic_category().message(errno);
}

/// Opens the directory. False, with the reason in `problem`, when it is none or cannot be written.
bool OpenRoot(const std::string& path, Opened& root, std::string& problem) {
  // The path itself is the host's, and found by the host's rules: it may lead over symbolic links.
  root.fd = Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct ::statvfs host {};
  if (!root.fd || ::fstatvfs(root.fd.get(), &host) != 0) {
    problem = "cannot open the directory: " + HostMessage();
  } else if (const int error = StatOf(root.fd.get(), root.stat); error != 0) {
    problem = "cannot look at the directory: " + std::generic_category().message(error);
  } else if ((host.f_flag & ST_RDONLY) != 0) {
    problem = "the directory's filesystem is mounted read-only";
  } else if (::faccessat(root.fd.get(), ".", R_OK | W_OK | X_OK, AT_EACCESS) != 0) {
    problem = "the directory cannot be written: " + HostMessage();
  } else if (::flock(root.fd.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    // Two tables of locks would know nothing of each other.
    problem = "the directory is mounted already, or locked by another program";
  } else {
    return true;
  }
  return false;
}

void Refuse(const ::HandlerMount& mount, const std::string& problem) {
  std::snprintf(mount.Problem, mount.ProblemSize, "%s", problem.c_str());
}

Port* StartVolume(const ::HandlerMount& mount) {
  MountRequest request;
  VolumeSettings& settings = request.settings;
  settings.device = mount.DeviceName;
  settings.version = kVersionText;
  const bool is_read = common::ReadKeys(
      mount, settings, "dir", ", metadata",
      [&request](std::string_view key, const char* value) { return ReadKey(key, value, request); });
  if (!is_read) return nullptr;
  Opened root;
  std::string problem;
  if (request.path.empty()) {
    problem = "there is no directory to mount: dir:PATH";
  } else if (OpenRoot(request.path, root, problem)) {
    problem.clear();
  }
  std::unique_ptr<RecordStore> records;
  if (problem.empty()) {
    records = request.has_side_file ? OpenSideFile(root, problem) : OpenXattrStore(root, problem);
  }
  if (records == nullptr) {
    Refuse(mount, problem);
    return nullptr;
  }
  if (!request.has_label) {
    Record record;
    if (records->Read(root, record) == 0 && record.label) settings.label = *record.label;
    if (!common::IsName(settings.label)) settings.label = settings.device + " Disk";
  }

  const ::HandlerServices& dos = *mount.Dos;
  const std::string label = settings.label;
  auto mounted =
      std::make_unique<Mounted>(dos, std::move(settings), std::move(root), std::move(records));
  ::FileSystemVectors vectors = MakeVectors();
  vectors.FSPrivate = mounted.get();
  const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&vectors)},
                            {QUORLE_TAG_DONE, 0}};
  auto* const port = static_cast<Port*>(dos.AllocDosObject(&dos, QUORLE_DOS_FSVECTORPORT, tags));
  if (port == nullptr) throw std::bad_alloc();
  port->FSV.FSPrivate = mounted.get();
  if (!label.empty() && dos.SetVolumeName(&dos, port, label.c_str()) == 0) {
    Refuse(mount, "the volume name " + label + " is taken");
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
    sizeof(::Handler), QUORLE_HANDLER_VERSION, "hostdir", Mount, Unmount, nullptr};

}  // namespace
}  // namespace quorle::hostdir

const struct Handler* QuorleHostdirHandler() {
  return &quorle::hostdir::kHandler;
}
