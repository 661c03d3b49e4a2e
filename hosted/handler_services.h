#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "hosted/clock.h"
#include "quorle/handler.h"

namespace quorle {

/// Whether the volume of the handler behind `port` may be called `name`: true unless another
/// volume, a device or an assign has that name.
using VolumeNameCheck = std::function<bool(const ::MsgPort& port, const std::string& name)>;

/// Shows one line about a mount, without a line break, to whoever runs the program.
using ReportLine = std::function<void(const std::string& line)>;

/// What dos does for one mounted handler: the functions behind struct HandlerServices.
///
/// Everything that is handed out is remembered until it comes back. A release of something that is
/// not the handler's, or no longer, is noted and otherwise ignored.
class HostServices {
 public:
  /// `clock` must outlive this. A null `may_be_named` allows every name; a null `report` shows
  /// nothing.
  HostServices(Clock& clock, VolumeNameCheck may_be_named, ReportLine report = nullptr);
  /// Frees everything.
  ~HostServices();
  HostServices(const HostServices&) = delete;
  HostServices& operator=(const HostServices&) = delete;

  /// What the handler is given. Valid as long as this.
  const ::HandlerServices& table() const { return table_; }

  // ---- The services; table() leads here ------------------------------------------------------

  void* AllocDosObject(std::uint32_t type, const ::TagItem* tags);
  void FreeDosObject(std::uint32_t type, void* object);
  void* AllocVec(std::uint32_t bytes);
  void FreeVec(void* memory);
  /// A name must be 1 to 255 bytes long, without ':' and '/' and control bytes.
  bool SetVolumeName(const ::FileSystemVectorPort* port, const char* name);
  void Report(const char* line) const;

  // ---- The host's side -----------------------------------------------------------------------

  Clock& clock() { return clock_; }
  const std::optional<std::string>& volume_name() const { return volume_name_; }
  /// Whether `port` is a live port of AllocDosObject().
  bool OwnsPort(const ::FileSystemVectorPort* port) const;
  /// Whether `lock` is a live lock of AllocDosObject().
  bool OwnsLock(const ::Lock* lock) const;
  /// How many objects and pieces of memory are out.
  std::size_t outstanding() const { return kinds_.size(); }
  /// Frees what is out. Adds one line to complaints() for each kind of thing that was.
  void FreeEverything();
  /// Adds a line to complaints().
  void Complain(const std::string& what);
  /// One line for each wrong release, the first kMaxComplaints of them.
  const std::vector<std::string>& complaints() const { return complaints_; }

  static constexpr std::size_t kMaxComplaints = 100;

 private:
  bool Owns(const void* object, std::uint32_t kind) const;
  void* Remember(void* object, std::uint32_t kind);
  void Release(void* object, std::uint32_t kind);
  void* NewExamineData(const ::TagItem* tags);
  void* NewVectorPort(const ::TagItem* tags);

  Clock& clock_;
  VolumeNameCheck may_be_named_;
  ReportLine report_;
  ::HandlerServices table_{};
  std::unordered_map<void*, std::uint32_t> kinds_;
  std::optional<std::string> volume_name_;
  std::vector<std::string> complaints_;
};

}  // namespace quorle
