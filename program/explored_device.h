#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "explore/side.h"
#include "explore/trial.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/console.h"
#include "program/crash_line.h"
#include "program/device_session.h"
#include "program/explore_options.h"

namespace quorle {

/// The device under test, as a search deals with it beside calls: what became of its handler, and how it is
/// mounted again. What handlers do wrong again and again is reported once.
class ExploredDevice final : public explore::DeviceControl, public WatchListener {
 public:
  /// All of them must outlive this. The watch of `session` speaks to it.
  ExploredDevice(const ExploreOptions& options, DeviceSession& session, HandlerPort& port,
                 Console& console);
  ~ExploredDevice();
  ExploredDevice(const ExploredDevice&) = delete;
  ExploredDevice& operator=(const ExploredDevice&) = delete;

  /// What comes now is the sequence of `seed`, or shrinks it: a line about what ends the program says so.
  void BeginSeed(std::uint64_t seed);

  // explore::DeviceControl:
  void BeginSequence() override;
  std::string HowItEnded() override { return how_; }
  bool IsOver() override;
  std::string Remount() override;

  // WatchListener:
  void OnReport(const std::string& line) override;
  void OnHandlerEnd(const HandlerEnd& end) override;
  void OnLimit(const std::string& took) override;

  /// Whether the handler did something wrong that no comparison shows.
  bool has_complaints() const { return !complaints_.empty(); }

 private:
  std::string RunCommand();

  const ExploreOptions& options_;
  DeviceSession& session_;
  HandlerPort& port_;
  Console& console_;
  CrashLine crash_line_;
  std::string how_;
  std::set<std::string> complaints_;
  int sequences_ = 0;
};

}  // namespace quorle
