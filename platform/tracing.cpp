#include "platform/tracing.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/constants.h"
#include "platform/format_text.h"

namespace quorle {
namespace {

/// A message as it reaches the console.
class FinishedText final : public TextSink {
 public:
  void Put(char c) override { text += c; }

  std::string text;
};

std::uintptr_t ValueOf(const void* place) {
  return reinterpret_cast<std::uintptr_t>(place);
}

/// What is left of a text without its end: null is nothing.
TraceValue Text(const char* text) {
  return text == nullptr ? TraceValue() : TraceValue(std::string_view(text));
}

std::string_view Bytes(const void* start, std::int32_t bytes) {
  return {static_cast<const char*>(start), static_cast<std::size_t>(std::max(bytes, 0))};
}

/// What FileSystemAttr() found in its buffers: what it does not fill stays as it was.
class AttributesBefore {
 public:
  explicit AttributesBefore(const AttributeBuffer& buffer)
      : buffer_(buffer),
        version_(buffer.version_bytes > 0 ? buffer.version : ""),
        dos_type_(*buffer.dos_type) {}

  TraceAttributes Filled() const {
    TraceAttributes filled;
    if (buffer_.version_bytes > 0 && version_ != buffer_.version) filled.version = buffer_.version;
    if (*buffer_.dos_type != dos_type_) filled.dos_type = *buffer_.dos_type;
    return filled;
  }

 private:
  AttributeBuffer buffer_;
  std::string version_;
  std::uint32_t dos_type_;
};

}  // namespace

// ---- Results -----------------------------------------------------------------------------------

/// Reads the result of a call, by its type and by what the call filled.
class Tracer::ResultReader {
 public:
  ResultReader(Tracer& tracer, const Call& call) : tracer_(tracer), call_(call) {}

  TraceValue operator()(std::monostate) const {
    const auto* const date = call_.MemoryAs<quorle::DateStamp*>();
    return date == nullptr ? TraceValue() : TraceValue(**date);
  }
  TraceValue operator()(const bool* ok) const {
    if (const auto* const name = call_.MemoryAs<NameBuffer>()) {
      return Text(*ok ? name->start : nullptr);
    }
    if (const auto* const info = call_.MemoryAs<InfoData*>()) {
      return *ok ? TraceValue(TraceDisk{(*info)->id_DiskState, (*info)->id_DiskType})
                 : TraceValue();
    }
    if (const auto* const volume = call_.MemoryAs<VolumeBuffer>()) {
      return *ok ? TraceValue(TraceVolume{volume->info}) : TraceValue();
    }
    if (const auto* const number = call_.MemoryAs<std::uint32_t*>()) {
      return *ok ? TraceValue(std::int64_t{**number}) : TraceValue();
    }
    return *ok;
  }
  TraceValue operator()(const DirContextHandle* context) const {
    return tracer_.New(HandleType::kContext, context->value);
  }
  TraceValue operator()(const NotifyHandle* request) const {
    return tracer_.New(HandleType::kNotify, request->value);
  }
  TraceValue operator()(const std::int32_t* number) const {
    if (const auto* const buffer = call_.MemoryAs<ReadBuffer>()) {
      return TraceRead{*number, Bytes(buffer->start, std::min(*number, buffer->bytes))};
    }
    if (const auto* const buffer = call_.MemoryAs<LinkBuffer>()) {
      TraceLink link{*number, std::nullopt};
      if (*number >= 0) link.target = Bytes(buffer->start, std::min(*number, buffer->bytes));
      return link;
    }
    return std::int64_t{*number};
  }
  TraceValue operator()(const std::uint32_t* number) const { return std::int64_t{*number}; }
  TraceValue operator()(const std::int64_t* number) const { return *number; }

  TraceValue operator()(const LockHandle* lock) const {
    return tracer_.New(HandleType::kLock, lock->value);
  }
  TraceValue operator()(const KnownLock* known) const {
    return tracer_.Known(HandleType::kLock, known->lock.value);
  }
  TraceValue operator()(const FileHandle* file) const {
    return tracer_.New(HandleType::kFile, file->value);
  }
  TraceValue operator()(const MessageHandle* message) const {
    return tracer_.New(HandleType::kMessage, message->value);
  }
  TraceValue operator()(const Memory* memory) const {
    return tracer_.New(HandleType::kMemory, ValueOf(memory->start));
  }
  TraceValue operator()(const RdArgsHandle* rdargs) const {
    const TraceHandle handle = tracer_.New(HandleType::kRdArgs, rdargs->value);
    if (!*rdargs) return {};
    return TraceWords{handle, *call_.MemoryAs<WordBuffer>()};
  }
  TraceValue operator()(const ExamineData* const* data) const {
    const TraceHandle handle = tracer_.New(HandleType::kExamine, ValueOf(*data));
    return *data == nullptr ? TraceValue() : TraceValue(TraceRecord{handle, *data});
  }
  TraceValue operator()(const DevProc* const* devproc) const {
    const TraceHandle handle = tracer_.New(HandleType::kDevProc, ValueOf(*devproc));
    if (*devproc == nullptr) return {};
    const PortHandle port = (*devproc)->dvp_Port;
    return TraceDevice{handle, tracer_.Known(HandleType::kPort, port.value),
                       tracer_.dos_.PortRecordOf(port)};
  }

  TraceValue operator()(const Library* const* library) const {
    return *library == nullptr ? TraceValue() : TraceValue(*library);
  }
  TraceValue operator()(Interface* const* interface) const { return *interface != nullptr; }
  TraceValue operator()(const Process* const* process) const {
    return TraceProcess{(*process)->cli};
  }
  TraceValue operator()(const Window*) const { return {}; }
  // Fields in place are not traced.
  TraceValue operator()(const PortRecord*) const { return {}; }
  TraceValue operator()(const FileLock*) const { return {}; }

 private:
  Tracer& tracer_;
  const Call& call_;
};

// ---- Texts -------------------------------------------------------------------------------------

bool IsOutput(const Call& call) {
  return call.op == "Printf" || call.op == "PutStr";
}

std::string PrintedText(const Call& call, std::int32_t code) {
  const auto* const message = call.MemoryAs<Message>();
  if (message == nullptr) return std::get<const char*>(call.args[0]);
  FinishedText finished;
  FormatText(message->format, message->args, message->count, {code, true}, finished);
  return std::move(finished.text);
}

// ---- Calls -------------------------------------------------------------------------------------

void Tracer::Around(const Call& call, MakeCall make) {
  if (!open_ || call.kind == CallKind::kLocal) {
    make();
    return;
  }
  if (IsOutput(call)) {
    Output(call, make);
    return;
  }
  std::optional<AttributesBefore> before;
  if (const auto* const buffer = call.MemoryAs<AttributeBuffer>()) before.emplace(*buffer);
  make();
  TraceEvent event;
  event.op = call.op;
  given_.reset();
  // A new handle has its number before the arguments are looked at: they may hold its value of old.
  event.result = std::visit(ResultReader(*this, call), call.result);
  if (before) {
    const TraceAttributes filled = before->Filled();
    const bool nothing = !*call.Result<bool>() && !filled.version && !filled.dos_type;
    event.result = nothing ? TraceValue() : TraceValue(filled);
  }
  event.given = given_;
  args_.clear();
  for (const CallValue& value : call.args) args_.push_back(Shown(value));
  event.args = args_;
  event.ioerr = dos_.IoErr();
  event.emulated = call.emulated != nullptr && *call.emulated;
  open_ = sink_.Take(event);
}

void Tracer::Output(const Call& call, MakeCall make) {
  const std::string text = PrintedText(call, dos_.IoErr());
  make();
  TraceEvent event;
  event.op = "Output";
  event.text = text;
  open_ = sink_.Take(event);
}

TraceHandle Tracer::Known(HandleType type, std::uintptr_t value) {
  if (value == 0) return {type, 0};
  std::uint64_t& number = numbers_[{type, value}];
  if (number == 0) number = ++last_number_;
  return {type, number};
}

TraceHandle Tracer::New(HandleType type, std::uintptr_t value) {
  if (value == 0) return {type, 0};
  numbers_[{type, value}] = ++last_number_;
  return *(given_ = TraceHandle{type, last_number_});
}

TraceValue Tracer::Shown(const CallValue& value) {
  struct Reader {
    Tracer& tracer;

    TraceValue operator()(std::monostate) const { return {}; }
    TraceValue operator()(bool flag) const { return flag; }
    TraceValue operator()(std::int32_t number) const { return std::int64_t{number}; }
    TraceValue operator()(std::uint32_t number) const { return std::int64_t{number}; }
    TraceValue operator()(std::int64_t number) const { return number; }
    TraceValue operator()(const char* text) const { return Text(text); }
    TraceValue operator()(LockHandle lock) const {
      return tracer.Known(HandleType::kLock, lock.value);
    }
    TraceValue operator()(FileHandle file) const {
      return tracer.Known(HandleType::kFile, file.value);
    }
    TraceValue operator()(PortHandle port) const {
      return tracer.Known(HandleType::kPort, port.value);
    }
    TraceValue operator()(RdArgsHandle rdargs) const {
      return tracer.Known(HandleType::kRdArgs, rdargs.value);
    }
    TraceValue operator()(MessageHandle message) const {
      return tracer.Known(HandleType::kMessage, message.value);
    }
    TraceValue operator()(const ExamineData* data) const {
      return tracer.Known(HandleType::kExamine, ValueOf(data));
    }
    TraceValue operator()(const DevProc* devproc) const {
      return tracer.Known(HandleType::kDevProc, ValueOf(devproc));
    }
    TraceValue operator()(DirContextHandle context) const {
      return tracer.Known(HandleType::kContext, context.value);
    }
    TraceValue operator()(NotifyHandle request) const {
      return tracer.Known(HandleType::kNotify, request.value);
    }
    TraceValue operator()(Memory memory) const {
      return tracer.Known(HandleType::kMemory, ValueOf(memory.start));
    }
    TraceValue operator()(Tag tag) const { return tag; }
    TraceValue operator()(Data data) const { return Bytes(data.start, data.bytes); }
    TraceValue operator()(BString string) const {
      if (string.text == nullptr) return {};
      return Bytes(string.text + 1, *string.text);
    }
    TraceValue operator()(const quorle::DateStamp* date) const { return *date; }
  };
  return std::visit(Reader{*this}, value);
}

}  // namespace quorle
