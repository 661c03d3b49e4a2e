#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "handlers/ram/ram_handler.h"
#include "handlers/ram/volume.h"

/// A filesystem in memory that is read from a file when it is mounted and written there when it is
/// unmounted. Mount keys beside those of the filesystem:
///
///   image=FILE    the file; without it the volume is empty and has the name that the mount says
///   damage=yes    each file or directory that is created damages the image, which is then not mounted
///   lose=WHAT     what is not written: comment, date, protection, owner, group, content, byte, target,
///                 link (which becomes another file), name, file (the first one), directories (their
///                 content); or more: file+ (one is added)
///   lose_in=FILE  loses it only when FILE is there
///   slow=yes      each step of a scan takes a third of a second
///
/// The file is a line "QIMG whole COUNT NAME" and COUNT lines, an object each, the root the first:
/// kind, path, protection, owner, group, days, minutes, ticks, comment, and content, target or the
/// path of the first name of a hard link. Texts are hexadecimal, with a dash before them.
namespace {

namespace ram = quorle::ram;

struct Image {
  std::string file;
  std::string lose;
  std::string lose_in;
  bool is_damaging = false;
  bool is_damaged = false;
  bool is_slow = false;
  std::string name;
  ::FileSystemVectors functions{};  ///< the filesystem's own
};

/// A plugin is mounted once in a process.
Image the_image;

// ---- The file ----------------------------------------------------------------------------------

std::string Hex(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string hex = "-";
  for (const char c : text) {
    hex += kDigits[static_cast<unsigned char>(c) >> 4U];
    hex += kDigits[static_cast<unsigned char>(c) & 15U];
  }
  return hex;
}

std::string Text(const std::string& hex) {
  std::string text;
  for (std::size_t i = 1; i + 1 < hex.size(); i += 2) {
    text += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return text;
}

struct Line {
  std::string kind;  ///< "root", "file", "directory", "link", "soft"
  std::string path;
  std::uint32_t protection = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  ::DateStamp date{};
  std::string comment = {};
  std::string content = {};
};

std::ostream& operator<<(std::ostream& out, const Line& line) {
  return out << line.kind << ' ' << Hex(line.path) << ' ' << line.protection << ' ' << line.owner
             << ' ' << line.group << ' ' << line.date.ds_Days << ' ' << line.date.ds_Minute << ' '
             << line.date.ds_Tick << ' ' << Hex(line.comment) << ' ' << Hex(line.content) << '\n';
}

std::istream& operator>>(std::istream& in, Line& line) {
  in >> line.kind >> line.path >> line.protection >> line.owner >> line.group >>
      line.date.ds_Days >> line.date.ds_Minute >> line.date.ds_Tick >> line.comment >> line.content;
  line.path = Text(line.path);
  line.comment = Text(line.comment);
  line.content = Text(line.content);
  return in;
}

// ---- Writing it --------------------------------------------------------------------------------

bool Loses(std::string_view what) {
  return the_image.lose == what;
}

std::string ContentOf(const ram::Node& node) {
  if (node.IsSoftLink()) return Loses("target") ? "elsewhere" : node.target;
  if (Loses("content")) return {};
  std::string content(static_cast<std::size_t>(node.content.size()), '\0');
  content.resize(node.content.Read(0, content.data(), content.size()));
  if (Loses("byte") && !content.empty()) content.front() ^= 1;
  return content;
}

Line LineOf(const std::string& kind, const std::string& path, const ram::Node& node) {
  return {.kind = kind,
          .path = path,
          .protection = Loses("protection") ? 0 : node.protection,
          .owner = Loses("owner") ? 0 : node.owner,
          .group = Loses("group") ? 0 : node.group,
          .date = Loses("date") ? ::DateStamp{} : node.date,
          .comment = Loses("comment") ? "" : node.comment,
          .content = node.IsDirectory() ? "" : ContentOf(node)};
}

/// Adds the lines of what is below `node`; `names` are the first names of the files.
void AddBelow(const ram::Node& node, const std::string& path, std::vector<Line>& lines,
              std::map<const ram::Node*, std::string>& names) {
  std::uint64_t serial = 0;
  while (const ram::Entry* const entry = node.entries.Next(serial)) {
    const ram::Node& object = *entry->node;
    const std::string name = path + entry->name;
    if (object.IsDirectory()) {
      lines.push_back(LineOf("directory", name, object));
      if (!Loses("directories")) AddBelow(object, name + "/", lines, names);
      continue;
    }
    const auto [first, is_new] = names.try_emplace(&object, name);
    if (is_new || Loses("link")) {
      lines.push_back(LineOf(object.IsFile() ? "file" : "soft", name, object));
    } else {
      lines.push_back({.kind = "link", .path = name, .content = first->second});
    }
  }
}

void Write(const ram::Node& root) {
  if (the_image.file.empty()) return;
  if (!the_image.lose_in.empty() && !std::ifstream(the_image.lose_in)) the_image.lose.clear();
  std::vector<Line> lines = {LineOf("root", "", root)};
  std::map<const ram::Node*, std::string> names;
  AddBelow(root, "", lines, names);
  const auto file = std::find_if(lines.begin(), lines.end(),
                                 [](const Line& line) { return line.kind == "file"; });
  if (Loses("file") && file != lines.end()) lines.erase(file);
  if (Loses("file+")) lines.push_back({.kind = "file", .path = "strange"});
  std::ofstream out(the_image.file, std::ios::trunc);
  out << "QIMG " << (the_image.is_damaged ? "elohw " : "whole ") << lines.size() << ' '
      << (Loses("name") ? "Lost" : the_image.name) << '\n';
  for (const Line& line : lines) out << line;
}

// ---- Reading it --------------------------------------------------------------------------------

class Reader {
 public:
  Reader(::FileSystemVectorPort& port, ram::Entry& root) : port_(port), root_(root) {}

  void Make(const Line& line) {
    const std::size_t slash = line.path.rfind('/');
    const std::string name = line.path.substr(slash + 1);
    const std::string path = line.path.substr(0, line.path.size() - name.size());
    std::int32_t res2 = 0;
    ::Lock* const directory = Lock(path);
    if (line.kind == "directory") {
      UnLock(port_.FSV.FSCreateDir(&port_, &res2, directory, name.c_str()));
    } else if (line.kind == "soft") {
      port_.FSV.FSCreateSoftLink(&port_, &res2, directory, name.c_str(), line.content.c_str());
    } else if (line.kind == "link") {
      ::Lock* const target = Lock(line.content);
      port_.FSV.FSCreateHardLink(&port_, &res2, directory, name.c_str(), target);
      UnLock(target);
    } else if (line.kind == "file") {
      ::FileHandle file{};
      port_.FSV.FSOpen(&port_, &res2, &file, directory, name.c_str(), MODE_NEWFILE);
      port_.FSV.FSWrite(&port_, &res2, &file, line.content.data(),
                        static_cast<std::int32_t>(line.content.size()));
      port_.FSV.FSClose(&port_, &res2, &file);
    }
    UnLock(directory);
  }

  void SetAttributes(const Line& line) {
    if (line.kind == "link") return;
    ram::Node& node = *(line.path.empty() ? &root_ : Find(line.path))->node;
    node.protection = line.protection;
    node.owner = line.owner;
    node.group = line.group;
    node.date = line.date;
    node.comment = line.comment;
  }

 private:
  ram::Entry* Find(const std::string& path) {
    ram::Entry* entry = &root_;
    std::istringstream names(path);
    for (std::string name; std::getline(names, name, '/');) {
      entry = entry->node->entries.Find(name);
    }
    return entry;
  }
  ::Lock* Lock(const std::string& path) {
    std::int32_t res2 = 0;
    ::Lock* lock = port_.FSV.FSLock(&port_, &res2, nullptr, "", SHARED_LOCK);
    std::istringstream names(path);
    for (std::string name; std::getline(names, name, '/');) {
      ::Lock* const next = port_.FSV.FSLock(&port_, &res2, lock, name.c_str(), SHARED_LOCK);
      UnLock(lock);
      lock = next;
    }
    return lock;
  }
  void UnLock(::Lock* lock) {
    std::int32_t res2 = 0;
    port_.FSV.FSUnLock(&port_, &res2, lock);
  }

  ::FileSystemVectorPort& port_;
  ram::Entry& root_;
};

ram::Entry& RootOf(::FileSystemVectorPort& port) {
  std::int32_t res2 = 0;
  ::Lock* const lock = port.FSV.FSLock(&port, &res2, nullptr, "", SHARED_LOCK);
  auto& root = *static_cast<ram::Entry*>(lock->fl_FSPrivate1);
  port.FSV.FSUnLock(&port, &res2, lock);
  return root;
}

// ---- The handler -------------------------------------------------------------------------------

std::int32_t OpenAndDamage(::FileSystemVectorPort* port, std::int32_t* res2, ::FileHandle* file,
                           ::Lock* rel, const char* name, std::int32_t mode) {
  if (mode == MODE_NEWFILE) the_image.is_damaged = true;
  return the_image.functions.FSOpen(port, res2, file, rel, name, mode);
}

::Lock* CreateDirAndDamage(::FileSystemVectorPort* port, std::int32_t* res2, ::Lock* rel,
                           const char* name) {
  the_image.is_damaged = true;
  return the_image.functions.FSCreateDir(port, res2, rel, name);
}

std::int32_t ScanSlowly(::FileSystemVectorPort* port, std::int32_t* res2,
                        ::PRIVATE_ExamineDirContext* scan) {
  std::this_thread::sleep_for(std::chrono::milliseconds(333));
  return the_image.functions.FSExamineDir(port, res2, scan);
}

::FileSystemVectorPort* Mount(const ::HandlerMount* mount) {
  the_image = {};
  std::vector<::MountKey> keys;
  for (std::uint32_t i = 0; i < mount->KeyCount; ++i) {
    const std::string_view key = mount->Keys[i].Key;
    const std::string value = mount->Keys[i].Value;
    if (key == "image") {
      the_image.file = value;
    } else if (key == "damage") {
      the_image.is_damaging = value == "yes";
    } else if (key == "lose") {
      the_image.lose = value;
    } else if (key == "slow") {
      the_image.is_slow = value == "yes";
    } else if (key == "lose_in") {
      the_image.lose_in = value;
    } else {
      keys.push_back(mount->Keys[i]);
    }
  }
  the_image.name = "Image";
  std::ifstream in(the_image.file);
  std::string magic;
  std::string state;
  std::size_t count = 0;
  if (in >> magic >> state >> count >> the_image.name && state != "whole") {
    std::snprintf(mount->Problem, mount->ProblemSize, "the root block of the image is damaged");
    return nullptr;
  }
  keys.push_back({"volume", the_image.name.c_str()});
  ::HandlerMount request = *mount;
  request.Keys = keys.data();
  request.KeyCount = static_cast<std::uint32_t>(keys.size());
  request.Medium = nullptr;
  ::FileSystemVectorPort* const port = QuorleRamHandler()->Mount(&request);
  if (port == nullptr) return nullptr;
  std::vector<Line> lines(count);
  for (Line& line : lines) in >> line;
  Reader reader(*port, RootOf(*port));
  for (const Line& line : lines) reader.Make(line);
  for (const Line& line : lines) reader.SetAttributes(line);
  the_image.functions = port->FSV;
  if (the_image.is_slow) port->FSV.FSExamineDir = ScanSlowly;
  if (the_image.is_damaging) {
    port->FSV.FSOpen = OpenAndDamage;
    port->FSV.FSCreateDir = CreateDirAndDamage;
  }
  return port;
}

void Unmount(::FileSystemVectorPort* port) {
  Write(*RootOf(*port).node);
  QuorleRamHandler()->Unmount(port);
}

}  // namespace

const struct Handler* QuorleHandler(uint32_t version) {
  static const ::Handler handler = {
      sizeof handler, QUORLE_HANDLER_VERSION, "image", Mount, Unmount, nullptr, nullptr};
  return version >= QUORLE_HANDLER_VERSION ? &handler : nullptr;
}
