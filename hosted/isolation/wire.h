#pragma once

#include <cstddef>
#include <cstdint>

/// What host and handler process write into the block that they share.
///
/// A call: its kind, its number, 1 and the check that runs when that has changed or 0, of a packet
/// its first and fourth argument, then the arguments of its shape. A reply: its kind and its length
/// in bytes, then what the kind says.
///
/// An argument is written as one number, but for
///   C T    1 and the bytes (of a T with the length before them), or 0
///   D I B  the bytes
///   R W    the size of the buffer; its content is in the block's data
///   G      how many, or -1 for none; each: the tag, its data, and the bytes that the data lead to
///   E      the lock, the two words of the handler
///   Q      its number; when that is above 0 its two names (each 1 and the bytes, or 0), its flags and
///          its user data
/// and the answer after the result has, for each
///   L U    whether the lock still is one, and its mode
///   I B    the bytes
///   G      for each tag, the bytes that the data lead to
///   E      the two words, and a record
/// and at the end 1 when the volume has a name, the Breach of the handler that was seen, 1 when it
/// notified more often than kMostNotified times, how often it did, and for each time the request.
///
/// Locks, files and requests for notification are numbers above 0 that one process never uses twice.
namespace quorle::isolation {

enum CallKind : std::int64_t {
  kVectorCall = 1,
  kPacketCall,
  kUnmountCall,
};

enum ReplyKind : std::int64_t {
  kNothingYet = 0,
  kAnswer = 0x516E7377,  ///< what came of the call; not what an accident writes
  kQuestion,             ///< may the volume have this name? 1 or 0 comes back
  kEnded,                ///< the handler has ended elsewhere; how, as text: the process ends too
};

/// Before everything else in a reply: the kind and the length.
inline constexpr std::size_t kReplyHead = 2 * sizeof(std::int64_t);

inline constexpr std::int64_t kNoObject = 0;
/// A lock, a file or a request of somebody else.
inline constexpr std::int64_t kForeignObject = -1;
/// The size of a text that is not there.
inline constexpr std::int64_t kNoText = -1;

/// The longest text of kEnded.
inline constexpr std::size_t kMostEndText = 500;
/// How many notifications travel with one answer; the rest is lost.
inline constexpr std::size_t kMostNotified = 1000;

/// The longest text of a record, with its zero.
inline constexpr std::size_t kMostText = std::size_t{64} << 10;

}  // namespace quorle::isolation
