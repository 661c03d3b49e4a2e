#pragma once

#include <cstddef>
#include <string>

namespace quorle::selftest {

/// The number of the sub-test that is running, "" outside of the sub-tests. The program must be
/// linked with this folder's options: the runner of groups is watched through the linker (--wrap).
std::string& CurrentSubTest();

/// How many sub-tests were started since the program began.
std::size_t StartedSubTests();

}  // namespace quorle::selftest
