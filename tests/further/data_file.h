#pragma once

#include <cstdint>

#include "tests/further/vocabulary.h"

/// The steps of the group "Contents".
namespace quorle {

/// Some bytes of a file.
struct Stretch {
  std::int64_t position;
  std::uint8_t* data;  ///< what is written there, or should be
  std::int32_t bytes;
};

/// Writes `what` through `file`, whose position is there. `how` says how the file was opened, as "in
/// MODE_OLDFILE". Returns the status.
std::int32_t WriteStretch(TestContext& ctx, FileHandle file, const char* how, const Stretch& what);

/// Reads through `file`, whose position is there, into `buffer`: it must be `what`. Returns the status.
std::int32_t ReadStretch(TestContext& ctx, FileHandle file, const Stretch& what,
                         std::uint8_t* buffer);

/// A scratch directory with one file in it, "Data", and what that should hold, kept in memory. What goes
/// wrong is printed; a std::int32_t is a status.
class [[nodiscard]] DataFile {
 public:
  /// What one Read() asks for: the largest size that is written at once, and a byte more.
  static constexpr std::int32_t kReadAtOnce = 65538;
  static constexpr char kName[] = "Data";

  /// Makes the directory; the file will have `most` bytes at most.
  DataFile(TestContext& ctx, std::uint32_t most);
  /// Closes the file, and removes it.
  ~DataFile();
  DataFile(const DataFile&) = delete;
  DataFile& operator=(const DataFile&) = delete;

  /// Whether all is there.
  explicit operator bool() const { return data_ != nullptr; }

  /// Opens it in a MODE_..., which `how` names for messages: "in MODE_NEWFILE". False when it cannot be.
  bool Open(std::int32_t mode, const char* how) { return Take(ctx_.IDOS->Open(kName, mode), how); }
  /// The same from a lock of the mode.
  bool OpenFromLock(std::int32_t mode, const char* how);
  void Close();
  FileHandle file() const { return file_; }

  /// Writes `bytes` bytes at `position`, where the file's position is, other ones each time.
  std::int32_t Write(std::uint32_t position, std::int32_t bytes) {
    return Write(file_, how_, position, bytes);
  }
  /// The same through another handle, opened as `how` says.
  std::int32_t Write(FileHandle file, const char* how, std::uint32_t position, std::int32_t bytes);
  /// Makes it again, with `bytes` bytes, and closes it.
  std::int32_t Make(std::int32_t bytes);
  /// Moves the position of `file` to `position`, which is inside the file. False when it cannot be.
  bool MoveTo(FileHandle file, std::uint32_t position);
  /// Makes the file `bytes` bytes long. False when it cannot be.
  bool Resize(std::uint32_t bytes);

  /// What is read through `file` from `position` on, where its position is, must be what was written.
  std::int32_t Read(FileHandle file, std::uint32_t position, std::int32_t bytes) {
    return ReadStretch(ctx_, file, {position, data_ + position, bytes}, buffer_);
  }
  /// Takes what is read from `position` on, where nothing was written, for what should be there. False when
  /// it cannot be read.
  bool Adopt(std::uint32_t position);
  /// The size that `file` shows must be that of what was written.
  std::int32_t CheckSize(FileHandle file);
  /// Opens the file once more: its size and all of its bytes must be what was written.
  std::int32_t Check();

 private:
  bool Take(FileHandle file, const char* how);
  std::int32_t CheckAll(FileHandle file);

  TestContext& ctx_;
  WorkDirectory work_;
  std::uint8_t* data_ = nullptr;
  std::uint8_t* buffer_ = nullptr;
  FileHandle file_;
  const char* how_ = "";
  std::uint32_t size_ = 0;
  std::uint32_t writes_ = 0;
};

}  // namespace quorle
