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

DosError Volume::MakeOwnFile(const Location& location, std::string_view content, Opened& made) {
  journal_.StartMaking(location.path);
  if (const DosError error = MakeFileAt(location.at(), made)) {
    journal_.Remove(location.path);
    return error;
  }
  AddOwn(location, location.host_name, made);
  if (const HostError error = WriteAt(made.fd.get(), 0, content)) {
    static_cast<void>(Remove(location, made));
    return error.ForWriting();
  }
  return Initialize(location, made, !content.empty());
}

DosError Volume::MakeOwnDirectory(const Location& location, Opened& made) {
  const NameAt aside{location.directory.fd.get(), aside_};
  if (const DosError error = MakeDirectoryAt(aside, root_.stat.device, made)) return error;
  AddOwn(location, aside_, made);
  const HostError error = RenameAt(aside, location.at());
  if (error) {
    ::unlinkat(aside.directory, aside_.c_str(), AT_REMOVEDIR);
    own_.Remove(made.stat.identity());
  }
  return error.ForWriting();
}

DosError Volume::Initialize(const Location& location, Opened& made, bool soft_link) {
  Record above;
  DosError error = records_->Read(location.directory, above);
  if (!error) {
    Record record;
    record.soft_link = soft_link;
    record.owner = above.owner;
    record.group = above.group;
    error = Date(made, record, now_());
    if (!error) error = records_->Write(made, record);
  }
  if (error) static_cast<void>(Remove(location, made));
  return error;
}

DosError Volume::Remove(const Location& location, const Opened& object) {
  const Identity identity = object.stat.identity();
  const Outcome outcome = RemoveAt(location.at(), identity, aside_);
  ReportAside(outcome, location.host_name);
  if (!outcome.error) {
    journal_.Remove(location.path);
    if (object.IsDirectory() || object.stat.links <= 1) {
      records_->Forget(object);
      own_.Remove(identity);
    }
  }
  return outcome.error.ForDeleting();
}

void Volume::ReportAside(const Outcome& outcome, const std::string& host_name) {
  if (!outcome.is_aside) return;
  report_("what was called " + host_name + " is called " + aside_ +
          " now: another process has taken its name");
  aside_ = AsideName();
  journal_.AddAsideName(aside_);
}

// ---- Making ------------------------------------------------------------------------------------

DosError Volume::MakeFile(const EntryRef& rel, std::string_view name, EntryRef& made) {
  Location location;
  Opened content;
  if (const DosError error = LocateNew(rel, name, location)) return error;
  if (const DosError error = MakeOwnFile(location, {}, content)) return error;
  made = tree_.Insert(location.parent, location.host_name, name, content.stat.identity(),
                      ObjectKind::kFile);
  made->object->content = std::move(content);
  made->object->write_refusal = kNoError;
  Touch(location.parent, true);
  return kNoError;
}

DosError Volume::MakeDirectory(const EntryRef& rel, std::string_view name, EntryRef& made) {
  Location location;
  Opened opened;
  if (const DosError error = LocateNew(rel, name, location)) return error;
  journal_.StartMaking(location.path);
  if (const DosError error = MakeOwnDirectory(location, opened)) {
    journal_.Remove(location.path);
    return error;
  }
  if (const DosError error = Initialize(location, opened, false)) return error;
  made = tree_.Insert(location.parent, location.host_name, name, opened.stat.identity(),
                      ObjectKind::kDirectory);
  Touch(location.parent, true);
  return kNoError;
}

DosError Volume::MakeSoftLink(const EntryRef& rel, std::string_view name, std::string_view target) {
  if (target.empty() || target.size() > common::kMaxTarget) {
    return WriteProblem().Or(ERROR_INVALID_COMPONENT_NAME);
  }
  Location location;
  Opened content;
  if (const DosError error = LocateNew(rel, name, location)) return error;
  if (const DosError error = MakeOwnFile(location, target, content)) return error;
  Touch(location.parent, true);
  return kNoError;
}

DosError Volume::MakeHardLink(const EntryRef& rel, std::string_view name, const Entry& target) {
  Location location;
  if (const DosError error = LocateNew(rel, name, location)) return error;
  if (target.object->IsDirectory()) {
    // A loop is refused as such; any other link to a directory is what the host does not have.
    return IsInside(*location.parent, target) ? ERROR_OBJECT_WRONG_TYPE : ERROR_ACTION_NOT_KNOWN;
  }
  Opened source;
  if (const DosError error = Reach(target, source)) return error;
  if (const DosError error = ForeignProblem(*target.object)) return error;
  journal_.StartMaking(location.path);
  if (const HostError error = LinkAt(source, location.at())) {
    journal_.Remove(location.path);
    return error.ForLinking();
  }
  journal_.FinishMaking(target.object->identity, location.path);
  Touch(location.parent, true);
  return kNoError;
}

// ---- Deleting and renaming ---------------------------------------------------------------------

DosError Volume::Delete(const EntryRef& rel, std::string_view name) {
  if (const DosError error = WriteProblem()) return error;
  EntryRef entry;
  if (const DosError error = Find(rel, name, entry)) return error;
  if (entry == root() || entry->uses > 0) return ERROR_OBJECT_IN_USE;
  if (const DosError error = ForeignProblem(*entry->object)) return error;
  Opened object;
  Record record;
  if (const DosError error = ReachRecord(*entry, object, record)) return error;
  if ((record.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  if (entry->object->IsFile() && (record.protection & EXDF_NO_WRITE) != 0) {
    return ERROR_WRITE_PROTECTED;
  }
  Location location;
  if (const DosError error = Locate(*entry, location)) return error;
  if (object.IsDirectory()) {
    // Asked first: the directory above keeps its date when nothing is deleted.
    std::vector<std::string> names;
    if (!ListNames(object.fd.get(), names) && !names.empty()) return ERROR_DIRECTORY_NOT_EMPTY;
  }
  if (const DosError error = Remove(location, object)) return error;
  entry->Detach();
  Touch(location.parent, true);
  return kNoError;
}

DosError Volume::Rename(const EntryRef& from_rel, std::string_view from, const EntryRef& to_rel,
                        std::string_view to) {
  if (const DosError error = WriteProblem()) return error;
  EntryRef entry;
  if (const DosError error = Find(from_rel, from, entry)) return error;
  if (entry == root()) return ERROR_OBJECT_IN_USE;
  Location source;
  Location target;
  target.Set(to_rel == nullptr ? root() : to_rel, ToHostName(to));
  if (to.empty()) return target.parent == entry ? kNoError : ERROR_OBJECT_EXISTS;

  if (const DosError error = Locate(*entry, source)) return error;
  std::string existing;
  const DosError found = Search(*target.parent, to, target.directory, existing);
  if (found && found != ERROR_OBJECT_NOT_FOUND) return found;
  const bool is_itself = !found && source.parent == target.parent && existing == source.host_name;
  if (!found && !is_itself) return ERROR_OBJECT_EXISTS;
  if (IsInside(*target.parent, *entry)) return ERROR_OBJECT_IN_USE;
  for (const EntryRef& changed : {entry, source.parent, target.parent}) {
    if (const DosError error = ForeignProblem(*changed->object)) return error;
  }
  if (const DosError error = Move(entry, source, target, to)) return error;
  Touch(source.parent, true);
  if (source.parent != target.parent) Touch(target.parent, true);
  return kNoError;
}

DosError Volume::Move(const EntryRef& entry, const Location& from, const Location& to,
                      std::string_view name) {
  if (from.parent == to.parent && from.host_name == to.host_name) return kNoError;
  journal_.Rename(from.path, to.path);
  const Outcome outcome = MoveAt(from.at(), entry->object->identity, aside_, to.at());
  ReportAside(outcome, from.host_name);
  if (outcome.error) {
    journal_.Rename(to.path, from.path);
    return outcome.error.ForMoving(entry->object->IsDirectory());
  }
  Tree::Move(entry, to.parent, to.host_name, name);
  return kNoError;
}

}  // namespace quorle::hostdir
