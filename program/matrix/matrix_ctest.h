#pragma once

#include <span>
#include <string>

#include "results/matrix_file.h"

namespace quorle {

/// A CTest project with a test a cell: the text of its CMakeLists.txt. `program` and `matrix_file` are whole
/// paths. The event files go to "cells" in the folder in which it is configured.
std::string CtestProject(std::span<const MatrixCell* const> cells, const std::string& program,
                         const std::string& matrix_file);

}  // namespace quorle
