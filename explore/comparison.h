#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "explore/call.h"
#include "explore/outcome.h"
#include "explore/search_clock.h"
#include "explore/traits.h"
#include "explore/tree.h"

namespace quorle::explore {

/// In what two sides are unlike: a word for ids ("contents", "protection"), and both as text.
struct Unlike {
  std::string_view what;
  std::string reference;
  std::string device;
};

/// Compares what both sides say of objects during one sequence. Where the traits of the device leave room
/// a set or an interval takes the place of a value.
class Comparison {
 public:
  Comparison(const Traits& traits, const SearchClock& clock);

  /// A sequence begins: object numbers mean nothing yet.
  void Begin();
  /// A call is about to be made, and has been made: between the two a handler with a clock of its own may
  /// have dated something.
  void BeforeCall();
  void AfterCall();

  /// Compares two records, and that the device's object number stands for the reference's all the time.
  std::optional<Unlike> Records(const ExamineData& reference, const ExamineData& device);
  /// Compares two volumes as they were walked.
  std::optional<Unlike> Trees(const Tree& reference, const Tree& device);

  /// Whether `device` is a date that may stand where the reference has `reference`.
  bool IsDate(const quorle::DateStamp& reference, const quorle::DateStamp& device) const;

 private:
  std::optional<Unlike> Objects(const TreeObject& reference, const TreeObject& device);
  bool IsSameObject(std::uint64_t reference, std::uint64_t device);

  struct Moments {
    std::int64_t begin;  ///< in ticks of the host's clock
    std::int64_t end;
  };

  const Traits& traits_;
  const SearchClock& clock_;
  SystemClock host_;
  std::int64_t first_tick_ = 0;   ///< of the first call of the sequence
  std::vector<Moments> moments_;  ///< of each tick since then, with a clock of the handler's own
  std::unordered_map<std::uint64_t, std::uint64_t> device_ids_;     ///< by the reference's
  std::unordered_map<std::uint64_t, std::uint64_t> reference_ids_;  ///< by the device's
};

}  // namespace quorle::explore
