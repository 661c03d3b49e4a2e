#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "calls/call_shape.h"
#include "calls/words.h"
#include "quorle/handler.h"

namespace quorle::isolation {

/// Takes the calls of a table that leads elsewhere. It is the table's DOSPrivate.
class VectorCalls {
 public:
  /// The function `index` of the table was called with `words`: its arguments, in the order
  /// of VectorShape().
  virtual calls::Outcome CallVector(std::size_t index, std::span<const std::int64_t> words) = 0;

 protected:
  ~VectorCalls() = default;
};

/// How many functions the table has. Their indices are calls::kVectorIndex.
std::size_t VectorCount();
const calls::CallShape& VectorShape(std::size_t index);

/// A table whose functions lead to `calls`.
::FileSystemVectors RemoteTable(VectorCalls& calls);
/// Has the functions that `table` has lead to `calls`.
void Divert(::FileSystemVectors& table, VectorCalls& calls);
/// Whether `table` has the function `index`.
bool HasVector(const ::FileSystemVectors& table, std::size_t index);
/// Takes the function `index` out of `table`.
void DropVector(::FileSystemVectors& table, std::size_t index);
/// Calls the function `index` of `table`, which it must have, for `port` with arguments from
/// `words`.
calls::Outcome CallVectorOf(const ::FileSystemVectors& table, ::FileSystemVectorPort& port,
                            std::size_t index, const std::int64_t* words);

}  // namespace quorle::isolation
