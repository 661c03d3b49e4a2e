#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "calls/call_shape.h"
#include "quorle/handler.h"

/// The functions of struct FileSystemVectors as one list: a row a function, in the table's order.
/// Who sends calls, answers packets, carries calls to another process, intercepts or records them
/// derives that from here; a new function is a line in handler.h and a row below.
namespace quorle::calls {

/// The packet that stands for a function.
///
/// `layout` has a character for each of dp_Arg1 to dp_Arg5:
///   1 to 5  that argument of the function, counted after the port and the error code
///   .  nothing: 0
///   L  a lock that another sender may name; 0 from dos
///   A  the handler's own word of the open file among the arguments, fh_Arg1
///   =  the address of the first name again, which says that a zero follows the text
///   K  `fixed`, which says which of two functions the packet stands for
///   G  tags: one, `fixed`, with the function's last argument as its data
struct PacketForm {
  std::int32_t action;  ///< dp_Type, or kActionIsMode
  const char* name;     ///< as messages have it
  std::string_view layout;
  std::int64_t fixed = 0;
};

/// FSOpen(): its last argument is the number of the packet.
inline constexpr std::int32_t kActionIsMode = -1;

/// One function of the table.
///
/// `arguments` has a character for each argument after the port and the error code:
///   #  a number
///   L  a lock of the handler
///   H  a lock that may be another handler's
///   U  a lock that belongs to the handler when the call succeeds
///   F  an open file
///   N  the file that the call opens
///   X  the file that the call closes, whatever the result
///   T  a name. A packet carries it with its length, at most 255 bytes; a longer one is 120
///   M  a comment. As a name, but a longer one is 220
///   C  a text that a packet carries as it is
///   R  a buffer that is filled; its size follows
///   W  data; their size follows
///   D  a date
///   I  an InfoData that is filled
///   G  tags
///   E  the context of a scan
///   Q  a request for notification that begins when the call succeeds
///   Z  a request for notification that ends, whatever the result
///
/// `result` is as in CallShape, and says how a failure looks: -1 of '-', 0 or null of the others.
struct VectorForm {
  const char* name;  ///< as messages have it: "FSLock()"
  std::string_view arguments;
  char result;
  PacketForm packet;

  /// Whether it gives something back to the handler and does nothing else.
  constexpr bool Releases() const {
    return !arguments.empty() &&
           std::string_view("UXZ").find(arguments[0]) != std::string_view::npos;
  }
};

/// The row of the function that `function`, a member of FileSystemVectors, points to.
template <auto function>
struct Vector : VectorForm {
  static constexpr auto kFunction = function;
};

/// Tags of SET_OWNER_INFO.
inline constexpr std::uint32_t kOwnerTag = QUORLE_OI_OwnerUID;
inline constexpr std::uint32_t kGroupTag = QUORLE_OI_OwnerGID;

/// What kind of object CHANGE_MODE is about: its first argument.
inline constexpr std::int64_t kModeOfLock = CHANGE_LOCK;
inline constexpr std::int64_t kModeOfFile = CHANGE_FH;

// clang-format off
inline constexpr std::tuple kVectors{
    Vector<&::FileSystemVectors::FSLock>{
        {"FSLock()", "LT#", 'O', {QUORLE_ACTION_LOCATE_OBJECT, "ACTION_LOCATE_OBJECT", "123.="}}},
    Vector<&::FileSystemVectors::FSUnLock>{
        {"FSUnLock()", "U", '#', {QUORLE_ACTION_FREE_LOCK, "ACTION_FREE_LOCK", "1...."}}},
    Vector<&::FileSystemVectors::FSDupLock>{
        {"FSDupLock()", "L", 'O', {QUORLE_ACTION_COPY_LOCK, "ACTION_COPY_LOCK", "1...."}}},
    Vector<&::FileSystemVectors::FSCreateDir>{
        {"FSCreateDir()", "LT", 'L', {QUORLE_ACTION_CREATE_DIR, "ACTION_CREATE_DIR", "12..="}}},
    Vector<&::FileSystemVectors::FSParentDir>{
        {"FSParentDir()", "L", 'L', {QUORLE_ACTION_PARENT, "ACTION_PARENT", "1...."}}},
    Vector<&::FileSystemVectors::FSDupLockFromFH>{
        {"FSDupLockFromFH()", "F", 'L', {QUORLE_ACTION_COPY_LOCK_FH, "ACTION_COPY_LOCK_FH", "A1..."}}},
    Vector<&::FileSystemVectors::FSOpenFromLock>{
        {"FSOpenFromLock()", "NU", '#', {QUORLE_ACTION_FH_FROM_LOCK, "ACTION_FH_FROM_LOCK", "12..."}}},
    Vector<&::FileSystemVectors::FSParentOfFH>{
        {"FSParentOfFH()", "F", 'L', {QUORLE_ACTION_PARENT_FH, "ACTION_PARENT_FH", "A1..."}}},
    Vector<&::FileSystemVectors::FSOpen>{
        {"FSOpen()", "NLT#", '#', {kActionIsMode, "", "123.="}}},
    Vector<&::FileSystemVectors::FSClose>{
        {"FSClose()", "X", '#', {QUORLE_ACTION_END, "ACTION_END", "A1..."}}},
    Vector<&::FileSystemVectors::FSDelete>{
        {"FSDelete()", "LT", '#', {QUORLE_ACTION_DELETE_OBJECT, "ACTION_DELETE_OBJECT", "12..="}}},
    Vector<&::FileSystemVectors::FSRead>{
        {"FSRead()", "FR#", '-', {QUORLE_ACTION_READ, "ACTION_READ", "A231."}}},
    Vector<&::FileSystemVectors::FSWrite>{
        {"FSWrite()", "FW#", '-', {QUORLE_ACTION_WRITE, "ACTION_WRITE", "A231."}}},
    Vector<&::FileSystemVectors::FSFlush>{
        {"FSFlush()", "", '#', {QUORLE_ACTION_FLUSH, "ACTION_FLUSH", "....."}}},
    Vector<&::FileSystemVectors::FSChangeFilePosition>{
        {"FSChangeFilePosition()", "F##", '#',
         {QUORLE_ACTION_CHANGE_FILE_POSITION64, "ACTION_CHANGE_FILE_POSITION64", "A321."}}},
    Vector<&::FileSystemVectors::FSChangeFileSize>{
        {"FSChangeFileSize()", "F##", '#',
         {QUORLE_ACTION_CHANGE_FILE_SIZE64, "ACTION_CHANGE_FILE_SIZE64", "A321."}}},
    Vector<&::FileSystemVectors::FSGetFilePosition>{
        {"FSGetFilePosition()", "F", '-',
         {QUORLE_ACTION_GET_FILE_POSITION64, "ACTION_GET_FILE_POSITION64", "A.1.."}}},
    Vector<&::FileSystemVectors::FSGetFileSize>{
        {"FSGetFileSize()", "F", '-',
         {QUORLE_ACTION_GET_FILE_SIZE64, "ACTION_GET_FILE_SIZE64", "A.1.."}}},
    Vector<&::FileSystemVectors::FSChangeLockMode>{
        {"FSChangeLockMode()", "L#", '#',
         {QUORLE_ACTION_CHANGE_MODE, "ACTION_CHANGE_MODE", "K12..", kModeOfLock}}},
    Vector<&::FileSystemVectors::FSChangeFileMode>{
        {"FSChangeFileMode()", "F#", '#',
         {QUORLE_ACTION_CHANGE_MODE, "ACTION_CHANGE_MODE", "K12..", kModeOfFile}}},
    Vector<&::FileSystemVectors::FSSetDate>{
        {"FSSetDate()", "LTD", '#', {QUORLE_ACTION_SET_DATE, "ACTION_SET_DATE", ".123="}}},
    Vector<&::FileSystemVectors::FSSetProtection>{
        {"FSSetProtection()", "LT#", '#', {QUORLE_ACTION_SET_PROTECT, "ACTION_SET_PROTECT", ".123="}}},
    Vector<&::FileSystemVectors::FSSetComment>{
        {"FSSetComment()", "LTM", '#', {QUORLE_ACTION_SET_COMMENT, "ACTION_SET_COMMENT", ".123="}}},
    Vector<&::FileSystemVectors::FSSetGroup>{
        {"FSSetGroup()", "LT#", '#',
         {QUORLE_ACTION_SET_OWNER_INFO, "ACTION_SET_OWNER_INFO", "12G.=", kGroupTag}}},
    Vector<&::FileSystemVectors::FSSetOwner>{
        {"FSSetOwner()", "LT#", '#',
         {QUORLE_ACTION_SET_OWNER_INFO, "ACTION_SET_OWNER_INFO", "12G.=", kOwnerTag}}},
    Vector<&::FileSystemVectors::FSRename>{
        {"FSRename()", "LTLT", '#', {QUORLE_ACTION_RENAME_OBJECT, "ACTION_RENAME_OBJECT", "1234."}}},
    Vector<&::FileSystemVectors::FSCreateSoftLink>{
        {"FSCreateSoftLink()", "LTC", '#',
         {QUORLE_ACTION_MAKE_LINK, "ACTION_MAKE_LINK", "123K=", QUORLE_PACKET_LINK_SOFT}}},
    Vector<&::FileSystemVectors::FSCreateHardLink>{
        {"FSCreateHardLink()", "LTH", '#',
         {QUORLE_ACTION_MAKE_LINK, "ACTION_MAKE_LINK", "123K=", QUORLE_PACKET_LINK_HARD}}},
    Vector<&::FileSystemVectors::FSReadSoftLink>{
        {"FSReadSoftLink()", "LCR#", '-',
         {QUORLE_ACTION_READ_SOFT_LINK, "ACTION_READ_SOFT_LINK", "1234."}}},
    Vector<&::FileSystemVectors::FSSameLock>{
        {"FSSameLock()", "LL", '#', {QUORLE_ACTION_SAME_LOCK, "ACTION_SAME_LOCK", "12..."}}},
    Vector<&::FileSystemVectors::FSSameFile>{
        {"FSSameFile()", "FF", '#', {QUORLE_ACTION_SAME_FH, "ACTION_SAME_FH", "12..."}}},
    Vector<&::FileSystemVectors::FSFileSystemAttr>{
        {"FSFileSystemAttr()", "G", '#',
         {QUORLE_ACTION_FILESYSTEM_ATTR, "ACTION_FILESYSTEM_ATTR", "1...."}}},
    Vector<&::FileSystemVectors::FSVolumeInfoData>{
        {"FSVolumeInfoData()", "I", '#', {QUORLE_ACTION_INFO, "ACTION_INFO", "L1..."}}},
    Vector<&::FileSystemVectors::FSDeviceInfoData>{
        {"FSDeviceInfoData()", "I", '#', {QUORLE_ACTION_DISK_INFO, "ACTION_DISK_INFO", "1...."}}},
    Vector<&::FileSystemVectors::FSExamineObj>{
        {"FSExamineObj()", "LT", 'E',
         {QUORLE_ACTION_EXAMINEDATA_OBJ, "ACTION_EXAMINEDATA_OBJ", "12..="}}},
    Vector<&::FileSystemVectors::FSExamineLock>{
        {"FSExamineLock()", "L", 'E', {QUORLE_ACTION_EXAMINEDATA, "ACTION_EXAMINEDATA", "1...."}}},
    Vector<&::FileSystemVectors::FSExamineFile>{
        {"FSExamineFile()", "F", 'E', {QUORLE_ACTION_EXAMINEDATA_FH, "ACTION_EXAMINEDATA_FH", "1...."}}},
    Vector<&::FileSystemVectors::FSExamineDir>{
        {"FSExamineDir()", "E", '#', {QUORLE_ACTION_EXAMINEDATA_DIR, "ACTION_EXAMINEDATA_DIR", "1...."}}},
    Vector<&::FileSystemVectors::FSInhibit>{
        {"FSInhibit()", "#", '#', {QUORLE_ACTION_INHIBIT, "ACTION_INHIBIT", "1...."}}},
    Vector<&::FileSystemVectors::FSWriteProtect>{
        {"FSWriteProtect()", "##", '#', {QUORLE_ACTION_WRITE_PROTECT, "ACTION_WRITE_PROTECT", "12..."}}},
    Vector<&::FileSystemVectors::FSFormat>{
        {"FSFormat()", "T#", '#', {QUORLE_ACTION_FORMAT, "ACTION_FORMAT", "12..="}}},
    Vector<&::FileSystemVectors::FSSerialize>{
        {"FSSerialize()", "", '#', {QUORLE_ACTION_SERIALIZE_DISK, "ACTION_SERIALIZE_DISK", "....."}}},
    Vector<&::FileSystemVectors::FSRelabel>{
        {"FSRelabel()", "T", '#', {QUORLE_ACTION_RENAME_DISK, "ACTION_RENAME_DISK", "1...="}}},
    Vector<&::FileSystemVectors::FSAddNotify>{
        {"FSAddNotify()", "Q", '#', {QUORLE_ACTION_ADD_NOTIFY, "ACTION_ADD_NOTIFY", "1...."}}},
    Vector<&::FileSystemVectors::FSRemoveNotify>{
        {"FSRemoveNotify()", "Z", '#', {QUORLE_ACTION_REMOVE_NOTIFY, "ACTION_REMOVE_NOTIFY", "1...."}}},
    Vector<&::FileSystemVectors::FSLockRecord>{
        {"FSLockRecord()", "F####", '#', {QUORLE_ACTION_LOCK_RECORD64, "ACTION_LOCK_RECORD64", "12453"}}},
    Vector<&::FileSystemVectors::FSUnLockRecord>{
        {"FSUnLockRecord()", "F##", '#', {QUORLE_ACTION_FREE_RECORD64, "ACTION_FREE_RECORD64", "12..3"}}},
};
// clang-format on

inline constexpr std::size_t kVectorCount = std::tuple_size_v<decltype(kVectors)>;

/// The row of a function: kVector<&::FileSystemVectors::FSLock>.
template <auto function>
inline constexpr const VectorForm& kVector = std::get<Vector<function>>(kVectors);

/// Passes all rows to `visit` at once, and returns what it returns.
template <class Visit>
constexpr decltype(auto) WithVectors(const Visit& visit) {
  return std::apply(visit, kVectors);
}

/// The place of a function in the list, from 0.
template <auto function>
inline constexpr std::size_t kVectorIndex = WithVectors([](const auto&... vectors) {
  std::size_t index = 0;
  static_cast<void>((
      (!std::is_same_v<std::decay_t<decltype(vectors)>, Vector<function>> && ++index != 0) && ...));
  return index;
});

/// Passes the rows to `visit` one by one.
template <class Visit>
constexpr void ForEachVector(const Visit& visit) {
  WithVectors([&visit](const auto&... vectors) { (visit(vectors), ...); });
}

/// A member of FileSystemVectors that points to a function with these arguments after the port and
/// the error code.
template <class Result, class... Args>
using VectorMember = Result (*::FileSystemVectors::*)(::FileSystemVectorPort*, std::int32_t*,
                                                      Args...);

// ---- Shapes --------------------------------------------------------------------------------------

/// `arguments` of a VectorForm or a packet's layout as a CallShape has them, with a zero at the end.
using Letters = std::array<char, kMostArguments + 1>;

/// How the function itself takes an argument of the kind `letter`.
constexpr char LetterOfArgument(char letter) {
  if (letter == 'H') return 'L';
  return letter == 'T' || letter == 'M' ? 'C' : letter;
}

constexpr Letters ArgumentLetters(const VectorForm& vector) {
  Letters letters{};
  for (std::size_t i = 0; i < vector.arguments.size(); ++i) {
    letters[i] = LetterOfArgument(vector.arguments[i]);
  }
  return letters;
}

/// The letters of the five arguments of the packet that stands for `vector`.
constexpr Letters PacketLetters(const VectorForm& vector) {
  Letters letters{};
  for (std::size_t i = 0; i < vector.packet.layout.size(); ++i) {
    const char place = vector.packet.layout[i];
    letters[i] = place == 'K' ? '#' : place;
    if (place < '1' || place > '9') continue;
    const char letter = vector.arguments[static_cast<std::size_t>(place - '1')];
    letters[i] = letter == 'T' || letter == 'M' ? 'T' : LetterOfArgument(letter);
  }
  return letters;
}

template <auto function>
inline constexpr Letters kArgumentLetters = ArgumentLetters(kVector<function>);
template <auto function>
inline constexpr Letters kPacketLetters = PacketLetters(kVector<function>);

/// The shapes of a call by the function, and by the packet that stands for it.
template <auto function>
inline constexpr CallShape kVectorShape{kVector<function>.name, kArgumentLetters<function>.data(),
                                        kVector<function>.result};
template <auto function>
inline constexpr CallShape kPacketShape{kVector<function>.packet.name,
                                        kPacketLetters<function>.data(), kVector<function>.result};

// ---- Each row fits its function ------------------------------------------------------------------

template <class Arg>
constexpr bool IsOfLetter(char letter) {
  switch (letter) {
    case '#':
      return std::is_integral_v<Arg>;
    case 'L':
    case 'H':
    case 'U':
      return std::is_same_v<Arg, ::Lock*>;
    case 'F':
    case 'N':
    case 'X':
      return std::is_same_v<Arg, ::FileHandle*>;
    case 'T':
    case 'M':
    case 'C':
      return std::is_same_v<Arg, const char*>;
    case 'R':
      return std::is_same_v<Arg, void*> || std::is_same_v<Arg, char*>;
    case 'W':
      return std::is_same_v<Arg, const void*>;
    case 'D':
      return std::is_same_v<Arg, const ::DateStamp*>;
    case 'I':
      return std::is_same_v<Arg, ::InfoData*>;
    case 'G':
      return std::is_same_v<Arg, const ::TagItem*>;
    case 'E':
      return std::is_same_v<Arg, ::PRIVATE_ExamineDirContext*>;
    case 'Q':
    case 'Z':
      return std::is_same_v<Arg, ::NotifyRequest*>;
    default:
      return false;
  }
}

template <class Result>
constexpr bool IsOfResult(char letter) {
  switch (letter) {
    case '#':
      return std::is_same_v<Result, std::int32_t>;
    case '-':
      return std::is_integral_v<Result>;
    case 'L':
    case 'O':
      return std::is_same_v<Result, ::Lock*>;
    case 'E':
      return std::is_same_v<Result, ::ExamineData*>;
    default:
      return false;
  }
}

/// Whether the packet of `vector` has five arguments, which carry each of the function's once.
constexpr bool HasPlaceForAll(const VectorForm& vector) {
  const PacketForm& packet = vector.packet;
  if (packet.layout.size() != 5) return false;
  std::size_t carried = 0;
  for (std::size_t i = 0; i < vector.arguments.size(); ++i) {
    const char place = static_cast<char>('1' + i);
    const std::size_t first = packet.layout.find(place);
    if (first == std::string_view::npos) continue;
    if (packet.layout.rfind(place) != first) return false;
    ++carried;
  }
  const bool last_is_elsewhere =
      packet.action == kActionIsMode || packet.layout.find('G') != std::string_view::npos;
  return carried + (last_is_elsewhere ? 1 : 0) == vector.arguments.size();
}

template <class Result, class... Args>
constexpr bool Fits(const VectorForm& vector, VectorMember<Result, Args...>) {
  if (vector.arguments.size() != sizeof...(Args) || sizeof...(Args) > kMostArguments) return false;
  std::size_t i = 0;
  return IsOfResult<Result>(vector.result) && (IsOfLetter<Args>(vector.arguments[i++]) && ...) &&
         HasPlaceForAll(vector);
}

static_assert(WithVectors([](const auto&... vectors) {
  return (Fits(vectors, vectors.kFunction) && ...);
}));

}  // namespace quorle::calls
