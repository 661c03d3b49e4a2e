#pragma once

#include <cstdint>
#include <string>

#include "quorle/handler.h"

namespace quorle::calls {

/// What a call carries and returns, as text, so that functions and packets are carried the same way.
///
/// Each argument is a character:
///   #  a number
///   .  nothing
///   L  a lock
///   U  a lock that belongs to the handler when the call succeeds
///   F  an open file
///   N  the file that the call opens
///   X  the file that the call closes, whatever the result
///   A  the handler's own word of the open file that comes later among the arguments
///   C  a zero-ended text, which may be null
///   T  a length-prefixed text, which may be null
///   =  the address of the T again, or nothing
///   R  a buffer that is filled; its size follows
///   W  data; their size follows
///   D  a date
///   I  an InfoData that is filled
///   B  a FileInfoBlock that is filled, and that a scan goes on with
///   G  tags
///   E  the context of a scan
///   Q  a request for notification that begins when the call succeeds
///   Z  a request for notification that ends, whatever the result
///
/// The result is one too:
///   #  a number; 0 is a failure
///   -  a number; -1 is a failure
///   L  a lock
///   O  a lock on the object that the lock and the text of the call name: the root when they do
///   E  a record
struct CallShape {
  const char* name;  ///< as messages have it
  const char* arguments;
  char result;
};

/// No call has more.
inline constexpr int kMostArguments = 6;

/// What the result is when there is none.
constexpr std::int64_t FailureOf(const CallShape& shape) {
  return shape.result == '-' ? -1 : 0;
}

/// The shape of `packet`: five arguments or six, of which the second and the fifth are the 64-bit
/// ones in a packet that has them. The arguments of a packet that is not known are numbers.
CallShape ShapeOfPacket(const ::DosPacket& packet);

/// How messages call the packet `action`: "ACTION_PARENT", or "packet 4711".
std::string NameOfPacket(std::int32_t action);

}  // namespace quorle::calls
