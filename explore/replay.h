#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "explore/calls_file.h"
#include "explore/difference.h"
#include "explore/search_clock.h"
#include "explore/side.h"
#include "hosted/calls/handler_port.h"

namespace quorle::explore {

/// What came of one line of a file of calls.
struct ReplayedLine {
  bool is_due = true;              ///< it is as expected, or nothing was
  std::string text;                ///< the line as it was made, and what came back
  std::vector<std::string> below;  ///< what was expected, or is wrong
};

/// Makes what stands in a file of calls on a device, in its root.
class Replay {
 public:
  struct Parts {
    Side& side;
    SearchClock& clock;  ///< of its dos
    HandlerPort& port;   ///< of the device
    /// Unmounts the device, on which nothing is held, and mounts it again. Returns what went wrong.
    std::function<std::string()> remount;
  };

  /// Notes what is there: that stays, and is not what the calls left.
  explicit Replay(Parts parts);

  /// Gives back what is held, and goes to the root of the device. Returns 0, or the code with which that is
  /// refused. To be called before the first line.
  std::int32_t Begin();
  ReplayedLine Make(const CallsStep& step);

  std::size_t calls() const { return calls_; }
  std::size_t expected() const { return expected_; }
  std::size_t wrong() const { return wrong_; }
  /// The paths that are there now and were not before, each directory before what is in it.
  std::vector<std::string> Left() const;

 private:
  ReplayedLine MakeCall(const CallsStep& step);
  ReplayedLine MakeTree(const DueTree& due);
  ReplayedLine MakeRemount();
  ReplayedLine MakeEmpty();
  void DeleteWhatIsLeft();
  InfoData Info();

  Parts parts_;
  std::set<std::string> before_;
  InfoData info_{};
  std::size_t calls_ = 0;
  std::size_t expected_ = 0;
  std::size_t wrong_ = 0;
};

/// A reference volume that is empty and not begun, its clock as a replay finds it.
struct FreshReference {
  Side& side;
  SearchClock& clock;
  HandlerPort& port;
};
/// The file that shows `difference`: its calls are made on `reference`, and what that says is expected.
/// `comments` are lines for its head.
std::string CallsText(const Difference& difference, std::vector<std::string> comments,
                      const FreshReference& reference);

}  // namespace quorle::explore
