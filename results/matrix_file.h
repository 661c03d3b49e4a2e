#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorle {

/// One run of a matrix.
struct MatrixCell {
  std::string id;                  ///< "ram/plain/standard", "ram/plain/explore-7"
  std::vector<std::string> words;  ///< of the program, but for where its events go
  std::chrono::seconds limit{0};   ///< how long it may take
  std::string resource;  ///< cells with the same one do not run at the same time; empty: none
};

/// What a file says that `quorle matrix` reads: mounts, settings, and what is run in each pair of them.
struct Matrix {
  std::string path;
  std::string folder;                 ///< of the file, in which the cells are run: "." at least
  std::optional<std::string> expect;  ///< the file of expectations, as seen from `folder`
  std::uint32_t jobs = 0;             ///< how many cells at a time; 0: as many as there are cores
  std::vector<MatrixCell> cells;      ///< those of a mount are together, in it those of a setting
};

/// Reads the matrix file `path`. False, with `problem` one line that names file and line, when it cannot be
/// read, is wrong or comes to no cell; `matrix` is then as it was.
bool LoadMatrix(const std::string& path, Matrix& matrix, std::string& problem);

/// The same for `text`, the content of the file `path`.
bool ParseMatrix(const std::string& path, std::string_view text, Matrix& matrix,
                 std::string& problem);

}  // namespace quorle
