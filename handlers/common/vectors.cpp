#include "handlers/common/vectors.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace quorle::common {
namespace {

/// The value of `tag` in `tags`; false when it is not there.
bool FindTag(const ::TagItem* tags, std::uint32_t tag, std::uintptr_t& value) {
  for (; tags->ti_Tag != QUORLE_TAG_DONE; ++tags) {
    if (tags->ti_Tag == tag) {
      value = tags->ti_Data;
      return true;
    }
  }
  return false;
}

template <class Value>
Value* Pointer(std::uintptr_t data) {
  return reinterpret_cast<Value*>(data);  // NOLINT: tags carry addresses as numbers
}

}  // namespace

void CopyText(const std::string& text, char* buffer, std::uint32_t size) {
  if (size == 0) return;
  const std::size_t length = std::min<std::size_t>(std::strlen(text.c_str()), size - 1);
  std::memcpy(buffer, text.c_str(), length);
  buffer[length] = 0;
}

DosError AnswerAttributes(const VolumeSettings& settings, std::uint32_t max_name,
                          const ::TagItem* tags) {
  for (const ::TagItem* tag = tags; tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    switch (tag->ti_Tag) {
      case QUORLE_FSA_MaxFileNameLengthR:
        *Pointer<std::uint32_t>(tag->ti_Data) = max_name;
        break;
      case QUORLE_FSA_VersionNumberR:
        *Pointer<std::uint32_t>(tag->ti_Data) = settings.version_number;
        break;
      case QUORLE_FSA_DOSTypeR:
        *Pointer<std::uint32_t>(tag->ti_Data) = settings.dos_type;
        break;
      // What is deleted is gone.
      case QUORLE_FSA_MaxRecycledEntriesR:
      case QUORLE_FSA_HasRecycledEntriesR:
        *Pointer<std::uint32_t>(tag->ti_Data) = 0;
        break;
      case QUORLE_FSA_VersionStringR: {
        std::uintptr_t size = 0;
        if (!FindTag(tags, QUORLE_FSA_VersionStringR_BufSize, size)) {
          return ERROR_REQUIRED_ARG_MISSING;
        }
        if (settings.version.size() >= size) return ERROR_LINE_TOO_LONG;
        std::memcpy(Pointer<char>(tag->ti_Data), settings.version.c_str(),
                    settings.version.size() + 1);
        break;
      }
      case QUORLE_FSA_VersionStringR_BufSize:
      case QUORLE_TAG_IGNORE:
        break;
      default:
        return ERROR_NOT_IMPLEMENTED;
    }
  }
  return kNoError;
}

DosError FindPosition(std::int32_t mode, std::int64_t offset, std::int64_t position,
                      std::int64_t size, std::int64_t& found) {
  std::int64_t origin = 0;
  switch (mode) {
    case OFFSET_BEGINNING:
      break;
    case OFFSET_CURRENT:
      origin = position;
      break;
    case OFFSET_END:
      origin = size;
      break;
    default:
      return ERROR_BAD_NUMBER;
  }
  const bool overflows = __builtin_add_overflow(origin, offset, &found);
  return overflows || found < 0 ? ERROR_SEEK_ERROR : kNoError;
}

std::uint32_t BlockWord(std::uint64_t blocks) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::uint32_t>(std::min(blocks, kMost));
}

}  // namespace quorle::common
