#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "explore/choices.h"

namespace quorle::explore {

/// Divides what a choice can be among rows by their weights, the first row lowest: a lower choice is an
/// earlier row, or the same row and an earlier place in it.
template <std::size_t kRows>
class Shares {
 public:
  /// Which row, and where in it: `place` of `width` choices that lead there.
  struct Drawn {
    std::size_t row;
    std::uint32_t place;
    std::uint32_t width;
  };

  /// At least one of `weights` must not be 0; their sum is at most 65536. A row of weight 0 is not drawn.
  constexpr explicit Shares(const std::array<std::uint32_t, kRows>& weights) {
    std::uint64_t sum = 0;
    for (const std::uint32_t weight : weights) sum += weight;
    std::uint64_t before = 0;
    for (std::size_t row = 0; row != kRows; ++row) {
      begins_[row] = static_cast<std::uint32_t>(before * kAll / sum);
      before += weights[row];
    }
    begins_[kRows] = kAll;
    std::size_t row = 0;
    for (std::uint32_t step = 0; step != rows_.size(); ++step) {
      while (begins_[row + 1] <= step * kStep) ++row;
      rows_[step] = static_cast<std::uint8_t>(row);
    }
  }

  constexpr Drawn Draw(Choice choice) const {
    std::size_t row = rows_[choice / kStep];
    while (begins_[row + 1] <= choice) ++row;
    return {row, choice - begins_[row], begins_[row + 1] - begins_[row]};
  }

  /// The lowest choice that leads to `row`, which is not of weight 0.
  constexpr Choice FirstOf(std::size_t row) const { return static_cast<Choice>(begins_[row]); }

 private:
  static constexpr std::uint32_t kAll = 65536;
  static constexpr std::uint32_t kStep = 256;
  static_assert(kRows <= 256, "the number of a row is a byte");

  std::array<std::uint32_t, kRows + 1> begins_{};
  std::array<std::uint8_t, kAll / kStep> rows_{};  ///< where the search for a choice begins
};

/// The weights of `rows`, which have a member of that name.
template <class Row, std::size_t kRows>
constexpr std::array<std::uint32_t, kRows> WeightsOf(const std::array<Row, kRows>& rows) {
  std::array<std::uint32_t, kRows> weights{};
  for (std::size_t i = 0; i != kRows; ++i) weights[i] = rows[i].weight;
  return weights;
}

}  // namespace quorle::explore
