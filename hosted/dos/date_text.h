#pragma once

#include "platform/records.h"

namespace quorle {

/// Fills the buffers of `date` (16 bytes each, null: not wanted) with the name of the day, the date
/// in the format it asks for, and the time as hh:mm:ss. A format that is none counts as FORMAT_DOS;
/// dat_Flags is not looked at: no "Today" in place of a date. False, with nothing written, for a
/// stamp that is no moment of the years 1978 to 9999.
bool DateToText(const DateTime& date);

}  // namespace quorle
