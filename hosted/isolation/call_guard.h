#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "calls/call_shape.h"
#include "hosted/calls/breach.h"
#include "hosted/calls/fenced_memory.h"
#include "hosted/isolation/remote_vectors.h"

namespace quorle::isolation {

/// Makes calls of a handler with everything that it fills (buffers, InfoData, what tags lead to, the
/// context of a scan) in memory between fences, and copies what it filled to where dos
/// wants it.
class CallGuard {
 public:
  /// A buffer at `place` is filled where it lies, with the room that FencedMemory::FenceInPlace() takes.
  explicit CallGuard(std::byte* place = nullptr) : place_(place) {}

  /// Has `make` make the call of `shape`: it gets the words with which to, made of `words`. When the
  /// handler wrote over a fence nothing is copied, `breach` is kBeyondBuffer and the call failed.
  template <class Make>
  calls::Outcome Call(const calls::CallShape& shape, std::span<const std::int64_t> words,
                      Breach& breach, Make make);

 private:
  /// The words of one call, which lead to copies where the handler fills something.
  struct Copies {
    std::array<std::int64_t, calls::kMostArguments> words{};
    std::vector<std::byte*> rooms;  ///< what each tag leads to, null where it is a number
    std::size_t first = 0;          ///< piece of the memory
  };

  void CopyIn(const calls::CallShape& shape, std::span<const std::int64_t> words, Copies& copies);
  void CopyInTags(const ::TagItem* tags, std::int64_t& word, Copies& copies);
  bool CopyOut(const calls::CallShape& shape, std::span<const std::int64_t> words,
               const Copies& copies);

  std::byte* place_;
  FencedMemory memory_;
};

template <class Make>
calls::Outcome CallGuard::Call(const calls::CallShape& shape, std::span<const std::int64_t> words,
                               Breach& breach, Make make) {
  Copies copies;
  CopyIn(shape, words, copies);
  const calls::Outcome outcome = make(copies.words.data());
  if (CopyOut(shape, words, copies)) return outcome;
  breach = Breach::kBeyondBuffer;
  return {calls::FailureOf(shape), CodeOf(breach)};
}

}  // namespace quorle::isolation
