#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "handlers/common/names.h"
#include "handlers/hostdir/host_content.h"
#include "handlers/hostdir/host_names.h"
#include "handlers/hostdir/volume.h"

// Making, deleting and renaming objects.

namespace quorle::hostdir {

// ---- What is common to all that are made -------------------------------------------------------

void Volume::AddOwn(const Location& location, const std::string& host_name, const Opened& made) {
  journal_.FinishMaking(made.stat.identity(), location.path);
  own_.Add(made.stat.identity(), {location.directory.fd.get(), host_name});
}

Opened Volume::MakeOwnFile(const Location& location, std::string_view content) {
  Opened made;
  journal_.StartMaking(location.path);
  const DosError error = MakeFileAt(location.at(), made);
  if (error) journal_.Remove(location.path);
  Check(error);
  AddOwn(location, location.host_name, made);
  const HostError full = WriteAt(made.fd.get(), 0, content);
  if (full) static_cast<void>(Catch([&] { Remove(location, made); }));
  Check(full.ForWriting());
  Initialize(location, made, !content.empty());
  return made;
}

Opened Volume::MakeOwnDirectory(const Location& location) {
  Opened made;
  const NameAt aside{location.directory.fd.get(), aside_};
  journal_.StartMaking(location.path);
  DosError error = MakeDirectoryAt(aside, root_.stat.device, made);
  if (!error) {
    AddOwn(location, aside_, made);
    error = RenameAt(aside, location.at()).ForWriting();
    if (error) {
      ::unlinkat(aside.directory, aside_.c_str(), AT_REMOVEDIR);
      own_.Remove(made.stat.identity());
    }
  }
  if (error) journal_.Remove(location.path);
  Check(error);
  Initialize(location, made, false);
  return made;
}

void Volume::Initialize(const Location& location, Opened& made, bool soft_link) {
  try {
    const Record above = ReadRecord(location.directory);
    Record record;
    record.soft_link = soft_link;
    record.owner = above.owner;
    record.group = above.group;
    Date(made, record, now_());
    Check(records_->Write(made, record));
  } catch (const DosError&) {
    static_cast<void>(Catch([&] { Remove(location, made); }));
    throw;
  }
}

void Volume::Remove(const Location& location, const Opened& object) {
  const Identity identity = object.stat.identity();
  const Outcome outcome = RemoveAt(location.at(), identity, aside_);
  ReportAside(outcome, location.host_name);
  Check(outcome.error.ForDeleting());
  journal_.Remove(location.path);
  if (object.IsDirectory() || object.stat.links <= 1) {
    records_->Forget(object);
    own_.Remove(identity);
  }
}

void Volume::ReportAside(const Outcome& outcome, const std::string& host_name) {
  if (!outcome.is_aside) return;
  report_("what was called " + host_name + " is called " + aside_ +
          " now: another process has taken its name");
  aside_ = AsideName();
  journal_.AddAsideName(aside_);
}

// ---- Making ------------------------------------------------------------------------------------

EntryRef Volume::MakeFile(const EntryRef& rel, std::string_view name) {
  const Location location = LocateNew(rel, name);
  Opened content = MakeOwnFile(location, {});
  EntryRef made = tree_.Insert(location.parent, location.host_name, name, content.stat.identity(),
                               ObjectKind::kFile);
  made->object->content = std::move(content);
  made->object->write_refusal = kNoError;
  Touch(location.parent, true);
  return made;
}

DosError Volume::MakeDirectory(const EntryRef& rel, std::string_view name, EntryRef& made) {
  const Location location = LocateNew(rel, name);
  const Opened opened = MakeOwnDirectory(location);
  made = tree_.Insert(location.parent, location.host_name, name, opened.stat.identity(),
                      ObjectKind::kDirectory);
  Touch(location.parent, true);
  return kNoError;
}

DosError Volume::MakeSoftLink(const EntryRef& rel, std::string_view name, std::string_view target) {
  Check(WriteProblem());
  if (target.empty() || target.size() > common::kMaxTarget) return ERROR_INVALID_COMPONENT_NAME;
  const Location location = LocateNew(rel, name);
  static_cast<void>(MakeOwnFile(location, target));
  Touch(location.parent, true);
  return kNoError;
}

DosError Volume::MakeHardLink(const EntryRef& rel, std::string_view name, const Entry& target) {
  const Location location = LocateNew(rel, name);
  if (target.object->IsDirectory()) {
    // A loop is refused as such; any other link to a directory is what the host does not have.
    return IsInside(*location.parent, target) ? ERROR_OBJECT_WRONG_TYPE : ERROR_ACTION_NOT_KNOWN;
  }
  const Opened source = Reach(target);
  CheckOwn(*target.object);
  journal_.StartMaking(location.path);
  const HostError error = LinkAt(source, location.at());
  if (error) journal_.Remove(location.path);
  Check(error.ForLinking());
  journal_.FinishMaking(target.object->identity, location.path);
  Touch(location.parent, true);
  return kNoError;
}

// ---- Deleting and renaming ---------------------------------------------------------------------

DosError Volume::Delete(const EntryRef& rel, std::string_view name) {
  Check(WriteProblem());
  const EntryRef entry = LookUp(rel, name);
  if (entry == root() || entry->uses > 0) return ERROR_OBJECT_IN_USE;
  CheckOwn(*entry->object);
  const Opened object = Reach(*entry);
  const Record record = ReadRecord(object);
  if ((record.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  if (entry->object->IsFile() && (record.protection & EXDF_NO_WRITE) != 0) {
    return ERROR_WRITE_PROTECTED;
  }
  const Location location = Locate(*entry);
  if (object.IsDirectory()) {
    // Asked first: the directory above keeps its date when nothing is deleted.
    std::vector<std::string> names;
    if (!ListNames(object.fd.get(), names) && !names.empty()) return ERROR_DIRECTORY_NOT_EMPTY;
  }
  Remove(location, object);
  entry->Detach();
  Touch(location.parent, true);
  return kNoError;
}

DosError Volume::Rename(const EntryRef& from_rel, std::string_view from, const EntryRef& to_rel,
                        std::string_view to) {
  Check(WriteProblem());
  const EntryRef entry = LookUp(from_rel, from);
  if (entry == root()) return ERROR_OBJECT_IN_USE;
  Location target(to_rel == nullptr ? root() : to_rel, ToHostName(to));
  if (to.empty()) return target.parent == entry ? kNoError : ERROR_OBJECT_EXISTS;

  const Location source = Locate(*entry);
  std::string existing;
  if (Search(*target.parent, to, target.directory, existing)) {
    const bool is_itself = source.parent == target.parent && existing == source.host_name;
    if (!is_itself) return ERROR_OBJECT_EXISTS;
  }
  if (IsInside(*target.parent, *entry)) return ERROR_OBJECT_IN_USE;
  CheckOwn(*entry->object);
  CheckOwn(*source.parent->object);
  CheckOwn(*target.parent->object);
  Move(entry, source, target, to);
  Touch(source.parent, true);
  if (source.parent != target.parent) Touch(target.parent, true);
  return kNoError;
}

void Volume::Move(const EntryRef& entry, const Location& from, const Location& to,
                  std::string_view name) {
  if (from.parent == to.parent && from.host_name == to.host_name) return;
  journal_.Rename(from.path, to.path);
  const Outcome outcome = MoveAt(from.at(), entry->object->identity, aside_, to.at());
  ReportAside(outcome, from.host_name);
  if (outcome.error) journal_.Rename(to.path, from.path);
  Check(outcome.error.ForMoving(entry->object->IsDirectory()));
  Tree::Move(entry, to.parent, to.host_name, name);
}

}  // namespace quorle::hostdir
