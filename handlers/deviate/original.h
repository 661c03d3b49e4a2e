#pragma once

#include <memory>
#include <optional>
#include <string>

#include "handlers/deviate/call.h"

namespace quorle::deviate {

/// The part of a path after its last separator.
const char* LastPart(const char* path);

/// A handler's own functions, as they were before the layer came, and what the layer does with them.
/// A call of the layer that fails is as if it had not been made: the effect does not show then.
class Original {
 public:
  /// Both must outlive this.
  Original(::FileSystemVectorPort& port, const ::HandlerServices& dos)
      : port_(port), dos_(dos), vectors_(port.FSV) {}

  ::FileSystemVectorPort& port() const { return port_; }
  const ::FileSystemVectors& vectors() const { return vectors_; }

  /// Makes `call` and returns it with what came of it.
  Call Invoke(Call call) const;
  void UnLock(::Lock* lock) const;
  bool AreSame(::Lock* a, ::Lock* b) const;
  void Free(::ExamineData* record) const;

 private:
  /// While the original functions run they find in the port what was theirs: they may be those of
  /// another layer.
  class OwnPrivate;

  ::FileSystemVectorPort& port_;
  const ::HandlerServices& dos_;
  ::FileSystemVectors vectors_;
};

/// The place of an object: its directory and its name there. The root has none.
class Location {
 public:
  /// The place of the object that `call` is about; none when it cannot be found.
  static std::optional<Location> Of(const Original& original, const Call& call);
  Location(Location&& other) noexcept;
  Location& operator=(Location&& other) noexcept;
  ~Location();

  ::Lock* directory() const { return directory_; }
  const char* name() const { return name_.c_str(); }

 private:
  Location(const Original& original, ::Lock* directory, std::string name)
      : original_(&original), directory_(directory), name_(std::move(name)) {}

  const Original* original_;
  ::Lock* directory_;
  std::string name_;
};

/// What is known of one object.
struct ObjectState {
  std::uint32_t kinds = 0;  ///< ObjectKind bits
  std::uint32_t protection = 0;
  ::DateStamp date{};
  std::int64_t size = -1;
  std::uint64_t id = 0;  ///< 0: missing
  std::string name;
  std::string comment;

  bool IsThere() const { return kinds != kMissing; }
  /// Whether its kind is one of `some`, ObjectKind bits.
  bool Is(std::uint32_t some) const { return (kinds & some) != 0; }
};

/// What is known of the object that `call` is about. An object that cannot be examined counts as
/// missing.
ObjectState StateOf(const Original& original, const Call& call);

}  // namespace quorle::deviate
