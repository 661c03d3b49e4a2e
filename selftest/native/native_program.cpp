#include "selftest/native/native_program.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "selftest/native/gate.h"
#include "selftest/native/platform_tables.h"

namespace quorle::selftest {
namespace {

/// The program's stack: exactly what it asks for, painted, with a page below that no one may touch.
class Stack {
 public:
  explicit Stack(std::size_t bytes) : bytes_(bytes) {
    void* const start =
        mmap(nullptr, kGuard + bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED) throw std::runtime_error("no memory for a stack");
    start_ = static_cast<unsigned char*>(start);
    mprotect(start_, kGuard, PROT_NONE);
    std::memset(bottom(), kPaint, bytes_);
  }
  ~Stack() { munmap(start_, kGuard + bytes_); }
  Stack(const Stack&) = delete;
  Stack& operator=(const Stack&) = delete;

  void* top() { return bottom() + bytes_; }
  std::size_t Used() {
    const unsigned char* const first_used =
        std::find_if(bottom(), bottom() + bytes_, [](unsigned char c) { return c != kPaint; });
    return static_cast<std::size_t>(bottom() + bytes_ - first_used);
  }

 private:
  static constexpr std::size_t kGuard = 65536;
  static constexpr unsigned char kPaint = 0x5C;

  unsigned char* bottom() { return start_ + kGuard; }

  std::size_t bytes_;
  unsigned char* start_;
};

/// What the registers must hold again, when the program has returned.
std::string RegisterProblem(const Gate& gate, const void* stack_top) {
  const auto start = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(stack_top)) - 32;
  if (gate.end_r1 != start) return "r1 was changed";
  if (gate.end_r2 != StartValue(2)) return "r2 was changed";
  for (std::uint32_t n = 13; n < 32; ++n) {
    if (gate.end_r13[n - 13] != StartValue(n)) return "r" + std::to_string(n) + " was changed";
  }
  if ((gate.end_cr & kKeptConditions) != kStartConditions) return "CR2 to CR4 were changed";
  return {};
}

}  // namespace

NativeResult NativeProgram::Run(ExecInterface& exec) const {
  const Executable::Image image(file_);
  Stack stack(file_.stack_bytes());
  PlatformTables tables(exec);
  // The argument line, which the program is to leave to ReadArgs().
  const char* const arguments = "must not be read\n";
  const std::int32_t code = quorle_enter(&tables.gate(), image.entry(), arguments,
                                         static_cast<std::int32_t>(std::strlen(arguments)),
                                         tables.exec_base(), stack.top());
  std::string problem = RegisterProblem(tables.gate(), stack.top());
  if (problem.empty()) problem = tables.Imbalance();
  return {code, static_cast<std::uint32_t>(stack.Used()), tables.most_examined(),
          std::move(problem)};
}

}  // namespace quorle::selftest
