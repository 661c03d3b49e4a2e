#include "selftest/unit/hosted/tree_handler.h"

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "hosted/dos/latin1.h"

namespace quorle {
namespace {

struct Node {
  enum class ObjectType { kDirectory, kFile, kLink };
  ObjectType kind = ObjectType::kDirectory;
  Node* parent = nullptr;
  std::string name;
  std::string target;
  std::map<std::string, std::unique_ptr<Node>> children;
};

struct Tree {
  const ::HandlerServices* dos;
  Node root;
  std::size_t live = 0;
  std::size_t granted = 0;
};

Tree& TreeOf(const ::FileSystemVectorPort* port) {
  return *static_cast<Tree*>(port->FSV.FSPrivate);
}

Node& NodeOf(Tree& tree, const ::Lock* lock) {
  return lock == nullptr ? tree.root : *static_cast<Node*>(lock->fl_FSPrivate1);
}

Node* Child(Node& directory, std::string_view name) {
  for (auto& [child_name, child] : directory.children) {
    if (CompareLatin1(child_name, name) == 0) return child.get();
  }
  return nullptr;
}

/// The object that a call means; null with `res2` set. A link is given as it stands.
Node* Find(Tree& tree, std::int32_t* res2, const ::Lock* rel, const char* name) {
  Node& start = NodeOf(tree, rel);
  if (*name == '\0') return &start;
  if (start.kind != Node::ObjectType::kDirectory) {
    *res2 = ERROR_OBJECT_WRONG_TYPE;
    return nullptr;
  }
  Node* const child = Child(start, name);
  if (child == nullptr) *res2 = ERROR_OBJECT_NOT_FOUND;
  return child;
}

::Lock* Grant(Tree& tree, Node& node, std::int32_t mode) {
  auto* const lock =
      static_cast<::Lock*>(tree.dos->AllocDosObject(tree.dos, QUORLE_DOS_LOCK, nullptr));
  lock->fl_Access = mode;
  lock->fl_FSPrivate1 = &node;
  ++tree.live;
  ++tree.granted;
  return lock;
}

::Lock* LockNode(::FileSystemVectorPort* port, std::int32_t* res2, ::Lock* rel, const char* name,
                 std::int32_t mode) {
  Tree& tree = TreeOf(port);
  Node* const node = Find(tree, res2, rel, name);
  if (node == nullptr) return nullptr;
  if (node->kind == Node::ObjectType::kLink) {
    *res2 = ERROR_IS_SOFT_LINK;
    return nullptr;
  }
  return Grant(tree, *node, mode);
}

std::int32_t UnLockNode(::FileSystemVectorPort* port, std::int32_t*, ::Lock* lock) {
  Tree& tree = TreeOf(port);
  tree.dos->FreeDosObject(tree.dos, QUORLE_DOS_LOCK, lock);
  --tree.live;
  return 1;
}

::Lock* ParentOf(::FileSystemVectorPort* port, std::int32_t*, ::Lock* lock) {
  Tree& tree = TreeOf(port);
  Node* const parent = NodeOf(tree, lock).parent;
  return parent == nullptr ? nullptr : Grant(tree, *parent, SHARED_LOCK);
}

std::int32_t ReadLink(::FileSystemVectorPort* port, std::int32_t* res2, ::Lock* rel,
                      const char* name, char* buffer, std::int32_t size) {
  Node* const node = Find(TreeOf(port), res2, rel, name);
  if (node == nullptr) return -1;
  if (node->kind != Node::ObjectType::kLink) {
    *res2 = ERROR_OBJECT_WRONG_TYPE;
    return -1;
  }
  if (node->target.size() >= static_cast<std::size_t>(size)) {
    *res2 = ERROR_LINE_TOO_LONG;
    return -2;
  }
  std::strcpy(buffer, node->target.c_str());
  return static_cast<std::int32_t>(node->target.size());
}

void AddObject(Tree& tree, std::string_view path) {
  Node node;
  const std::size_t arrow = path.find('>');
  if (arrow != std::string_view::npos) {
    node.kind = Node::ObjectType::kLink;
    node.target = path.substr(arrow + 1);
    path = path.substr(0, arrow);
  } else if (path.ends_with('/')) {
    path.remove_suffix(1);
  } else {
    node.kind = Node::ObjectType::kFile;
  }
  Node* directory = &tree.root;
  for (std::size_t slash = path.find('/'); slash != std::string_view::npos;
       slash = path.find('/')) {
    directory = Child(*directory, path.substr(0, slash));
    path = path.substr(slash + 1);
  }
  node.name = path;
  node.parent = directory;
  directory->children.emplace(path, std::make_unique<Node>(std::move(node)));
}

::FileSystemVectorPort* MountTree(const ::HandlerMount* mount) {
  auto tree = std::make_unique<Tree>();
  tree->dos = mount->Dos;
  const char* volume = nullptr;
  for (std::uint32_t i = 0; i < mount->KeyCount; ++i) {
    const std::string_view key = mount->Keys[i].Key;
    std::string_view rest = mount->Keys[i].Value;
    if (key == "volume") volume = mount->Keys[i].Value;
    while (key == "tree" && !rest.empty()) {
      const std::size_t end = std::min(rest.find(';'), rest.size());
      AddObject(*tree, rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  ::FileSystemVectors table{};
  table.StructSize = sizeof table;
  table.Version = QUORLE_FS_VECTORPORT_VERSION;
  table.FSPrivate = tree.get();
  table.FSLock = LockNode;
  table.FSUnLock = UnLockNode;
  table.FSParentDir = ParentOf;
  table.FSReadSoftLink = ReadLink;
  table.End_Marker = -1;
  const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&table)},
                            {QUORLE_TAG_DONE, 0}};
  auto* const port = static_cast<::FileSystemVectorPort*>(
      mount->Dos->AllocDosObject(mount->Dos, QUORLE_DOS_FSVECTORPORT, tags));
  if (volume != nullptr && mount->Dos->SetVolumeName(mount->Dos, port, volume) == 0) {
    mount->Dos->FreeDosObject(mount->Dos, QUORLE_DOS_FSVECTORPORT, port);
    return nullptr;
  }
  static_cast<void>(tree.release());  // UnmountTree() has it now
  return port;
}

void UnmountTree(::FileSystemVectorPort* port) {
  const std::unique_ptr<Tree> tree(&TreeOf(port));
  tree->dos->FreeDosObject(tree->dos, QUORLE_DOS_FSVECTORPORT, port);
}

constexpr ::Handler kTreeHandler = {.StructSize = sizeof(::Handler),
                                    .Version = QUORLE_HANDLER_VERSION,
                                    .Name = "tree",
                                    .Mount = MountTree,
                                    .Unmount = UnmountTree,
                                    .Packet = nullptr,
                                    .Discard = nullptr};

Tree& TreeBehind(const HandlerPort& port) {
  return TreeOf(reinterpret_cast<const ::FileSystemVectorPort*>(port.port()));
}

}  // namespace

const ::Handler& TreeHandler() {
  return kTreeHandler;
}

std::size_t LiveLocks(const HandlerPort& port) {
  return TreeBehind(port).live;
}

std::size_t GrantedLocks(const HandlerPort& port) {
  return TreeBehind(port).granted;
}

}  // namespace quorle
