#include "handlers/hostdir/volume.h"

#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "handlers/common/names.h"
#include "handlers/hostdir/host_names.h"

// The volume as a whole. What it does with names, files and objects is in the files beside it.

namespace quorle::hostdir {
namespace {

/// Whether a program serves the filesystem of what is open, of which not every one does all that those
/// of the kernel do.
bool IsFuse(int fd) {
  constexpr auto kFuse = 0x65735546;
  struct ::statfs stat {};
  return ::fstatfs(fd, &stat) != 0 || stat.f_type == kFuse;
}

}  // namespace

Volume::Volume(VolumeSettings settings, Now now, MountedDirectory directory)
    : settings_(std::move(settings)),
      root_(std::move(directory.root)),
      records_(std::move(directory.records)),
      now_(std::move(now)),
      is_fuse_(IsFuse(root_.fd.get())),
      names_(!is_fuse_),
      tree_(root_),
      own_(directory.scratch, tree_.root()->object),
      journal_(std::move(directory.journal)),
      medium_(directory.medium),
      report_(std::move(directory.report)),
      aside_(AsideName()) {
  journal_.AddAsideName(aside_);
  for (const auto& [identity, kind] : directory.last.objects) {
    auto object = std::make_shared<Object>();
    object->identity = identity;
    object->kind = kind;
    own_.Add(object);
  }
  for (const JournalEntry& entry : directory.last.journal) {
    journal_.StartMaking(entry.path);
    if (entry.identity) journal_.FinishMaking(*entry.identity, entry.path);
  }
  tree_.root()->name = common::RootName(settings_);
  Record record;
  if (!records_->Read(root_, record)) kept_label_ = record.label;
  name_at_mount_ = tree_.root()->name;
}

LastMount Volume::Leave() const {
  return {own_.AllBut(root_.stat.identity()), journal_.entries().all()};
}

DosError Volume::Relabel(std::string_view name) {
  const bool is_no_label = common::IsNoLabel(settings_, name);
  const auto change = [&](Record& record) {
    // A volume that is called as it was when it was mounted has the record that it had then: the
    // name may come from the mount alone.
    record.label = std::string(name);
    if (is_no_label || name == name_at_mount_) record.label = kept_label_;
  };
  const ::DateStamp now = now_();
  names_.Forget(root_.stat.identity());
  if (const DosError error = Catch([&] { ChangeRecord(root_, change, &now); })) return error;
  root()->name = name;
  settings_.label = is_no_label ? std::string_view() : name;
  return kNoError;
}

DosError Volume::Flush() {
  return HostError::Of(::syncfs(root_.fd.get())).ForWriting();
}

DosError Volume::GetSpace(common::VolumeSpace& space) const {
  struct ::statvfs stat {};
  Check(HostError::Of(::fstatvfs(root_.fd.get(), &stat)).ForReading());
  space.blocks = stat.f_blocks;
  space.blocks_used = stat.f_blocks - std::min<std::uint64_t>(stat.f_bavail, stat.f_blocks);
  space.block_size = stat.f_frsize;
  return kNoError;
}

std::uint32_t Volume::max_name() const {
  const long host = ::fpathconf(root_.fd.get(), _PC_NAME_MAX);
  const auto most = static_cast<long>(common::kMaxName);
  return static_cast<std::uint32_t>(host > 0 ? std::min(host, most) : most);
}

}  // namespace quorle::hostdir
