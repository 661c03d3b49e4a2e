#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "hosted/calls/breach.h"
#include "hosted/calls/clock.h"
#include "quorle/handler.h"

namespace quorle {

/// Whether the volume of the handler behind `port` may be called `name`: true unless another
/// volume, a device or an assign has that name.
using VolumeNameCheck = std::function<bool(const ::MsgPort& port, const std::string& name)>;

/// Shows one line about a mount, without a line break, to whoever runs the program.
using ReportLine = std::function<void(const std::string& line)>;

/// Gets a request for notification whose object has changed, from within the call of the handler that
/// reported it: it must not call the handler.
using NotifyListener = std::function<void(::NotifyRequest& request)>;

/// What dos does for one mounted handler: the functions behind struct HandlerServices.
///
/// Every allocation is remembered until it comes back, with the call and the check in
/// which it was. A release of something that is not the handler's, or no longer, is noted and
/// otherwise ignored.
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
  /// The name must be one that IsVolumeName() and MayBeNamed() allow. No more than 256 bytes of it are
  /// looked at.
  bool SetVolumeName(const ::FileSystemVectorPort* port, const char* name);
  void Report(const char* line) const;
  /// Hands `request` to the listener. One that is not live is noted and otherwise ignored.
  void Notify(::NotifyRequest* request);

  // ---- The host's side -----------------------------------------------------------------------

  Clock& clock() { return clock_; }
  /// Whether `name` is 1 to 255 bytes long, without ':' and '/' and control bytes.
  static bool IsVolumeName(std::string_view name);
  /// Whether nothing else that `port` is not is called `name`.
  bool MayBeNamed(const ::FileSystemVectorPort* port, const std::string& name) const {
    return !may_be_named_ || may_be_named_(port->MP, name);
  }
  const std::optional<std::string>& volume_name() const { return volume_name_; }
  /// Whether `port` is a live port of AllocDosObject().
  bool OwnsPort(const ::FileSystemVectorPort* port) const;
  /// Whether `lock` is a live lock of AllocDosObject().
  bool OwnsLock(const ::Lock* lock) const { return SerialOf(lock) != 0; }
  /// A number that no other lock ever has; 0 when it is no live lock of AllocDosObject().
  std::uint64_t SerialOf(const ::Lock* lock) const;
  /// Whether `record`, which a handler gave, is one: a live record of AllocDosObject() whose texts
  /// are in its own buffers, or null, and end there, and around which nothing was written. The
  /// sizes of its texts are set again to what they are.
  Breach Examine(::ExamineData* record) const;
  /// What Notify() leads to from now on; null: nothing.
  void SetNotifyListener(NotifyListener listener) { notify_listener_ = std::move(listener); }
  /// The handler may notify of `request` from now on, until EndRequest() or FreeEverything().
  void BeginRequest(::NotifyRequest& request) { requests_.insert(&request); }
  void EndRequest(const ::NotifyRequest* request) { requests_.erase(request); }
  /// How many objects and pieces of memory are out.
  std::size_t outstanding() const { return given_.size(); }
  /// Frees what is out, and with the port the volume's name and all requests go. What was out is in
  /// complaints().
  void FreeEverything();
  /// Adds a line to complaints(), unless it is there.
  void Complain(const std::string& what);
  /// One line for each kind of wrong release, and for each kind of thing that FreeEverything() found,
  /// with the first calls and checks in which there were some:
  /// "freed twice or never allocated: a lock (2), in FSUnLock() of Lock.MissingName (2)".
  std::vector<std::string> complaints() const;

  /// The call that is made from now on: a function of the table, "FSLock()", or a packet. `function`
  /// must stay valid.
  void BeginCall(const char* function) { origin_.function = function, origin_.action = 0; }
  void BeginPacket(std::int32_t action) { origin_.action = action; }
  /// What is made: "FSLock()", "ACTION_PARENT".
  std::string CallName() const { return CallName(origin_); }
  /// The check that runs from now on, as RunWatch::Check() has it.
  void SetCheck(std::string check);

  /// How many calls and checks a complaint names.
  static constexpr std::size_t kNamedOrigins = 5;

 private:
  /// A call and the check in which it was made.
  struct Origin {
    const char* function = "";
    std::int32_t action = 0;  ///< of a packet; 0: it was the function
    std::uint32_t check = 0;  ///< in checks_
  };
  /// Something that is out.
  struct Allocation {
    std::uint32_t kind;
    Origin origin;
    std::uint64_t serial;
    std::array<std::uint32_t, 3> text_sizes;  ///< of a record
  };
  /// How often something happened, and in which calls and checks, the first one first.
  struct Tally {
    std::size_t count = 0;
    std::vector<std::pair<std::string, std::size_t>> origins;
  };

  static std::string CallName(const Origin& origin);
  std::string OriginText(const Origin& origin) const;
  static std::string Line(const std::string& what, const char* how, const Tally& tally);
  void Count(Tally& tally, const Origin& origin) const;
  void Note(const std::string& what) { Count(mistakes_[what], origin_); }
  const Allocation* Find(const void* object, std::uint32_t kind) const;
  void* Remember(void* object, std::uint32_t kind, std::array<std::uint32_t, 3> text_sizes = {});
  void Release(void* object, std::uint32_t kind);
  void* NewExamineData(const ::TagItem* tags);
  void* NewVectorPort(const ::TagItem* tags);

  Clock& clock_;
  VolumeNameCheck may_be_named_;
  ReportLine report_;
  ::HandlerServices table_{};
  std::unordered_map<void*, Allocation> given_;
  std::uint64_t last_serial_ = 0;
  std::optional<std::string> volume_name_;
  NotifyListener notify_listener_;
  std::unordered_set<const ::NotifyRequest*> requests_;  ///< the live ones
  Origin origin_;
  std::vector<std::string> checks_{std::string()};
  std::map<std::string, Tally> mistakes_;
  std::map<std::uint32_t, Tally> never_freed_;
  std::vector<std::string> lines_;
};

}  // namespace quorle
