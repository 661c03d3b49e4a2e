#include "hosted/dos/object_path.h"

namespace quorle {
namespace {

/// How many directories a path may lead through: a handler may be wrong about parents.
constexpr int kMostLevels = 1000;

/// Takes the name out of `record`, which is freed.
std::optional<std::string> TakeName(HandlerPort& port, ::ExamineData* record) {
  if (record == nullptr) return std::nullopt;
  std::string name = record->Name == nullptr ? "" : record->Name;
  port.FreeExamineData(record);
  return name;
}

void Prepend(const std::string& name, std::string& path) {
  path.insert(0, path.empty() ? name : name + "/");
}

/// Puts the directories from `lock` up to the root before `path`.
bool PrependDirectories(HandlerPort& port, ::Lock* lock, std::string& path) {
  std::int32_t res2 = 0;
  ::Lock* const first = lock;
  bool is_known = true;
  for (int level = 0; lock != nullptr && is_known; ++level) {
    ::Lock* const parent = port.ParentDir(res2, lock);
    is_known = parent != nullptr || res2 == 0;
    if (parent != nullptr) {
      const auto name = TakeName(port, port.ExamineLock(res2, lock));
      is_known = name.has_value() && level < kMostLevels;
      if (is_known) Prepend(*name, path);
    }
    if (lock != first) port.UnLock(res2, lock);
    lock = parent;
  }
  if (lock != nullptr) port.UnLock(res2, lock);
  return is_known;
}

}  // namespace

std::optional<std::string> PathOf(HandlerPort& port, ::Lock* directory, const std::string& name) {
  std::string path = name;
  if (!PrependDirectories(port, directory, path)) return std::nullopt;
  return path;
}

std::optional<std::string> PathOf(HandlerPort& port, ::FileHandle& file) {
  std::int32_t res2 = 0;
  const auto name = TakeName(port, port.ExamineFile(res2, file));
  ::Lock* const directory = port.ParentOfFH(res2, file);
  if (directory == nullptr) return std::nullopt;
  auto path = name ? PathOf(port, directory, *name) : std::nullopt;
  port.UnLock(res2, directory);
  return path;
}

}  // namespace quorle
