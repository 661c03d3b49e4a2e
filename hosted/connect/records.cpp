#include "hosted/connect/records.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>

#include "hosted/calls/handler_program.h"
#include "hosted/connect/member.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

constexpr std::uint32_t kUsualTextSize = 256;

// ---- Bytes of the platform -----------------------------------------------------------------------

/// Reads the fields of a record one after the other.
class FieldReader {
 public:
  explicit FieldReader(std::string_view bytes) : bytes_(bytes) {}

  template <class Number>
  void Take(Number& number) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < sizeof number; ++i) {
      value = value << 8 | static_cast<unsigned char>(bytes_[i]);
    }
    number = static_cast<Number>(value);
    bytes_.remove_prefix(sizeof number);
  }
  template <std::size_t size>
  void Take(std::uint8_t (&bytes)[size]) {
    std::memcpy(bytes, bytes_.data(), size);
    bytes_.remove_prefix(size);
  }
  void Skip(std::size_t bytes) { bytes_.remove_prefix(bytes); }

 private:
  std::string_view bytes_;
};

class FieldWriter {
 public:
  template <class Number>
  void Take(const Number& number) {
    for (std::size_t i = sizeof number; i-- > 0;) {
      bytes_ += static_cast<char>(static_cast<std::uint32_t>(number) >> (8 * i) & 0xFFU);
    }
  }
  template <std::size_t size>
  void Take(const std::uint8_t (&bytes)[size]) {
    bytes_.append(std::begin(bytes), std::end(bytes));
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// Hands the fields of `block` to `visit`, in their order.
template <class Block, class Fields>
void VisitBlock(Block& block, Fields& fields) {
  fields.Take(block.fib_DiskKey);
  fields.Take(block.fib_DirEntryType);
  fields.Take(block.fib_FileName);
  fields.Take(block.fib_Protection);
  fields.Take(block.fib_EntryType);
  fields.Take(block.fib_Size);
  fields.Take(block.fib_NumBlocks);
  fields.Take(block.fib_Date.ds_Days);
  fields.Take(block.fib_Date.ds_Minute);
  fields.Take(block.fib_Date.ds_Tick);
  fields.Take(block.fib_Comment);
  fields.Take(block.fib_OwnerUID);
  fields.Take(block.fib_OwnerGID);
  fields.Take(block.fib_Reserved);
}

/// The member "bytes" of `map`, which must be `size` of them; none without it.
std::optional<std::string_view> WholeRecord(const Json& map, std::size_t size) {
  const Json* const given = Find(map, "bytes");
  if (given == nullptr) return std::nullopt;
  const std::string_view bytes = BytesFrom(*given, "bytes");
  if (bytes.size() == size) return bytes;
  throw ProgramEnd("gave a record of " + std::to_string(bytes.size()) + " bytes, which has " +
                   std::to_string(size));
}

// ---- Texts ---------------------------------------------------------------------------------------

/// A text as its record has it: a length byte and the characters.
template <std::size_t size>
std::string_view Counted(const std::uint8_t (&text)[size]) {
  const std::size_t length = std::min<std::size_t>(text[0], size - 1);
  return {reinterpret_cast<const char*>(text) + 1, length};
}

template <std::size_t size>
void TakeCounted(const Json& map, const char* name, std::uint8_t (&text)[size]) {
  const Json* const given = Find(map, name);
  if (given == nullptr) return;
  const std::string latin1 = TextFrom(*given, name, size - 1);
  std::fill(std::begin(text), std::end(text), std::uint8_t{0});
  text[0] = static_cast<std::uint8_t>(latin1.size());
  std::copy(latin1.begin(), latin1.end(), std::begin(text) + 1);
}

std::string TextOf(const Json& map, const char* name) {
  const Json* const given = Find(map, name);
  return given == nullptr ? std::string() : TextFrom(*given, name, kMostRecordText);
}

std::uint32_t SizeFor(const std::string& text) {
  return std::max(kUsualTextSize, static_cast<std::uint32_t>(text.size() + 1));
}

}  // namespace

Json DateValue(const ::DateStamp& date) {
  return Json::array({date.ds_Days, date.ds_Minute, date.ds_Tick});
}

::DateStamp DateFrom(const Json& value, std::string_view name) {
  if (!value.is_array() || value.size() != 3) Refuse(value, name, "date: three numbers");
  const auto number = [&](std::size_t at) {
    return static_cast<std::int32_t>(Integer(value[at], name,
                                             std::numeric_limits<std::int32_t>::min(),
                                             std::numeric_limits<std::int32_t>::max()));
  };
  return {number(0), number(1), number(2)};
}

::ExamineData* RecordFrom(const Json& map, HostServices& services) {
  const std::string name = TextOf(map, "name");
  const std::string comment = TextOf(map, "comment");
  const std::string link = TextOf(map, "link");
  const Json* const date = Find(map, "date");
  const ::DateStamp day = date == nullptr ? ::DateStamp{} : DateFrom(*date, "date");
  ::ExamineData data{};
  data.Type = NumberIn<std::uint32_t>(map, "type", FSO_TYPE_INVALID);
  data.FileSize = NumberIn<std::int64_t>(map, "size", -1);
  data.RefCount = NumberIn<std::uint32_t>(map, "references", 0);
  data.ObjectID = WideNumberIn(map, "id", 0);
  data.Protection = NumberIn<std::uint32_t>(map, "protection", 0);
  data.OwnerUID = NumberIn<std::uint32_t>(map, "owner", 0);
  data.OwnerGID = NumberIn<std::uint32_t>(map, "group", 0);

  // Nothing is refused from here on.
  const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, SizeFor(name)},
                            {QUORLE_ADO_ExamineData_CommentSize, SizeFor(comment)},
                            {QUORLE_ADO_ExamineData_LinkSize, SizeFor(link)},
                            {QUORLE_TAG_DONE, 0}};
  auto* const record =
      static_cast<::ExamineData*>(services.AllocDosObject(QUORLE_DOS_EXAMINEDATA, tags));
  if (record == nullptr) throw std::bad_alloc();
  record->Type = data.Type;
  record->FileSize = data.FileSize;
  record->Date = day;
  record->RefCount = data.RefCount;
  record->ObjectID = data.ObjectID;
  record->Protection = data.Protection;
  record->OwnerUID = data.OwnerUID;
  record->OwnerGID = data.OwnerGID;
  if (Find(map, "name") != nullptr) std::memcpy(record->Name, name.c_str(), name.size() + 1);
  std::memcpy(record->Comment, comment.c_str(), comment.size() + 1);
  std::memcpy(record->Link, link.c_str(), link.size() + 1);
  return record;
}

void TakeInfo(const Json& value, ::InfoData& info) {
  if (!value.is_object()) Refuse(value, "info", "map");
  if (const auto bytes = WholeRecord(value, kInfoBytes)) {
    FieldReader fields(*bytes);
    fields.Take(info.id_NumSoftErrors);
    fields.Take(info.id_UnitNumber);
    fields.Take(info.id_DiskState);
    fields.Take(info.id_NumBlocks);
    fields.Take(info.id_NumBlocksUsed);
    fields.Take(info.id_BytesPerBlock);
    fields.Take(info.id_DiskType);
    fields.Skip(sizeof(std::uint32_t));  // the volume's node
    fields.Take(info.id_InUse);
    return;
  }
  info.id_NumSoftErrors = NumberIn<std::int32_t>(value, "errors", 0);
  info.id_UnitNumber = NumberIn<std::int32_t>(value, "unit", 0);
  info.id_DiskState = NumberIn<std::int32_t>(value, "state", ID_DISKSTATE_VALIDATED);
  info.id_NumBlocks = NumberIn<std::uint32_t>(value, "blocks", 0);
  info.id_NumBlocksUsed = NumberIn<std::uint32_t>(value, "used", 0);
  info.id_BytesPerBlock = NumberIn<std::uint32_t>(value, "block_size", 512);
  info.id_DiskType = static_cast<std::int32_t>(NumberIn<std::uint32_t>(value, "dos_type", 0));
  info.id_InUse = NumberIn<std::uint32_t>(value, "in_use", 0);
}

Json BlockValue(const ::FileInfoBlock& block) {
  FieldWriter fields;
  VisitBlock(block, fields);
  return {{"key", block.fib_DiskKey},
          {"type", block.fib_DirEntryType},
          {"name", TextValue(Counted(block.fib_FileName))},
          {"protection", static_cast<std::uint32_t>(block.fib_Protection)},
          {"size", block.fib_Size},
          {"blocks", block.fib_NumBlocks},
          {"date", DateValue(block.fib_Date)},
          {"comment", TextValue(Counted(block.fib_Comment))},
          {"owner", block.fib_OwnerUID},
          {"group", block.fib_OwnerGID},
          {"bytes", BytesValue(fields.bytes())}};
}

void TakeBlock(const Json& value, ::FileInfoBlock& block) {
  if (!value.is_object()) Refuse(value, "block", "map");
  if (const auto bytes = WholeRecord(value, kBlockBytes)) {
    FieldReader fields(*bytes);
    VisitBlock(block, fields);
    return;
  }
  block.fib_DiskKey = NumberIn(value, "key", block.fib_DiskKey);
  block.fib_DirEntryType = NumberIn(value, "type", block.fib_DirEntryType);
  block.fib_EntryType = block.fib_DirEntryType;
  TakeCounted(value, "name", block.fib_FileName);
  block.fib_Protection = static_cast<std::int32_t>(
      NumberIn(value, "protection", static_cast<std::uint32_t>(block.fib_Protection)));
  block.fib_Size = NumberIn(value, "size", block.fib_Size);
  block.fib_NumBlocks = NumberIn(value, "blocks", block.fib_NumBlocks);
  if (const Json* const date = Find(value, "date")) block.fib_Date = DateFrom(*date, "date");
  TakeCounted(value, "comment", block.fib_Comment);
  block.fib_OwnerUID = NumberIn(value, "owner", block.fib_OwnerUID);
  block.fib_OwnerGID = NumberIn(value, "group", block.fib_OwnerGID);
}

}  // namespace quorle::connect
