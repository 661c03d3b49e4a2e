#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "explore/call.h"
#include "explore/operation.h"

namespace quorle::explore {

/// The arguments of `operation` that differ from call to call, by their places; one place, 0, for an
/// operation that has none.
struct ClassedArguments {
  std::uint8_t count = 0;
  std::uint8_t place[OperationRow::kMostArguments] = {};
};
ClassedArguments ClassedArgumentsOf(Operation operation);

/// What the classes of the argument at `place` of `operation` are called: "path" of a name. Where the
/// operation has no arguments there is one, "-".
std::span<const std::string_view> ClassesOf(Operation operation, std::uint8_t place);
/// What such an argument itself is called: "name"; "" where the operation has none.
std::string_view ClassedNameOf(Operation operation, std::uint8_t place);

/// Which class the argument at `place` of `call` is of: an index into ClassesOf() it.
std::uint8_t ClassOf(const Call& call, std::uint8_t place);

}  // namespace quorle::explore
