#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "handlers/common/dos_error.h"
#include "handlers/common/mounted_volume.h"
#include "handlers/common/names.h"
#include "handlers/common/object_info.h"
#include "handlers/common/vectors.h"
#include "quorle/handler.h"

namespace quorle::common {

/// The functions that change and examine objects in the table of VolumePort.
template <class Volume>
class ObjectFunctions : private MountedVolume<Volume> {
  using Base = MountedVolume<Volume>;
  using Base::FileOf;
  using Base::Of;
  using Base::RefOf;
  using Base::RefOrRoot;
  using Base::VolumeOf;
  using typename Base::Port;
  using typename Base::Ref;

 public:
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

 private:
  /// Changes an attribute: `change` gets what the volume keeps attributes in.
  template <class Change>
  static std::int32_t Set(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                          const Change& change) {
    return Truth(res2, [&] { return VolumeOf(vp).SetAttribute(RefOf(rel), name, change); });
  }

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
};

}  // namespace quorle::common
