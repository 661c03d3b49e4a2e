#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The way between the program under test and this one. Both run in one thread; each has its own
/// stack and its own idea of registers. Written for the 32-bit PowerPC that both are for.
namespace quorle::selftest {

struct Method;

/// What is remembered while control is on the other side. The offsets are known to the assembly
/// code.
struct Gate {
  std::uint32_t host_stack;     ///< 0
  std::uint32_t program_stack;  ///< 4: at the call that is being served
  std::uint32_t host_r2;        ///< 8
  std::uint32_t call_r2;        ///< 12: registers at the call that is being served
  std::uint32_t call_r13;       ///< 16
  std::uint32_t end_r1;         ///< 20: registers when the program had returned
  std::uint32_t end_r2;         ///< 24
  std::uint32_t end_cr;         ///< 28
  std::uint32_t end_r13[19];    ///< 32: r13 to r31
  const Method* method;         ///< 108: of the call that is being served
};
static_assert(offsetof(Gate, end_r13) == 32 && offsetof(Gate, method) == 108);

/// One method of an interface: what is called for it.
struct Method {
  const void* function;  ///< 0
  Gate* gate;            ///< 4
  std::uint32_t which;   ///< 8: 0 exec, 1 dos, 2 utility
  std::uint32_t offset;  ///< 12: in the interface
};

/// The code of a method: six instructions that lead to `quorle_serve` with the Method in r12.
using MethodCode = std::array<std::uint32_t, 6>;
MethodCode CodeFor(const Method& method);

/// Makes code that was written to memory visible to the processor.
void FlushCode(const void* code, std::size_t bytes);

/// What r2 and r13 to r31 hold when the program starts, and must hold when it ends.
constexpr std::uint32_t StartValue(std::uint32_t number) {
  return 0xDEAD0000 | number;
}
/// The same for the condition register, of which only CR2 to CR4 must survive.
inline constexpr std::uint32_t kStartConditions = 0x00A5A000;
inline constexpr std::uint32_t kKeptConditions = 0x00FFF000;

}  // namespace quorle::selftest

extern "C" {

/// Enters the program at `entry` with r3 to r5 as given, on the stack that ends below `stack_top`.
std::int32_t quorle_enter(quorle::selftest::Gate* gate, const void* entry, const char* arguments,
                          std::int32_t length, void* exec_base, void* stack_top);

/// Where every method leads. Not for calling.
void quorle_serve();
}
