#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "results/run_record.h"

namespace quorle {

/// What several runs with the same arguments come to: which checks did not come out the same each time.
class Repeats {
 public:
  void Add(const RunRecord& run);

  /// Lines for people, each ended: for each check that differs how often it came out in which way, with
  /// the first message of each. Two runs differ when the verdict does, or the class or code of a message:
  /// texts may name what is another each time. Empty when nothing differs.
  std::string Differences() const;

 private:
  /// One way in which a check came out.
  struct Way {
    CheckEvent first;
    std::int32_t count = 0;
  };

  std::int32_t runs_ = 0;
  std::vector<std::string> order_;  ///< the ids, as the first run has them
  std::map<std::string, std::vector<Way>> ways_;
};

}  // namespace quorle
