#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "handlers/deviate/call.h"
#include "handlers/deviate/original.h"

namespace quorle::deviate {

/// What is remembered of an open file.
struct FileMemory {
  std::int32_t mode = 0;        ///< in which it was opened; 0: from a lock
  std::int64_t first_size = 0;  ///< when it was opened
  bool is_written = false;      ///< something was written through it, or its size set
  bool is_renamed = false;      ///< something was renamed since it was opened
  std::string data;             ///< for the deviation
};

/// What is remembered of a scan.
struct ScanMemory {
  std::uint32_t given = 0;         ///< entries so far
  bool is_disturbed = false;       ///< something was deleted meanwhile, or another scan has begun
  bool is_disturbed_once = false;  ///< for the deviation: that had its consequence
};

/// What is remembered of an object.
struct ObjectMemory {
  std::string name;  ///< by which it was changed
  std::string text;
  std::int64_t number = 0;
};

/// The volume behind a hidden deviation: the handler's own functions, what is often done with them, and
/// what was seen so far. A call made here that fails is as if it had not been made.
class OwnVolume {
 public:
  /// Both must outlive this.
  OwnVolume(::FileSystemVectorPort& port, const ::HandlerServices& dos)
      : original_(port, dos), dos_(dos) {}

  const Original& original() const { return original_; }
  const ::HandlerServices& dos() const { return dos_; }

  /// Makes `call`, and remembers what came of it.
  void Make(Call& call);
  /// Makes a call of our own.
  Call Invoke(const Call& call) const { return original_.Invoke(call); }
  ObjectState StateOf(const Call& call) const { return deviate::StateOf(original_, call); }
  /// Of the object `name` in `rel`, which may be a soft link.
  ObjectState StateOf(::Lock* rel, const char* name) const;

  // ---- Objects by name, whatever protects them -------------------------------------------------

  void Delete(::Lock* rel, const char* name) const;
  void SetDate(::Lock* rel, const char* name, const ::DateStamp& date) const;
  void SetProtection(::Lock* rel, const char* name, std::uint32_t mask) const;
  void SetComment(::Lock* rel, const char* name, const char* comment) const;
  /// Makes a file of no bytes.
  void MakeFile(::Lock* rel, const char* name) const;
  /// Makes a file `size` bytes long. Its protection, comment and date stay as they are.
  void Resize(::Lock* rel, const char* name, std::int64_t size) const;
  /// The names in a directory and what is known of them, in the order of a scan.
  std::vector<ObjectState> Entries(::Lock* directory) const;
  /// Has `visit` see each object below the root, what is in a directory before the directory itself.
  void Walk(const std::function<void(::Lock*, const ObjectState&)>& visit) const;

  // ---- Open files, whose position stays where it is ----------------------------------------------

  std::int64_t Position(const Call& call) const;
  std::int64_t Size(const Call& call) const;
  /// Up to `bytes` bytes from `position`.
  std::string ReadAt(const Call& call, std::int64_t position, std::size_t bytes) const;
  void WriteAt(const Call& call, std::int64_t position, const std::string& data) const;
  void MoveTo(const Call& call, std::int64_t position) const;

  // ---- What was seen -----------------------------------------------------------------------------

  std::map<const ::FileHandle*, FileMemory> files;  ///< those that are open
  std::map<const ::PRIVATE_ExamineDirContext*, ScanMemory> scans;
  std::map<std::uint64_t, ObjectMemory> objects;      ///< by ObjectID, for the deviation
  std::set<const ::NotifyRequest*> ignored_requests;  ///< for the deviation
  std::set<::NotifyRequest*> requests;                ///< for the deviation
  std::set<std::string> watched;                      ///< for the deviation
  std::uint32_t counter = 0;                          ///< for the deviation

 private:
  void Walk(::Lock* directory, const std::function<void(::Lock*, const ObjectState&)>& visit) const;
  void Note(const Call& call);

  Original original_;
  const ::HandlerServices& dos_;
};

}  // namespace quorle::deviate
