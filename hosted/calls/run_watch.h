#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorle {

/// The end of a handler.
struct HandlerEnd {
  std::string device;      ///< "DH0"
  std::string how;         ///< "ended by signal 11 (SIGSEGV)"
  std::string call;        ///< in which it ended: "FSLock()"
  bool restarted = false;  ///< the next test group gets another process
};

/// Gets what a watch is about, beside the lines for people.
class WatchListener {
 public:
  /// `line` was reported, which is about none of the following.
  virtual void OnReport(const std::string& /*line*/) {}
  virtual void OnHandlerEnd(const HandlerEnd& /*end*/) {}
  /// The handlers `took` as long as they may for one group: "took more than 60 seconds".
  virtual void OnLimit(const std::string& /*took*/) {}
  /// A handler that ended could not be started again.
  virtual void OnRestartFailed() {}
  /// A handler that was unmounted for a check could not be mounted again.
  virtual void OnRemountFailed() {}

 protected:
  ~WatchListener() = default;
};

/// Which test is running, for those who must say where something happened, and where they say it.
class RunWatch {
 public:
  /// `report` takes one line.
  explicit RunWatch(std::function<void(const std::string& line)> report)
      : report_(std::move(report)) {}
  RunWatch(const RunWatch&) = delete;
  RunWatch& operator=(const RunWatch&) = delete;

  /// `number` is the row of the catalogue, `label` its group as messages have it: "Lock()".
  void BeginTest(int number, std::string_view label) {
    test_ = number;
    group_ = label.substr(0, label.find('('));
    ++begun_;
    ++moves_;
  }
  /// `name` is that of the rule which the check is about.
  void BeginCheck(std::string_view name) {
    check_ = name;
    ++moves_;
  }
  void EndCheck() {
    check_.clear();
    ++moves_;
  }
  void EndTest() {
    test_ = 0;
    group_.clear();
    ++moves_;
  }
  /// Where a run without groups and checks is: "x.calls, line 7"; empty: nowhere. No next test gets another
  /// process then, unless BeginTest() is called.
  void MoveTo(std::string place) {
    place_ = std::move(place);
    ++moves_;
  }
  /// `listener` gets what comes from now on; it stays the caller's. Null ends that.
  void SetListener(WatchListener* listener) { listener_ = listener; }

  void Report(const std::string& line) {
    Print(line);
    if (listener_ != nullptr) listener_->OnReport(line);
  }
  /// Reports that a handler has ended, and where; `trace` is what its stack was, a line each.
  void ReportEnd(const HandlerEnd& end, const std::vector<std::string>& trace) {
    std::string line = "handler process of " + end.device + ": " + end.how + " in " + end.call;
    if (const std::string place = Place(); !place.empty()) line += ", " + place;
    if (end.restarted && place_.empty()) line += "; started again for the next test";
    Print(line);
    for (const std::string& frame : trace) Print("  " + frame);
    if (listener_ != nullptr) listener_->OnHandlerEnd(end);
  }
  /// Reports that the handler of `device` could not be started again, and why.
  void ReportFailedRestart(const std::string& device, const std::string& why) {
    Print("handler process of " + device + ": could not be started again: " + why);
    if (listener_ != nullptr) listener_->OnRestartFailed();
  }
  /// Reports that the handler of `device` could not be mounted again after it was unmounted, and why.
  void ReportFailedRemount(const std::string& device, const std::string& why) {
    const std::string place = Place();
    Print((place.empty() ? device : place + ": " + device) + ": mounting again failed: " + why);
    if (listener_ != nullptr) listener_->OnRemountFailed();
  }
  /// Reports that the handlers `took` as long as they may for one group.
  void ReportLimit(const std::string& took) {
    const std::string place = Place();
    Print((place.empty() ? "outside of the tests" : place) + ": the handler " + took +
          " (--limit); the calls that are left fail");
    if (listener_ != nullptr) listener_->OnLimit(took);
  }
  /// Reports that the handler of `device` did `what` in `call` ("FSRead()"), and where. A handler
  /// does the same thing again and again: the same line is reported once, and no more than
  /// kMostCalls lines are.
  void ReportCall(const std::string& device, const std::string& what, const std::string& call) {
    std::string line = "handler of " + device + ": " + what + " in " + call;
    if (const std::string place = Place(); !place.empty()) line += ", " + place;
    const bool is_known = std::find(blamed_.begin(), blamed_.end(), line) != blamed_.end();
    if (is_known || blamed_.size() > kMostCalls) return;
    if (blamed_.size() == kMostCalls) line = "handler of " + device + ": no more of that is listed";
    Report(line);
    blamed_.push_back(std::move(line));
  }

  static constexpr std::size_t kMostCalls = 100;

  /// The id of the running check, "Lock.ExclusiveOverShared"; between the checks of a group the
  /// group's name; outside of the tests empty.
  std::string Check() const { return check_.empty() ? group_ : group_ + "." + check_; }
  /// The same with the number of the test, for a line that says where something happened:
  /// "test 24 (Lock.ExclusiveOverShared)"; or where MoveTo() went.
  std::string Place() const {
    if (!place_.empty()) return place_;
    return test_ == 0 ? std::string() : "test " + std::to_string(test_) + " (" + Check() + ")";
  }
  /// How many tests were begun so far.
  int begun() const { return begun_; }
  /// How often Check() and Place() have changed so far.
  int moves() const { return moves_; }
  /// How many lines were reported so far.
  int reports() const { return reports_; }

 private:
  void Print(const std::string& line) {
    ++reports_;
    report_(line);
  }

  std::function<void(const std::string& line)> report_;
  WatchListener* listener_ = nullptr;
  int test_ = 0;
  std::string group_;
  std::string check_;
  std::string place_;  ///< of MoveTo()
  int begun_ = 0;
  int moves_ = 0;
  int reports_ = 0;
  std::vector<std::string> blamed_;  ///< the lines of ReportCall()
};

}  // namespace quorle
