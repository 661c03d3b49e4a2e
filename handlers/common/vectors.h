#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "handlers/common/dos_error.h"
#include "handlers/common/settings.h"
#include "quorle/handler.h"

namespace quorle::common {

inline constexpr std::int32_t kTrue = -1;
inline constexpr std::int32_t kFalse = 0;

/// Makes `call`, which returns a DosError or throws it; its code goes to `res2`, and `success` or
/// `failure` comes back. Only here does an error of a volume become the number of the C header. No
/// exception leaves a vector: the only other one there is is a host without memory.
template <class Result, class Call>
Result Answer(std::int32_t* res2, Result success, Result failure, const Call& call) {
  DosError error;
  try {
    error = call();
  } catch (const DosError& thrown) {
    error = thrown;
  } catch (const std::exception&) {
    error = ERROR_NO_FREE_STORE;
  }
  *res2 = error.code();
  return error ? failure : success;
}

template <class Call>
std::int32_t Truth(std::int32_t* res2, const Call& call) {
  return Answer<std::int32_t>(res2, kTrue, kFalse, call);
}

/// Refused in so many words, so that dos does not send a packet instead.
template <class... Args>
std::int32_t NotOffered(::FileSystemVectorPort*, std::int32_t* res2, Args...) {
  return Truth(res2, [] { return DosError(ERROR_ACTION_NOT_KNOWN); });
}

/// Copies as much of `text` as fits, zero-ended.
void CopyText(const std::string& text, char* buffer, std::uint32_t size);

/// Answers FSFileSystemAttr(): the code of the first tag that cannot be answered, or none.
DosError AnswerAttributes(const VolumeSettings& settings, std::uint32_t max_name,
                          const ::TagItem* tags);

/// The byte that `offset` bytes from where OFFSET_... `mode` starts counting are: in a file of `size`
/// bytes, read and written at `position`. 115 for another mode, 219 for one that cannot be.
DosError FindPosition(std::int32_t mode, std::int64_t offset, std::int64_t position,
                      std::int64_t size, std::int64_t& found);

/// A number of blocks as the platform's 32 bits hold it: at most 2^31 - 1.
std::uint32_t BlockWord(std::uint64_t blocks);

}  // namespace quorle::common
