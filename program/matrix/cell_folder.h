#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "results/event.h"
#include "results/expectations.h"
#include "results/matrix_file.h"

namespace quorle {

/// The folder in which a matrix keeps an event file a cell. A file is there under its own name when its
/// cell has ended, and under that of a part until then: whenever the program is killed, what is there is
/// whole. The last event of a file says how its cell came out.
class CellFolder {
 public:
  /// Whether other processes may work in the folder meanwhile, each on a cell of its own.
  enum class Use : std::uint8_t { kAlone, kShared };

  /// `expectations` are those of all cells, null without any, `fingerprint` that of their file; they stay
  /// the caller's.
  CellFolder(std::string path, const Expectations* expectations, std::string fingerprint)
      : path_(std::move(path)), expectations_(expectations), expect_(std::move(fingerprint)) {}
  ~CellFolder();
  CellFolder(const CellFolder&) = delete;
  CellFolder& operator=(const CellFolder&) = delete;

  /// Makes the folder, unless it is there, and keeps others out of it. False, with `problem` one line, when
  /// that cannot be.
  bool Open(Use use, std::string& problem);
  /// Looks at what a run of the matrix left that was killed: a part whose run has its end becomes the
  /// file of its cell, if that is one of `cells`; all others go. Only with Use::kAlone.
  void TakeLeftParts(const std::vector<MatrixCell>& cells);

  /// How `cell` came out; nothing when it has no file, or that of another command line. A file that was
  /// judged by other expectations is judged again.
  std::optional<CellEvent> Ended(const MatrixCell& cell) const;

  const std::string& path() const { return path_; }
  std::string FileOf(const MatrixCell& cell) const;
  /// Where the events of `cell` go while it runs.
  std::string PartOf(const MatrixCell& cell) const;
  /// Makes the part of `cell`, which has ended with `status` (0 or 10), its file. `how` is empty when it
  /// ended by itself. False, with `problem`, when that fails.
  bool Keep(const MatrixCell& cell, std::int32_t status, const std::string& how,
            std::string& problem) const;
  /// Removes the part of `cell`.
  void Drop(const MatrixCell& cell) const;

 private:
  bool KeepPart(const std::string& part, const CellEvent& event, const std::string& file,
                std::string& problem) const;

  std::string path_;
  const Expectations* expectations_;
  std::string expect_;
  int descriptor_ = -1;  ///< of the folder, locked
};

}  // namespace quorle
