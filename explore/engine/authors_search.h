#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "explore/lone_volume.h"
#include "explore/reference_volume.h"
#include "explore/search.h"
#include "explore/search_clock.h"
#include "explore/traits.h"
#include "explore/trial.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/console.h"
#include "quorle/handler.h"

namespace quorle::explore {

/// What an engine is given beside the handler; empty: not given. docs/explore.md names the variables of the
/// environment that they come from.
struct EngineSettings {
  std::string mount;   ///< keys of the mount: "image=disk.img,volume=Work"
  std::string expect;  ///< a file with known differences
  std::string out;     ///< the directory for .calls files; "." when it is empty
};

/// The search of an engine: it has the sequences, this says what differs. Everything is in this process, the
/// handler too, whose ends, hangs and wild writes are the engine's to notice.
class AuthorsSearch final : private DeviceControl {
 public:
  /// Mounts `handler` as DH0: and finds out what it can do. Null, with one line in `problem`, when it cannot
  /// be mounted, holds something already, or a setting is wrong.
  static std::unique_ptr<AuthorsSearch> Start(const ::Handler& handler,
                                              const EngineSettings& settings, Console& console,
                                              std::string& problem);
  AuthorsSearch(const AuthorsSearch&) = delete;
  AuthorsSearch& operator=(const AuthorsSearch&) = delete;

  /// Runs the sequence of the choices in `bytes`, and shows what differs. False: the engine is to know, since
  /// it differs and is not expected, or the handler answered as none may.
  bool Run(std::span<const std::uint8_t> bytes);

 private:
  AuthorsSearch(const EngineSettings& settings, Console& console)
      : settings_(settings), console_(console), watch_([this](const std::string& line) {
          console_.Report(line);
          is_fine_ = false;
        }) {}

  bool Mount(const ::Handler& handler, std::string& problem);
  void Show(const Finding& finding, bool first);

  EngineSettings settings_;
  Console& console_;
  RunWatch watch_;
  bool is_fine_ = true;
  std::map<std::string, std::string> expected_;
  SearchClock clock_;
  std::unique_ptr<LoneVolume> device_;
  std::unique_ptr<ReferenceVolume> reference_;
  Traits traits_;
  std::unique_ptr<Trial> trial_;
  std::unique_ptr<Search> search_;
};

}  // namespace quorle::explore
