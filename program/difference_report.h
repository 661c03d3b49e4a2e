#pragma once

#include <map>
#include <string>
#include <vector>

#include "explore/search.h"
#include "hosted/dos/console.h"
#include "program/device_session.h"
#include "program/explore_options.h"
#include "results/event.h"
#include "results/expectation_file.h"

namespace quorle {

/// What people and programs get to see of the differences that a search finds.
class DifferenceReport {
 public:
  /// Both must outlive this.
  DifferenceReport(const ExploreOptions& options, Console& console);

  /// Reads --expect and makes --out. False, with one line, when that fails.
  bool Prepare();
  /// Prints `finding`, and writes its files; again when a shorter sequence shows it. For a trace its calls are
  /// made once more: what they leave in `directory` stays there.
  void Show(const explore::Finding& finding, bool first, DeviceSession& session, HandlerPort& port,
            const std::string& directory);
  /// Prints a difference that is no failure.
  void ShowNote(const explore::Difference& note);

  bool IsExpected(const std::string& id) const { return expected_.count(id) != 0; }
  DifferenceEvent EventOf(const explore::Finding& finding) const;
  /// Whether a file could not be written.
  bool failed() const { return failed_; }

 private:
  void WriteFiles(const explore::Finding& finding, DeviceSession& session, HandlerPort& port,
                  const std::string& directory);
  bool WriteCalls(const explore::Finding& finding, const std::string& path,
                  const std::string& volume);
  bool WriteTrace(const explore::Finding& finding, const std::string& path, DeviceSession& session,
                  HandlerPort& port, const std::string& directory);
  std::string PathOf(const std::string& id, const char* ending) const;
  std::string AgainLine(const explore::Finding& finding) const;

  const ExploreOptions& options_;
  Console& console_;
  std::map<std::string, std::string> expected_;  ///< the reasons, by their ids
  bool failed_ = false;
};

}  // namespace quorle
