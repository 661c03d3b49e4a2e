#pragma once

#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

#include "handlers/common/locked_ranges.h"
#include "handlers/common/settings.h"
#include "quorle/handler.h"

namespace quorle::common {

/// A volume that is mounted, and how the functions of its port reach it. `Volume` is that of VolumePort.
template <class Volume>
class MountedVolume {
 public:
  using Port = ::FileSystemVectorPort;
  using Ref = typename Volume::Ref;
  using OpenFile = typename Volume::OpenFile;

  /// What FSPrivate of the port is.
  struct Mounted {
    template <class... More>
    Mounted(const ::HandlerServices& services, VolumeSettings settings, More&&... more)
        : dos(services),
          volume(
              std::move(settings), [this] { return Today(dos); }, std::forward<More>(more)...) {}

    std::reference_wrapper<const ::HandlerServices> dos;
    void** medium = nullptr;  ///< where the volume is left; null: it ends with the mount
    Volume volume;
    LockedRanges<Volume> ranges;
    bool inhibited = false;
  };

  /// Whether the volume can be watched.
  static constexpr bool kIsWatchable = requires(Volume & volume) { volume.watches(); };

  /// The date of today, from dos.
  static ::DateStamp Today(const ::HandlerServices& dos) {
    ::DateStamp now{};
    dos.DateStamp(&dos, &now);
    return now;
  }

  static Mounted& Of(Port* vp) { return *static_cast<Mounted*>(vp->FSV.FSPrivate); }
  static Volume& VolumeOf(Port* vp) { return Of(vp).volume; }
  static OpenFile& FileOf(const ::FileHandle* fh) { return *static_cast<OpenFile*>(fh->fh_Arg2); }
  static bool IsInhibited(Port* vp) { return Of(vp).inhibited; }

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
};

}  // namespace quorle::common
