#pragma once

#include <cstdint>
#include <span>

#include "hosted/dos/console.h"
#include "program/option_list.h"

namespace quorle {

/// `quorle matrix [options] FILE`: runs the cells of a matrix file. Exit status: 0 all are as expected, 10 some
/// are not or it was interrupted, 20 the file is wrong or a cell could not be run.
std::int32_t RunMatrix(std::span<const char* const> words, Console& console);

/// What its command line can have.
CommandSyntax MatrixSyntax();

}  // namespace quorle
