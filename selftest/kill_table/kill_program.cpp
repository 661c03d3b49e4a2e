#include "selftest/kill_table/kill_program.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>

namespace quorle::selftest {

int RunKillProgram(int argc, char** argv, const KillProgram& program) {
  testing::InitGoogleTest(&argc, argv);
  if (argc != 2 && argc != 3) {
    std::fprintf(stderr, "usage: %s FILE [DOCUMENT]\n", program.name);
    return 2;
  }
  std::unique_ptr<KeptOutcomes> kept;
  try {
    kept = std::make_unique<KeptOutcomes>(argv[1], program.deviations);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", program.name, error.what());
    return 2;
  }
  program.register_tests(*kept, argc == 3 ? argv[2] : "");
  return RUN_ALL_TESTS();
}

std::string KillTestName(std::string_view name) {
  std::string result(name);
  std::replace(result.begin(), result.end(), '-', '_');
  return result;
}

}  // namespace quorle::selftest
