#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

#include "handlers/common/dos_error.h"
#include "handlers/common/mounted_volume.h"
#include "handlers/common/vectors.h"
#include "quorle/handler.h"

namespace quorle::common {

/// The functions for locks in the table of VolumePort.
template <class Volume>
class LockFunctions : private MountedVolume<Volume> {
  using Base = MountedVolume<Volume>;
  using Base::FileOf;
  using Base::FreeLock;
  using Base::IsExclusive;
  using Base::kIsPointer;
  using Base::Of;
  using Base::RefOf;
  using Base::RefOrRoot;
  using Base::VolumeOf;
  using typename Base::Mounted;
  using typename Base::Port;
  using typename Base::Ref;

 public:
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

 private:
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
};

}  // namespace quorle::common
