#pragma once

#include <cstdint>
#include <unordered_map>

#include "hosted/calls/handler_services.h"
#include "quorle/handler.h"

namespace quorle::connect {

/// The locks and open files of the far end, which has numbers of its own choice for them, and what dos
/// has in their place. A number is used again once what it was for is gone.
class FarObjects {
 public:
  static constexpr std::int64_t kNone = 0;
  /// A lock or a file that is not the far end's.
  static constexpr std::int64_t kForeign = -1;

  explicit FarObjects(HostServices& services) : services_(services) {}

  std::int64_t NumberOf(const ::Lock* lock) const;
  std::int64_t NumberOf(const ::FileHandle* file) const;
  /// A lock that the far end has given the number `number`, above 0. Throws ProgramEnd when another
  /// lock has that number.
  ::Lock* AddLock(std::int64_t number, std::int32_t mode);
  /// A file that the far end has opened as `number`, in the same way.
  void AddFile(std::int64_t number, ::FileHandle& file);
  /// The far end has freed or taken over the lock. Does nothing with one that is not its own.
  void Forget(::Lock* lock);
  void Forget(const ::FileHandle* file) { files_.erase(file); }

 private:
  HostServices& services_;
  std::unordered_map<const ::Lock*, std::int64_t> locks_;
  std::unordered_map<const ::FileHandle*, std::int64_t> files_;
};

}  // namespace quorle::connect
