#include "platform/error_texts.h"

namespace quorle {
namespace {

struct Row {
  std::int32_t code;
  const char* text;
};

// Codes that are missing here have no text of their own.
constexpr Row kTexts[] = {
    {103, "not enough memory available"},
    {105, "process table full"},
    {114, "bad template"},
    {115, "bad number"},
    {116, "required argument missing"},
    {117, "value after keyword missing"},
    {118, "wrong number of arguments"},
    {119, "unmatched quotes"},
    {120, "argument line invalid or too long"},
    {121, "file is not executable"},
    {122, "invalid resident library"},
    {202, "object is in use"},
    {203, "object already exists"},
    {204, "directory not found"},
    {205, "object not found"},
    {206, "invalid window description"},
    {207, "object too large"},
    {209, "packet request type unknown"},
    {210, "object name invalid"},
    {211, "invalid object lock"},
    {212, "object is not of required type"},
    {213, "disk not validated"},
    {214, "disk is write-protected"},
    {215, "rename across devices attempted"},
    {216, "directory not empty"},
    {217, "too many levels"},
    {218, "device (or volume) is not mounted"},
    {219, "seek failure"},
    {220, "comment is too long"},
    {221, "disk is full"},
    {222, "object is protected from deletion"},
    {223, "file is write protected"},
    {224, "file is read protected"},
    {225, "not a valid DOS disk"},
    {226, "no disk in drive"},
    {232, "no more entries in directory"},
    {233, "object is soft link"},
    {234, "object is linked"},
    {235, "bad loadfile hunk"},
    {236, "function not implemented"},
    {240, "record not locked"},
    {241, "record lock collision"},
    {242, "record lock timeout"},
    {243, "record unlock error"},
    {303, "buffer overflow"},
    {304, "***Break"},
    {305, "file not executable"},
};

}  // namespace

const char* ErrorText(std::int32_t code) {
  for (const Row& row : kTexts) {
    if (row.code == code) return row.text;
  }
  return nullptr;
}

}  // namespace quorle
