#pragma once

#include <cstdint>
#include <memory>

#include "handlers/common/dos_error.h"
#include "handlers/common/mounted_volume.h"
#include "handlers/common/vectors.h"
#include "quorle/handler.h"

namespace quorle::common {

/// The functions for open files in the table of VolumePort.
template <class Volume>
class FileFunctions : private MountedVolume<Volume> {
  using Base = MountedVolume<Volume>;
  using Base::FileOf;
  using Base::FreeLock;
  using Base::IsExclusive;
  using Base::Of;
  using Base::RefOf;
  using Base::VolumeOf;
  using typename Base::OpenFile;
  using typename Base::Port;

 public:
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
    Of(vp).ranges.Release(*file);
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

  static std::int32_t FSLockRecord(Port* vp, std::int32_t* res2, ::FileHandle* fh,
                                   std::int64_t offset, std::int64_t length, std::uint32_t mode,
                                   std::uint32_t) {
    return Truth(res2, [&] { return Of(vp).ranges.Lock(FileOf(fh), offset, length, mode); });
  }

  static std::int32_t FSUnLockRecord(Port* vp, std::int32_t* res2, ::FileHandle* fh,
                                     std::int64_t offset, std::int64_t length) {
    return Truth(res2, [&] { return Of(vp).ranges.UnLock(FileOf(fh), offset, length); });
  }
};

}  // namespace quorle::common
