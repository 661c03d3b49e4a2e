#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

#include "platform/format.h"
#include "platform/handles.h"
#include "platform/records.h"

/// A call of the platform as data: what a hook (intercepting.h) sees of it.
namespace quorle {

class Interface;

// ---- Arguments ---------------------------------------------------------------------------------

/// A number that traces show as a tag.
struct Tag {
  std::uint32_t value;
};
/// A length-prefixed text, or null.
struct BString {
  const std::uint8_t* text;
};
/// Data that a call takes.
struct Data {
  const void* start;
  std::int32_t bytes;
};
/// What AllocVecTags() gives.
struct Memory {
  void* start;
};

/// An argument as a trace shows it. Texts are zero-ended and may be null.
using CallValue =
    std::variant<std::monostate, bool, std::int32_t, std::uint32_t, std::int64_t, const char*,
                 LockHandle, FileHandle, PortHandle, RdArgsHandle, MessageHandle,
                 const ExamineData*, const DevProc*, Memory, Tag, BString, Data,
                 const quorle::DateStamp*, DirContextHandle, NotifyHandle>;

// ---- Memory that a call works on ---------------------------------------------------------------

/// Where Read() stores data.
struct ReadBuffer {
  void* start;
  std::int32_t bytes;
};
/// Where ReadSoftLink() stores a path.
struct LinkBuffer {
  char* start;
  std::int32_t bytes;
};
/// Where a name goes.
struct NameBuffer {
  char* start;
  std::uint32_t bytes;
};
/// Where FileSystemAttr() stores what it knows.
struct AttributeBuffer {
  char* version;
  std::uint32_t version_bytes;
  std::uint32_t* dos_type;
};
/// Where VolumeInfoData() stores what it knows.
struct VolumeBuffer {
  InfoData* info;
};
/// Where ReadArgs() stores its words, one for each field of the template.
struct WordBuffer {
  const char* fields;
  ArgumentWord* words;
};
/// What Printf() makes its text of.
struct Message {
  const char* format;
  const FormatArgument* args;
  std::size_t count;
};

/// What a call fills or works on beside its arguments; no call has more than one of them.
using CallMemory = std::variant<std::monostate, ReadBuffer, LinkBuffer, NameBuffer, AttributeBuffer,
                                WordBuffer, Message, InfoData*, VolumeBuffer, std::uint32_t*,
                                quorle::DateStamp*, DateTime*, const Library*, Interface*>;

// ---- Results -----------------------------------------------------------------------------------

/// A lock that is handed back and not new: the previous current directory.
struct KnownLock {
  LockHandle lock;
};
/// What SetProcWindow() gives.
struct Window {
  void* window;
};

/// Where the result of a call is; monostate for a call that gives none. It holds zero, which is the
/// failure of most, until the call is made.
using CallResult =
    std::variant<std::monostate, bool*, std::int32_t*, std::uint32_t*, std::int64_t*, LockHandle*,
                 KnownLock*, FileHandle*, RdArgsHandle*, MessageHandle*, const ExamineData**,
                 const DevProc**, const Library**, Memory*, Window*, Interface**, const Process**,
                 PortRecord*, FileLock*, DirContextHandle*, NotifyHandle*>;

// ---- The call ----------------------------------------------------------------------------------

/// Who answers a call.
enum class CallKind : std::uint8_t {
  kHandler,  ///< the handler of a device; why it failed is in the error code
  kSystem,   ///< the platform alone, or without an error code
  kLocal,  ///< nobody: a field in place, the error code, the tester's own memory. Traces have none
};

/// One call.
struct Call {
  CallKind kind;
  std::string_view op;  ///< the operation's name on the platform; a literal
  std::span<const CallValue> args;
  CallMemory memory;
  CallResult result;
  /// Whether dos itself did what the handler does not know how to do; set when the call is made. Null:
  /// there is no such call.
  const bool* emulated = nullptr;

  /// Where the result is, when it is of this type; else null.
  template <class Type>
  Type* Result() const {
    Type* const* const place = std::get_if<Type*>(&result);
    return place == nullptr ? nullptr : *place;
  }
  /// The memory, when it is of this type; else null.
  template <class Type>
  const Type* MemoryAs() const {
    return std::get_if<Type>(&memory);
  }
};

/// Whether a call of kHandler that was made gave what stands for failure: false, no object, a count
/// below zero.
bool HasFailed(const Call& call);

}  // namespace quorle
