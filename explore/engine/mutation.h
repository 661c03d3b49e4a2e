#pragma once

#include <cstdint>

#include "explore/choices.h"

namespace quorle::explore {

/// Changes `choices`, of whole calls, in one place, as an engine wants it between two runs: one choice is
/// another one or a little higher or lower, or one of another call; or a call is inserted, doubled, removed,
/// or changes places. Changed bytes as such would mostly lead to where a choice is highest, which is what is
/// slow, and move what a choice is about for all calls behind them. At most `most_calls` calls, at least 1, come
/// back; `seed` says which change it is.
void Mutate(Choices& choices, std::size_t most_calls, std::uint64_t seed);

/// The first calls of `first` and the last ones of `second`; the same bounds.
Choices Cross(const Choices& first, const Choices& second, std::size_t most_calls,
              std::uint64_t seed);

}  // namespace quorle::explore
