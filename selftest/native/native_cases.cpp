#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>

#include "selftest/native/cases.h"
#include "selftest/native/native_program.h"
#include "selftest/support/test_bench.h"

// native_cases PROGRAM FILE RECORD: runs the platform's executable through every case of the
// transcripts in FILE, or against the deviations when FILE is a word for them (cases.h), and compares
// - what it prints and returns with what the case expects,
// - every call that it makes with those of the tester compiled into this program.
// What each run did is written to RECORD, for the comparison with another processor.

namespace quorle::selftest {
namespace {

/// The program's own use of its stack: dos and a filesystem that runs in the caller's process need
/// the rest of what it asks for.
constexpr std::uint32_t kLeastStackLeft = 96 * 1024;

/// Examine records that a run holds at a time, at most: the twelve that it never gives back and two
/// more. The program has room for 32.
constexpr std::size_t kMostExamined = 14;

class Cases {
 public:
  Cases(const char* program, const char* record)
      : program_(program), record_(record, std::ios::binary) {}

  void Run(const Case& test) {
    ++count_;
    TestBench reference_bench(test.words, test.rules);
    if (test.data_by_chance) reference_bench.LeaveOutData();
    const std::int32_t reference_result = reference_bench.Run();
    const std::string reference = RunText(test, reference_result, reference_bench.TakeOutput(),
                                          reference_bench.TakeTraceLines());

    TestBench bench(test.words, test.rules);
    if (test.data_by_chance) bench.LeaveOutData();
    bench.TakeRulesFrom(reference_bench);
    const NativeResult result = program_.Run(bench.Begin());
    const std::string output = bench.TakeOutput();
    const std::string run = RunText(test, result.code, output, bench.TakeTraceLines());

    Expect(output == test.output.value_or(output), test, "prints something else than is expected");
    const std::string code = std::to_string(result.code) + "\n";
    Expect(code == test.result.value_or(code), test, "returns another result");
    if (run != reference) Differs(test, run, reference);
    Expect(result.problem.empty(), test, result.problem);
    Expect(bench.UnusedRule().empty(), test, "a rule never fires");
    const std::string open = bench.StillOpen(false);
    Expect(open.empty(), test, "leaves open: " + open);
    most_stack_ = std::max(most_stack_, result.stack_used);
    most_examined_ = std::max(most_examined_, result.most_examined);
    record_ << run;
  }

  int Report() {
    if (most_stack_ + kLeastStackLeft > program_.stack_bytes()) {
      ++wrong_;
      std::printf("too little of the stack is left\n");
    }
    if (most_examined_ > kMostExamined) {
      ++wrong_;
      std::printf("more examine records are held than %zu\n", kMostExamined);
    }
    record_.flush();
    if (!record_ || count_ == 0) {
      ++wrong_;
      std::printf(count_ == 0 ? "no case was run\n" : "the record cannot be written\n");
    }
    std::printf(
        "%zu cases, %zu wrong; at most %lu of %lu bytes of stack used, %zu examine records held\n",
        count_, wrong_, static_cast<unsigned long>(most_stack_),
        static_cast<unsigned long>(program_.stack_bytes()), most_examined_);
    return wrong_ == 0 ? 0 : 1;
  }

 private:
  void Expect(bool condition, const Case& test, const std::string& what) {
    if (condition) return;
    ++wrong_;
    std::printf("%s: %s\n", test.name.c_str(), what.c_str());
  }

  /// Reports the first line that differs.
  void Differs(const Case& test, const std::string& run, const std::string& reference) {
    const auto [a, b] = std::mismatch(run.begin(), run.end(), reference.begin(), reference.end());
    const auto line = [](const std::string& text, std::string::const_iterator at) {
      const auto offset = static_cast<std::size_t>(at - text.begin());
      const std::size_t start = offset == 0 ? 0 : text.rfind('\n', offset - 1) + 1;
      return text.substr(start, text.find('\n', offset) - start);
    };
    Expect(false, test, "differs: " + line(run, a) + "\n    instead of: " + line(reference, b));
  }

  NativeProgram program_;
  std::ofstream record_;
  std::size_t count_ = 0;
  std::size_t wrong_ = 0;
  std::uint32_t most_stack_ = 0;
  std::size_t most_examined_ = 0;
};

int Main(const char* program, const char* file, const char* record) {
  Cases cases(program, record);
  for (const Case& test : ReadCases(file)) cases.Run(test);
  return cases.Report();
}

}  // namespace
}  // namespace quorle::selftest

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: native_cases PROGRAM FILE RECORD\n");
    return 2;
  }
  try {
    return quorle::selftest::Main(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "native_cases: %s\n", error.what());
    return 2;
  }
}
