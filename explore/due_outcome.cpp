#include "explore/due_outcome.h"

#include <algorithm>

#include "platform/constants.h"

namespace quorle::explore {
namespace {

// ---- The fields --------------------------------------------------------------------------------

WordSet NoWords() {
  return {};
}

WordSet MaskWords() {
  return WordsOf(Argument::kMask);
}

WordSet DiskTypeWords() {
  return {.words = {}, .are_flags = false, .is_hex = true};
}

template <auto member>
std::string RecordText(const ExamineData& record) {
  return Quoted(record.*member);
}

template <auto member>
std::string RecordNumber(const ExamineData& record) {
  return std::to_string(record.*member);
}

std::string RecordType(const ExamineData& record) {
  // What stands above the low byte is the filesystem's own.
  const std::uint32_t type = record.Type & FSO_TYPE_MASK;
  return NumberText(TypeWords(), type);
}

std::string RecordDate(const ExamineData& record) {
  return DateText(record.Date);
}

std::string RecordProtection(const ExamineData& record) {
  return NumberText(MaskWords(), record.Protection);
}

template <auto member>
std::string InfoNumber(const InfoData& info) {
  return std::to_string(info.*member);
}

std::string InfoDiskType(const InfoData& info) {
  return NumberText(DiskTypeWords(), static_cast<std::uint32_t>(info.id_DiskType));
}

constexpr NamedField kRecordFields[] = {
    {"Type", Argument::kId, TypeWords, RecordType, nullptr},
    {"FileSize", Argument::kPosition, NoWords, RecordNumber<&ExamineData::FileSize>, nullptr},
    {"Date", Argument::kDate, NoWords, RecordDate, nullptr},
    {"RefCount", Argument::kId, NoWords, RecordNumber<&ExamineData::RefCount>, nullptr},
    {"Name", Argument::kText, NoWords, RecordText<&ExamineData::Name>, nullptr},
    {"Comment", Argument::kText, NoWords, RecordText<&ExamineData::Comment>, nullptr},
    {"Link", Argument::kText, NoWords, RecordText<&ExamineData::Link>, nullptr},
    {"Protection", Argument::kMask, MaskWords, RecordProtection, nullptr},
    {"OwnerUID", Argument::kId, NoWords, RecordNumber<&ExamineData::OwnerUID>, nullptr},
    {"OwnerGID", Argument::kId, NoWords, RecordNumber<&ExamineData::OwnerGID>, nullptr},
};

constexpr NamedField kInfoFields[] = {
    {"id_NumSoftErrors", Argument::kId, NoWords, nullptr, InfoNumber<&InfoData::id_NumSoftErrors>},
    {"id_DiskState", Argument::kId, NoWords, nullptr, InfoNumber<&InfoData::id_DiskState>},
    {"id_NumBlocks", Argument::kId, NoWords, nullptr, InfoNumber<&InfoData::id_NumBlocks>},
    {"id_NumBlocksUsed", Argument::kId, NoWords, nullptr, InfoNumber<&InfoData::id_NumBlocksUsed>},
    {"id_BytesPerBlock", Argument::kId, NoWords, nullptr, InfoNumber<&InfoData::id_BytesPerBlock>},
    {"id_DiskType", Argument::kId, DiskTypeWords, nullptr, InfoDiskType},
    {"id_InUse", Argument::kId, NoWords, nullptr, InfoNumber<&InfoData::id_InUse>},
};

// ---- What was read -----------------------------------------------------------------------------

/// What is not longer than this in quotes is written out.
constexpr std::size_t kLongestQuoted = 72;

/// The number of the pattern that `bytes` are the beginning of, among those that people choose.
std::optional<std::uint32_t> PatternOf(std::string_view bytes) {
  constexpr std::uint32_t kMostTried = 1000;
  if (bytes.size() < 8) return std::nullopt;
  for (std::uint32_t pattern = 0; pattern < kMostTried; ++pattern) {
    std::size_t same = 0;
    while (same < bytes.size() &&
           static_cast<std::uint8_t>(bytes[same]) == PatternByte(pattern, same)) {
      ++same;
    }
    if (same == bytes.size()) return pattern;
  }
  return std::nullopt;
}

void TakeBytes(const Outcome& outcome, bool is_text, DueOutcome& all) {
  const std::string_view bytes = outcome.bytes;
  const bool is_whole = outcome.value == static_cast<std::int64_t>(bytes.size());
  if (is_whole && (is_text || Quoted(bytes).size() <= kLongestQuoted)) {
    all.bytes = bytes;
    return;
  }
  if (is_whole) all.pattern = PatternOf(bytes);
  if (all.pattern) return;
  Checksum checksum;
  checksum.Add(bytes);
  all.checksum = checksum.value();
}

std::optional<std::uint64_t> ChecksumOf(const DueOutcome& due) {
  Checksum checksum;
  if (due.bytes) {
    checksum.Add(*due.bytes);
  } else if (due.pattern) {
    std::string bytes(static_cast<std::size_t>(due.value.value_or(0)), '\0');
    FillPattern(*due.pattern, {reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size()});
    checksum.Add(bytes);
  } else {
    return due.checksum;
  }
  return checksum.value();
}

bool HasBytes(const DueOutcome& due) {
  return due.bytes || due.pattern || due.checksum;
}

}  // namespace

std::span<const NamedField> FieldsOf(Result result) {
  if (result == Result::kRecord) return kRecordFields;
  if (result == Result::kInfo) return kInfoFields;
  return {};
}

DueOutcome AllOf(const Call& call, const Outcome& outcome) {
  DueOutcome all;
  all.done = outcome.done;
  const Result result = RowOf(call.operation).result;
  const bool is_number = result == Result::kNumber || result == Result::kRelation ||
                         result == Result::kData || result == Result::kText;
  if (is_number) all.value = outcome.value;
  if (!outcome.done) {
    all.codes = {outcome.code};
    return all;
  }
  if (result == Result::kData || result == Result::kText) {
    TakeBytes(outcome, result == Result::kText, all);
  }
  const std::span<const NamedField> fields = FieldsOf(result);
  for (std::size_t i = 0; i != fields.size(); ++i) {
    if (outcome.record != nullptr && fields[i].of_record != nullptr) {
      all.fields.push_back({i, fields[i].of_record(*outcome.record)});
    } else if (outcome.has_info && fields[i].of_info != nullptr) {
      all.fields.push_back({i, fields[i].of_info(outcome.info)});
    }
  }
  return all;
}

bool IsAsDue(const DueOutcome& due, const DueOutcome& all) {
  if (due.done != all.done) return false;
  if (due.value && due.value != all.value) return false;
  if (!due.codes.empty()) {
    const auto is_allowed = [&](std::int32_t code) {
      return std::find(due.codes.begin(), due.codes.end(), code) != due.codes.end();
    };
    if (!std::all_of(all.codes.begin(), all.codes.end(), is_allowed)) return false;
  }
  if (HasBytes(due) && ChecksumOf(due) != ChecksumOf(all)) return false;
  return std::all_of(due.fields.begin(), due.fields.end(), [&](const DueField& field) {
    return std::find(all.fields.begin(), all.fields.end(), field) != all.fields.end();
  });
}

bool Widen(DueOutcome& due, const DueOutcome& other) {
  if (due.done != other.done) return false;
  for (const std::int32_t code : other.codes) {
    if (std::find(due.codes.begin(), due.codes.end(), code) == due.codes.end()) {
      due.codes.push_back(code);
    }
  }
  if (HasBytes(due) && ChecksumOf(due) != ChecksumOf(other)) {
    due.bytes.reset();
    due.pattern.reset();
    due.checksum.reset();
  }
  if (due.value != other.value) due.value.reset();
  std::erase_if(due.fields, [&](const DueField& field) {
    return std::find(other.fields.begin(), other.fields.end(), field) == other.fields.end();
  });
  return true;
}

}  // namespace quorle::explore
