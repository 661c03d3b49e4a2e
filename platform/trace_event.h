#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "platform/call.h"

/// The call trace as typed events.
namespace quorle {

/// Kinds of handle, as they are numbered.
enum class HandleType : std::uint8_t {
  kLock,
  kFile,
  kPort,
  kExamine,
  kMemory,
  kRdArgs,
  kDevProc,
  kMessage,
  kContext,
  kNotify
};

/// A handle: its kind and a number that is used once in a run, from 1; 0 is no handle.
struct TraceHandle {
  HandleType type;
  std::uint64_t number;

  friend bool operator==(const TraceHandle&, const TraceHandle&) = default;
};

struct TraceRecord {
  TraceHandle handle;
  const ExamineData* data;
};
struct TraceDevice {
  TraceHandle devproc;
  TraceHandle port;
  PortRecord record;
};
struct TraceRead {
  std::int32_t count;
  std::string_view data;  ///< what was stored
};
struct TraceLink {
  std::int32_t length;
  std::optional<std::string_view> target;
};
struct TraceAttributes {
  std::optional<std::string_view> version;
  std::optional<std::uint32_t> dos_type;
};
struct TraceDisk {
  std::int32_t state;
  std::int32_t type;
};
struct TraceVolume {
  const InfoData* info;
};
struct TraceProcess {
  bool cli;
};
struct TraceWords {
  TraceHandle rdargs;
  WordBuffer words;
};

/// An argument or a result; monostate is nothing. Texts are Latin-1.
using TraceValue =
    std::variant<std::monostate, bool, std::int64_t, std::string_view, Tag, TraceHandle,
                 quorle::DateStamp, TraceRecord, TraceDevice, TraceRead, TraceLink, TraceAttributes,
                 TraceDisk, TraceVolume, TraceProcess, const Library*, TraceWords>;

/// One call, or one text on the console. What it points to is valid while it is handed over.
struct TraceEvent {
  std::string_view op;  ///< "Output" for a text; a literal, which stays
  std::span<const TraceValue> args = {};
  TraceValue result = {};
  std::int32_t ioerr = 0;      ///< IoErr() right after the call
  std::string_view text = {};  ///< of "Output"
  /// The handle that the call gave, if it gave a new one: its own, or that of a record or look-up.
  std::optional<TraceHandle> given = {};
  bool emulated = false;  ///< dos itself did what the handler does not know how to do

  bool is_output() const { return op == "Output"; }
};

/// Where the events of a trace go.
class TraceSink {
 public:
  /// False ends the trace: no further event is offered.
  virtual bool Take(const TraceEvent& event) = 0;

 protected:
  ~TraceSink() = default;
};

}  // namespace quorle
