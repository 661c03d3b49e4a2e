#include <cstdio>
#include <exception>
#include <fstream>

#include "selftest/native/cases.h"
#include "selftest/support/test_bench.h"

// reference_cases FILE RECORD: runs the tester of this processor through every case of the
// transcripts in FILE and writes to RECORD what each run did.

namespace quorle::selftest {
namespace {

int Main(const char* file, const char* record) {
  std::ofstream out(record, std::ios::binary);
  for (const Case& test : ReadCases(file)) {
    TestBench bench(test.words, test.rules);
    if (test.data_by_chance) bench.LeaveOutData();
    const std::int32_t result = bench.Run();
    const std::string output = bench.TakeOutput();
    out << RunText(test, result, output, bench.TakeTraceLines());
  }
  out.flush();
  if (!out) std::fprintf(stderr, "reference_cases: cannot write %s\n", record);
  return out ? 0 : 2;
}

}  // namespace
}  // namespace quorle::selftest

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: reference_cases FILE RECORD\n");
    return 2;
  }
  try {
    return quorle::selftest::Main(argv[1], argv[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "reference_cases: %s\n", error.what());
    return 2;
  }
}
