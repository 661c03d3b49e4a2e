#include "hosted/calls/packet_adapter.h"

#include <cstring>

#include "platform/constants.h"

namespace quorle {
namespace {

// A function of the vector table; `Rest` is what follows the port and the error code.
template <class Result, class... Rest>
using VectorFunction = Result (*)(::FileSystemVectorPort*, std::int32_t*, Rest...);

// One packet on its way to a function. The Answer functions return false when that is missing.
class Call {
 public:
  Call(::FileSystemVectorPort& port, ::DosPacket& packet) : port_(port), packet_(packet) {}

  const ::FileSystemVectors& vectors() const { return port_.FSV; }
  const ::DosPacket& packet() const { return packet_; }

  template <class... Rest, class... Args>
  bool AnswerTruth(VectorFunction<std::int32_t, Rest...> function, Args... args) {
    std::int32_t result = 0;
    if (!Run(result, function, args...)) return false;
    const std::int32_t truth = result != 0 ? kDosTrue : kDosFalse;
    if (IsWidePacket(packet_.dp_Type)) {
      packet_.dp_Res64 = truth;
    } else {
      packet_.dp_Res1 = truth;
    }
    return true;
  }

  template <class... Rest, class... Args>
  bool AnswerCount(VectorFunction<std::int32_t, Rest...> function, Args... args) {
    std::int32_t result = 0;
    if (!Run(result, function, args...)) return false;
    packet_.dp_Res1 = result;
    return true;
  }

  template <class... Rest, class... Args>
  bool AnswerNumber(VectorFunction<std::int64_t, Rest...> function, Args... args) {
    return Run(packet_.dp_Res64, function, args...);
  }

  template <class Object, class... Rest, class... Args>
  bool AnswerObject(VectorFunction<Object*, Rest...> function, Args... args) {
    Object* result = nullptr;
    if (!Run(result, function, args...)) return false;
    packet_.dp_Res1 = reinterpret_cast<std::intptr_t>(result);
    return true;
  }

  void Refuse(std::int32_t code) {
    packet_.dp_Res1 = kDosFalse;
    packet_.dp_Res2 = code;
  }

 private:
  template <class Result, class... Rest, class... Args>
  bool Run(Result& result, VectorFunction<Result, Rest...> function, Args... args) {
    if (function == nullptr) return false;
    std::int32_t res2 = 0;
    result = function(&port_, &res2, args...);
    packet_.dp_Res2 = res2;
    return true;
  }

  ::FileSystemVectorPort& port_;
  ::DosPacket& packet_;
};

::Lock* LockAt(std::intptr_t argument) {
  return PointedTo<::Lock>(argument);
}

::FileHandle* FileAt(std::intptr_t argument) {
  return PointedTo<::FileHandle>(argument);
}

std::int32_t Signed(std::intptr_t argument) {
  return static_cast<std::int32_t>(argument);
}

std::uint32_t Unsigned(std::intptr_t argument) {
  return static_cast<std::uint32_t>(argument);
}

bool AnswerMakeLink(Call& call) {
  const ::DosPacket& p = call.packet();
  const PlainText name(p.dp_Arg2);
  if (p.dp_Arg4 == QUORLE_PACKET_LINK_HARD) {
    return call.AnswerTruth(call.vectors().FSCreateHardLink, LockAt(p.dp_Arg1), name.c_str(),
                            LockAt(p.dp_Arg3));
  }
  return call.AnswerTruth(call.vectors().FSCreateSoftLink, LockAt(p.dp_Arg1), name.c_str(),
                          PointedTo<const char>(p.dp_Arg3));
}

bool AnswerChangeMode(Call& call) {
  const ::DosPacket& p = call.packet();
  const std::int32_t mode = Signed(p.dp_Arg3);
  if (p.dp_Arg1 == CHANGE_LOCK) {
    return call.AnswerTruth(call.vectors().FSChangeLockMode, LockAt(p.dp_Arg2), mode);
  }
  if (p.dp_Arg1 == CHANGE_FH) {
    return call.AnswerTruth(call.vectors().FSChangeFileMode, FileAt(p.dp_Arg2), mode);
  }
  call.Refuse(ERROR_BAD_NUMBER);
  return true;
}

// The tags are answered in their order and up to the first failure; 116 when none names an owner or
// a group. Nothing is changed when a function for one of them is missing.
bool AnswerSetOwnerInfo(Call& call) {
  const ::DosPacket& p = call.packet();
  const ::TagItem* const tags = PointedTo<const ::TagItem>(p.dp_Arg3);
  bool owner_or_group = false;
  for (const ::TagItem* tag = tags; tag != nullptr && tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    const bool owner = tag->ti_Tag == kOwnerTag;
    const bool group = tag->ti_Tag == kGroupTag;
    if (owner && call.vectors().FSSetOwner == nullptr) return false;
    if (group && call.vectors().FSSetGroup == nullptr) return false;
    owner_or_group = owner_or_group || owner || group;
  }
  if (!owner_or_group) {
    call.Refuse(ERROR_REQUIRED_ARG_MISSING);
    return true;
  }
  const PlainText name(p.dp_Arg2);
  for (const ::TagItem* tag = tags; tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    if (tag->ti_Tag != kOwnerTag && tag->ti_Tag != kGroupTag) continue;
    const auto function =
        tag->ti_Tag == kOwnerTag ? call.vectors().FSSetOwner : call.vectors().FSSetGroup;
    call.AnswerTruth(function, LockAt(p.dp_Arg1), name.c_str(),
                     static_cast<std::uint32_t>(tag->ti_Data));
    if (p.dp_Res1 == kDosFalse) break;
  }
  return true;
}

bool AnswerLockPacket(Call& call) {
  const ::FileSystemVectors& v = call.vectors();
  const ::DosPacket& p = call.packet();
  switch (p.dp_Type) {
    case QUORLE_ACTION_LOCATE_OBJECT:
      return call.AnswerObject(v.FSLock, LockAt(p.dp_Arg1), PlainText(p.dp_Arg2).c_str(),
                               Signed(p.dp_Arg3));
    case QUORLE_ACTION_FREE_LOCK:
      return call.AnswerTruth(v.FSUnLock, LockAt(p.dp_Arg1));
    case QUORLE_ACTION_COPY_LOCK:
      return call.AnswerObject(v.FSDupLock, LockAt(p.dp_Arg1));
    case QUORLE_ACTION_CREATE_DIR:
      return call.AnswerObject(v.FSCreateDir, LockAt(p.dp_Arg1), PlainText(p.dp_Arg2).c_str());
    case QUORLE_ACTION_PARENT:
      return call.AnswerObject(v.FSParentDir, LockAt(p.dp_Arg1));
    case QUORLE_ACTION_COPY_LOCK_FH:
      return call.AnswerObject(v.FSDupLockFromFH, FileAt(p.dp_Arg2));
    case QUORLE_ACTION_PARENT_FH:
      return call.AnswerObject(v.FSParentOfFH, FileAt(p.dp_Arg2));
    case QUORLE_ACTION_SAME_LOCK:
      return call.AnswerTruth(v.FSSameLock, LockAt(p.dp_Arg1), LockAt(p.dp_Arg2));
    case QUORLE_ACTION_CHANGE_MODE:
      return AnswerChangeMode(call);
    default:
      return false;
  }
}

bool AnswerFilePacket(Call& call) {
  const ::FileSystemVectors& v = call.vectors();
  const ::DosPacket& p = call.packet();
  switch (p.dp_Type) {
    case QUORLE_ACTION_FINDUPDATE:
    case QUORLE_ACTION_FINDINPUT:
    case QUORLE_ACTION_FINDOUTPUT:
      // The numbers of these three packets are the open modes.
      return call.AnswerTruth(v.FSOpen, FileAt(p.dp_Arg1), LockAt(p.dp_Arg2),
                              PlainText(p.dp_Arg3).c_str(), p.dp_Type);
    case QUORLE_ACTION_FH_FROM_LOCK:
      return call.AnswerTruth(v.FSOpenFromLock, FileAt(p.dp_Arg1), LockAt(p.dp_Arg2));
    case QUORLE_ACTION_END:
      return call.AnswerTruth(v.FSClose, FileAt(p.dp_Arg2));
    case QUORLE_ACTION_READ:
      return call.AnswerCount(v.FSRead, FileAt(p.dp_Arg4), PointedTo<void>(p.dp_Arg2),
                              Signed(p.dp_Arg3));
    case QUORLE_ACTION_WRITE:
      return call.AnswerCount(v.FSWrite, FileAt(p.dp_Arg4), PointedTo<const void>(p.dp_Arg2),
                              Signed(p.dp_Arg3));
    case QUORLE_ACTION_FLUSH:
      return call.AnswerTruth(v.FSFlush);
    case QUORLE_ACTION_CHANGE_FILE_POSITION64:
      return call.AnswerTruth(v.FSChangeFilePosition, FileAt(p.dp_Arg4), Signed(p.dp_Arg3),
                              p.dp_Arg2_64);
    case QUORLE_ACTION_CHANGE_FILE_SIZE64:
      return call.AnswerTruth(v.FSChangeFileSize, FileAt(p.dp_Arg4), Signed(p.dp_Arg3),
                              p.dp_Arg2_64);
    case QUORLE_ACTION_GET_FILE_POSITION64:
      return call.AnswerNumber(v.FSGetFilePosition, FileAt(p.dp_Arg3));
    case QUORLE_ACTION_GET_FILE_SIZE64:
      return call.AnswerNumber(v.FSGetFileSize, FileAt(p.dp_Arg3));
    case QUORLE_ACTION_SAME_FH:
      return call.AnswerTruth(v.FSSameFile, FileAt(p.dp_Arg1), FileAt(p.dp_Arg2));
    case QUORLE_ACTION_LOCK_RECORD64:
      return call.AnswerTruth(v.FSLockRecord, FileAt(p.dp_Arg1), p.dp_Arg2_64, p.dp_Arg5_64,
                              Unsigned(p.dp_Arg3), Unsigned(p.dp_Arg4));
    case QUORLE_ACTION_FREE_RECORD64:
      return call.AnswerTruth(v.FSUnLockRecord, FileAt(p.dp_Arg1), p.dp_Arg2_64, p.dp_Arg5_64);
    default:
      return false;
  }
}

bool AnswerObjectPacket(Call& call) {
  const ::FileSystemVectors& v = call.vectors();
  const ::DosPacket& p = call.packet();
  switch (p.dp_Type) {
    case QUORLE_ACTION_DELETE_OBJECT:
      return call.AnswerTruth(v.FSDelete, LockAt(p.dp_Arg1), PlainText(p.dp_Arg2).c_str());
    case QUORLE_ACTION_RENAME_OBJECT:
      return call.AnswerTruth(v.FSRename, LockAt(p.dp_Arg1), PlainText(p.dp_Arg2).c_str(),
                              LockAt(p.dp_Arg3), PlainText(p.dp_Arg4).c_str());
    case QUORLE_ACTION_SET_PROTECT:
      return call.AnswerTruth(v.FSSetProtection, LockAt(p.dp_Arg2), PlainText(p.dp_Arg3).c_str(),
                              Unsigned(p.dp_Arg4));
    case QUORLE_ACTION_SET_COMMENT:
      return call.AnswerTruth(v.FSSetComment, LockAt(p.dp_Arg2), PlainText(p.dp_Arg3).c_str(),
                              PlainText(p.dp_Arg4).c_str());
    case QUORLE_ACTION_SET_DATE:
      return call.AnswerTruth(v.FSSetDate, LockAt(p.dp_Arg2), PlainText(p.dp_Arg3).c_str(),
                              PointedTo<const ::DateStamp>(p.dp_Arg4));
    case QUORLE_ACTION_SET_OWNER_INFO:
      return AnswerSetOwnerInfo(call);
    case QUORLE_ACTION_MAKE_LINK:
      return AnswerMakeLink(call);
    case QUORLE_ACTION_READ_SOFT_LINK:
      return call.AnswerCount(v.FSReadSoftLink, LockAt(p.dp_Arg1), PointedTo<const char>(p.dp_Arg2),
                              PointedTo<char>(p.dp_Arg3), Signed(p.dp_Arg4));
    case QUORLE_ACTION_EXAMINEDATA:
      return call.AnswerObject(v.FSExamineLock, LockAt(p.dp_Arg1));
    case QUORLE_ACTION_EXAMINEDATA_FH:
      return call.AnswerObject(v.FSExamineFile, FileAt(p.dp_Arg1));
    case QUORLE_ACTION_EXAMINEDATA_OBJ:
      return call.AnswerObject(v.FSExamineObj, LockAt(p.dp_Arg1), PlainText(p.dp_Arg2).c_str());
    case QUORLE_ACTION_EXAMINEDATA_DIR:
      return call.AnswerTruth(v.FSExamineDir, PointedTo<::PRIVATE_ExamineDirContext>(p.dp_Arg1));
    default:
      return false;
  }
}

bool AnswerVolumePacket(Call& call) {
  const ::FileSystemVectors& v = call.vectors();
  const ::DosPacket& p = call.packet();
  switch (p.dp_Type) {
    case QUORLE_ACTION_FILESYSTEM_ATTR:
      return call.AnswerTruth(v.FSFileSystemAttr, PointedTo<const ::TagItem>(p.dp_Arg1));
    case QUORLE_ACTION_INFO:
      return call.AnswerTruth(v.FSVolumeInfoData, PointedTo<::InfoData>(p.dp_Arg2));
    case QUORLE_ACTION_DISK_INFO:
      return call.AnswerTruth(v.FSDeviceInfoData, PointedTo<::InfoData>(p.dp_Arg1));
    case QUORLE_ACTION_INHIBIT:
      return call.AnswerTruth(v.FSInhibit, Signed(p.dp_Arg1));
    case QUORLE_ACTION_WRITE_PROTECT:
      return call.AnswerTruth(v.FSWriteProtect, Signed(p.dp_Arg1), Unsigned(p.dp_Arg2));
    case QUORLE_ACTION_FORMAT:
      return call.AnswerTruth(v.FSFormat, PlainText(p.dp_Arg1).c_str(), Unsigned(p.dp_Arg2));
    case QUORLE_ACTION_SERIALIZE_DISK:
      return call.AnswerTruth(v.FSSerialize);
    case QUORLE_ACTION_RENAME_DISK:
      return call.AnswerTruth(v.FSRelabel, PlainText(p.dp_Arg1).c_str());
    case QUORLE_ACTION_ADD_NOTIFY:
      return call.AnswerTruth(v.FSAddNotify, PointedTo<::NotifyRequest>(p.dp_Arg1));
    case QUORLE_ACTION_REMOVE_NOTIFY:
      return call.AnswerTruth(v.FSRemoveNotify, PointedTo<::NotifyRequest>(p.dp_Arg1));
    default:
      return false;
  }
}

}  // namespace

PacketText::PacketText(const char* text) {
  const std::size_t length = std::strlen(text);
  fits_ = length <= kMaxLength;
  if (!fits_) return;
  bytes_[0] = static_cast<std::uint8_t>(length);
  std::memcpy(bytes_ + 1, text, length);
}

PlainText::PlainText(std::intptr_t argument) {
  const auto* const bytes = PointedTo<const std::uint8_t>(argument);
  if (bytes != nullptr) std::memcpy(text_, bytes + 1, bytes[0]);
}

bool GivesLock(std::int32_t action) {
  switch (action) {
    case QUORLE_ACTION_LOCATE_OBJECT:
    case QUORLE_ACTION_COPY_LOCK:
    case QUORLE_ACTION_CREATE_DIR:
    case QUORLE_ACTION_PARENT:
    case QUORLE_ACTION_COPY_LOCK_FH:
    case QUORLE_ACTION_PARENT_FH:
      return true;
    default:
      return false;
  }
}

bool AnswerByVector(::FileSystemVectorPort& port, ::DosPacket& packet) {
  Call call(port, packet);
  return AnswerLockPacket(call) || AnswerFilePacket(call) || AnswerObjectPacket(call) ||
         AnswerVolumePacket(call);
}

void AnswerNotKnown(::DosPacket& packet) {
  packet.dp_Res1 = kDosFalse;
  packet.dp_Res64 = kDosFalse;
  packet.dp_Res2 = ERROR_ACTION_NOT_KNOWN;
}

}  // namespace quorle
