#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "harness/catalogue.h"
#include "selftest/support/test_bench.h"
#include "selftest/support/trace_balance.h"
#include "selftest/sweep/fault_plan.h"
#include "selftest/sweep/sub_test_watch.h"

namespace quorle::selftest {

/// One event of a trace, as far as it is kept.
struct KeptEvent {
  std::string place;      ///< sub-test that made the call
  std::string_view op;    ///< a name of the platform's, which stays
  std::string name;       ///< the first argument, when it is a text
  std::int64_t mode = 0;  ///< the second argument, when it is a number
  bool gave_nothing;      ///< null
  std::int32_t ioerr = 0;
};

/// How a run ended.
struct Outcome {
  std::int32_t result = 0;
  bool ran_tests = false;
  bool is_further = false;  ///< of the further catalogue
  std::string output;
  std::vector<KeptEvent> trace;
  std::vector<Unbalanced> unbalanced;
  std::vector<CallSite> sites;  ///< of a run that was recorded
  bool directory_restored = false;
  bool requesters_restored = false;
  std::string still_open;         ///< examine records apart
  std::size_t open_records = 0;   ///< examine records that the platform still counts
  std::vector<std::string> gone;  ///< lines of the volumes that are there no more
  std::vector<std::string> came;  ///< lines of the volumes that were not there before
};

/// A machine that is used for one run after the other, as long as each leaves it as it was.
class SharedBench {
 public:
  /// `words` are the host options and the command line.
  explicit SharedBench(std::vector<std::string> words) : words_(std::move(words)) {}

  /// A run whose calls `prepare` makes misbehave.
  Outcome Run(const Catalogue& catalogue, const std::function<void(FaultPlan&)>& prepare);

  const SubTestWatch& watch() const { return watch_; }

 private:
  std::vector<std::string> words_;
  std::unique_ptr<TestBench> bench_;
  std::string volumes_;
  SubTestWatch watch_;
};

}  // namespace quorle::selftest
