#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "harness/entry.h"
#include "harness/run_listener.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/console.h"
#include "hosted/dos/machine.h"
#include "hosted/isolation/guarded_program.h"
#include "hosted/isolation/isolated_program.h"
#include "selftest/fuzz/lying_handler.h"
#include "selftest/support/test_clock.h"
#include "tests/catalogue.h"

// Whole runs of the tester over a handler that lies: by functions, by packets and by classic packets
// that functions answer, and by packets or classic packets alone, in a process of its own and in this
// one.
//
//   handler_lies SEEDS [FIRST]
//
// Fails when the tester does (a sanitizer ends the process at the fault), when it holds something
// afterwards, and when the handler process does not last: what this handler does is no crash of its own.

namespace quorle {
namespace {

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

struct Setting {
  const char* name;
  bool isolated;
  PortType port;
  const char* packets;  ///< the mount key: which packets it takes; null: it has functions
};

constexpr Setting kSettings[] = {
    {"isolated, functions", true, PortType::kVector, nullptr},
    {"isolated, packets by functions", true, PortType::kPacket, nullptr},
    {"isolated, packets alone", true, PortType::kPacket, "yes"},
    {"isolated, classic packets by functions", true, PortType::kClassic, nullptr},
    {"isolated, classic packets alone", true, PortType::kPacket, "classic"},
    {"in this process, functions", false, PortType::kVector, nullptr},
    {"in this process, packets by functions", false, PortType::kPacket, nullptr},
    {"in this process, packets alone", false, PortType::kPacket, "yes"},
    {"in this process, classic packets by functions", false, PortType::kClassic, nullptr},
    {"in this process, classic packets alone", false, PortType::kPacket, "classic"},
};

/// What one run reported.
struct RunReport {
  int lies = 0;
  std::vector<std::string> faults;
};

RunReport RunOver(const Setting& setting, unsigned seed) {
  RunReport run;
  RunWatch watch([&run](const std::string& line) {
    // "handler of" is a lie that was seen, "handler process of" a process that did not last.
    if (line.starts_with("handler of ")) {
      ++run.lies;
    } else {
      run.faults.push_back(line);
    }
  });
  const auto make = [&](MountSpec&, std::string&) -> std::unique_ptr<HandlerProgram> {
    auto program = std::make_unique<PlainProgram>(*QuorleLyingHandler());
    if (setting.isolated) {
      return std::make_unique<isolation::IsolatedProgram>(std::move(program),
                                                          isolation::IsolationSettings{}, watch);
    }
    return std::make_unique<isolation::GuardedProgram>(std::move(program), watch);
  };
  MachineOptions options{.handlers = {{"lying", nullptr, make}},
                         .layers = {},
                         .mounts = {},
                         .exec = {53, 113, false},
                         .dos = {"DH0:", false}};
  MountSpec spec;
  spec.name = "DH0";
  spec.handler = "lying";
  spec.port = setting.port;
  spec.keys = {{"size", "1000000"}, {"seed", std::to_string(seed)}};
  if (setting.packets != nullptr) spec.keys.emplace_back("packets", setting.packets);
  options.mounts.push_back(spec);

  Nowhere nowhere;
  Console console(nowhere, nowhere, false);
  NoInput no_input;
  NoBreak no_break;
  selftest::TestClock clock;
  std::string problem;
  const std::unique_ptr<Machine> machine = Machine::Build(
      options,
      {.console = console, .input = no_input, .clock = clock, .breaks = no_break, .watch = &watch},
      problem);
  if (machine == nullptr) {
    run.faults.push_back("not mounted: " + problem);
    return run;
  }
  SilentListener listener;
  const std::int32_t result = Run(machine->exec(), kStandardCatalogue, listener);
  if (result != RETURN_OK && result != RETURN_ERROR && result != RETURN_FAIL) {
    run.faults.push_back("result " + std::to_string(result));
  }
  OpenObjects open = machine->dos().CountOpen();
  open.examine_records = 0;  // some sub-tests are meant to leave them
  if (!(open == OpenObjects{}) || !(machine->exec().Balance() == ExecBalance{})) {
    run.faults.emplace_back("something is still open");
  }
  machine->ShutDown();
  return run;
}

int RunAll(unsigned seeds, unsigned first) {
  int faults = 0;
  for (const Setting& setting : kSettings) {
    long lies = 0;
    for (unsigned seed = first; seed < first + seeds; ++seed) {
      const RunReport run = RunOver(setting, seed);
      lies += run.lies;
      for (const std::string& fault : run.faults) {
        std::fprintf(stderr, "%s, seed %u: %s\n", setting.name, seed, fault.c_str());
        ++faults;
      }
    }
    std::printf("%s: %u seeds, %ld lies reported\n", setting.name, seeds, lies);
    // A liar that nobody ever catches tests nothing.
    if (lies < static_cast<long>(seeds)) ++faults;
  }
  return faults == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace quorle

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: %s SEEDS [FIRST]\n", argv[0]);
    return 2;
  }
  const auto number = [](const char* text) {
    return static_cast<unsigned>(std::strtoul(text, nullptr, 10));
  };
  return quorle::RunAll(number(argv[1]), argc == 3 ? number(argv[2]) : 1);
}
