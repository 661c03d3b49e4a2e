#include "hosted/dos/volume_listing.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/constants.h"

namespace quorle {
namespace {

constexpr std::uint64_t kHashStart = 14695981039346656037U;
constexpr std::uint64_t kHashFactor = 1099511628211U;

std::string TextOf(const char* text) {
  return text == nullptr ? std::string() : text;
}

void Fill(const ::ExamineData& record, ListedObject& object) {
  object.type = record.Type;
  object.size = record.FileSize;
  object.date = {record.Date.ds_Days, record.Date.ds_Minute, record.Date.ds_Tick};
  object.protection = record.Protection;
  object.owner = record.OwnerUID;
  object.group = record.OwnerGID;
  object.references = record.RefCount;
  object.id = record.ObjectID;
  object.comment = TextOf(record.Comment);
}

/// A lock of ours, from construction to destruction.
class OwnLock {
 public:
  OwnLock(HandlerPort& port, ::Lock* directory, const char* name) : port_(port) {
    lock_ = port_.Lock(error_, directory, name, SHARED_LOCK);
  }
  ~OwnLock() {
    std::int32_t unused = 0;
    if (lock_ != nullptr) port_.UnLock(unused, lock_);
  }
  OwnLock(const OwnLock&) = delete;
  OwnLock& operator=(const OwnLock&) = delete;

  ::Lock* get() const { return lock_; }
  /// Why there is none.
  std::int32_t error() const { return error_; }

 private:
  HandlerPort& port_;
  std::int32_t error_ = 0;
  ::Lock* lock_;
};

// ---- Listing -----------------------------------------------------------------------------------

class Lister {
 public:
  Lister(HandlerPort& port, const ListingBounds& bounds) : port_(port), bounds_(bounds) {}

  VolumeListing List() {
    listing_.volume_name = port_.volume_name().value_or("");
    std::int32_t res2 = 0;
    if (::InfoData info{}; port_.DeviceInfoData(res2, info)) listing_.state = info.id_DiskState;
    const OwnLock root(port_, nullptr, "");
    listing_.root.error = root.error();
    if (root.get() == nullptr) return std::move(listing_);
    if (::ExamineData* const record = port_.ExamineLock(res2, root.get()); record != nullptr) {
      Fill(*record, listing_.root);
      port_.FreeExamineData(record);
    }
    listing_.root.error = ListDirectory(root.get(), {});
    return std::move(listing_);
  }

 private:
  /// Lists what is below `directory`, whose path with a slash behind it is `path`. Returns 0, or the
  /// error code with which that failed.
  std::int32_t ListDirectory(::Lock* directory, const std::string& path) {
    ::PRIVATE_ExamineDirContext scan{};
    scan.Directory = directory;
    std::int32_t res2 = 0;
    std::vector<std::pair<std::string, ListedObject*>> found;
    while (!listing_.is_cut && port_.ExamineDir(res2, scan)) {
      ::ExamineData* const record = std::exchange(scan.Entry, nullptr);
      // One name again and again counts as well: a scan need not end.
      listing_.is_cut = listed_++ == bounds_.objects;
      if (record != nullptr && !listing_.is_cut) {
        const std::string name = TextOf(record->Name);
        const auto [object, is_new] = listing_.objects.try_emplace(path + name);
        if (is_new) {
          Fill(*record, object->second);
          found.emplace_back(name, &object->second);
        } else {
          ++object->second.times;
        }
      }
      port_.FreeExamineData(record);
    }
    port_.EndDir(scan);
    for (const auto& [name, object] : found) LookInto(directory, name, path + name, *object);
    return listing_.is_cut || res2 == ERROR_NO_MORE_ENTRIES ? 0 : res2;
  }

  void LookInto(::Lock* directory, const std::string& name, const std::string& path,
                ListedObject& object) {
    switch (object.type & FSO_TYPE_MASK) {
      case FSO_TYPE_SOFTLINK:
        ReadTarget(directory, name, object);
        break;
      case FSO_TYPE_DIRECTORY: {
        const OwnLock lock(port_, directory, name.c_str());
        object.error = lock.get() == nullptr ? lock.error() : ListDirectory(lock.get(), path + "/");
        break;
      }
      default:
        if (object.size > 0) ReadContent(directory, name, object);
        break;
    }
  }

  void ReadTarget(::Lock* directory, const std::string& name, ListedObject& object) {
    std::array<char, 1024> target{};
    const std::int32_t length =
        port_.ReadSoftLink(object.error, directory, name.c_str(), target.data(), target.size() - 1);
    if (length < 0) return;
    object.error = 0;
    object.target = target.data();
  }

  void ReadContent(::Lock* directory, const std::string& name, ListedObject& object) {
    ::FileHandle file{};
    if (!port_.Open(object.error, file, directory, name.c_str(), MODE_OLDFILE)) return;
    object.error = 0;
    object.content = kHashStart;
    const std::int64_t most = std::min(bounds_.file_bytes, bounds_.all_bytes - read_);
    std::array<unsigned char, 16 << 10> block;
    while (object.content_bytes < most) {
      const auto wanted =
          std::min<std::int64_t>(most - object.content_bytes, static_cast<int>(block.size()));
      const std::int32_t count =
          port_.Read(object.error, file, block.data(), static_cast<std::int32_t>(wanted));
      if (count >= 0) object.error = 0;
      if (count <= 0) break;
      for (std::int32_t i = 0; i < count; ++i) {
        object.content = (object.content ^ block[static_cast<std::size_t>(i)]) * kHashFactor;
      }
      object.content_bytes += count;
    }
    read_ += object.content_bytes;
    std::int32_t unused = 0;
    port_.Close(unused, file);
  }

  HandlerPort& port_;
  const ListingBounds& bounds_;
  VolumeListing listing_;
  std::size_t listed_ = 0;
  std::int64_t read_ = 0;
};

// ---- Comparing ---------------------------------------------------------------------------------

/// Whether `path` leads to nothing now.
bool IsGone(HandlerPort& port, std::string_view path) {
  std::unique_ptr<OwnLock> directory;
  for (;;) {
    const std::size_t slash = path.find('/');
    const std::string name(path.substr(0, slash));
    auto lock =
        std::make_unique<OwnLock>(port, directory ? directory->get() : nullptr, name.c_str());
    if (lock->get() == nullptr) return lock->error() == ERROR_OBJECT_NOT_FOUND;
    if (slash == std::string_view::npos) return false;
    directory = std::move(lock);
    path.remove_prefix(slash + 1);
  }
}

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string Hex(std::uint32_t number) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(number));
  return text.data();
}

std::string DateText(const ListedObject& object) {
  const auto& [days, minutes, ticks] = object.date;
  return std::to_string(days) + "/" + std::to_string(minutes) + "/" + std::to_string(ticks);
}

std::string ErrorOf(const ListedObject& object) {
  return object.error == 0 ? "no error" : "error " + std::to_string(object.error);
}

const char* TypeText(const ListedObject& object) {
  switch (object.type & FSO_TYPE_MASK) {
    case FSO_TYPE_SOFTLINK:
      return "a soft link";
    case FSO_TYPE_FILE:
      return "a file";
    case FSO_TYPE_DIRECTORY:
      return "a directory";
    default:
      return "an object of an unknown type";
  }
}

/// Adds what of one object is otherwise in `now` than in `then`.
void CompareObjects(const std::string& name, const ListedObject& then, const ListedObject& now,
                    std::vector<std::string>& lines) {
  const auto differ = [&](const std::string& what, const std::string& is, const std::string& was) {
    if (is != was) lines.push_back(name + " " + what + is + ", it was " + was);
  };
  const std::size_t before = lines.size();
  differ("is ", TypeText(now), TypeText(then));
  if (lines.size() != before) return;
  differ("gives ", ErrorOf(now), ErrorOf(then));
  differ("has the size ", std::to_string(now.size), std::to_string(then.size));
  differ("has the date ", DateText(now), DateText(then));
  differ("has the protection ", Hex(now.protection), Hex(then.protection));
  differ("has the owner ", std::to_string(now.owner), std::to_string(then.owner));
  differ("has the group ", std::to_string(now.group), std::to_string(then.group));
  differ("has the comment ", Quoted(now.comment), Quoted(then.comment));
  differ("leads to ", Quoted(now.target), Quoted(then.target));
  differ("has the link count ", std::to_string(now.references), std::to_string(then.references));
  differ("has the number of entries ", std::to_string(now.times), std::to_string(then.times));
  const bool same_content = then.content == now.content && then.content_bytes == now.content_bytes;
  if (!same_content && lines.size() == before) lines.push_back(name + " has another content");
}

using CommonObjects = std::map<std::string, std::pair<const ListedObject*, const ListedObject*>>;

/// Adds which names were those of one object and are no more, or the other way round.
void CompareLinks(const CommonObjects& common, std::vector<std::string>& lines) {
  std::map<std::uint64_t, std::string> first_then;
  std::map<std::uint64_t, std::string> first_now;
  for (const auto& [path, both] : common) {
    const auto& [then, now] = both;
    if (then->id == 0 || now->id == 0) continue;
    const std::string& was = first_then.try_emplace(then->id, path).first->second;
    const std::string& is = first_now.try_emplace(now->id, path).first->second;
    if (was == is) continue;
    const std::string names = path + " and ";
    if (was != path) lines.push_back(names + was + " are no longer one object");
    if (is != path) lines.push_back(names + is + " have become one object");
  }
}

}  // namespace

VolumeListing ListVolume(HandlerPort& port, const ListingBounds& bounds) {
  return Lister(port, bounds).List();
}

std::vector<std::string> CompareListings(HandlerPort& port, const VolumeListing& before,
                                         const VolumeListing& after) {
  std::vector<std::string> lines;
  const auto name_of = [](const VolumeListing& listing) {
    return listing.volume_name.empty() ? "not called anything"
                                       : "called " + Quoted(listing.volume_name);
  };
  if (before.volume_name != after.volume_name) {
    lines.push_back("the volume is " + name_of(after) + ", it was " + name_of(before));
  }
  if (before.state != after.state) {
    lines.push_back("the volume has the state " + std::to_string(after.state) + ", it was " +
                    std::to_string(before.state));
  }
  CommonObjects common;
  for (const auto& [path, then] : before.objects) {
    const auto now = after.objects.find(path);
    if (now != after.objects.end()) {
      common.emplace(path, std::pair(&then, &now->second));
    } else if (!after.is_cut || IsGone(port, path)) {
      lines.push_back(path + " is missing");
    }
  }
  for (const auto& [path, now] : after.objects) {
    if (!before.is_cut && before.objects.count(path) == 0) lines.push_back(path + " is new");
  }
  for (const auto& [path, both] : common) CompareObjects(path, *both.first, *both.second, lines);
  CompareLinks(common, lines);
  // Last: with anything else its date changes.
  CompareObjects("the root", before.root, after.root, lines);
  return lines;
}

}  // namespace quorle
