#include "program/matrix/matrix_ctest.h"

#include <string_view>

namespace quorle {
namespace {

/// CTest ends a test that has not ended by itself so much later.
constexpr int kMoreThanLimit = 15;

/// `text` as CMake takes it as it is.
std::string Bracketed(const std::string& text) {
  std::string equals = "=";
  while (text.find("]" + equals + "]") != std::string::npos || text.ends_with("]" + equals)) {
    equals += '=';
  }
  return "[" + equals + "[" + text + "]" + equals + "]";
}

/// "ram;plain;explore" for "ram/plain/explore-7".
std::string LabelsOf(const std::string& id) {
  std::string labels = id;
  for (char& c : labels) {
    if (c == '/') c = ';';
  }
  constexpr std::string_view kSearch = ";explore-";
  const std::size_t last = labels.rfind(';');
  if (std::string_view(labels).substr(last).starts_with(kSearch)) {
    labels.erase(last + kSearch.size() - 1);
  }
  return labels;
}

}  // namespace

std::string CtestProject(std::span<const MatrixCell* const> cells, const std::string& program,
                         const std::string& matrix_file) {
  std::string text =
      "# Written by quorle matrix --ctest: a test a cell.\n"
      "cmake_minimum_required(VERSION 3.16)\n"
      "project(quorle_matrix NONE)\n"
      "enable_testing()\n"
      "set(QUORLE " +
      Bracketed(program) + " CACHE FILEPATH \"The program\")\nset(MATRIX " +
      Bracketed(matrix_file) +
      " CACHE FILEPATH \"The matrix file\")\n"
      "set(CELLS \"${CMAKE_CURRENT_BINARY_DIR}/cells\" CACHE PATH \"Where the event files go\")\n\n"
      "# What more there is are the resources that it shares with others.\n"
      "function(cell id seconds labels)\n"
      "  add_test(NAME ${id} COMMAND ${QUORLE} matrix --out ${CELLS} --cell ${id} ${MATRIX})\n"
      "  set_tests_properties(${id} PROPERTIES TIMEOUT ${seconds} LABELS \"${labels}\")\n"
      "  if(ARGN)\n"
      "    set_tests_properties(${id} PROPERTIES RESOURCE_LOCK \"${ARGN}\")\n"
      "  endif()\n"
      "endfunction()\n\n";
  for (const MatrixCell* const cell : cells) {
    text += "cell(" + cell->id + " " + std::to_string(cell->limit.count() + kMoreThanLimit) +
            " \"" + LabelsOf(cell->id) + "\"" +
            (cell->resource.empty() ? "" : " " + cell->resource) + ")\n";
  }
  return text;
}

}  // namespace quorle
