#pragma once

#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "handlers/common/file_functions.h"
#include "handlers/common/inhibition.h"
#include "handlers/common/lock_functions.h"
#include "handlers/common/mounted_volume.h"
#include "handlers/common/object_functions.h"
#include "handlers/common/settings.h"
#include "handlers/common/volume_functions.h"
#include "quorle/handler.h"

namespace quorle::common {

/// A volume behind a vector port: makes lock, handle and examine records of what `Volume` finds, and
/// truth values of its errors. `Volume` has the rules; it provides
///
///     Ref       a name that leads to an object, or null: a pointer, or something that counts.
///               `ref->name` is the name. A null one as an argument means the root.
///     OpenFile  an open file: `entry`, the Ref through which it was opened, and `position`
///
/// and the operations that the functions of the port's table call. Where it has Format() it can be
/// formatted and serialized while it is inhibited; where it has watches() it notifies. Each returns a
/// DosError, or throws it unless it is of locks, Relabel(), Format() or Serialize(), and gives what it
/// found or made through its last parameters; it may throw what the C++ library throws.
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
    std::unique_ptr<Mounted> mounted(&Access::Of(port));
    const ::HandlerServices& dos = mounted->dos;
    // A volume that outlives the mount keeps neither.
    mounted->inhibited = false;
    if constexpr (Access::kIsWatchable) mounted->volume.watches().Clear();
    if (!mounted->volume.settings().label.empty()) dos.SetVolumeName(&dos, port, nullptr);
    dos.FreeDosObject(&dos, QUORLE_DOS_FSVECTORPORT, port);
    if (void** const medium = mounted->medium; medium != nullptr) *medium = mounted.release();
  }

  /// A handler's Discard(), of a volume that was started by StartKept().
  static void Discard(void* medium) { delete static_cast<Mounted*>(medium); }

 private:
  using Access = MountedVolume<Volume>;
  using Mounted = typename Access::Mounted;
  using Locks = LockFunctions<Volume>;
  using Files = FileFunctions<Volume>;
  using Objects = ObjectFunctions<Volume>;
  using Volumes = VolumeFunctions<Volume>;

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

  template <auto kFunction, int kFailure = 0>
  static constexpr auto kUnlessInhibited =
      Inhibitable<Access::IsInhibited, kFunction, kFailure>::Call;

  static ::FileSystemVectors Vectors() {
    ::FileSystemVectors vectors{};
    vectors.StructSize = sizeof vectors;
    vectors.Version = QUORLE_FS_VECTORPORT_VERSION;
    vectors.FSLock = kUnlessInhibited<Locks::FSLock>;
    vectors.FSUnLock = Locks::FSUnLock;
    vectors.FSDupLock = kUnlessInhibited<Locks::FSDupLock>;
    vectors.FSCreateDir = kUnlessInhibited<Locks::FSCreateDir>;
    vectors.FSParentDir = kUnlessInhibited<Locks::FSParentDir>;
    vectors.FSDupLockFromFH = kUnlessInhibited<Locks::FSDupLockFromFH>;
    vectors.FSOpenFromLock = kUnlessInhibited<Files::FSOpenFromLock>;
    vectors.FSParentOfFH = kUnlessInhibited<Locks::FSParentOfFH>;
    vectors.FSOpen = kUnlessInhibited<Files::FSOpen>;
    vectors.FSClose = Files::FSClose;
    vectors.FSDelete = kUnlessInhibited<Objects::FSDelete>;
    vectors.FSRead = kUnlessInhibited<Files::FSRead, -1>;
    vectors.FSWrite = kUnlessInhibited<Files::FSWrite, -1>;
    vectors.FSFlush = kUnlessInhibited<Files::FSFlush>;
    vectors.FSChangeFilePosition = kUnlessInhibited<Files::FSChangeFilePosition>;
    vectors.FSChangeFileSize = kUnlessInhibited<Files::FSChangeFileSize>;
    vectors.FSGetFilePosition = kUnlessInhibited<Files::FSGetFilePosition, -1>;
    vectors.FSGetFileSize = kUnlessInhibited<Files::FSGetFileSize, -1>;
    vectors.FSChangeLockMode = kUnlessInhibited<Locks::FSChangeLockMode>;
    vectors.FSChangeFileMode = kUnlessInhibited<Files::FSChangeFileMode>;
    vectors.FSSetDate = kUnlessInhibited<Objects::FSSetDate>;
    vectors.FSSetProtection = kUnlessInhibited<Objects::FSSetProtection>;
    vectors.FSSetComment = kUnlessInhibited<Objects::FSSetComment>;
    vectors.FSSetGroup = kUnlessInhibited<Objects::FSSetGroup>;
    vectors.FSSetOwner = kUnlessInhibited<Objects::FSSetOwner>;
    vectors.FSRename = kUnlessInhibited<Objects::FSRename>;
    vectors.FSCreateSoftLink = kUnlessInhibited<Objects::FSCreateSoftLink>;
    vectors.FSCreateHardLink = kUnlessInhibited<Objects::FSCreateHardLink>;
    vectors.FSReadSoftLink = kUnlessInhibited<Objects::FSReadSoftLink, -1>;
    vectors.FSSameLock = kUnlessInhibited<Locks::FSSameLock>;
    vectors.FSSameFile = kUnlessInhibited<Files::FSSameFile>;
    vectors.FSFileSystemAttr = kUnlessInhibited<Volumes::FSFileSystemAttr>;
    vectors.FSVolumeInfoData = kUnlessInhibited<Volumes::FSVolumeInfoData>;
    vectors.FSDeviceInfoData = Volumes::FSDeviceInfoData;
    vectors.FSExamineObj = kUnlessInhibited<Objects::FSExamineObj>;
    vectors.FSExamineLock = kUnlessInhibited<Objects::FSExamineLock>;
    vectors.FSExamineFile = kUnlessInhibited<Objects::FSExamineFile>;
    vectors.FSExamineDir = kUnlessInhibited<Objects::FSExamineDir>;
    vectors.FSInhibit = Volumes::FSInhibit;
    vectors.FSWriteProtect = kUnlessInhibited<Volumes::FSWriteProtect>;
    vectors.FSFormat = Volumes::FSFormat;
    vectors.FSSerialize = Volumes::FSSerialize;
    vectors.FSRelabel = kUnlessInhibited<Volumes::FSRelabel>;
    vectors.FSAddNotify = kUnlessInhibited<Volumes::FSAddNotify>;
    vectors.FSRemoveNotify = Volumes::FSRemoveNotify;
    vectors.FSLockRecord = kUnlessInhibited<Files::FSLockRecord>;
    vectors.FSUnLockRecord = Files::FSUnLockRecord;
    vectors.End_Marker = -1;
    return vectors;
  }
};

}  // namespace quorle::common
