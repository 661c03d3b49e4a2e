#include "selftest/native/gate.h"

namespace quorle::selftest {
namespace {

/// lis or ori of half an address; both halves together load it.
constexpr std::uint32_t LoadHigh(std::uint32_t r, std::uint32_t value) {
  return 0x3C000000 | r << 21 | value >> 16;
}
constexpr std::uint32_t OrLow(std::uint32_t r, std::uint32_t value) {
  return 0x60000000 | r << 21 | r << 16 | (value & 0xFFFF);
}
constexpr std::uint32_t kMoveR11ToCtr = 0x7D6903A6;
constexpr std::uint32_t kBranchToCtr = 0x4E800420;

template <class Object>
std::uint32_t AddressOf(Object* object) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(object));
}

}  // namespace

MethodCode CodeFor(const Method& method) {
  const std::uint32_t self = AddressOf(&method);
  const std::uint32_t serve = AddressOf(&quorle_serve);
  return {LoadHigh(12, self), OrLow(12, self), LoadHigh(11, serve),
          OrLow(11, serve),   kMoveR11ToCtr,   kBranchToCtr};
}

void FlushCode(const void* code, std::size_t bytes) {
  constexpr std::size_t kCacheLine = 32;
  const auto* const start = static_cast<const char*>(code);
  for (std::size_t at = 0; at < bytes; at += kCacheLine) {
    asm volatile("dcbst 0,%0; sync; icbi 0,%0; sync; isync" ::"r"(start + at) : "memory");
  }
}

}  // namespace quorle::selftest

// quorle_enter: keeps everything of this side, makes every register that the program must keep
// recognisable, and writes down afterwards what they hold.
asm(R"(
    .section .text
    .globl quorle_enter
    .type quorle_enter, @function
quorle_enter:
    mflr 0
    stw 0, 4(1)
    stwu 1, -144(1)
    stmw 13, 64(1)
    mfcr 0
    stw 0, 60(1)
    stw 1, 0(3)
    stw 2, 8(3)
    mr 12, 3
    mtctr 4
    mr 3, 5
    mr 4, 6
    mr 5, 7
    addi 1, 8, -32
    li 0, 0
    stw 0, 0(1)
    stw 12, 8(1)
    lis 2, 0xDEAD
    ori 2, 2, 2
    .irp n, 13,14,15,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31
    lis \n, 0xDEAD
    ori \n, \n, \n
    .endr
    lis 0, 0x00A5
    ori 0, 0, 0xA000
    mtcr 0
    bctrl
    lwz 12, 8(1)
    stw 1, 20(12)
    stw 2, 24(12)
    mfcr 0
    stw 0, 28(12)
    stmw 13, 32(12)
    lwz 1, 0(12)
    lwz 2, 8(12)
    lwz 0, 60(1)
    mtcr 0
    lmw 13, 64(1)
    addi 1, 1, 144
    lwz 0, 4(1)
    mtlr 0
    blr
    .size quorle_enter, . - quorle_enter
)");

// quorle_serve: r12 is the Method. Serves the call on this side's stack, with this side's r2; then
// fills with rubbish every register that a call may change, except the result in r3 and r4.
asm(R"(
    .section .text
    .globl quorle_serve
    .type quorle_serve, @function
quorle_serve:
    mflr 0
    stw 0, 4(1)
    lwz 11, 4(12)
    stw 1, 4(11)
    stw 2, 12(11)
    stw 13, 16(11)
    stw 12, 108(11)
    lwz 1, 0(11)
    lwz 2, 8(11)
    stwu 1, -32(1)
    stw 11, 8(1)
    lwz 12, 0(12)
    mtctr 12
    bctrl
    lwz 11, 8(1)
    lwz 1, 4(11)
    lwz 2, 12(11)
    lwz 0, 4(1)
    mtlr 0
    lis 5, 0xBAD0
    ori 5, 5, 0xBAD0
    mr 6, 5
    mr 7, 5
    mr 8, 5
    mr 9, 5
    mr 10, 5
    mr 11, 5
    mr 12, 5
    mr 0, 5
    mtctr 5
    mtcrf 0xC7, 5
    blr
    .size quorle_serve, . - quorle_serve
)");
