// find_deviations [--seeds N] [--calls N] [--port vector|packet|classic] [--show] [--write DIR] [NAME...]: searches
// each deviation (all without names) until something is found, and says what that was, how long its shortest
// sequence is and how long it took. A line at the end sums up. With --write it searches on for a while, on both kinds
// of port that replays are tried on, and DIR/NAME.calls gets the shortest sequence that shows the deviation, and nothing
// but it, on both; what is there stays unless a shorter one is found.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "explore/call_text.h"
#include "explore/calls_file.h"
#include "explore/search.h"
#include "results/whole_file.h"
#include "selftest/explore/all_deviations.h"
#include "selftest/explore/replay_files.h"
#include "selftest/support/two_devices.h"

namespace quorle::selftest {
namespace {

struct Options {
  std::uint64_t seeds = 200;
  std::size_t calls = 200;
  PortType port = PortType::kVector;
  bool show = false;
  std::string directory;
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
      [&](std::uint64_t) { return found.any; });
  run.Run();
  found.seconds = std::chrono::duration<double>(Moment::now() - begun).count();
  if (!traits.empty()) {
    found.by_traits = true;
    if (!found.any) std::printf("%s: traits: %s\n", name.c_str(), traits.front().c_str());
  }
  if (!found.any && traits.empty()) std::printf("%s: NOT FOUND\n", name.c_str());
  return found;
}

// ---- Replay files --------------------------------------------------------------------------------

/// How many sequences are run after the first one that showed something.
constexpr std::uint64_t kMoreSequences = 40;

/// Differences that a search finds of `name`, the shortest sequence first.
std::vector<explore::Finding> Candidates(const std::string& name, const Options& options) {
  std::vector<explore::Finding> found;
  for (const PortType port : kReplayPorts) {
    TwoDevices devices("ram,deviate=" + name, port);
    // What shows in the traits alone is asked for, too.
    explore::Trial& trial =
        devices.StartWithAllTraits({.remount = name.starts_with("remount-"), .directory = {}});
    std::uint64_t last = UINT64_MAX;
    explore::Search run(
        trial, {.first_seed = 1, .last_seed = options.seeds, .time = {}, .calls = options.calls},
        [&](const explore::Finding& finding, bool) {
          last = std::min(last, finding.seed + kMoreSequences);
          if (finding.comes_again) found.push_back(finding);
        },
        [&](std::uint64_t seed) { return seed > last; });
    run.Run();
  }
  std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
    return a.difference.calls.size() < b.difference.calls.size();
  });
  return found;
}

/// How many lines of `text` are calls or what is as good.
std::size_t StepsOf(const std::string& text) {
  std::vector<explore::CallsStep> steps;
  std::string problem;
  return explore::ParseCalls("", text, steps, problem) ? steps.size() : SIZE_MAX;
}

/// Whether the file `text` shows the deviation `name`, and nothing on a volume without it.
bool IsProof(const std::string& name, const std::string& text) {
  return std::all_of(std::begin(kReplayPorts), std::end(kReplayPorts), [&](PortType port) {
    const bool shows = !ReplayText(name, text, "ram,deviate=" + name, port).is_fine;
    return shows == !IsHiddenBy(name, port) && ReplayText(name, text, "ram", port).is_fine;
  });
}

/// Writes the file of `name`. Returns whether there is one.
bool Write(const std::string& name, const Options& options) {
  const std::string path = options.directory + "/" + name + ".calls";
  std::string kept;
  std::string problem;
  if (!ReadWholeFile(path, explore::kLargestCallsFile, kept, problem) || !IsProof(name, kept)) {
    kept.clear();
  }
  for (const explore::Finding& finding : Candidates(name, options)) {
    const explore::Difference& difference = finding.difference;
    const std::string text =
        ReplayTextOf(difference, {"The deviation " + name + ": " + difference.id,
                                  difference.what + " (rule: " + difference.rule + ")"});
    if (!kept.empty() && StepsOf(kept) <= StepsOf(text)) break;
    if (!IsProof(name, text)) continue;
    if (!WriteWholeFile(path, text, problem)) {
      std::printf("%s\n", problem.c_str());
      return false;
    }
    kept = text;
    break;
  }
  const bool is_fine = kept.empty() == IsWithoutFile(name);
  if (!is_fine) std::printf("%s: %s\n", name.c_str(), kept.empty() ? "NO FILE" : "has a file");
  return is_fine;
}

int WriteAll(const std::vector<std::string>& names, const Options& options) {
  const auto missing = std::count_if(
      names.begin(), names.end(), [&](const std::string& name) { return !Write(name, options); });
  std::printf("%zu deviations, %zu without a file that should have one\n", names.size(),
              static_cast<std::size_t>(missing));
  return missing == 0 ? 0 : 1;
}

int Main(const Options& options) {
  std::vector<std::string> names = options.names;
  if (names.empty()) names = AllDeviations();
  if (!options.directory.empty()) return WriteAll(names, options);
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
    } else if (word == "--write" && i + 1 < argc) {
      options.directory = argv[++i];
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
