#include <algorithm>

#include "handlers/ram/names.h"
#include "handlers/ram/volume.h"

namespace quorle::ram {
namespace {

/// Blocks that a volume without a limit shows; it grows past them when it must.
constexpr std::uint64_t kShownBlocks = 1U << 21;

bool IsSameMoment(const ::DateStamp& a, const ::DateStamp& b) {
  return a.ds_Days == b.ds_Days && a.ds_Minute == b.ds_Minute && a.ds_Tick == b.ds_Tick;
}

/// The last moment of a minute is followed by the first one: all that matters is another date.
::DateStamp TickAfter(::DateStamp date) {
  constexpr std::int32_t kTicksInMinute = 60 * 50;
  date.ds_Tick = (date.ds_Tick + 1) % kTicksInMinute;
  return date;
}

}  // namespace

// ---- Looking at objects ------------------------------------------------------------------------

DosError Volume::Examine(const Entry& entry, ObjectInfo& info) {
  const Node& node = *entry.node;
  const bool is_own_name = node.names.front() == &entry;
  switch (node.kind) {
    case ObjectKind::kFile:
      info.type = FSO_TYPE_FILE;
      info.size = node.content.size();
      break;
    case ObjectKind::kDirectory:
      info.type = FSO_TYPE_DIRECTORY;
      break;
    case ObjectKind::kSoftLink:
      info.type = static_cast<std::uint32_t>(FSO_TYPE_SOFTLINK) | FSOF_LINK;
      break;
  }
  if (!is_own_name) info.type |= FSOF_LINK;
  info.references = is_own_name ? static_cast<std::uint32_t>(node.names.size()) : 1;
  info.id = node.id;
  info.date = node.date;
  info.protection = node.protection;
  info.owner = node.owner;
  info.group = node.group;
  info.comment = node.comment;
  return kNoError;
}

DosError Volume::ReadTarget(const Entry& entry, std::string& target) {
  if (!entry.node->IsSoftLink()) return ERROR_OBJECT_WRONG_TYPE;
  target = entry.node->target;
  return kNoError;
}

DosError Volume::Next(const Entry* directory, PRIVATE_ExamineDirContext& context, Entry*& found,
                      ObjectInfo& info) {
  if (!directory->node->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  std::uint64_t serial =
      static_cast<std::uint64_t>(static_cast<std::uint32_t>(context.FSPrivate[1])) << 32 |
      static_cast<std::uint32_t>(context.FSPrivate[0]);
  found = directory->node->entries.Next(serial);
  if (found == nullptr) return ERROR_NO_MORE_ENTRIES;
  const Node& node = *found->node;
  if (node.IsSoftLink()) {
    info.link = node.target;
  } else if (node.names.front() != found) {
    info.link = node.names.front()->name;
  }
  context.FSPrivate[0] = static_cast<std::intptr_t>(static_cast<std::uint32_t>(serial));
  context.FSPrivate[1] = static_cast<std::intptr_t>(serial >> 32);
  return Examine(*found, info);
}

// ---- The volume --------------------------------------------------------------------------------

DosError Volume::Relabel(std::string_view name) {
  root_.name = name;
  settings_.label = common::IsNoLabel(settings_, name) ? std::string_view() : name;
  root_node_.date = now_();
  watches_.NotifyAttributes(root_node_);
  return kNoError;
}

DosError Volume::Format(std::string_view name, std::uint32_t dos_type) {
  const std::vector<std::function<void()>> notify = watches_.AllThatExist();
  Discard(root_);
  root_node_.protection = 0;
  root_node_.owner = 0;
  root_node_.group = 0;
  root_node_.comment.clear();
  root_node_.date = now_();
  root_.name = name;
  settings_.label = common::IsNoLabel(settings_, name) ? std::string_view() : name;
  settings_.dos_type = dos_type;
  settings_.validated = true;
  for (const std::function<void()>& each : notify) each();
  return kNoError;
}

DosError Volume::Serialize() {
  const ::DateStamp now = now_();
  root_node_.date = IsSameMoment(root_node_.date, now) ? TickAfter(now) : now;
  watches_.NotifyAttributes(root_node_);
  return kNoError;
}

DosError Volume::GetSpace(common::VolumeSpace& space) const {
  space = {blocks(), blocks_used(), static_cast<std::uint64_t>(Content::kPageSize)};
  return kNoError;
}

std::uint32_t Volume::max_name() const {
  return kMaxName;
}

std::uint64_t Volume::blocks() const {
  if (size_ != 0) return size_ / Content::kPageSize;
  return std::max(kShownBlocks, blocks_used() * 2);
}

bool Volume::HasRoomFor(std::uint64_t blocks_wanted) const {
  return size_ == 0 || blocks_used() + blocks_wanted <= blocks();
}

}  // namespace quorle::ram
