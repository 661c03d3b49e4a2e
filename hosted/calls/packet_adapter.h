#pragma once

#include <cstddef>
#include <cstdint>

#include "quorle/handler.h"

/// Packets on a port that has a vector table: what they carry and how a function answers them.
///
/// Arguments in order, from dp_Arg1. `name` is a length-prefixed text (PacketText); where a packet
/// carries one name, dp_Arg5 repeats its address, which says to the receiver that a zero follows the
/// text. `fh_Arg1` is the handler's own word of an open file; the file handle itself travels beside
/// it wherever the packet has room. A packet between 8000 and 8999 has its 64-bit fields instead of
/// dp_Arg2 and dp_Arg5 and its result in dp_Res64.
///
///      7 CURRENT_VOLUME      not answered here
///      8 LOCATE_OBJECT       lock, name, mode                            a lock
///      9 RENAME_DISK         name                                        truth
///     15 FREE_LOCK           lock                                        truth
///     16 DELETE_OBJECT       lock, name                                  truth
///     17 RENAME_OBJECT       lock, name, lock, name (nothing repeated)   truth
///     19 COPY_LOCK           lock                                        a lock
///     21 SET_PROTECT         0, lock, name, mask                         truth
///     22 CREATE_DIR          lock, name                                  a lock
///     25 DISK_INFO           InfoData                                    truth
///     26 INFO                lock (0: the port's volume), InfoData       truth
///     27 FLUSH               nothing                                     truth
///     28 SET_COMMENT         0, lock, name, comment (length-prefixed)    truth
///     29 PARENT              lock                                        a lock
///     31 INHIBIT             state                                       truth
///     34 SET_DATE            0, lock, name, DateStamp                    truth
///     40 SAME_LOCK           lock, lock                                  truth
///     53 SAME_FH             handle, handle                              truth
///     82 READ                fh_Arg1, buffer, bytes, handle              a count, -1
///     87 WRITE               fh_Arg1, data, bytes, handle                a count, -1
///   1004 FINDUPDATE, 1005 FINDINPUT, 1006 FINDOUTPUT
///                            handle, lock, name                          truth
///   1007 END                 fh_Arg1, handle                             truth
///   1020 FORMAT              name, DOS type                              truth
///   1021 MAKE_LINK           lock, name, target (plain text or lock),
///                            -1 soft or 0 hard                           truth
///   1023 WRITE_PROTECT       state, key                                  truth
///   1024 READ_SOFT_LINK      lock, plain text, buffer, size              a length, -1, -2
///   1026 FH_FROM_LOCK        handle, lock                                truth
///   1027 IS_FILESYSTEM       nothing; not answered here: no function stands for it
///   1028 CHANGE_MODE         0 lock or 1 handle, the object, mode        truth
///   1030 COPY_LOCK_FH        fh_Arg1, handle                             a lock
///   1031 PARENT_FH           fh_Arg1, handle                             a lock
///   1037 SET_OWNER_INFO      lock, name, tags                            truth
///   3005 FILESYSTEM_ATTR     tags                                        truth
///   3030 EXAMINEDATA         lock                                        a record
///   3031 EXAMINEDATA_FH      handle                                      a record
///   3032 EXAMINEDATA_OBJ     lock, name                                  a record
///   3040 EXAMINEDATA_DIR     context                                     truth
///   4097 ADD_NOTIFY, 4098 REMOVE_NOTIFY
///                            request                                     truth
///   4200 SERIALIZE_DISK      nothing                                     truth
///   8001 CHANGE_FILE_POSITION64, 8003 CHANGE_FILE_SIZE64
///                            fh_Arg1, the 64-bit value, mode, handle     truth
///   8002 GET_FILE_POSITION64, 8004 GET_FILE_SIZE64
///                            fh_Arg1, 0, handle                          a number, -1
///   8010 LOCK_RECORD64       handle, offset, mode, ticks, length         truth
///   8011 FREE_RECORD64       handle, offset, 0, 0, length                truth
///
/// The handle in 1030 and 1031, the arguments of 3032 and those of 8010 and 8011 are choices of
/// ours, the rest is the platform's.
namespace quorle {

/// The platform's truth values in the result of a packet.
inline constexpr std::int32_t kDosTrue = -1;
inline constexpr std::int32_t kDosFalse = 0;

/// What an argument or a result of a packet points to.
template <class Object>
Object* PointedTo(std::intptr_t word) {
  return reinterpret_cast<Object*>(word);  // NOLINT(performance-no-int-to-ptr): packets carry words
}

/// The same for a word of a message to a handler process, which has 64 bits on every machine.
template <class Object>
Object* At(std::int64_t word) {
  return PointedTo<Object>(static_cast<std::intptr_t>(word));
}

/// A text as a packet carries it: a length byte, the characters, and a zero that is not counted.
class PacketText {
 public:
  static constexpr std::size_t kMaxLength = 255;

  /// Keeps a copy of `text`, or nothing when it is too long.
  explicit PacketText(const char* text);
  bool fits() const { return fits_; }
  /// The argument of a packet; valid as long as this.
  std::intptr_t address() const { return reinterpret_cast<std::intptr_t>(bytes_); }

 private:
  alignas(4) std::uint8_t bytes_[1 + kMaxLength + 1] = {};
  bool fits_ = false;
};

/// The other way: a zero-ended copy of the text that a packet's argument points to; empty for 0.
/// Only the length byte counts: no name is longer than it can say.
class PlainText {
 public:
  explicit PlainText(std::intptr_t argument);
  const char* c_str() const { return text_; }

 private:
  char text_[PacketText::kMaxLength + 1] = {};
};

/// Whether the first result of the packet `action` is a lock.
bool GivesLock(std::int32_t action);

/// Answers `packet` by the function that it stands for and fills its results. False, with nothing
/// done, when there is no such packet or the function is missing.
bool AnswerByVector(::FileSystemVectorPort& port, ::DosPacket& packet);

/// The answer to a packet that nobody knows: 0 and 209.
void AnswerNotKnown(::DosPacket& packet);

}  // namespace quorle
