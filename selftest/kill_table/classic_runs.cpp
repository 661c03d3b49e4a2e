#include "selftest/kill_table/classic_runs.h"

#include <algorithm>
#include <cstddef>

#include "selftest/support/classic_limits.h"
#include "selftest/support/diff.h"

namespace quorle::selftest {
namespace {

std::string Place(const WatchedPart& part) {
  return "test " + std::to_string(part.test) + ", sub-test " + std::to_string(part.sub_test);
}

/// How many there are, but for those of groups that end elsewhere on a classic port, as far as further ones do.
std::ptrdiff_t CountParts(const WatchedRun& run) {
  return std::count_if(run.parts.begin(), run.parts.end(), [](const WatchedPart& part) {
    return !part.id().starts_with("Further.") || !IsOtherOnClassic(part.id());
  });
}

}  // namespace

bool RanWhatIsOther(const WatchedRun& run) {
  return std::any_of(run.parts.begin(), run.parts.end(),
                     [](const WatchedPart& part) { return IsOtherOnClassic(part.group); });
}

std::string DifferencesFromPacketPort(const WatchedRun& run, const WatchedRun& on_packet_port) {
  std::string text;
  const auto count = CountParts(run);
  const auto usual_count = CountParts(on_packet_port);
  if (count != usual_count) {
    text += std::to_string(count) + " parts, not " + std::to_string(usual_count) + "\n";
  }
  for (const WatchedPart& part : run.parts) {
    if (IsOtherOnClassic(part.id())) continue;
    const WatchedPart* const usual = on_packet_port.Find(part.test, part.sub_test);
    if (usual == nullptr) {
      text += Place(part) + " is not reached otherwise\n";
      continue;
    }
    if (part.status != usual->status) {
      text += Place(part) + ": " + std::to_string(part.status) + ", not " +
              std::to_string(usual->status) + "\n";
    }
    const std::string difference = Diff(usual->text, part.text);
    if (!difference.empty()) text += Place(part) + ":\n" + difference;
  }
  if (!RanWhatIsOther(run) && run.result != on_packet_port.result) {
    text += "result " + std::to_string(run.result) + ", not " +
            std::to_string(on_packet_port.result) + "\n";
  }
  return text;
}

}  // namespace quorle::selftest
