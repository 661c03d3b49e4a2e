#include "selftest/kill_table/watched_run.h"

#include <algorithm>
#include <array>
#include <utility>

#include "harness/runner.h"
#include "tests/catalogue.h"

namespace quorle::selftest {
namespace {

constexpr std::size_t kRows = kCatalogueRows;
constexpr std::size_t kMostSubTests = 16;

/// The run at hand. Groups and sub-tests are plain functions: they have no other way to it.
struct Watch {
  TestBench* bench = nullptr;
  WatchedRun* run = nullptr;
  std::uint8_t test = 0;
  std::string group_text;
  const SubTest* sub_tests = nullptr;

  void Note(std::int32_t sub_test, std::int32_t status, std::string text) {
    run->output += text;
    run->parts.push_back({test, sub_test, status, std::move(text)});
  }
};
Watch watch;

std::int32_t WatchedSubTest(TestContext& ctx, std::int32_t position) {
  watch.group_text += watch.bench->TakeOutput();
  const std::int32_t status = watch.sub_tests[position](ctx, position);
  watch.Note(position + 1, status, watch.bench->TakeOutput());
  return status;
}

template <std::size_t row>
std::int32_t WatchedGroup(TestContext& ctx) {
  if (std::string opening = watch.bench->TakeOutput(); !opening.empty()) {
    watch.Note(0, 0, std::move(opening));
  }
  watch.test = row + 1;
  watch.group_text.clear();
  const std::int32_t result = kCatalogue[row].group(ctx);
  watch.group_text += watch.bench->TakeOutput();
  watch.Note(0, result, std::exchange(watch.group_text, {}));
  return result;
}

template <std::size_t... rows>
std::array<TestEntry, kRows + 1> WatchedCatalogue(std::index_sequence<rows...>) {
  return {TestEntry{WatchedGroup<rows>, kCatalogue[rows].title}..., TestEntry{nullptr, ""}};
}

}  // namespace

/// What stands in for RunTestGroup() of a group: the real one runs a table that leads to the
/// group's own sub-tests.
std::int32_t RunTableWatched(TestContext& ctx, const SubTest* sub_tests, const char* label,
                             std::int32_t (*real)(TestContext&, const SubTest*, const char*)) {
  std::array<SubTest, kMostSubTests + 1> table{};
  for (std::size_t i = 0; i < kMostSubTests && sub_tests[i] != nullptr; ++i) {
    table[i] = WatchedSubTest;
  }
  watch.sub_tests = sub_tests;
  return real(ctx, table.data(), label);
}

const WatchedPart* WatchedRun::Find(std::uint8_t test, std::int32_t sub_test) const {
  const auto found = std::find_if(parts.begin(), parts.end(), [&](const WatchedPart& part) {
    return part.test == test && part.sub_test == sub_test;
  });
  return found == parts.end() ? nullptr : &*found;
}

WatchedRun RunWatched(TestBench& bench) {
  static const std::array<TestEntry, kRows + 1> catalogue =
      WatchedCatalogue(std::make_index_sequence<kRows>());
  WatchedRun run;
  watch = {.bench = &bench, .run = &run, .test = 0, .group_text = {}, .sub_tests = nullptr};
  run.result = bench.Run(catalogue.data());
  watch.test = kAfterTests;
  watch.Note(0, 0, bench.TakeOutput());
  return run;
}

}  // namespace quorle::selftest

// The linker sends every call of RunTestGroup() to the first of these, and the second is the real one
// (--wrap). The names are what the compiler makes of quorle::RunTestGroup.
extern "C" {
std::int32_t __real__ZN6quorle12RunTestGroupERNS_11TestContextEPKPFiS1_iEPKc(
    quorle::TestContext& ctx, const quorle::SubTest* sub_tests, const char* label);

std::int32_t __wrap__ZN6quorle12RunTestGroupERNS_11TestContextEPKPFiS1_iEPKc(
    quorle::TestContext& ctx, const quorle::SubTest* sub_tests, const char* label) {
  return quorle::selftest::RunTableWatched(
      ctx, sub_tests, label, __real__ZN6quorle12RunTestGroupERNS_11TestContextEPKPFiS1_iEPKc);
}
}
