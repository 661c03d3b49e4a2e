// Each rule that leaves room is proved twice: a filesystem that needs it does not differ, and one that goes a little
// further is found.
#include "explore/tolerance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "explore/call_text.h"
#include "explore/choices.h"
#include "explore/traits.h"
#include "explore/trial.h"
#include "selftest/explore/conforming_variants.h"
#include "selftest/support/two_devices.h"

namespace quorle::selftest {
namespace {

constexpr std::size_t kCallsOfProof = 200;
constexpr std::uint64_t kSeedsOfVariant = 200;
constexpr std::uint64_t kMostSeedsOfProof = 4000;

/// One rule, and two filesystems: what is mounted besides "ram".
struct Proof {
  std::string_view rule;
  std::string_view variant;
  std::string_view beyond;
  bool has_note = false;  ///< the variant comes with a note
};

constexpr Proof kProofs[] = {
    {"code-order", "variant=missing-first", "variant=always-missing"},
    {"through-file", "variant=through-file-other", "variant=missing-is-wrong-type"},
    {"open-code", "variant=other-code", "variant=other-named-code", true},
    {"own-notification", "variant=no-notify", "deviate=notify-of-missing-lost"},
    {"scan-order", "variant=scan-by-list", "variant=scan-by-short-list"},
    {"scan-ahead", "variant=scan-by-list", "deviate=scan-skips-when-disturbed"},
    {"date-grain", "variant=date-seconds", "variant=date-minutes-in-scans"},
    {"own-clock", "variant=host-clock", "variant=host-clock-in-scans"},
    {"kept-bits", "variant=low-bits", "variant=lower-bits"},
    {"object-numbers", "variant=no-numbers", "deviate=examine-object-number"},
    {"link-counts", "variant=no-numbers", "deviate=link-count-stays"},
    {"link-targets", "variant=no-targets", "variant=half-targets"},
    {"limits", "variant=short-names", "deviate=name-cut-at-30"},
    {"limits", "variant=short-comments", "variant=cut-comments"},
    {"limits", "variant=small-files", "variant=no-files-of-a-page"},
    {"missing-operations", "variant=no-comments", "variant=no-comments-of-directories"},
    {"directory-links", "variant=no-directory-links", "variant=no-links-to-empty-files"},
    {"root-attributes", "variant=no-root-comment", "variant=no-comments-of-directories"},
    {"held-objects", "variant=held-is-unseen", "variant=shared-is-unseen"},
    {"volume-counts", "variant=own-counts", "deviate=refused-open-counts-user"},
    {"volume-counts", "variant=own-counts", "deviate=delete-of-empty-file-loses-block"},
    {"disk-full", "size=40960", "variant=full-of-links"},
    {"grown-files", "variant=grown-is-filled", "variant=little-grown-is-filled"},
};

class ToleranceProof : public testing::TestWithParam<Proof> {};

TEST_P(ToleranceProof, AVariantThatNeedsItDoesNotDiffer) {
  TwoDevices devices("ram," + std::string(GetParam().variant), PortType::kVector, {VariantLayer()});
  explore::Trial& trial = devices.Start();
  for (std::uint64_t seed = 1; seed <= kSeedsOfVariant; ++seed) {
    const std::optional<explore::Difference> found =
        trial.Run(explore::DrawChoices(seed, kCallsOfProof));
    ASSERT_FALSE(found) << found->id << ", seed " << seed << ", " << found->calls.size()
                        << " calls, the last "
                        << (found->calls.empty() ? "" : explore::TextOf(found->calls.back().call))
                        << (found->then.empty() ? "" : ": " + found->then.front());
  }
  EXPECT_EQ(trial.notes().empty(), !GetParam().has_note);
}

/// Counts the calls on which both sides are not alike.
class UnlikeCalls final : public explore::CallObserver {
 public:
  void OnCall(const explore::Call& call, const explore::Outcome& reference,
              const explore::Outcome& device) override {
    const bool is_named = reference.record != nullptr && device.record != nullptr;
    const bool is_unlike =
        reference.done != device.done || reference.code != device.code ||
        (is_named && std::string_view(reference.record->Name) != device.record->Name) ||
        (call.operation == explore::Operation::kGetNotifyMsg && reference.value != device.value);
    if (is_unlike) ++count_;
  }
  std::size_t count() const { return count_; }

 private:
  std::size_t count_ = 0;
};

TEST_P(ToleranceProof, TheVariantNeedsIt) {
  const std::string handler = "ram," + std::string(GetParam().variant);
  UnlikeCalls unlike;
  TwoDevices devices(handler, PortType::kVector, {VariantLayer()});
  explore::Trial& trial = devices.Start({}, &unlike);
  if (explore::TraitLines(devices.traits()).empty()) {
    for (std::uint64_t seed = 1; seed <= kSeedsOfVariant && unlike.count() == 0; ++seed) {
      trial.Run(explore::DrawChoices(seed, kCallsOfProof));
    }
    EXPECT_GT(unlike.count(), 0U);
    return;
  }
  TwoDevices others(handler, PortType::kVector, {VariantLayer()});
  explore::Trial& without = others.StartWithAllTraits();
  bool is_found = false;
  for (std::uint64_t seed = 1; seed <= kMostSeedsOfProof && !is_found; ++seed) {
    is_found = without.Run(explore::DrawChoices(seed, kCallsOfProof)).has_value();
  }
  EXPECT_TRUE(is_found);
}

TEST_P(ToleranceProof, WhatGoesFurtherIsFound) {
  TwoDevices devices("ram," + std::string(GetParam().beyond), PortType::kVector, {VariantLayer()});
  explore::Trial& trial = devices.Start();
  bool is_found = false;
  for (std::uint64_t seed = 1; seed <= kMostSeedsOfProof && !is_found; ++seed) {
    is_found = trial.Run(explore::DrawChoices(seed, kCallsOfProof)).has_value();
  }
  EXPECT_TRUE(is_found);
}

std::string NameOfProof(const testing::TestParamInfo<Proof>& run) {
  std::string name(run.param.rule);
  std::replace(name.begin(), name.end(), '-', '_');
  return name + "_" + std::to_string(run.index);
}

INSTANTIATE_TEST_SUITE_P(Rules, ToleranceProof, testing::ValuesIn(kProofs), NameOfProof);

TEST(Tolerances, EachIsProved) {
  for (const explore::Tolerance& tolerance : explore::Tolerances()) {
    EXPECT_TRUE(std::any_of(std::begin(kProofs), std::end(kProofs), [&](const Proof& proof) {
      return proof.rule == tolerance.name;
    })) << tolerance.name;
  }
  for (const Proof& proof : kProofs) {
    const auto all = explore::Tolerances();
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [&](const explore::Tolerance& tolerance) {
      return proof.rule == tolerance.name;
    })) << proof.rule;
  }
}

TEST(Tolerances, ThePageHasThemAll) {
  std::ifstream page(QUORLE_EXPLORE_PAGE);
  std::string table;
  std::string line;
  bool is_table = false;
  while (std::getline(page, line)) {
    if (line == "| rule | what is allowed |") is_table = true;
    if (line.empty()) is_table = false;
    if (is_table) table += line + "\n";
  }
  std::string due = "| rule | what is allowed |\n|---|---|\n";
  for (const explore::Tolerance& tolerance : explore::Tolerances()) {
    due += "| `" + std::string(tolerance.name) + "` | " + std::string(tolerance.reason) + " |\n";
  }
  EXPECT_EQ(table, due);
}

}  // namespace
}  // namespace quorle::selftest
