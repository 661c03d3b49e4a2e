#include "hosted/isolation/shared_block.h"

#include <sys/mman.h>

#include <new>

#include "hosted/calls/fenced_memory.h"

namespace quorle::isolation {
namespace {

constexpr std::size_t kHeadBytes = 4096;
/// Before the data; whole pages.
constexpr std::size_t kFenceBytes = 4096;
static_assert(kFenceBytes >= FencedMemory::kFenceBytes);
constexpr std::size_t kOpenBytes = kHeadBytes + 2 * SharedBlock::kMessageBytes + kFenceBytes +
                                   SharedBlock::kDataBytes + FencedMemory::kSpareBytes;
/// Behind it all a page that is closed.
constexpr std::size_t kBytes = kOpenBytes + 4096;

static_assert(sizeof(TurnWords) <= kHeadBytes);
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

}  // namespace

std::unique_ptr<SharedBlock> SharedBlock::Create() {
  // Pages cost memory when they are first used: most never are.
  void* const memory = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  std::unique_ptr<SharedBlock> block(new SharedBlock(static_cast<std::byte*>(memory)));
  if (mprotect(block->memory_ + kOpenBytes, kBytes - kOpenBytes, PROT_NONE) != 0) return nullptr;
  block->Clear();
  return block;
}

SharedBlock::~SharedBlock() {
  munmap(memory_, kBytes);
}

void SharedBlock::Clear() {
  // Gives the pages back; they are zero when they are used again. What matters is set all the same.
  static_cast<void>(madvise(memory_, kOpenBytes, MADV_REMOVE));
  new (memory_) TurnWords{};
}

void SharedBlock::LetShare(bool on) {
  // Without the advice the handlers of other mounts could write into it: worse, but no harm to them.
  static_cast<void>(madvise(memory_, kBytes, on ? MADV_DOFORK : MADV_DONTFORK));
}

TurnWords& SharedBlock::turns() {
  return *std::launder(reinterpret_cast<TurnWords*>(memory_));
}

std::span<std::byte> SharedBlock::call() {
  return {memory_ + kHeadBytes, kMessageBytes};
}

std::span<std::byte> SharedBlock::reply() {
  return {memory_ + kHeadBytes + kMessageBytes, kMessageBytes};
}

std::span<std::byte> SharedBlock::data() {
  return {memory_ + kHeadBytes + 2 * kMessageBytes + kTraceBytes + kFenceBytes, kDataBytes};
}

std::span<std::byte> SharedBlock::trace() {
  return {memory_ + kHeadBytes + 2 * kMessageBytes, kTraceBytes};
}

}  // namespace quorle::isolation
