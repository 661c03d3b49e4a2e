#pragma once

#include <cstdint>
#include <span>

#include "hosted/dos/console.h"
#include "program/option_list.h"

namespace quorle {

/// `quorle report [--summary|--tap|--junit|--markdown|--html] [--expect FILE] [-o FILE] EVENTS...`
/// (sub_commands.h). 0 when the report is written, whatever it says; 20 when a file is wrong.
std::int32_t RunReport(std::span<const char* const> words, Console& console);

/// What may stand on its command line.
CommandSyntax ReportSyntax();

}  // namespace quorle
