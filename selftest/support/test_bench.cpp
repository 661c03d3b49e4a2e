#include "selftest/support/test_bench.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

#include "harness/entry.h"
#include "hosted/dos/machine.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "program/catalogues.h"
#include "program/host_options.h"
#include "program/tester_machine.h"
#include "results/selection.h"
#include "selftest/support/fault_injector.h"
#include "selftest/support/test_clock.h"
#include "selftest/support/trace_balance.h"

namespace quorle::selftest {
namespace {

class KeptText final : public ByteSink {
 public:
  bool Write(std::string_view bytes) override {
    text_ += bytes;
    return true;
  }
  std::string Problem() const override { return {}; }

  std::string Take() { return std::exchange(text_, {}); }

 private:
  std::string text_;
};

class NoInput final : public LineInput {
 public:
  bool ReadLine(std::string&) override { return false; }
};

class NoBreak final : public BreakSource {
 public:
  bool TakeBreak() override { return false; }
};

class KeptTrace final : public TraceSink {
 public:
  bool Take(const TraceEvent& event) override {
    if (is_left_out_) return true;
    TraceEvent shown = event;
    if (without_data_) {
      if (auto* const read = std::get_if<TraceRead>(&shown.result)) read->data = {};
      auto* const link = std::get_if<TraceLink>(&shown.result);
      if (link != nullptr && link->target) link->target = std::string_view();
    }
    AppendJson(shown, lines_.emplace_back());
    lines_.back().pop_back();
    return balance_->Take(event);
  }

  void Begin() { balance_.emplace(no_place_); }
  void LeaveOutData() { without_data_ = true; }
  void LeaveOut() { is_left_out_ = true; }
  std::vector<std::string> TakeLines() { return std::exchange(lines_, {}); }
  /// The first handle that was released and not held, or an empty text.
  std::string SecondRelease() const {
    for (const Unbalanced& object : balance_->Report()) {
      if (object.released_twice) return object.object;
    }
    return {};
  }

 private:
  const std::string no_place_;
  std::vector<std::string> lines_;
  std::optional<TraceBalance> balance_{no_place_};
  bool without_data_ = false;
  bool is_left_out_ = false;
};

FaultRules ParseRules(const std::string& text) {
  std::string problem;
  std::optional<FaultRules> rules = FaultRules::Parse(text, problem);
  if (!rules) throw std::runtime_error(problem);
  return *std::move(rules);
}

HostOptions OptionsFrom(const std::vector<std::string>& words) {
  std::vector<const char*> pointers;
  pointers.reserve(words.size());
  for (const std::string& word : words) pointers.push_back(word.c_str());
  HostCommand command = ReadHostCommand(pointers);
  if (command.type != HostCommand::Type::kRun) throw std::runtime_error(command.text);
  return std::move(command.options);
}

/// Lists volumes object by object.
class VolumeWalk {
 public:
  std::string Walk(const std::vector<HandlerPort*>& ports) {
    for (HandlerPort* const port : ports) {
      if (port->type() == PortType::kNone) continue;
      port_ = port;
      path_ = port->device_name() + ":";
      std::int32_t res2 = 0;
      ::InfoData info{};
      port->DeviceInfoData(res2, info);
      Line(path_ + " label=" + port->volume_name().value_or("") + " state=" +
           std::to_string(info.id_DiskState) + " in-use=" + std::to_string(info.id_InUse));
      ::Lock* const root = port->Lock(res2, nullptr, "", SHARED_LOCK);
      Directory(root);
      port->UnLock(res2, root);
    }
    return std::move(text_);
  }

 private:
  void Line(const std::string& line) {
    text_ += line;
    text_ += '\n';
  }

  void Directory(::Lock* directory) {
    std::vector<std::pair<std::string, std::uint32_t>> found;
    ::PRIVATE_ExamineDirContext context{};
    context.Directory = directory;
    std::int32_t res2 = 0;
    while (port_->ExamineDir(res2, context)) {
      const ::ExamineData& data = *context.Entry;
      Line(path_ + data.Name + " type=" + std::to_string(data.Type) + " size=" +
           std::to_string(data.FileSize) + " protection=" + std::to_string(data.Protection) +
           " owner=" + std::to_string(data.OwnerUID) + " group=" + std::to_string(data.OwnerGID) +
           " links=" + std::to_string(data.RefCount) + " comment=" + data.Comment);
      found.emplace_back(data.Name, data.Type);
      port_->FreeExamineData(context.Entry);
      context.Entry = nullptr;
    }
    port_->EndDir(context);
    if (res2 != ERROR_NO_MORE_ENTRIES) Line(path_ + " cannot be listed: " + std::to_string(res2));
    for (const auto& [name, type] : found) {
      // A linked directory is listed where it really is.
      if (type != FSO_TYPE_DIRECTORY) continue;
      ::Lock* const inner = port_->Lock(res2, directory, name.c_str(), SHARED_LOCK);
      const std::string outer_path = path_;
      path_ += name + "/";
      Directory(inner);
      path_ = outer_path;
      port_->UnLock(res2, inner);
    }
  }

  HandlerPort* port_ = nullptr;
  std::string path_;
  std::string text_;
};

/// Lets the rules know where the run is.
class PlaceListener final : public RunListener {
 public:
  PlaceListener(FaultRules& rules, RunListener& inner) : rules_(rules), inner_(inner) {}

  void OnRunStart(const TestContext& ctx, std::int32_t first, std::int32_t last) override {
    inner_.OnRunStart(ctx, first, last);
  }
  void OnGroupStart(const TestEntry& entry, std::int32_t row) override {
    row_ = row;
    Enter(RunPlace::Phase::kGroup);
    inner_.OnGroupStart(entry, row);
  }
  void OnSubTestStart(const SubTest& sub_test, std::int32_t number) override {
    Enter(RunPlace::Phase::kSubTest, number);
    inner_.OnSubTestStart(sub_test, number);
  }
  void OnSubTestEnd(const SubTest& sub_test, std::int32_t status) override {
    Enter(RunPlace::Phase::kGroup);
    inner_.OnSubTestEnd(sub_test, status);
  }
  void OnGroupEnd(const TestEntry& entry, std::int32_t result) override {
    Enter(RunPlace::Phase::kEnd);
    inner_.OnGroupEnd(entry, result);
  }

 private:
  void Enter(RunPlace::Phase phase, std::int32_t sub_test = 0) {
    rules_.Enter({.phase = phase, .row = row_, .sub_test = sub_test});
  }

  FaultRules& rules_;
  RunListener& inner_;
  std::int32_t row_ = 0;
};

}  // namespace

struct TestBench::Parts {
  KeptText output;
  KeptText errors;
  Console console{output, errors, false};
  NoInput input;
  TestClock clock;
  NoBreak breaks;
  FaultRules rules;
  KeptTrace trace;
  std::unique_ptr<Machine> machine;
  // The trace shows what faults come to, and asks what they can falsify: two layers.
  std::optional<FaultInjector> injector;
  std::optional<Interception> faulty;
  std::optional<Tracer> tracer;
  std::optional<Interception> traced;
  std::string target;  ///< device name: the last one of the mounts, or RAM
  TestContext* ctx = nullptr;
  Catalogue catalogue;
  std::optional<SelectedCatalogue> selected;

  /// What `options` ask for.
  void Choose(const HostOptions& options) {
    catalogue = *FindCatalogues(options.results.catalogue).front();
    Selection selection(catalogue);
    std::string problem;
    if ((options.results.select && !selection.Select(*options.results.select, problem)) ||
        (options.results.skip && !selection.Skip(*options.results.skip, problem))) {
      throw std::runtime_error(problem);
    }
    if (!selection.is_everything()) {
      catalogue = selected.emplace(catalogue, selection).catalogue();
    }
    catalogue.may_destroy = options.may_destroy;
  }
};

TestBench::TestBench(const std::vector<std::string>& words, const std::string& rules,
                     std::optional<PortType> port)
    : parts_(std::make_unique<Parts>()) {
  Parts& p = *parts_;
  HostOptions options = OptionsFrom(words);
  options.dos.delays = false;
  p.Choose(options);
  p.target = options.mounts.empty() ? "RAM" : options.mounts.back().name;
  MachineOptions machine = MachineFor(options);
  for (MountSpec& spec : machine.mounts) {
    if (port) spec.port = port;
  }
  std::string problem;
  p.machine = Machine::Build(
      machine, {.console = p.console, .input = p.input, .clock = p.clock, .breaks = p.breaks},
      problem);
  if (p.machine == nullptr) throw std::runtime_error(problem);
  ExecInterface& exec = p.machine->exec();
  DosInterface& dos = p.machine->dos();
  p.injector.emplace(exec, dos, p.rules, "ENV:some-file", &p.machine->further());
  p.faulty.emplace(exec, dos, std::vector<CallHook*>{&*p.injector}, &p.machine->further());
  p.tracer.emplace(p.faulty->dos(), p.trace);
  p.traced.emplace(p.faulty->exec(), p.faulty->dos(), std::vector<CallHook*>{&*p.tracer},
                   &p.faulty->further());
  // The file that a rule's "succeed" hands out is there from the start: the volumes do not change.
  // The handler itself makes it, so that handles are numbered as in the program.
  HandlerPort& env = *p.machine->list().Find("ENV").port;
  std::int32_t res2 = 0;
  ::FileHandle file{};
  env.Open(res2, file, nullptr, "some-file", MODE_NEWFILE);
  env.Close(res2, file);
  SetRules(rules);
}

TestBench::~TestBench() {
  if (parts_->ctx != nullptr) {
    DosInterface& dos = *parts_->ctx->IDOS;
    SetRules("");
    dos.SetCurrentDir({});
    dos.UnLock(parts_->ctx->root_lock);
    parts_->traced->exec().FreeVec(parts_->ctx);
  }
}

const Catalogue& TestBench::catalogue() const {
  return parts_->catalogue;
}

std::int32_t TestBench::Run() {
  SilentListener listener;
  return Run(listener);
}

std::int32_t TestBench::Run(RunListener& listener) {
  return Run(catalogue(), listener);
}

std::int32_t TestBench::Run(const Catalogue& catalogue, RunListener& listener) {
  ExecInterface& exec = Begin();
  PlaceListener places(parts_->rules, listener);
  return quorle::Run(exec, catalogue, places);
}

std::int32_t TestBench::Run(const Catalogue& catalogue, RunListener& listener, CallHook& hook) {
  Interception over(Begin(), dos(), {&hook}, &further());
  PlaceListener places(parts_->rules, listener);
  return quorle::Run(over.exec(), catalogue, places);
}

DosInterface& TestBench::dos() {
  return parts_->traced->dos();
}

FurtherDosInterface& TestBench::further() {
  return parts_->traced->further();
}

void TestBench::TakeRulesFrom(const TestBench& other) {
  parts_->rules = other.parts_->rules.BoundToCalls();
}

ExecInterface& TestBench::Begin() {
  parts_->rules.Begin();
  parts_->trace.Begin();
  parts_->machine->dos().SetIoErr(0);  // as a process starts
  return parts_->traced->exec();
}

TestContext& TestBench::Context() {
  Parts& p = *parts_;
  if (p.ctx != nullptr) return *p.ctx;
  ExecInterface& exec = p.traced->exec();
  const Library* const dos_base = exec.OpenLibrary("dos.library", 50);
  const Library* const utility_base = exec.OpenLibrary("utility.library", 50);
  TestContext& ctx = *static_cast<TestContext*>(exec.AllocVecTags(sizeof(TestContext)));
  ctx.IExec = &exec;
  ctx.IDOS = static_cast<DosInterface*>(exec.GetInterface(dos_base, "main", 1));
  ctx.IUtility = static_cast<UtilityInterface*>(exec.GetInterface(utility_base, "main", 1));
  ctx.dos_version =
      static_cast<std::uint32_t>(dos_base->lib_Version) << 16 | dos_base->lib_Revision;
  const std::string device = p.target + ":";
  std::snprintf(ctx.device_name, sizeof ctx.device_name, "%s", device.c_str());
  ctx.root_lock = ctx.IDOS->Lock(ctx.device_name, SHARED_LOCK);
  if (!ctx.root_lock) throw std::runtime_error("cannot lock " + device);
  ctx.IDOS->SetCurrentDir(ctx.root_lock);
  p.ctx = &ctx;
  TakeOutput();
  TakeTrace();
  p.rules.Begin();
  return ctx;
}

std::string TestBench::TakeOutput() {
  return parts_->output.Take();
}

std::string TestBench::TakeErrors() {
  return parts_->errors.Take();
}

std::vector<nlohmann::json> TestBench::TakeTrace() {
  const std::vector<std::string> lines = TakeTraceLines();
  std::vector<nlohmann::json> result;
  result.reserve(lines.size());
  for (const std::string& line : lines) result.push_back(nlohmann::json::parse(line));
  return result;
}

std::vector<std::string> TestBench::TakeTraceLines() {
  return parts_->trace.TakeLines();
}

std::string TestBench::SecondRelease() {
  return parts_->trace.SecondRelease();
}

void TestBench::LeaveOutData() {
  parts_->trace.LeaveOutData();
}

void TestBench::LeaveOutTrace() {
  parts_->trace.LeaveOut();
}

void TestBench::SetRules(const std::string& rules) {
  parts_->rules = ParseRules(rules);
}

std::string TestBench::UnusedRule() const {
  const FaultRule* const rule = parts_->rules.Unused();
  return rule == nullptr ? std::string() : rule->op;
}

std::string TestBench::Volumes() {
  return VolumeWalk().Walk(parts_->machine->list().devices());
}

std::string TestBench::StillOpen(bool records) const {
  OpenObjects open = parts_->machine->dos().CountOpen();
  if (!records) open.examine_records = 0;
  const ExecBalance balance = parts_->machine->exec().Balance();
  if (open == OpenObjects{} && balance == ExecBalance{}) return {};
  return std::to_string(open.locks) + " locks, " + std::to_string(open.files) + " files, " +
         std::to_string(open.examine_records) + " examine records, " +
         std::to_string(open.device_procs) + " device look-ups, " +
         std::to_string(open.argument_results) + " argument results, " +
         std::to_string(balance.allocations) + " allocations, " +
         std::to_string(balance.libraries) + " libraries, " + std::to_string(balance.interfaces) +
         " interfaces, " + std::to_string(balance.messages) + " messages, " +
         std::to_string(balance.wrong_releases) + " wrong releases";
}

Machine& TestBench::machine() {
  return *parts_->machine;
}

std::string Operations(const std::vector<nlohmann::json>& trace) {
  std::string result;
  for (const nlohmann::json& call : trace) {
    if (call["op"] == "Output") continue;
    if (!result.empty()) result += ' ';
    result += call["op"].get<std::string>();
  }
  return result;
}

std::string CallText(const nlohmann::json& call) {
  if (call["op"] == "Output") return "Output " + call["text"].dump();
  std::string args = call["args"].dump();
  args.front() = '(';
  args.back() = ')';
  return call["op"].get<std::string>() + args + "=" + call["result"].dump() + " #" +
         call["ioerr"].dump();
}

}  // namespace quorle::selftest
