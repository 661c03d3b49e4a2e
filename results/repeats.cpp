#include "results/repeats.h"

#include <algorithm>

namespace quorle {
namespace {

bool IsSame(const CheckEvent& a, const CheckEvent& b) {
  return a.verdict == b.verdict &&
         std::equal(a.diagnostics.begin(), a.diagnostics.end(), b.diagnostics.begin(),
                    b.diagnostics.end(), [](const Diagnostic& x, const Diagnostic& y) {
                      return x.type == y.type && x.code == y.code;
                    });
}

}  // namespace

void Repeats::Add(const RunRecord& run) {
  ++runs_;
  for (const CheckEvent& check : run.checks) {
    std::vector<Way>& ways = ways_[check.id];
    if (ways.empty()) order_.push_back(check.id);
    auto way = std::find_if(ways.begin(), ways.end(),
                            [&](const Way& known) { return IsSame(known.first, check); });
    if (way == ways.end()) way = ways.insert(ways.end(), {.first = check, .count = 0});
    ++way->count;
  }
}

std::string Repeats::Differences() const {
  std::string text;
  for (const std::string& id : order_) {
    const std::vector<Way>& ways = ways_.at(id);
    if (ways.size() < 2) continue;
    text += "flaky: " + id + "\n";
    for (const Way& way : ways) {
      text += "  " + std::to_string(way.count) + " of " + std::to_string(runs_) + " runs: ";
      text += NameOf(way.first.verdict);
      if (!way.first.diagnostics.empty()) text += ": " + way.first.diagnostics.front().text;
      text += "\n";
    }
  }
  return text;
}

}  // namespace quorle
