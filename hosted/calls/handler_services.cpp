#include "hosted/calls/handler_services.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "calls/call_shape.h"
#include "hosted/calls/packet_adapter.h"

namespace quorle {
namespace {

// Beside the QUORLE_DOS_... types: memory of AllocVec().
constexpr std::uint32_t kMemory = 0xFFFFFFFF;

constexpr std::uint32_t kDefaultTextSize = 256;
// More is asked for by mistake (a choice of ours).
constexpr std::uintptr_t kMostTextSize = std::uintptr_t{16} << 20;
constexpr std::size_t kMaxNameLength = 255;

HostServices& ServicesOf(const ::HandlerServices* dos) {
  return *static_cast<HostServices*>(dos->Private);
}

// The data of `tag`, or `otherwise`.
std::uintptr_t TagData(const ::TagItem* tags, std::uint32_t tag, std::uintptr_t otherwise) {
  for (; tags != nullptr && tags->ti_Tag != QUORLE_TAG_DONE; ++tags) {
    if (tags->ti_Tag == tag) return tags->ti_Data;
  }
  return otherwise;
}

// The size of a text of an examine record: at least the zero must fit. 0 when it is too large.
std::uint32_t TextSize(const ::TagItem* tags, std::uint32_t tag) {
  const std::uintptr_t size = TagData(tags, tag, kDefaultTextSize);
  return size > kMostTextSize ? 0 : std::max(1U, static_cast<std::uint32_t>(size));
}

// What follows a record and each of its texts: a text that is copied without a look at the size of
// its buffer changes it.
constexpr std::array<unsigned char, 64> kTextFence = [] {
  std::array<unsigned char, 64> fence{};
  unsigned state = 0x5A;
  for (unsigned char& byte : fence) {
    state = (state * 75 + 74) % 257;
    byte = static_cast<unsigned char>(state | 1U);  // never the zero that ends a text
  }
  return fence;
}();

// The texts of a record as AllocDosObject() makes them: where each starts, with fences between.
std::array<char*, 3> TextsOf(void* record, const std::array<std::uint32_t, 3>& sizes) {
  std::array<char*, 3> texts{};
  char* place = static_cast<char*>(record) + sizeof(::ExamineData) + kTextFence.size();
  for (std::size_t i = 0; i < texts.size(); ++i) {
    texts[i] = place;
    place += sizes[i] + kTextFence.size();
  }
  return texts;
}

// Hands the start of each fence of a record to `visit`.
template <class Visit>
void WithFences(void* record, const std::array<std::uint32_t, 3>& sizes, Visit visit) {
  visit(static_cast<char*>(record) + sizeof(::ExamineData));
  const std::array<char*, 3> texts = TextsOf(record, sizes);
  for (std::size_t i = 0; i < texts.size(); ++i) visit(texts[i] + sizes[i]);
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

// A packet sent straight to the port; in every vector table.
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
  table_.Notify = [](const ::HandlerServices* dos, ::NotifyRequest* request) {
    ServicesOf(dos).Notify(request);
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

bool HostServices::IsVolumeName(std::string_view name) {
  if (name.empty() || name.size() > kMaxNameLength) return false;
  return std::none_of(name.begin(), name.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == ':' || c == '/' || byte < 0x20 || byte == 0x7F;
  });
}

bool HostServices::SetVolumeName(const ::FileSystemVectorPort* port, const char* name) {
  if (!OwnsPort(port)) {
    Note("SetVolumeName() for a port that is not the handler's");
    return false;
  }
  if (name == nullptr) {
    volume_name_.reset();
    return true;
  }
  if (!IsVolumeName({name, strnlen(name, kMaxNameLength + 1)})) return false;
  if (!MayBeNamed(port, name)) return false;
  volume_name_ = name;
  return true;
}

void HostServices::Report(const char* line) const {
  if (report_ && line != nullptr) report_(line);
}

void HostServices::Notify(::NotifyRequest* request) {
  if (!requests_.contains(request)) {
    Note("notified of nobody's request");
  } else if (notify_listener_) {
    notify_listener_(*request);
  }
}

bool HostServices::OwnsPort(const ::FileSystemVectorPort* port) const {
  return Find(port, QUORLE_DOS_FSVECTORPORT) != nullptr;
}

std::uint64_t HostServices::SerialOf(const ::Lock* lock) const {
  const Allocation* const given = Find(lock, QUORLE_DOS_LOCK);
  return given == nullptr ? 0 : given->serial;
}

Breach HostServices::Examine(::ExamineData* record) const {
  const Allocation* const given = Find(record, QUORLE_DOS_EXAMINEDATA);
  if (given == nullptr) return Breach::kForeignRecord;
  const std::array<std::uint32_t, 3>& sizes = given->text_sizes;
  bool holds = true;
  WithFences(record, sizes, [&holds](const char* fence) {
    holds = holds && std::memcmp(fence, kTextFence.data(), kTextFence.size()) == 0;
  });
  if (!holds) return Breach::kBeyondBuffer;
  const std::array<char*, 3> own = TextsOf(record, sizes);
  const std::array<const char*, 3> texts = {record->Name, record->Comment, record->Link};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (texts[i] == nullptr) continue;
    if (texts[i] != own[i]) return Breach::kForeignText;
    if (std::memchr(texts[i], '\0', sizes[i]) == nullptr) return Breach::kTextWithoutEnd;
  }
  record->NameSize = sizes[0];
  record->CommentSize = sizes[1];
  record->LinkSize = sizes[2];
  return Breach::kNone;
}

const HostServices::Allocation* HostServices::Find(const void* object, std::uint32_t kind) const {
  const auto found = given_.find(const_cast<void*>(object));
  return found != given_.end() && found->second.kind == kind ? &found->second : nullptr;
}

void HostServices::FreeEverything() {
  std::vector<const Allocation*> left;
  left.reserve(given_.size());
  for (const auto& [object, given] : given_) left.push_back(&given);
  std::sort(left.begin(), left.end(),
            [](const Allocation* a, const Allocation* b) { return a->serial < b->serial; });
  for (const Allocation* const given : left) Count(never_freed_[given->kind], given->origin);
  for (const auto& [object, given] : given_) std::free(object);
  given_.clear();
  volume_name_.reset();
  requests_.clear();
}

// Every allocation passes here. Without memory for the note there is no object either: these
// functions are called from C and must not throw.
void* HostServices::Remember(void* object, std::uint32_t kind,
                             std::array<std::uint32_t, 3> text_sizes) {
  if (object == nullptr) return nullptr;
  try {
    given_.emplace(object, Allocation{kind, origin_, ++last_serial_, text_sizes});
  } catch (const std::bad_alloc&) {
    std::free(object);
    return nullptr;
  }
  return object;
}

void HostServices::Release(void* object, std::uint32_t kind) {
  if (object == nullptr) return;
  const auto found = given_.find(object);
  if (found == given_.end()) {
    Note(std::string("freed twice or never allocated: ") + KindName(kind));
    return;
  }
  if (found->second.kind != kind) {
    Note(std::string(KindName(found->second.kind)) + " was freed as " + KindName(kind));
    return;
  }
  given_.erase(found);
  std::free(object);
}

// ---- What is said of it ------------------------------------------------------------------------

void HostServices::SetCheck(std::string check) {
  if (checks_.back() != check) checks_.push_back(std::move(check));
  origin_.check = static_cast<std::uint32_t>(checks_.size() - 1);
}

std::string HostServices::CallName(const Origin& origin) {
  return origin.action != 0 ? calls::NameOfPacket(origin.action) : origin.function;
}

std::string HostServices::OriginText(const Origin& origin) const {
  const std::string call = CallName(origin);
  const std::string& check = checks_[origin.check];
  return check.empty() || call.empty() ? call : call + " of " + check;
}

void HostServices::Count(Tally& tally, const Origin& origin) const {
  ++tally.count;
  std::string text = OriginText(origin);
  const auto known = std::find_if(tally.origins.begin(), tally.origins.end(),
                                  [&text](const auto& entry) { return entry.first == text; });
  if (known != tally.origins.end()) {
    ++known->second;
  } else {
    tally.origins.emplace_back(std::move(text), 1);
  }
}

/// "what (3), made in FSLock() of Lock.MissingName (2), FSDupLock() (1)".
std::string HostServices::Line(const std::string& what, const char* how, const Tally& tally) {
  std::string line = what + " (" + std::to_string(tally.count) + ")";
  std::size_t named = 0;
  std::size_t rest = tally.count;
  for (const auto& [place, count] : tally.origins) {
    if (place.empty()) continue;
    if (named == kNamedOrigins) break;
    line += (named++ == 0 ? std::string(", ") + how : ", ") + place + " (" + std::to_string(count) +
            ")";
    rest -= count;
  }
  if (named != 0 && rest != 0) line += ", " + std::to_string(rest) + " elsewhere";
  return line;
}

void HostServices::Complain(const std::string& what) {
  if (std::find(lines_.begin(), lines_.end(), what) == lines_.end()) lines_.push_back(what);
}

std::vector<std::string> HostServices::complaints() const {
  constexpr std::array<std::uint32_t, 4> kKinds = {QUORLE_DOS_LOCK, QUORLE_DOS_EXAMINEDATA,
                                                   QUORLE_DOS_FSVECTORPORT, kMemory};
  std::vector<std::string> all;
  for (const auto& [what, tally] : mistakes_) all.push_back(Line(what, "in ", tally));
  for (const std::uint32_t kind : kKinds) {
    const auto tally = never_freed_.find(kind);
    if (tally == never_freed_.end()) continue;
    all.push_back(Line(std::string("never freed: ") + KindName(kind), "made in ", tally->second));
  }
  all.insert(all.end(), lines_.begin(), lines_.end());
  return all;
}

// The record, its three texts and the fences behind each are one block.
void* HostServices::NewExamineData(const ::TagItem* tags) {
  const std::array<std::uint32_t, 3> sizes = {TextSize(tags, QUORLE_ADO_ExamineData_NameSize),
                                              TextSize(tags, QUORLE_ADO_ExamineData_CommentSize),
                                              TextSize(tags, QUORLE_ADO_ExamineData_LinkSize)};
  if (std::find(sizes.begin(), sizes.end(), 0U) != sizes.end()) return nullptr;
  void* const block =
      std::calloc(1, sizeof(::ExamineData) + (sizes.size() + 1) * kTextFence.size() +
                         std::size_t{sizes[0]} + sizes[1] + sizes[2]);
  if (block == nullptr) return nullptr;

  auto* const data = static_cast<::ExamineData*>(block);
  const std::array<char*, 3> texts = TextsOf(block, sizes);
  data->StructSize = sizeof *data;
  data->Type = FSO_TYPE_INVALID;
  data->FileSize = -1;
  data->Name = texts[0];
  data->NameSize = sizes[0];
  data->Comment = texts[1];
  data->CommentSize = sizes[1];
  data->Link = texts[2];
  data->LinkSize = sizes[2];
  if (sizes[0] > 1) data->Name[0] = '?';
  WithFences(block, sizes,
             [](char* fence) { std::memcpy(fence, kTextFence.data(), kTextFence.size()); });
  return Remember(block, QUORLE_DOS_EXAMINEDATA, sizes);
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
