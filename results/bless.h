#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "results/check_list.h"
#include "results/expectations.h"
#include "results/run_record.h"

namespace quorle {

/// What `--bless` did to a file.
struct BlessReport {
  std::size_t added = 0;    ///< entries, each with the reason "TODO"
  std::size_t changed = 0;  ///< entries whose verdict or code is another now
  std::size_t removed = 0;  ///< entries whose checks pass now
  std::vector<std::string>
      blocked;                ///< checks that are not written, as nobody expects a blocked one
  Expectations expectations;  ///< as the file has them now
};

/// Whether Bless() can begin with the file `path`: there is none yet, or it is right. (A strict file may
/// hold reasons that are still "TODO".) To be asked before a long run. False, with `problem` one line.
bool CanBless(const std::string& path, const std::vector<CheckInfo>& checks, std::string& problem);

/// Writes what came out of `runs` into the file of expectations `path`, `--bless FILE`. Entries that
/// still hold, that are for other runs, or whose checks were not tried keep their bytes. An entry whose
/// checks pass now goes; one whose verdict or code changed is changed where it stands; what is new is
/// appended with the reason "TODO". Of several runs (`--repeat`), which must be of the same target, an
/// entry lists each verdict that came out. False, with `problem` one line, when the file is wrong or
/// cannot be written; it is then as it was.
bool Bless(const std::string& path, const std::vector<RunRecord>& runs,
           const std::vector<CheckInfo>& checks, BlessReport& report, std::string& problem);

}  // namespace quorle
