#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "hosted/calls/handler_services.h"
#include "quorle/handler.h"

namespace quorle {

/// What a program throws, out of any of its functions, when the handler behind it has ended or cannot
/// be talked to: the process that it is in ends, and the line about that says how() in place of the
/// process's own end: "closed the connection". For programs in a process of their own alone.
class ProgramEnd final : public std::exception {
 public:
  explicit ProgramEnd(std::string how) : how_(std::move(how)) {}
  const std::string& how() const { return how_; }
  const char* what() const noexcept override { return how_.c_str(); }

 private:
  std::string how_;
};

/// What runs behind one mount: a handler in this process, or the way to one in another.
class HandlerProgram {
 public:
  /// What became of a handler that was mounted.
  enum class Life : std::uint8_t {
    kRuns,
    kComesBack,  ///< it has ended, and is started again with the next test
    kIsOver,     ///< it has ended for good
  };

  HandlerProgram() = default;
  virtual ~HandlerProgram() = default;
  HandlerProgram(const HandlerProgram&) = delete;
  HandlerProgram& operator=(const HandlerProgram&) = delete;

  /// Starts the filesystem. What `mount` points to stays valid until Unmount() has returned, its
  /// Problem is not used; `services` are behind mount.Dos and outlive the mount. Null, with one
  /// line in `problem`, when it cannot. It may be mounted again when it was unmounted.
  virtual ::FileSystemVectorPort* Mount(const ::HandlerMount& mount, HostServices& services,
                                        std::string& problem) = 0;
  /// Ends it. `port` is what Mount() gave.
  virtual void Unmount(::FileSystemVectorPort& port) = 0;
  /// Frees `medium`, which the handler left in HandlerMount::Medium and is not null. It is not
  /// mounted.
  virtual void Discard(void* /*medium*/) {}
  virtual Life life() const { return Life::kRuns; }
  /// Whether it has a function for packets; known after Mount().
  virtual bool TakesPackets() const = 0;
  /// Hands `packet` to that function. False when there is none.
  virtual bool Packet(::FileSystemVectorPort& port, ::DosPacket& packet) = 0;
  /// Whether it is in another process, where a call that does not return has an end all the same.
  virtual bool IsElsewhere() const { return false; }
  /// Wrong or forgotten releases in the last mount that were seen elsewhere than by the services,
  /// after Unmount().
  virtual std::vector<std::string> Complaints() const { return {}; }
};

/// A handler in this process.
class PlainProgram final : public HandlerProgram {
 public:
  /// `handler` must outlive this.
  explicit PlainProgram(const ::Handler& handler) : handler_(handler) {}

  ::FileSystemVectorPort* Mount(const ::HandlerMount& mount, HostServices& services,
                                std::string& problem) override;
  void Unmount(::FileSystemVectorPort& port) override;
  void Discard(void* medium) override;
  bool TakesPackets() const override;
  bool Packet(::FileSystemVectorPort& port, ::DosPacket& packet) override;

 private:
  const ::Handler& handler_;
  ::HandlerMount request_{};  ///< stays as it is as long as the handler runs
};

/// Whether the table has any function of its own.
bool HasFunctions(const ::FileSystemVectors& vectors);

}  // namespace quorle
