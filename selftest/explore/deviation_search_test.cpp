// What a search finds over volumes in memory: each deviation, and nothing where there is none.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "explore/call_text.h"
#include "explore/choices.h"
#include "explore/traits.h"
#include "selftest/explore/all_deviations.h"
#include "selftest/support/two_devices.h"

namespace quorle::selftest {
namespace {

constexpr std::size_t kCalls = 200;
/// A deviation is found in fewer sequences than that; most of them in the first one.
constexpr std::uint64_t kMostSeeds = 4000;
constexpr std::uint64_t kSeedsWithoutDifference = 500;

/// Whether the handler leaves something in memory after a sequence.
bool IsLeaking(const std::string& handler, PortType port) {
  TwoDevices devices(handler, port);
  devices.Start().Run(explore::DrawChoices(1, kCalls));
  return !devices.ShutDownDevice().empty();
}

/// A few of them for what is not found.
constexpr std::uint64_t kSeedsForUnseen = 100;

/// Whether the traits, a sequence or what the handler leaves in memory show that `handler` is not as the
/// reference is.
bool IsFound(const std::string& handler, PortType port, bool remount, std::uint64_t seeds) {
  TwoDevices devices(handler, port);
  explore::Trial& trial = devices.Start({.remount = remount, .directory = {}});
  if (!explore::TraitLines(devices.traits()).empty()) return true;
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
    if (trial.Run(explore::DrawChoices(seed, kCalls))) return true;
    // What is never freed shows when the device ends.
    if (seed == 1 && IsLeaking(handler, port)) return true;
  }
  return false;
}

std::string NameOf(const testing::TestParamInfo<PortType>& run) {
  return run.param == PortType::kVector   ? "Vector"
         : run.param == PortType::kPacket ? "Packet"
                                          : "Classic";
}

class DeviationSearch : public testing::TestWithParam<PortType> {};

TEST_P(DeviationSearch, EachDeviationIsFound) {
  for (const std::string& name : AllDeviations()) {
    const bool is_hidden = IsHiddenFromSearches(name, GetParam());
    EXPECT_EQ(IsFound("ram,deviate=" + name, GetParam(), name.starts_with("remount-"),
                      is_hidden ? kSeedsForUnseen : kMostSeeds),
              !is_hidden)
        << name;
  }
}

INSTANTIATE_TEST_SUITE_P(Ports, DeviationSearch,
                         testing::Values(PortType::kVector, PortType::kPacket), NameOf);

class ReferenceSearch : public testing::TestWithParam<PortType> {};

TEST_P(ReferenceSearch, NothingDiffersOverMemory) {
  TwoDevices devices("ram", GetParam());
  explore::Trial& trial = devices.Start({.remount = true, .directory = {}});
  for (std::uint64_t seed = 1; seed <= kSeedsWithoutDifference; ++seed) {
    const std::optional<explore::Difference> difference =
        trial.Run(explore::DrawChoices(seed, kCalls));
    ASSERT_FALSE(difference) << difference->id << ", seed " << seed << ", "
                             << difference->calls.size() << " calls, the last "
                             << explore::TextOf(difference->calls.back().call);
  }
  for (const auto& [id, note] : trial.notes()) ADD_FAILURE() << "a note: " << id;
}

INSTANTIATE_TEST_SUITE_P(Ports, ReferenceSearch,
                         testing::Values(PortType::kVector, PortType::kPacket), NameOf);

}  // namespace
}  // namespace quorle::selftest
