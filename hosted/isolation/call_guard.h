#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "calls/call_shape.h"
#include "hosted/calls/breach.h"
#include "hosted/calls/lent_memory.h"
#include "hosted/isolation/remote_vectors.h"

namespace quorle::isolation {

/// Makes calls of a handler with everything that it fills (buffers, InfoData, what tags lead to, the
/// context of a scan) in memory that is lent between fences, and copies what it filled to where dos
/// wants it.
class CallGuard {
 public:
  /// A buffer at `place` is lent where it lies, with the room that LentMemory::LendInPlace() takes.
  explicit CallGuard(std::byte* place = nullptr) : place_(place) {}

  /// Has `make` make the call of `shape`: it gets the words with which to, made of `words`. When the
  /// handler wrote over a fence nothing is copied, `breach` is kBeyondBuffer and the call failed.
  template <class Make>
  calls::Outcome Call(const calls::CallShape& shape, std::span<const std::int64_t> words,
                      Breach& breach, Make make);

 private:
  /// The words of one call with their lent places.
  struct Loan {
    std::array<std::int64_t, calls::kMostArguments> words{};
    std::vector<std::byte*> rooms;  ///< what each tag leads to, null where it is a number
    std::size_t first = 0;          ///< piece of the memory
  };

  void Lend(const calls::CallShape& shape, std::span<const std::int64_t> words, Loan& loan);
  void LendTags(const ::TagItem* tags, std::int64_t& word, Loan& loan);
  bool TakeBack(const calls::CallShape& shape, std::span<const std::int64_t> words,
                const Loan& loan);

  std::byte* place_;
  LentMemory memory_;
};

template <class Make>
calls::Outcome CallGuard::Call(const calls::CallShape& shape, std::span<const std::int64_t> words,
                               Breach& breach, Make make) {
  Loan loan;
  Lend(shape, words, loan);
  const calls::Outcome outcome = make(loan.words.data());
  if (TakeBack(shape, words, loan)) return outcome;
  breach = Breach::kBeyondBuffer;
  return {calls::FailureOf(shape), CodeOf(breach)};
}

}  // namespace quorle::isolation
