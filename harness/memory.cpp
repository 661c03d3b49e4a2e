#include "harness/memory.h"

namespace quorle {
namespace {

constexpr std::size_t kWord = 4;
constexpr std::size_t kRun = 32;

std::uintptr_t WordOffset(const void* place) {
  return reinterpret_cast<std::uintptr_t>(place) % kWord;
}

}  // namespace

std::uint32_t TextLength(const char* text) {
  std::uint32_t length = 0;
  while (text[length] != '\0') ++length;
  return length;
}

void CopyBytes(void* destination, const void* source, std::size_t bytes) {
  auto* to = static_cast<unsigned char*>(destination);
  const auto* from = static_cast<const unsigned char*>(source);
  if (WordOffset(to) == WordOffset(from)) {
    for (; bytes > 0 && WordOffset(to) != 0; --bytes) *to++ = *from++;
    // Of a known size between known alignments: the compiler moves words, it calls nothing.
    for (; bytes >= kRun; bytes -= kRun, to += kRun, from += kRun) {
      __builtin_memcpy(__builtin_assume_aligned(to, kWord), __builtin_assume_aligned(from, kWord),
                       kRun);
    }
    for (; bytes >= kWord; bytes -= kWord, to += kWord, from += kWord) {
      __builtin_memcpy(__builtin_assume_aligned(to, kWord), __builtin_assume_aligned(from, kWord),
                       kWord);
    }
  }
  for (; bytes > 0; --bytes) *to++ = *from++;
}

}  // namespace quorle
