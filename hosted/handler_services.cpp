#include "hosted/handler_services.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "hosted/handler_program.h"
#include "hosted/packet_adapter.h"

namespace quorle {
namespace {

// Beside the QUORLE_DOS_... types: memory of AllocVec().
constexpr std::uint32_t kMemory = 0xFFFFFFFF;

constexpr std::uint32_t kDefaultTextSize = 256;
constexpr std::size_t kMaxNameLength = 255;

HostServices& ServicesOf(const ::HandlerServices* dos) {
  return *static_cast<HostServices*>(dos->Private);
}

// What stands behind `tag`, or `otherwise`.
std::uintptr_t TagData(const ::TagItem* tags, std::uint32_t tag, std::uintptr_t otherwise) {
  for (; tags != nullptr && tags->ti_Tag != QUORLE_TAG_DONE; ++tags) {
    if (tags->ti_Tag == tag) return tags->ti_Data;
  }
  return otherwise;
}

// The size of a text of an examine record: at least the zero must fit.
std::uint32_t TextSize(const ::TagItem* tags, std::uint32_t tag) {
  return std::max(1U, static_cast<std::uint32_t>(TagData(tags, tag, kDefaultTextSize)));
}

const char* KindName(std::uint32_t kind) {
  switch (kind) {
    case QUORLE_DOS_LOCK:
      return "a lock";
    case QUORLE_DOS_EXAMINEDATA:
      return "an examine record";
    case QUORLE_DOS_FSVECTORPORT:
      return "a vector port";
    case kMemory:
      return "a piece of memory";
    default:
      return "an object of an unknown type";
  }
}

bool IsVolumeName(std::string_view name) {
  if (name.empty() || name.size() > kMaxNameLength) return false;
  return std::none_of(name.begin(), name.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == ':' || c == '/' || byte < 0x20 || byte == 0x7F;
  });
}

// A packet sent straight to the port; stands in every vector table.
void EmulatePacket(::FileSystemVectorPort* port, ::DosPacket* packet) {
  if (!AnswerByVector(*port, *packet)) AnswerNotKnown(*packet);
}

// Copies a table that may be older (shorter) or newer (longer) than ours. Functions that it does
// not have are null.
void CopyVectors(const ::FileSystemVectors& from, ::FileSystemVectors& to) {
  const auto given = static_cast<std::size_t>(from.StructSize);
  const std::size_t bytes = std::min(given, offsetof(::FileSystemVectors, End_Marker));
  std::memcpy(&to, &from, bytes);
  if (given < sizeof to && bytes >= sizeof(std::intptr_t)) {
    // The end marker of a shorter table lies where ours has a function.
    std::intptr_t last = 0;
    char* const place = reinterpret_cast<char*>(&to) + bytes - sizeof last;
    std::memcpy(&last, place, sizeof last);
    if (last == -1) std::memset(place, 0, sizeof last);
  }
  to.StructSize = static_cast<std::int32_t>(sizeof to);
  to.End_Marker = -1;
}

}  // namespace

HostServices::HostServices(Clock& clock, VolumeNameCheck may_be_named, ReportLine report)
    : clock_(clock), may_be_named_(std::move(may_be_named)), report_(std::move(report)) {
  table_.StructSize = sizeof table_;
  table_.Version = QUORLE_HANDLER_VERSION;
  table_.Private = this;
  table_.AllocDosObject = [](const ::HandlerServices* dos, std::uint32_t type,
                             const ::TagItem* tags) {
    return ServicesOf(dos).AllocDosObject(type, tags);
  };
  table_.FreeDosObject = [](const ::HandlerServices* dos, std::uint32_t type, void* object) {
    ServicesOf(dos).FreeDosObject(type, object);
  };
  table_.AllocVec = [](const ::HandlerServices* dos, std::uint32_t bytes) {
    return ServicesOf(dos).AllocVec(bytes);
  };
  table_.FreeVec = [](const ::HandlerServices* dos, void* memory) {
    ServicesOf(dos).FreeVec(memory);
  };
  table_.DateStamp = [](const ::HandlerServices* dos, ::DateStamp* now) {
    const DateStamp moment = ServicesOf(dos).clock_.Now();
    *now = {moment.ds_Days, moment.ds_Minute, moment.ds_Tick};
  };
  table_.SetVolumeName = [](const ::HandlerServices* dos, ::FileSystemVectorPort* port,
                            const char* name) -> std::int32_t {
    return ServicesOf(dos).SetVolumeName(port, name) ? 1 : 0;
  };
  table_.Report = [](const ::HandlerServices* dos, const char* line) {
    ServicesOf(dos).Report(line);
  };
}

HostServices::~HostServices() {
  FreeEverything();
}

void* HostServices::AllocDosObject(std::uint32_t type, const ::TagItem* tags) {
  switch (type) {
    case QUORLE_DOS_LOCK:
      return Remember(std::calloc(1, sizeof(::Lock)), type);
    case QUORLE_DOS_EXAMINEDATA:
      return NewExamineData(tags);
    case QUORLE_DOS_FSVECTORPORT:
      return NewVectorPort(tags);
    default:
      return nullptr;
  }
}

void HostServices::FreeDosObject(std::uint32_t type, void* object) {
  Release(object, type);
}

void* HostServices::AllocVec(std::uint32_t bytes) {
  return Remember(std::calloc(1, std::max(1U, bytes)), kMemory);
}

void HostServices::FreeVec(void* memory) {
  Release(memory, kMemory);
}

bool HostServices::SetVolumeName(const ::FileSystemVectorPort* port, const char* name) {
  if (!OwnsPort(port)) {
    Complain("SetVolumeName() for a port that is not the handler's");
    return false;
  }
  if (name == nullptr) {
    volume_name_.reset();
    return true;
  }
  if (!IsVolumeName(name)) return false;
  if (may_be_named_ && !may_be_named_(port->MP, name)) return false;
  volume_name_ = name;
  return true;
}

void HostServices::Report(const char* line) const {
  if (report_ && line != nullptr) report_(line);
}

bool HostServices::OwnsPort(const ::FileSystemVectorPort* port) const {
  return Owns(port, QUORLE_DOS_FSVECTORPORT);
}

bool HostServices::OwnsLock(const ::Lock* lock) const {
  return Owns(lock, QUORLE_DOS_LOCK);
}

bool HostServices::Owns(const void* object, std::uint32_t kind) const {
  const auto found = kinds_.find(const_cast<void*>(object));
  return found != kinds_.end() && found->second == kind;
}

void HostServices::FreeEverything() {
  constexpr std::array<std::uint32_t, 4> kKinds = {QUORLE_DOS_LOCK, QUORLE_DOS_EXAMINEDATA,
                                                   QUORLE_DOS_FSVECTORPORT, kMemory};
  for (const std::uint32_t kind : kKinds) {
    const auto left = std::count_if(kinds_.begin(), kinds_.end(),
                                    [kind](const auto& entry) { return entry.second == kind; });
    if (left != 0) {
      Complain(std::string("never freed: ") + KindName(kind) + " (" + std::to_string(left) + ")");
    }
  }
  for (const auto& [object, kind] : kinds_) std::free(object);
  kinds_.clear();
}

// Every allocation passes here. Without memory for the note there is no object either: these
// functions are called from C and must not throw.
void* HostServices::Remember(void* object, std::uint32_t kind) {
  if (object == nullptr) return nullptr;
  try {
    kinds_.emplace(object, kind);
  } catch (const std::bad_alloc&) {
    std::free(object);
    return nullptr;
  }
  return object;
}

void HostServices::Release(void* object, std::uint32_t kind) {
  if (object == nullptr) return;
  const auto found = kinds_.find(object);
  if (found == kinds_.end()) {
    Complain(std::string("freed twice or never allocated: ") + KindName(kind));
    return;
  }
  if (found->second != kind) {
    Complain(std::string(KindName(found->second)) + " was freed as " + KindName(kind));
    return;
  }
  kinds_.erase(found);
  std::free(object);
}

void HostServices::Complain(const std::string& what) {
  if (complaints_.size() < kMaxComplaints) complaints_.push_back(what);
}

// The record and its three texts are one block.
void* HostServices::NewExamineData(const ::TagItem* tags) {
  const std::uint32_t name_size = TextSize(tags, QUORLE_ADO_ExamineData_NameSize);
  const std::uint32_t comment_size = TextSize(tags, QUORLE_ADO_ExamineData_CommentSize);
  const std::uint32_t link_size = TextSize(tags, QUORLE_ADO_ExamineData_LinkSize);
  void* const block =
      std::calloc(1, sizeof(::ExamineData) + std::size_t{name_size} + comment_size + link_size);
  if (block == nullptr) return nullptr;

  auto* const data = static_cast<::ExamineData*>(block);
  data->StructSize = sizeof *data;
  data->Type = FSO_TYPE_INVALID;
  data->FileSize = -1;
  data->Name = static_cast<char*>(block) + sizeof *data;
  data->NameSize = name_size;
  data->Comment = data->Name + name_size;
  data->CommentSize = comment_size;
  data->Link = data->Comment + comment_size;
  data->LinkSize = link_size;
  if (name_size > 1) data->Name[0] = '?';
  return Remember(block, QUORLE_DOS_EXAMINEDATA);
}

void* HostServices::NewVectorPort(const ::TagItem* tags) {
  const auto* const vectors = PointedTo<const ::FileSystemVectors>(
      static_cast<std::intptr_t>(TagData(tags, QUORLE_ADO_Vectors, 0)));
  if (vectors == nullptr) return nullptr;
  // A table without room for a single function is none.
  constexpr std::size_t kLeast = offsetof(::FileSystemVectors, FSLock);
  if (vectors->StructSize < static_cast<std::int32_t>(kLeast)) return nullptr;

  auto* const port =
      static_cast<::FileSystemVectorPort*>(std::calloc(1, sizeof(::FileSystemVectorPort)));
  if (port == nullptr) return nullptr;
  CopyVectors(*vectors, port->FSV);
  port->MP.ln_Type = QUORLE_NT_FILESYSTEM;
  port->FSV.DOSEmulatePacket = EmulatePacket;
  return Remember(port, QUORLE_DOS_FSVECTORPORT);
}

}  // namespace quorle
