// find_deviations [--seeds N] [--calls N] [--port vector|packet|classic] [--show] [NAME...]: searches each deviation
// (all without names) until something is found, and says what that was, how long its shortest sequence is and how
// long it took. A line at the end sums up.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "explore/call_text.h"
#include "explore/search.h"
#include "handlers/deviate/deviation.h"
#include "handlers/deviate/hidden.h"
#include "selftest/support/two_devices.h"

namespace quorle::selftest {
namespace {

struct Options {
  std::uint64_t seeds = 200;
  std::size_t calls = 200;
  PortType port = PortType::kVector;
  bool show = false;
  std::vector<std::string> names;
};

struct Found {
  std::size_t calls = 0;
  double seconds = 0;
  double shrinking = 0;
  bool by_traits = false;
  bool any = false;
};

Found Find(const std::string& name, const Options& options) {
  using Moment = std::chrono::steady_clock;
  const Moment::time_point begun = Moment::now();
  Found found;
  TwoDevices devices(name == "none" ? "ram" : "ram,deviate=" + name, options.port);
  explore::Trial& trial = devices.Start({.remount = name.starts_with("remount-"), .directory = {}});
  const std::vector<std::string> traits = explore::TraitLines(devices.traits());
  explore::Search run(
      trial, {.first_seed = 1, .last_seed = options.seeds, .time = {}, .calls = options.calls},
      [&](const explore::Finding& finding, bool) {
        found.any = true;
        found.calls = finding.difference.calls.size();
        found.shrinking = static_cast<double>(finding.shrinking.count()) / 1e6;
        std::printf("%s: %s (%zu calls, from %zu, seed %llu, %.1f ms)\n", name.c_str(),
                    finding.difference.id.c_str(), found.calls, finding.calls,
                    static_cast<unsigned long long>(finding.seed), found.shrinking * 1000);
        if (!options.show) return;
        for (const explore::ShownCall& call : finding.difference.calls) {
          std::printf("    %s => %s%s\n", explore::TextOf(call.call).c_str(), call.device.c_str(),
                      call.reference.empty() ? "" : ("   reference: " + call.reference).c_str());
        }
        for (const std::string& line : finding.difference.then)
          std::printf("    %s\n", line.c_str());
      },
      [&] { return found.any; });
  run.Run();
  found.seconds = std::chrono::duration<double>(Moment::now() - begun).count();
  if (!traits.empty()) {
    found.by_traits = true;
    if (!found.any) std::printf("%s: traits: %s\n", name.c_str(), traits.front().c_str());
  }
  if (!found.any && traits.empty()) std::printf("%s: NOT FOUND\n", name.c_str());
  return found;
}

int Main(const Options& options) {
  std::vector<std::string> names = options.names;
  if (names.empty()) {
    for (const deviate::Deviation& deviation : deviate::Deviations()) {
      names.emplace_back(deviation.name);
    }
    for (const deviate::HiddenDeviation& deviation : deviate::HiddenDeviations()) {
      names.emplace_back(deviation.name);
    }
  }
  std::vector<std::size_t> lengths;
  int missed = 0;
  int by_traits = 0;
  double seconds = 0;
  double worst_shrinking = 0;
  for (const std::string& name : names) {
    const Found found = Find(name, options);
    seconds += found.seconds;
    worst_shrinking = std::max(worst_shrinking, found.shrinking);
    if (found.any) {
      lengths.push_back(found.calls);
    } else if (found.by_traits) {
      ++by_traits;
    } else {
      ++missed;
    }
  }
  std::sort(lengths.begin(), lengths.end());
  std::printf(
      "%zu found, %d by their traits, %d not; %.2f s; calls: median %zu, most %zu; shrinking %.1f ms at most\n",
      lengths.size(), by_traits, missed, seconds, lengths.empty() ? 0 : lengths[lengths.size() / 2],
      lengths.empty() ? 0 : lengths.back(), worst_shrinking * 1000);
  return missed == 0 ? 0 : 1;
}

}  // namespace
}  // namespace quorle::selftest

int main(int argc, char** argv) {
  quorle::selftest::Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word == "--show") {
      options.show = true;
    } else if (word == "--seeds" && i + 1 < argc) {
      options.seeds = std::strtoull(argv[++i], nullptr, 10);
    } else if (word == "--calls" && i + 1 < argc) {
      options.calls = std::strtoull(argv[++i], nullptr, 10);
    } else if (word == "--port" && i + 1 < argc) {
      const std::string_view port = argv[++i];
      options.port = port == "packet"    ? quorle::PortType::kPacket
                     : port == "classic" ? quorle::PortType::kClassic
                                         : quorle::PortType::kVector;
    } else {
      options.names.emplace_back(word);
    }
  }
  return quorle::selftest::Main(options);
}
