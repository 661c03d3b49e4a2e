#pragma once

#include <cstdint>
#include <string>

#include "handlers/common/dos_error.h"
#include "handlers/common/inhibition.h"
#include "handlers/common/mounted_volume.h"
#include "handlers/common/names.h"
#include "handlers/common/object_info.h"
#include "handlers/common/settings.h"
#include "handlers/common/vectors.h"
#include "quorle/handler.h"

namespace quorle::common {

/// The functions for the volume, its device and notification in the table of VolumePort.
template <class Volume>
class VolumeFunctions : private MountedVolume<Volume> {
  using Base = MountedVolume<Volume>;
  using Base::IsInhibited;
  using Base::kIsWatchable;
  using Base::Of;
  using Base::VolumeOf;
  using typename Base::Port;

 public:
  static std::int32_t FSFileSystemAttr(Port* vp, std::int32_t* res2, const ::TagItem* tags) {
    return Truth(res2, [&] {
      const Volume& volume = VolumeOf(vp);
      return AnswerAttributes(volume.settings(), volume.max_name(), tags);
    });
  }

  static std::int32_t FSVolumeInfoData(Port* vp, std::int32_t* res2, ::InfoData* info) {
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
    const std::int32_t ok = FSVolumeInfoData(vp, res2, info);
    if (ok != kFalse && IsInhibited(vp)) info->id_DiskType = kBusyDisk;
    return ok;
  }

  /// dos counts: it calls for the first and for the last alone.
  static std::int32_t FSInhibit(Port* vp, std::int32_t*, std::int32_t state) {
    Of(vp).inhibited = state != 0;
    return kTrue;
  }

  /// Only while it is inhibited, as Format(); but nothing is lost, so that locks and files do not matter.
  static std::int32_t FSSerialize(Port* vp, std::int32_t* res2) {
    if constexpr (kIsFormattable) {
      return Truth(res2, [&]() -> DosError {
        Volume& volume = VolumeOf(vp);
        if (!IsInhibited(vp)) return ERROR_OBJECT_IN_USE;
        if (volume.settings().write_protected) return ERROR_DISK_WRITE_PROTECTED;
        return volume.Serialize();
      });
    } else {
      return NotOffered(vp, res2);
    }
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

  static std::int32_t FSRelabel(Port* vp, std::int32_t* res2, const char* name) {
    return Truth(res2, [&]() -> DosError {
      Volume& volume = VolumeOf(vp);
      if (const DosError problem = WriteProblem(volume.settings())) return problem;
      return NameVolume(vp, name, [&] { return volume.Relabel(name); });
    });
  }

 private:
  /// Whether the volume can be formatted and serialized.
  static constexpr bool kIsFormattable = requires(Volume & volume, const char* name) {
    volume.Format(name, 0U);
    volume.Serialize();
  };

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
};

}  // namespace quorle::common
