#pragma once

#include <string>
#include <string_view>

namespace quorle::selftest {

/// The first line of a run's output that has no message class and belongs to no message, or empty.
/// Styles are looked through; italic text is a note.
std::string LineWithoutClass(std::string_view output);

}  // namespace quorle::selftest
