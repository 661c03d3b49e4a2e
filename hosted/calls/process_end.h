#pragma once

#include <string>

namespace quorle {

/// How a process ended that waitpid() reports `status` of: "ended by signal 11 (SIGSEGV)", "exited with
/// status 3".
std::string DescribeEnd(int status);

}  // namespace quorle
