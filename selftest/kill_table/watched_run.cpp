#include "selftest/kill_table/watched_run.h"

#include <algorithm>
#include <utility>

#include "results/check_list.h"

namespace quorle::selftest {
namespace {

/// Notes after each sub-test and each group what was printed meanwhile.
class PartListener final : public RunListener {
 public:
  PartListener(TestBench& bench, WatchedRun& run) : bench_(bench), run_(run) {}

  void OnGroupStart(const TestEntry& entry, std::int32_t row) override {
    if (std::string opening = bench_.TakeOutput(); !opening.empty()) {
      Note(0, 0, std::move(opening));
    }
    test_ = static_cast<std::uint8_t>(row);
    group_ = IdOf(*entry.group);
  }
  void OnSubTestStart(const SubTest& /*sub_test*/, std::int32_t number) override {
    group_text_ += bench_.TakeOutput();
    sub_test_ = number;
  }
  void OnSubTestEnd(const SubTest& sub_test, std::int32_t status) override {
    Note(sub_test_, status, bench_.TakeOutput(), sub_test.name);
  }
  void OnGroupEnd(const TestEntry& /*entry*/, std::int32_t result) override {
    group_text_ += bench_.TakeOutput();
    Note(0, result, std::exchange(group_text_, {}));
  }
  /// What is printed from here on belongs to no test.
  void NoteRest() {
    test_ = kAfterTests;
    group_.clear();
    Note(0, 0, bench_.TakeOutput());
  }

 private:
  void Note(std::int32_t sub_test, std::int32_t status, std::string text, const char* check = "") {
    run_.output += text;
    run_.parts.push_back({test_, group_, sub_test, check, status, std::move(text)});
  }

  TestBench& bench_;
  WatchedRun& run_;
  std::uint8_t test_ = kBeforeTests;
  std::string group_;
  std::int32_t sub_test_ = 0;
  std::string group_text_;
};

}  // namespace

const WatchedPart* WatchedRun::Find(std::uint8_t test, std::int32_t sub_test) const {
  const auto found = std::find_if(parts.begin(), parts.end(), [&](const WatchedPart& part) {
    return part.test == test && part.sub_test == sub_test;
  });
  return found == parts.end() ? nullptr : &*found;
}

WatchedRun RunWatched(TestBench& bench) {
  WatchedRun run;
  PartListener listener(bench, run);
  run.result = bench.Run(listener);
  listener.NoteRest();
  return run;
}

}  // namespace quorle::selftest
