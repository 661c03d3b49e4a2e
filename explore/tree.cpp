#include "explore/tree.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>

#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// A hash over eight bytes at a time: what is compared was written by us, nobody looks for collisions. Every
/// part but the last has a multiple of 32 bytes.
class ContentHash {
 public:
  void Add(const std::uint8_t* bytes, std::size_t count) {
    // Four words at a time do not wait for each other.
    while (count >= kWords * 8) {
      for (std::size_t i = 0; i != kWords; ++i) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes + i * 8, 8);
        part_[i] = std::rotl(part_[i] ^ word, 27) * 0x9E3779B97F4A7C15;
      }
      bytes += kWords * 8;
      count -= kWords * 8;
    }
    while (count != 0) {
      std::uint64_t word = count;
      const std::size_t taken = std::min<std::size_t>(count, 7);
      std::memcpy(&word, bytes, taken);
      part_[0] = std::rotl(part_[0] ^ word, 27) * 0x9E3779B97F4A7C15;
      bytes += taken;
      count -= taken;
    }
  }
  std::uint64_t value() const {
    std::uint64_t hash = 0;
    for (const std::uint64_t part : part_) {
      hash = (hash ^ part ^ (part >> 32)) * 0xBF58476D1CE4E5B9;
    }
    return hash ^ (hash >> 29);
  }

 private:
  static constexpr std::size_t kWords = 4;

  std::array<std::uint64_t, kWords> part_{1, 2, 3, 4};
};

/// Walks one side.
class Walker {
 public:
  Walker(Side& side, const WalkBounds& bounds, Tree& tree)
      : dos_(side.dos()), further_(side.further()), bounds_(bounds), tree_(tree) {}

  void Run() {
    tree_.error = List(std::string(), tree_.objects);
    // A directory is followed by what is in it; the list grows while it is gone through.
    for (std::size_t i = 0; i != tree_.objects.size(); ++i) {
      switch (tree_.objects[i].record.Type & FSO_TYPE_MASK) {
        case FSO_TYPE_DIRECTORY: {
          if (tree_.is_cut) break;
          std::vector<TreeObject> inside;
          const std::int32_t error = List(tree_.objects[i].path + "/", inside);
          tree_.objects[i].error = error;
          const auto at = tree_.objects.begin() + static_cast<std::ptrdiff_t>(i) + 1;
          tree_.objects.insert(at, std::make_move_iterator(inside.begin()),
                               std::make_move_iterator(inside.end()));
          break;
        }
        case FSO_TYPE_FILE:
          if (bounds_.file_bytes > 0) ReadFile(tree_.objects[i]);
          break;
        default:
          break;
      }
    }
  }

 private:
  std::int32_t List(const std::string& prefix, std::vector<TreeObject>& objects) {
    const std::string path = prefix.empty() ? prefix : prefix.substr(0, prefix.size() - 1);
    const DirContextHandle scan = further_.ObtainDirContext(EX_StringNameInput, path.c_str());
    if (!scan) return dos_.IoErr();
    std::int32_t error = 0;
    for (;;) {
      const ExamineData* const record = further_.ExamineDir(scan);
      if (record == nullptr) {
        error = dos_.IoErr();
        break;
      }
      if (listed_ == bounds_.objects) {
        tree_.is_cut = true;
        break;
      }
      ++listed_;
      TreeObject object;
      object.record = *record;
      object.name = record->Name;
      object.path = prefix + object.name;
      object.comment = record->Comment;
      object.link = record->Link;
      objects.push_back(std::move(object));
    }
    further_.ReleaseDirContext(scan);
    std::sort(objects.begin(), objects.end(), [](const TreeObject& a, const TreeObject& b) {
      return a.path != b.path ? a.path < b.path : a.record.ObjectID < b.record.ObjectID;
    });
    return error == ERROR_NO_MORE_ENTRIES ? 0 : error;
  }

  void ReadFile(TreeObject& object) {
    const char* const path = object.path.c_str();
    FileHandle file = dos_.Open(path, MODE_OLDFILE);
    if (!file && bounds_.unprotect && dos_.IoErr() == ERROR_READ_PROTECTED) {
      dos_.SetProtection(path, EXDF_DEFAULT);
      file = dos_.Open(path, MODE_OLDFILE);
    }
    if (!file) {
      object.error = dos_.IoErr();
      return;
    }
    ContentHash hash;
    const std::int64_t size = object.record.FileSize;
    if (size <= bounds_.file_bytes) {
      ReadPart(object, file, 0, size + 1, hash);
    } else {
      // The beginning, the end, and pages between, spread evenly.
      constexpr int kParts = 8;
      for (int part = 0; part <= kParts; ++part) {
        const std::int64_t at = (size / kParts * part) / 4096 * 4096;
        ReadPart(object, file, std::min(at, std::max<std::int64_t>(size - 65536, 0)), 65536, hash);
      }
    }
    dos_.Close(file);
    object.content = hash.value();
  }

  void ReadPart(TreeObject& object, FileHandle file, std::int64_t at, std::int64_t bytes,
                ContentHash& hash) {
    if (at != 0 && !dos_.ChangeFilePosition(file, at, OFFSET_BEGINNING)) {
      object.error = dos_.IoErr();
      return;
    }
    while (bytes > 0) {
      const std::size_t wanted =
          static_cast<std::size_t>(std::min<std::int64_t>(bytes, std::ssize(buffer_)));
      const std::size_t count = Fill(object, file, wanted);
      hash.Add(buffer_.data(), count);
      object.bytes += static_cast<std::int64_t>(count);
      bytes -= static_cast<std::int64_t>(count);
      if (count != wanted) return;
    }
  }

  /// Reads until there are `wanted` bytes, or no more.
  std::size_t Fill(TreeObject& object, FileHandle file, std::size_t wanted) {
    std::size_t filled = 0;
    while (filled != wanted) {
      const std::int32_t count =
          dos_.Read(file, &buffer_[filled], static_cast<std::int32_t>(wanted - filled));
      if (count < 0) object.error = dos_.IoErr();
      if (count <= 0) break;
      filled += static_cast<std::size_t>(count);
    }
    return filled;
  }

  DosInterface& dos_;
  FurtherDosInterface& further_;
  const WalkBounds& bounds_;
  Tree& tree_;
  std::size_t listed_ = 0;
  std::array<std::uint8_t, 16384> buffer_;
};

}  // namespace

void Walk(Side& side, const WalkBounds& bounds, Tree& tree) {
  tree.objects.clear();
  tree.error = 0;
  tree.is_cut = false;
  const LockHandle current = side.dos().SetCurrentDir(side.base());
  Walker(side, bounds, tree).Run();
  side.dos().SetCurrentDir(current);
}

namespace {

/// Deletes the objects of `tree`, what is in a directory first. Returns how many.
std::size_t DeleteAll(Side& side, const Tree& tree) {
  DosInterface& dos = side.dos();
  std::size_t deleted = 0;
  const LockHandle current = dos.SetCurrentDir(side.base());
  for (auto object = tree.objects.rbegin(); object != tree.objects.rend(); ++object) {
    const char* const path = object->path.c_str();
    bool is_gone = dos.Delete(path);
    if (!is_gone) {
      dos.SetProtection(path, EXDF_DEFAULT);
      is_gone = dos.Delete(path);
    }
    if (is_gone) ++deleted;
  }
  dos.SetCurrentDir(current);
  return deleted;
}

}  // namespace

bool Empty(Side& side) {
  Tree tree;
  return Empty(side, tree, kObjectsOfRound);
}

bool Empty(Side& side, Tree& tree, std::size_t most) {
  // A scan without an end, and deletions that are granted without being made, come to an end as well.
  constexpr int kMostRounds = 100;
  // In a directory that was protected something can be deleted in the round after.
  constexpr int kMostInVain = 2;
  int in_vain = 0;
  for (int round = 0; round != kMostRounds; ++round) {
    const std::size_t before = tree.objects.size();
    const std::size_t deleted = DeleteAll(side, tree);
    Walk(side, {.objects = most, .file_bytes = 0}, tree);
    if (tree.objects.empty()) return tree.error == 0;
    // Of a part nothing but what was deleted says whether less is left.
    const bool is_less = tree.is_cut ? deleted != 0 : tree.objects.size() < before;
    if (!is_less && before != 0 && ++in_vain == kMostInVain) return false;
  }
  return false;
}

std::optional<TreeObject> KeepBase(Side& side) {
  const ExamineData* const record = side.dos().ExamineObject(EX_LockInput, side.base());
  if (record == nullptr) return std::nullopt;
  TreeObject kept;
  kept.record = *record;
  kept.comment = record->Comment;
  side.dos().FreeDosObject(DOS_EXAMINEDATA, record);
  return kept;
}

void RestoreBase(Side& side, const TreeObject& kept) {
  const std::optional<TreeObject> now = KeepBase(side);
  if (!now) return;
  DosInterface& dos = side.dos();
  const ExamineData& record = kept.record;
  const LockHandle current = dos.SetCurrentDir(side.base());
  if (now->comment != kept.comment) dos.SetComment("", kept.comment.c_str());
  if (now->record.Protection != record.Protection) dos.SetProtection("", record.Protection);
  if (now->record.OwnerUID != record.OwnerUID) dos.SetOwnerInfo("", OI_OwnerUID, record.OwnerUID);
  if (now->record.OwnerGID != record.OwnerGID) dos.SetOwnerInfo("", OI_OwnerGID, record.OwnerGID);
  dos.SetDate("", record.Date);
  dos.SetCurrentDir(current);
}

}  // namespace quorle::explore
