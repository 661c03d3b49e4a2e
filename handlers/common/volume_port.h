#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "handlers/common/dos_error.h"
#include "handlers/common/inhibition.h"
#include "handlers/common/names.h"
#include "handlers/common/object_info.h"
#include "handlers/common/settings.h"
#include "handlers/common/vectors.h"
#include "quorle/handler.h"

namespace quorle::common {

/// A volume behind a vector port: makes lock, handle and examine records of what `Volume` finds, and
/// truth values of its errors. `Volume` has the rules; it provides
///
///     Ref       a name that leads to an object, or null: a pointer, or something that counts.
///               `ref->name` is the name. A null one as an argument means the root.
///     OpenFile  an open file: `entry`, the Ref through which it was opened, and `position`
///
/// and the operations called below. Where it has Format() it can be formatted and serialized while it
/// is inhibited; where it has watches() it notifies; record locks are left to dos. Each returns a
/// DosError, or throws it unless it is of locks or Relabel(), and gives what it found or made through its last parameters; it may throw what the
/// C++ library throws.
template <class Volume>
class VolumePort {
 public:
  using Port = ::FileSystemVectorPort;

  /// Mounts a volume made from `settings`, the date and `more`. Null, with the reason in `Problem`,
  /// when there is no memory or the volume's name is taken.
  template <class... More>
  static Port* Start(const ::HandlerMount& mount, VolumeSettings settings, More&&... more) {
    auto mounted = MakeMounted(mount, std::move(settings), std::forward<More>(more)...);
    Port* const port = MakePort(mount, *mounted);
    if (port != nullptr) static_cast<void>(mounted.release());  // the port's, until Unmount()
    return port;
  }

  /// The same for a volume that is in memory alone: where the host has a place for it, Unmount() leaves
  /// it there, and the next mount finds it. `settings` and `more` are of the first mount.
  template <class... More>
  static Port* StartKept(const ::HandlerMount& mount, VolumeSettings settings, More&&... more) {
    if (mount.Version < 2 || mount.Medium == nullptr) {
      return Start(mount, std::move(settings), std::forward<More>(more)...);
    }
    void*& medium = *mount.Medium;
    if (medium == nullptr) {
      medium = MakeMounted(mount, std::move(settings), std::forward<More>(more)...).release();
    }
    auto& mounted = *static_cast<Mounted*>(medium);
    mounted.dos = *mount.Dos;
    mounted.medium = mount.Medium;
    Port* const port = MakePort(mount, mounted);
    if (port != nullptr) medium = nullptr;
    return port;
  }

  /// A handler's Mount(): `kStart` reads the keys and calls Start(). It may throw when the host is
  /// out of memory.
  template <Port* (*kStart)(const ::HandlerMount&)>
  static Port* Mount(const ::HandlerMount* mount) {
    try {
      return kStart(*mount);
    } catch (const std::exception&) {
      std::snprintf(mount->Problem, mount->ProblemSize, "not enough memory");
      return nullptr;
    }
  }

  /// A handler's Unmount().
  static void Unmount(Port* port) {
    std::unique_ptr<Mounted> mounted(&Of(port));
    const ::HandlerServices& dos = mounted->dos;
    // A volume that outlives the mount keeps neither.
    mounted->inhibited = false;
    if constexpr (kIsWatchable) mounted->volume.watches().Clear();
    if (!mounted->volume.settings().label.empty()) dos.SetVolumeName(&dos, port, nullptr);
    dos.FreeDosObject(&dos, QUORLE_DOS_FSVECTORPORT, port);
    if (void** const medium = mounted->medium; medium != nullptr) *medium = mounted.release();
  }

  /// A handler's Discard(), of a volume that was started by StartKept().
  static void Discard(void* medium) { delete static_cast<Mounted*>(medium); }

 private:
  using Ref = typename Volume::Ref;
  using OpenFile = typename Volume::OpenFile;

  struct Mounted {
    template <class... More>
    Mounted(const ::HandlerServices& services, VolumeSettings settings, More&&... more)
        : dos(services),
          volume(
              std::move(settings), [this] { return Today(dos); }, std::forward<More>(more)...) {}

    std::reference_wrapper<const ::HandlerServices> dos;
    void** medium = nullptr;  ///< where the volume is left; null: it ends with the mount
    Volume volume;
    bool inhibited = false;
  };

  /// Whether the volume can be formatted and serialized, and watched.
  static constexpr bool kIsFormattable = requires(Volume & volume, const char* name) {
    volume.Format(name, 0U);
  };
  static constexpr bool kIsWatchable = requires(Volume & volume) { volume.watches(); };

  template <class... More>
  static std::unique_ptr<Mounted> MakeMounted(const ::HandlerMount& mount, VolumeSettings settings,
                                              More&&... more) {
    settings.nameless = settings.label.empty();
    return std::make_unique<Mounted>(*mount.Dos, std::move(settings), std::forward<More>(more)...);
  }

  /// The port of `mounted`, which stays the caller's. Null, with the reason in `Problem`, when the
  /// volume's name is taken.
  static Port* MakePort(const ::HandlerMount& mount, Mounted& mounted) {
    const ::HandlerServices& dos = *mount.Dos;
    const std::string& label = mounted.volume.settings().label;
    ::FileSystemVectors vectors = Vectors();
    vectors.FSPrivate = &mounted;
    const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&vectors)},
                              {QUORLE_TAG_DONE, 0}};
    auto* const port = static_cast<Port*>(dos.AllocDosObject(&dos, QUORLE_DOS_FSVECTORPORT, tags));
    if (port == nullptr) throw std::bad_alloc();
    port->FSV.FSPrivate = &mounted;
    if (!label.empty() && dos.SetVolumeName(&dos, port, label.c_str()) == 0) {
      std::snprintf(mount.Problem, mount.ProblemSize, "the volume name %s is taken", label.c_str());
      dos.FreeDosObject(&dos, QUORLE_DOS_FSVECTORPORT, port);
      return nullptr;
    }
    return port;
  }

  /// The date of today, from dos.
  static ::DateStamp Today(const ::HandlerServices& dos) {
    ::DateStamp now{};
    dos.DateStamp(&dos, &now);
    return now;
  }

  static Mounted& Of(Port* vp) { return *static_cast<Mounted*>(vp->FSV.FSPrivate); }
  static Volume& VolumeOf(Port* vp) { return Of(vp).volume; }
  static OpenFile& FileOf(const ::FileHandle* fh) { return *static_cast<OpenFile*>(fh->fh_Arg2); }

  // ---- Locks -----------------------------------------------------------------------------------

  // A lock keeps its Ref in fl_FSPrivate1: a pointer as it is, anything else in memory of its own.
  static constexpr bool kIsPointer = std::is_pointer_v<Ref>;

  /// What a lock holds; of a null lock, nothing.
  static Ref RefOf(const ::Lock* lock) {
    if (lock == nullptr) return nullptr;
    if constexpr (kIsPointer) {
      return static_cast<Ref>(lock->fl_FSPrivate1);
    } else {
      return *static_cast<Ref*>(lock->fl_FSPrivate1);
    }
  }
  static Ref RefOrRoot(Port* vp, const ::Lock* lock) {
    return lock == nullptr ? Ref(VolumeOf(vp).root()) : RefOf(lock);
  }

  static bool IsExclusive(const ::Lock& lock) { return lock.fl_Access == EXCLUSIVE_LOCK; }

  static void FreeLock(Port* vp, ::Lock* lock) {
    const ::HandlerServices& dos = Of(vp).dos;
    if constexpr (!kIsPointer) delete static_cast<Ref*>(lock->fl_FSPrivate1);
    dos.FreeDosObject(&dos, QUORLE_DOS_LOCK, lock);
  }

  /// A lock record for `ref`, which is taken in the mode asked for, or in shared mode when it is a
  /// directory.
  static DosError MakeLock(Port* vp, const Ref& ref, bool exclusive, ::Lock*& made) {
    Mounted& mounted = Of(vp);
    const ::HandlerServices& dos = mounted.dos;
    std::conditional_t<kIsPointer, Ref, std::unique_ptr<Ref>> held;
    if constexpr (kIsPointer) {
      held = ref;
    } else {
      held = std::make_unique<Ref>(ref);
    }
    auto* const lock = static_cast<::Lock*>(dos.AllocDosObject(&dos, QUORLE_DOS_LOCK, nullptr));
    if (lock == nullptr) return ERROR_NO_FREE_STORE;
    if (const DosError error = mounted.volume.TakeLock(*ref, exclusive)) {
      dos.FreeDosObject(&dos, QUORLE_DOS_LOCK, lock);
      return error;
    }
    lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
    lock->fl_Port = &vp->MP;
    if constexpr (kIsPointer) {
      lock->fl_FSPrivate1 = held;
    } else {
      lock->fl_FSPrivate1 = held.release();
    }
    made = lock;
    return kNoError;
  }

  /// A lock on what `find(ref)` finds, which returns a DosError. Null with the code in `res2`.
  template <class Find>
  static ::Lock* LockFound(Port* vp, std::int32_t* res2, bool exclusive, const Find& find) {
    ::Lock* lock = nullptr;
    Truth(res2, [&]() -> DosError {
      Ref ref = nullptr;
      const DosError error = find(ref);
      return error ? error : MakeLock(vp, ref, exclusive, lock);
    });
    return lock;
  }
  /// A shared lock on `ref`.
  static ::Lock* SharedLock(Port* vp, std::int32_t* res2, const Ref& ref) {
    ::Lock* lock = nullptr;
    Truth(res2, [&] { return MakeLock(vp, ref, false, lock); });
    return lock;
  }

  static ::Lock* FSLock(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                        std::int32_t mode) {
    return LockFound(vp, res2, mode == EXCLUSIVE_LOCK,
                     [&](Ref& found) { return VolumeOf(vp).FindTarget(RefOf(rel), name, found); });
  }

  static std::int32_t FSUnLock(Port* vp, std::int32_t*, ::Lock* lock) {
    if (lock == nullptr) return kTrue;
    VolumeOf(vp).EndScans(lock);
    VolumeOf(vp).ReleaseLock(*RefOf(lock), IsExclusive(*lock));
    FreeLock(vp, lock);
    return kTrue;
  }

  static ::Lock* FSDupLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
    return SharedLock(vp, res2, RefOrRoot(vp, lock));
  }

  static ::Lock* FSCreateDir(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
    return LockFound(vp, res2, false,
                     [&](Ref& made) { return VolumeOf(vp).MakeDirectory(RefOf(rel), name, made); });
  }

  static ::Lock* FSParentDir(Port* vp, std::int32_t* res2, ::Lock* lock) {
    const Ref parent = lock == nullptr ? nullptr : Volume::Parent(*RefOf(lock));
    return parent == nullptr ? nullptr : SharedLock(vp, res2, parent);
  }

  static ::Lock* FSDupLockFromFH(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
    return SharedLock(vp, res2, FileOf(fh).entry);
  }

  static ::Lock* FSParentOfFH(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
    return SharedLock(vp, res2, Volume::Parent(*FileOf(fh).entry));
  }

  static std::int32_t FSChangeLockMode(Port* vp, std::int32_t* res2, ::Lock* lock,
                                       std::int32_t mode) {
    return Truth(res2, [&]() -> DosError {
      if (lock == nullptr) return ERROR_INVALID_LOCK;
      if (mode != SHARED_LOCK && mode != EXCLUSIVE_LOCK) return ERROR_BAD_NUMBER;
      bool exclusive = IsExclusive(*lock);
      const DosError error =
          VolumeOf(vp).ChangeLock(*RefOf(lock), exclusive, mode == EXCLUSIVE_LOCK);
      lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
      return error;
    });
  }

  static std::int32_t FSSameLock(Port* vp, std::int32_t*, ::Lock* a, ::Lock* b) {
    return Volume::IsSameObject(*RefOrRoot(vp, a), *RefOrRoot(vp, b)) ? kTrue : kFalse;
  }

  // ---- Files -----------------------------------------------------------------------------------

  static std::int32_t FSOpen(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* rel,
                             const char* name, std::int32_t mode) {
    return Truth(res2, [&] {
      auto file = std::make_unique<OpenFile>();
      const DosError error = VolumeOf(vp).Open(RefOf(rel), name, mode, *file);
      if (!error) fh->fh_Arg2 = file.release();
      return error;
    });
  }

  static std::int32_t FSOpenFromLock(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* lock) {
    return Truth(res2, [&]() -> DosError {
      if (lock == nullptr) return ERROR_INVALID_LOCK;
      auto file = std::make_unique<OpenFile>();
      const DosError error = VolumeOf(vp).OpenLocked(RefOf(lock), IsExclusive(*lock), *file);
      if (error) return error;
      fh->fh_Arg2 = file.release();
      FreeLock(vp, lock);
      return kNoError;
    });
  }

  static std::int32_t FSClose(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
    const std::unique_ptr<OpenFile> file(&FileOf(fh));
    fh->fh_Arg2 = nullptr;
    return Truth(res2, [&] { return VolumeOf(vp).Close(*file); });
  }

  static std::int32_t FSRead(Port* vp, std::int32_t* res2, ::FileHandle* fh, void* buffer,
                             std::int32_t bytes) {
    std::int32_t count = 0;
    const std::int32_t ok =
        Truth(res2, [&] { return VolumeOf(vp).Read(FileOf(fh), buffer, bytes, count); });
    return ok != kFalse ? count : -1;
  }

  static std::int32_t FSWrite(Port* vp, std::int32_t* res2, ::FileHandle* fh, const void* data,
                              std::int32_t bytes) {
    return Answer<std::int32_t>(res2, bytes, -1,
                                [&] { return VolumeOf(vp).Write(FileOf(fh), data, bytes); });
  }

  static std::int32_t FSFlush(Port* vp, std::int32_t* res2) {
    return Truth(res2, [&] { return VolumeOf(vp).Flush(); });
  }

  static std::int32_t FSChangeFilePosition(Port* vp, std::int32_t* res2, ::FileHandle* fh,
                                           std::int32_t mode, std::int64_t position) {
    return Truth(res2, [&] { return VolumeOf(vp).Seek(FileOf(fh), mode, position); });
  }

  static std::int32_t FSChangeFileSize(Port* vp, std::int32_t* res2, ::FileHandle* fh,
                                       std::int32_t mode, std::int64_t size) {
    return Truth(res2, [&] { return VolumeOf(vp).Resize(FileOf(fh), mode, size); });
  }

  static std::int64_t FSGetFilePosition(Port*, std::int32_t*, ::FileHandle* fh) {
    return FileOf(fh).position;
  }

  static std::int64_t FSGetFileSize(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
    std::int64_t size = -1;
    const std::int32_t ok = Truth(res2, [&] { return VolumeOf(vp).SizeOf(FileOf(fh), size); });
    return ok != kFalse ? size : -1;
  }

  static std::int32_t FSChangeFileMode(Port* vp, std::int32_t* res2, ::FileHandle* fh,
                                       std::int32_t mode) {
    return Truth(res2, [&]() -> DosError {
      if (mode != SHARED_LOCK && mode != EXCLUSIVE_LOCK) return ERROR_BAD_NUMBER;
      return VolumeOf(vp).ChangeFileMode(FileOf(fh), mode == EXCLUSIVE_LOCK);
    });
  }

  static std::int32_t FSSameFile(Port*, std::int32_t*, ::FileHandle* a, ::FileHandle* b) {
    return Volume::IsSameObject(*FileOf(a).entry, *FileOf(b).entry) ? kTrue : kFalse;
  }

  // ---- Objects ---------------------------------------------------------------------------------

  static std::int32_t FSDelete(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
    return Truth(res2, [&] { return VolumeOf(vp).Delete(RefOf(rel), name); });
  }

  static std::int32_t FSRename(Port* vp, std::int32_t* res2, ::Lock* source_rel, const char* source,
                               ::Lock* destination_rel, const char* destination) {
    return Truth(res2, [&]() -> DosError {
      for (const ::Lock* const lock : {source_rel, destination_rel}) {
        if (lock != nullptr && lock->fl_Port != &vp->MP) return ERROR_RENAME_ACROSS_DEVICES;
      }
      return VolumeOf(vp).Rename(RefOf(source_rel), source, RefOf(destination_rel), destination);
    });
  }

  static std::int32_t FSCreateSoftLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                                       const char* target) {
    return Truth(res2, [&] { return VolumeOf(vp).MakeSoftLink(RefOf(rel), name, target); });
  }

  static std::int32_t FSCreateHardLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                                       ::Lock* target) {
    return Truth(res2, [&]() -> DosError {
      if (target == nullptr || target->fl_Port != &vp->MP) return ERROR_INVALID_LOCK;
      return VolumeOf(vp).MakeHardLink(RefOf(rel), name, *RefOf(target));
    });
  }

  static std::int32_t FSReadSoftLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                                     char* buffer, std::int32_t size) {
    std::int32_t length = -1;
    Truth(res2, [&]() -> DosError {
      Ref ref = nullptr;
      std::string target;
      if (const DosError error = VolumeOf(vp).Find(RefOf(rel), name, ref)) return error;
      if (const DosError error = VolumeOf(vp).ReadTarget(*ref, target)) return error;
      length = -2;  // as long as the target does not fit
      if (size < 0 || target.size() >= static_cast<std::size_t>(size)) return ERROR_LINE_TOO_LONG;
      std::memcpy(buffer, target.c_str(), target.size() + 1);
      length = static_cast<std::int32_t>(target.size());
      return kNoError;
    });
    return length;
  }

  static std::int32_t FSSetDate(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                                const ::DateStamp* date) {
    return Truth(res2, [&] { return VolumeOf(vp).SetDate(RefOf(rel), name, *date); });
  }

  /// Changes an attribute: `change` gets what the volume keeps attributes in.
  template <class Change>
  static std::int32_t Set(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                          const Change& change) {
    return Truth(res2, [&] { return VolumeOf(vp).SetAttribute(RefOf(rel), name, change); });
  }

  static std::int32_t FSSetProtection(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                                      std::uint32_t mask) {
    return Set(vp, res2, rel, name, [mask](auto& object) { object.protection = mask; });
  }

  static std::int32_t FSSetComment(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                                   const char* comment) {
    if (std::strlen(comment) > kMaxComment) {
      return Truth(res2, [] { return DosError(ERROR_COMMENT_TOO_BIG); });
    }
    return Set(vp, res2, rel, name, [comment](auto& object) { object.comment = comment; });
  }

  static std::int32_t FSSetGroup(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                                 std::uint32_t group) {
    return Set(vp, res2, rel, name, [group](auto& object) { object.group = group; });
  }

  static std::int32_t FSSetOwner(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                                 std::uint32_t owner) {
    return Set(vp, res2, rel, name, [owner](auto& object) { object.owner = owner; });
  }

  // ---- Examination -----------------------------------------------------------------------------

  /// Makes an examine record of `info`; `link` is what a scan shows as the target of a link.
  static DosError MakeRecord(Port* vp, const std::string& name, const ObjectInfo& info,
                             const std::string& link, ::ExamineData*& record) {
    const ::HandlerServices& dos = Of(vp).dos;
    const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, name.size() + 1},
                              {QUORLE_ADO_ExamineData_CommentSize, info.comment.size() + 1},
                              {QUORLE_ADO_ExamineData_LinkSize, link.size() + 1},
                              {QUORLE_TAG_DONE, 0}};
    auto* const data =
        static_cast<::ExamineData*>(dos.AllocDosObject(&dos, QUORLE_DOS_EXAMINEDATA, tags));
    if (data == nullptr) return ERROR_NO_FREE_STORE;
    data->Type = info.type;
    data->FileSize = info.size;
    data->RefCount = info.references;
    data->ObjectID = info.id;
    data->Date = info.date;
    data->Protection = info.protection;
    data->OwnerUID = info.owner;
    data->OwnerGID = info.group;
    CopyText(name, data->Name, data->NameSize);
    CopyText(info.comment, data->Comment, data->CommentSize);
    CopyText(link, data->Link, data->LinkSize);
    record = data;
    return kNoError;
  }

  static DosError Examine(Port* vp, const Ref& ref, ::ExamineData*& data) {
    ObjectInfo info;
    const DosError error = VolumeOf(vp).Examine(*ref, info);
    return error ? error : MakeRecord(vp, ref->name, info, {}, data);
  }

  static ::ExamineData* FSExamineObj(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name) {
    ::ExamineData* data = nullptr;
    Truth(res2, [&] {
      Ref ref = nullptr;
      const DosError error = VolumeOf(vp).Find(RefOf(rel), name, ref);
      return error ? error : Examine(vp, ref, data);
    });
    return data;
  }

  static ::ExamineData* FSExamineLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
    ::ExamineData* data = nullptr;
    Truth(res2, [&] { return Examine(vp, RefOrRoot(vp, lock), data); });
    return data;
  }

  static ::ExamineData* FSExamineFile(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
    ::ExamineData* data = nullptr;
    Truth(res2, [&] { return Examine(vp, FileOf(fh).entry, data); });
    return data;
  }

  static std::int32_t FSExamineDir(Port* vp, std::int32_t* res2,
                                   ::PRIVATE_ExamineDirContext* context) {
    return Truth(res2, [&] {
      Ref found = nullptr;
      ObjectInfo info;
      const DosError error =
          VolumeOf(vp).Next(RefOrRoot(vp, context->Directory), *context, found, info);
      return error ? error : MakeRecord(vp, found->name, info, info.link, context->Entry);
    });
  }

  // ---- The volume ------------------------------------------------------------------------------

  static std::int32_t FSFileSystemAttr(Port* vp, std::int32_t* res2, const ::TagItem* tags) {
    return Truth(res2, [&] {
      const Volume& volume = VolumeOf(vp);
      return AnswerAttributes(volume.settings(), volume.max_name(), tags);
    });
  }

  static std::int32_t FillInfo(Port* vp, std::int32_t* res2, ::InfoData* info) {
    return Truth(res2, [&]() -> DosError {
      const Volume& volume = VolumeOf(vp);
      VolumeSpace space;
      if (const DosError error = volume.GetSpace(space)) return error;
      // A block that is too small to count the space in 32 bits is reported as a larger one.
      while (BlockWord(space.blocks) != space.blocks) {
        space.blocks /= 2;
        space.blocks_used /= 2;
        space.block_size *= 2;
      }
      *info = {};
      info->id_DiskState = DiskState(volume.settings());
      info->id_NumBlocks = BlockWord(space.blocks);
      info->id_NumBlocksUsed = BlockWord(space.blocks_used);
      info->id_BytesPerBlock = static_cast<std::uint32_t>(space.block_size);
      info->id_DiskType = static_cast<std::int32_t>(volume.settings().dos_type);
      info->id_InUse = volume.in_use();
      return kNoError;
    });
  }

  static std::int32_t FSDeviceInfoData(Port* vp, std::int32_t* res2, ::InfoData* info) {
    const std::int32_t ok = FillInfo(vp, res2, info);
    if (ok != kFalse && IsInhibited(vp)) info->id_DiskType = kBusyDisk;
    return ok;
  }

  /// dos counts: it calls for the first and for the last alone.
  static std::int32_t FSInhibit(Port* vp, std::int32_t*, std::int32_t state) {
    Of(vp).inhibited = state != 0;
    return kTrue;
  }

  static std::int32_t FSSerialize(Port* vp, std::int32_t* res2) {
    if constexpr (!kIsFormattable) return NotOffered(vp, res2);
    return Truth(res2, [&]() -> DosError {
      return IsInhibited(vp) ? kNoError : DosError(ERROR_OBJECT_IN_USE);
    });
  }

  /// Nothing is destroyed unless the volume is inhibited and nobody has a lock or a file.
  static std::int32_t FSFormat(Port* vp, std::int32_t* res2, const char* name,
                               std::uint32_t dos_type) {
    if constexpr (kIsFormattable) {
      return Truth(res2, [&]() -> DosError {
        Volume& volume = VolumeOf(vp);
        if (!IsInhibited(vp) || volume.in_use() != 0) return ERROR_OBJECT_IN_USE;
        if (volume.settings().write_protected) return ERROR_DISK_WRITE_PROTECTED;
        return NameVolume(vp, name, [&] { return volume.Format(name, dos_type); });
      });
    } else {
      return NotOffered(vp, res2, name, dos_type);
    }
  }

  static std::int32_t FSAddNotify(Port* vp, std::int32_t* res2, ::NotifyRequest* request) {
    if constexpr (kIsWatchable) {
      const ::HandlerServices& dos = Of(vp).dos;
      if (dos.Version < 2) return NotOffered(vp, res2, request);
      return Truth(res2, [&]() -> DosError {
        if (request == nullptr || request->nr_FullName == nullptr) {
          return ERROR_REQUIRED_ARG_MISSING;
        }
        VolumeOf(vp).watches().Add(*request, [&dos, request] { dos.Notify(&dos, request); });
        return kNoError;
      });
    } else {
      return NotOffered(vp, res2, request);
    }
  }

  static std::int32_t FSRemoveNotify(Port* vp, std::int32_t* res2, ::NotifyRequest* request) {
    if constexpr (kIsWatchable) {
      return Truth(res2, [&]() -> DosError {
        const bool was_there = VolumeOf(vp).watches().Remove(request);
        return was_there ? kNoError : DosError(ERROR_OBJECT_NOT_FOUND);
      });
    } else {
      return NotOffered(vp, res2, request);
    }
  }

  static std::int32_t FSWriteProtect(Port* vp, std::int32_t* res2, std::int32_t state,
                                     std::uint32_t key) {
    return Truth(res2, [&] { return VolumeOf(vp).WriteProtect(state != 0, key); });
  }

  /// Names the volume's node `name` and has `change` do the same for the volume.
  template <class Change>
  static DosError NameVolume(Port* vp, const char* name, const Change& change) {
    const ::HandlerServices& dos = Of(vp).dos;
    const VolumeSettings& settings = VolumeOf(vp).settings();
    if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
    const std::string old = settings.label;
    const char* const node = IsNoLabel(settings, name) ? nullptr : name;
    if (dos.SetVolumeName(&dos, vp, node) == 0) return ERROR_OBJECT_EXISTS;
    const DosError error = change();
    if (error) dos.SetVolumeName(&dos, vp, old.empty() ? nullptr : old.c_str());
    return error;
  }

  static std::int32_t FSRelabel(Port* vp, std::int32_t* res2, const char* name) {
    return Truth(res2, [&]() -> DosError {
      Volume& volume = VolumeOf(vp);
      if (const DosError problem = WriteProblem(volume.settings())) return problem;
      return NameVolume(vp, name, [&] { return volume.Relabel(name); });
    });
  }

  static bool IsInhibited(Port* vp) { return Of(vp).inhibited; }
  template <auto kFunction, int kFailure = 0>
  static constexpr auto kUnlessInhibited = Inhibitable<IsInhibited, kFunction, kFailure>::Call;

  static ::FileSystemVectors Vectors() {
    ::FileSystemVectors vectors{};
    vectors.StructSize = sizeof vectors;
    vectors.Version = QUORLE_FS_VECTORPORT_VERSION;
    vectors.FSLock = kUnlessInhibited<FSLock>;
    vectors.FSUnLock = FSUnLock;
    vectors.FSDupLock = kUnlessInhibited<FSDupLock>;
    vectors.FSCreateDir = kUnlessInhibited<FSCreateDir>;
    vectors.FSParentDir = kUnlessInhibited<FSParentDir>;
    vectors.FSDupLockFromFH = kUnlessInhibited<FSDupLockFromFH>;
    vectors.FSOpenFromLock = kUnlessInhibited<FSOpenFromLock>;
    vectors.FSParentOfFH = kUnlessInhibited<FSParentOfFH>;
    vectors.FSOpen = kUnlessInhibited<FSOpen>;
    vectors.FSClose = FSClose;
    vectors.FSDelete = kUnlessInhibited<FSDelete>;
    vectors.FSRead = kUnlessInhibited<FSRead, -1>;
    vectors.FSWrite = kUnlessInhibited<FSWrite, -1>;
    vectors.FSFlush = kUnlessInhibited<FSFlush>;
    vectors.FSChangeFilePosition = kUnlessInhibited<FSChangeFilePosition>;
    vectors.FSChangeFileSize = kUnlessInhibited<FSChangeFileSize>;
    vectors.FSGetFilePosition = kUnlessInhibited<FSGetFilePosition, -1>;
    vectors.FSGetFileSize = kUnlessInhibited<FSGetFileSize, -1>;
    vectors.FSChangeLockMode = kUnlessInhibited<FSChangeLockMode>;
    vectors.FSChangeFileMode = kUnlessInhibited<FSChangeFileMode>;
    vectors.FSSetDate = kUnlessInhibited<FSSetDate>;
    vectors.FSSetProtection = kUnlessInhibited<FSSetProtection>;
    vectors.FSSetComment = kUnlessInhibited<FSSetComment>;
    vectors.FSSetGroup = kUnlessInhibited<FSSetGroup>;
    vectors.FSSetOwner = kUnlessInhibited<FSSetOwner>;
    vectors.FSRename = kUnlessInhibited<FSRename>;
    vectors.FSCreateSoftLink = kUnlessInhibited<FSCreateSoftLink>;
    vectors.FSCreateHardLink = kUnlessInhibited<FSCreateHardLink>;
    vectors.FSReadSoftLink = kUnlessInhibited<FSReadSoftLink, -1>;
    vectors.FSSameLock = kUnlessInhibited<FSSameLock>;
    vectors.FSSameFile = kUnlessInhibited<FSSameFile>;
    vectors.FSFileSystemAttr = kUnlessInhibited<FSFileSystemAttr>;
    vectors.FSVolumeInfoData = kUnlessInhibited<FillInfo>;
    vectors.FSDeviceInfoData = FSDeviceInfoData;
    vectors.FSExamineObj = kUnlessInhibited<FSExamineObj>;
    vectors.FSExamineLock = kUnlessInhibited<FSExamineLock>;
    vectors.FSExamineFile = kUnlessInhibited<FSExamineFile>;
    vectors.FSExamineDir = kUnlessInhibited<FSExamineDir>;
    vectors.FSInhibit = FSInhibit;
    vectors.FSWriteProtect = kUnlessInhibited<FSWriteProtect>;
    vectors.FSFormat = FSFormat;
    vectors.FSSerialize = FSSerialize;
    vectors.FSRelabel = kUnlessInhibited<FSRelabel>;
    vectors.FSAddNotify = kUnlessInhibited<FSAddNotify>;
    vectors.FSRemoveNotify = FSRemoveNotify;
    vectors.FSLockRecord = kUnlessInhibited<
        NotOffered<::FileHandle*, std::int64_t, std::int64_t, std::uint32_t, std::uint32_t>>;
    vectors.FSUnLockRecord =
        kUnlessInhibited<NotOffered<::FileHandle*, std::int64_t, std::int64_t>>;
    vectors.End_Marker = -1;
    return vectors;
  }
};

}  // namespace quorle::common
