#include <cstddef>
#include <cstdint>

// What the compiler calls by itself; there is no C library. This file is compiled so that none of
// these loops is taken for the very function that it is the body of.

extern "C" {

void* memcpy(void* destination, const void* source, std::size_t bytes) {
  auto* to = static_cast<unsigned char*>(destination);
  const auto* from = static_cast<const unsigned char*>(source);
  for (; bytes > 0; --bytes) *to++ = *from++;
  return destination;
}

void* memmove(void* destination, const void* source, std::size_t bytes) {
  auto* to = static_cast<unsigned char*>(destination);
  const auto* from = static_cast<const unsigned char*>(source);
  if (reinterpret_cast<std::uintptr_t>(to) < reinterpret_cast<std::uintptr_t>(from)) {
    return memcpy(destination, source, bytes);
  }
  while (bytes-- > 0) to[bytes] = from[bytes];
  return destination;
}

void* memset(void* destination, int value, std::size_t bytes) {
  auto* to = static_cast<unsigned char*>(destination);
  for (; bytes > 0; --bytes) *to++ = static_cast<unsigned char>(value);
  return destination;
}

int memcmp(const void* a, const void* b, std::size_t bytes) {
  const auto* left = static_cast<const unsigned char*>(a);
  const auto* right = static_cast<const unsigned char*>(b);
  for (; bytes > 0; --bytes, ++left, ++right) {
    if (*left != *right) return *left < *right ? -1 : 1;
  }
  return 0;
}

std::size_t strlen(const char* text) {
  const char* end = text;
  while (*end != '\0') ++end;
  return static_cast<std::size_t>(end - text);
}

/// Is in the tables of abstract classes; no object is ever of one.
[[noreturn]] void __cxa_pure_virtual() {
  __builtin_trap();
}
}
