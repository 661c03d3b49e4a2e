#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "handlers/deviate/call.h"
#include "handlers/deviate/layer.h"
#include "handlers/deviate/original.h"
#include "harness/entry.h"
#include "harness/run_listener.h"
#include "hosted/dos/console.h"
#include "hosted/dos/machine.h"
#include "program/built_in_handlers.h"
#include "selftest/support/test_clock.h"
#include "tests/catalogue.h"

// Whole runs of the tester over a volume whose every function may answer anything that is well
// formed. The input decides, call by call.

namespace quorle {
namespace {

using deviate::Call;
using deviate::Effect;
using deviate::Field;
using deviate::Interceptor;
using deviate::Op;
using deviate::Original;
using deviate::Rule;

void Require(bool condition) {
  if (!condition) std::abort();
}

constexpr std::array<std::int32_t, 24> kCodes = {ERROR_NO_FREE_STORE,
                                                 ERROR_OBJECT_IN_USE,
                                                 ERROR_OBJECT_EXISTS,
                                                 ERROR_DIR_NOT_FOUND,
                                                 ERROR_OBJECT_NOT_FOUND,
                                                 ERROR_OBJECT_TOO_LARGE,
                                                 ERROR_ACTION_NOT_KNOWN,
                                                 ERROR_INVALID_COMPONENT_NAME,
                                                 ERROR_INVALID_LOCK,
                                                 ERROR_OBJECT_WRONG_TYPE,
                                                 ERROR_DISK_NOT_VALIDATED,
                                                 ERROR_DISK_WRITE_PROTECTED,
                                                 ERROR_RENAME_ACROSS_DEVICES,
                                                 ERROR_DIRECTORY_NOT_EMPTY,
                                                 ERROR_TOO_MANY_LEVELS,
                                                 ERROR_DEVICE_NOT_MOUNTED,
                                                 ERROR_SEEK_ERROR,
                                                 ERROR_DISK_FULL,
                                                 ERROR_DELETE_PROTECTED,
                                                 ERROR_WRITE_PROTECTED,
                                                 ERROR_READ_PROTECTED,
                                                 ERROR_NO_DISK,
                                                 ERROR_IS_SOFT_LINK,
                                                 0};

constexpr std::array<Effect, 14> kEffects = {
    Effect::kRefuse,      Effect::kGrant,       Effect::kReturn,     Effect::kFollow,
    Effect::kModeInstead, Effect::kCode,        Effect::kAdd,        Effect::kField,
    Effect::kHold,        Effect::kProtect,     Effect::kKeepParent, Effect::kComment,
    Effect::kKeepData,    Effect::kMovePosition};

constexpr std::array<std::int64_t, 12> kNumbers = {
    0, 1, -1, -2, 2, 10, 20, 255, 65536, 0x7FFFFFFF, 0x7FFFFFFFFFFFFFFF, -0x7FFFFFFFFFFFFFFF};

constexpr std::array<std::int64_t, 4> kSmallNumbers = {1, -1, 20, -20};

/// Reads the input over and over.
class Choices {
 public:
  explicit Choices(std::string_view input) : input_(input) {}

  std::size_t Below(std::size_t bound) {
    if (input_.empty()) return 0;
    const auto byte = static_cast<unsigned char>(input_[at_++ % input_.size()]);
    return byte % bound;
  }
  template <class Value, std::size_t count>
  Value From(const std::array<Value, count>& values) {
    return values[Below(count)];
  }

 private:
  std::string input_;
  std::size_t at_ = 0;
};

/// Chooses for each call whether it is answered as it should be, or by some rule: the layer below
/// obeys the one rule that stands here.
class RandomReplies final : public PortLayer, public Interceptor {
 public:
  RandomReplies(::FileSystemVectorPort& port, const ::HandlerServices& dos, std::string_view input)
      : choices_(input), layer_(port, dos, {std::span<const Rule>(&rule_, 1)}), below_(port, dos) {
    deviate::Divert(port, *this);
  }
  ~RandomReplies() override { below_.port().FSV = below_.vectors(); }

  void Intercept(Call& call) override {
    rule_ = {};
    // Without the number of one call in four a run would not get anywhere.
    if (choices_.Below(4) == 0) Choose(call);
    call = below_.Invoke(call);
  }
  void InterceptUnLock(::Lock* lock) override { below_.UnLock(lock); }
  const ::FileSystemVectors& OwnVectors() const override { return below_.vectors(); }

 private:
  void Choose(const Call& call) {
    rule_.op = call.op;
    rule_.effect = choices_.From(kEffects);
    rule_.extra = choices_.From(kCodes);
    rule_.number = IsCode(rule_.effect)           ? choices_.From(kCodes)
                   : rule_.effect == Effect::kAdd ? choices_.From(kSmallNumbers)
                                                  : choices_.From(kNumbers);
    if (rule_.effect == Effect::kReturn && call.op == Op::kRead) {
      rule_.number = std::min(rule_.number, call.number);  // more is not well formed
    }
    if (!IsWellFormed(rule_.effect, call.op)) rule_.effect = Effect::kCode;
    // The handle is gone after a Close(), whatever it answers.
    if (call.op == Op::kClose) rule_.when.code = 0;
    rule_.field = static_cast<Field>(choices_.Below(15));
  }

  static bool IsCode(Effect effect) { return effect == Effect::kRefuse || effect == Effect::kCode; }

  /// Whether the effect makes an answer of that operation that has its shape, whatever it says.
  static bool IsWellFormed(Effect effect, Op op) {
    const bool opens = op == Op::kOpen || op == Op::kOpenFromLock;
    const bool takes_handle = op == Op::kRead || op == Op::kWrite ||
                              op == Op::kChangeFilePosition || op == Op::kChangeFileSize ||
                              op == Op::kGetFileSize;
    switch (effect) {
      case Effect::kReturn:
        return !opens && !deviate::GivesLock(op) && !deviate::GivesRecord(op) &&
               op != Op::kReadSoftLink && op != Op::kExamineDir;
      case Effect::kGrant:
        return !deviate::GivesRecord(op) && op != Op::kReadSoftLink && op != Op::kExamineDir;
      case Effect::kFollow:
        return op == Op::kLock || op == Op::kDelete || op == Op::kExamineObj ||
               op == Op::kSetDate || op == Op::kSetComment || op == Op::kSetProtection;
      case Effect::kModeInstead:
        return op == Op::kChangeLockMode || op == Op::kChangeFileMode;
      case Effect::kAdd:
        return deviate::GivesNumber(op) && op != Op::kReadSoftLink;
      case Effect::kHold:
        return op == Op::kOpen || deviate::GivesLock(op);
      case Effect::kKeepData:
        return op == Op::kOpen;
      case Effect::kMovePosition:
        return takes_handle;
      default:
        return true;
    }
  }

  Choices choices_;
  Rule rule_;
  deviate::Layer layer_;
  Original below_;
};

std::unique_ptr<PortLayer> Cover(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                                 std::string_view input, std::string&) {
  return std::make_unique<RandomReplies>(port, dos, input);
}

class Nowhere final : public ByteSink {
 public:
  bool Write(std::string_view) override { return true; }
  std::string Problem() const override { return {}; }
};

class NoInput final : public LineInput {
 public:
  bool ReadLine(std::string&) override { return false; }
};

class NoBreak final : public BreakSource {
 public:
  bool TakeBreak() override { return false; }
};

void RunOver(std::string_view input) {
  Choices choices(input.substr(0, 2));
  MountSpec spec;
  spec.name = "DH0";
  spec.handler = "ram";
  spec.port = choices.Below(2) == 0 ? PortType::kVector : PortType::kPacket;
  spec.keys = {{"size", "1000000"}, {"replies", std::string(input)}};
  MachineOptions options{.handlers = BuiltInHandlers(),
                         .layers = {{"replies", Cover}},
                         .mounts = StandardMounts(),
                         .exec = {53, 113, false},
                         .dos = {"DH0:", false}};
  if (choices.Below(2) != 0) options.dos.arguments += " NI NW NR";
  options.mounts.push_back(spec);

  Nowhere nowhere;
  Console console(nowhere, nowhere, false);
  NoInput no_input;
  NoBreak no_break;
  selftest::TestClock clock;
  std::string problem;
  const std::unique_ptr<Machine> machine = Machine::Build(
      options, {.console = console, .input = no_input, .clock = clock, .breaks = no_break},
      problem);
  Require(machine != nullptr);
  SilentListener listener;
  const std::int32_t result = Run(machine->exec(), kStandardCatalogue, listener);
  Require(result == RETURN_OK || result == RETURN_ERROR || result == RETURN_FAIL);
  OpenObjects open = machine->dos().CountOpen();
  open.examine_records = 0;  // some sub-tests are meant to leave them
  Require(open == OpenObjects{} && machine->exec().Balance() == ExecBalance{});
  Require(machine->ShutDown().empty());
}

}  // namespace
}  // namespace quorle

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quorle::RunOver(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
