#pragma once

#include <gtest/gtest.h>

#include <string>

#include "selftest/support/transcript_file.h"

namespace quorle::selftest {

/// How `actual` differs from `expected`, as a unified diff with control characters escaped; empty when
/// it does not.
inline std::string Diff(const std::string& expected, const std::string& actual) {
  if (expected == actual) return {};
  return testing::internal::edit_distance::CreateUnifiedDiff(EscapedLines(expected),
                                                             EscapedLines(actual));
}

}  // namespace quorle::selftest
