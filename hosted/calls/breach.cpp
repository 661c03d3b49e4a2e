#include "hosted/calls/breach.h"

#include "quorle/handler.h"

namespace quorle {

const char* Describe(Breach breach) {
  switch (breach) {
    case Breach::kForeignLock:
      return "gave a lock that is not from AllocDosObject()";
    case Breach::kFreedLock:
      return "was to use a lock that it has freed";
    case Breach::kForeignRecord:
      return "gave an examine record that is not from AllocDosObject()";
    case Breach::kForeignText:
      return "gave an examine record with a text that is not in the record's buffer";
    case Breach::kTextWithoutEnd:
      return "gave a text without an end";
    case Breach::kBeyondBuffer:
      return "wrote outside of a buffer";
    case Breach::kNone:
      break;
  }
  return "did nothing wrong";
}

std::int32_t CodeOf(Breach breach) {
  switch (breach) {
    case Breach::kNone:
      return 0;
    case Breach::kForeignLock:
    case Breach::kFreedLock:
      return ERROR_INVALID_LOCK;
    default:
      return ERROR_BAD_NUMBER;
  }
}

}  // namespace quorle
