#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <utility>

#include "handlers/common/names.h"
#include "handlers/hostdir/host_content.h"
#include "handlers/hostdir/host_names.h"
#include "handlers/hostdir/volume.h"

// Making, deleting and renaming objects.

namespace quorle::hostdir {

// ---- What is common to all that are made -------------------------------------------------------

EntryRef Volume::AddOwn(const Location& location, ObjectKind kind, const Opened& made) {
  const Identity identity = made.stat.identity();
  EntryRef entry = tree_.Insert(location.parent, location.host_name, location.name, identity, kind);
  own_.Add(entry->object);
  return entry;
}

void Volume::Hold(Object& object, const NameAt& at) const {
  object.held = {};
  if (!own_.HasRoomToHold()) return;
  Opened& held = object.held;
  if (OpenLooked(at, root_.stat.device, held) || held.stat.identity() != object.identity) held = {};
}

EntryRef Volume::MakeOwnFile(Location& location, std::string_view content, Opened& made) {
  const std::string path = location.Path();
  ReadMark(location);
  journal_.StartMaking(path);
  const DosError refusal = MakeFileAt(location.at(), made);
  if (refusal) journal_.Remove(path);
  Check(refusal);
  // What cannot be looked at cannot be removed either: nothing says that it still has the name.
  Check(StatAgain(made));
  // Before all else: what is not known by its identity stays there when the run is killed.
  journal_.FinishMaking(made.stat.identity(), path);
  const DosError error = Catch([&] {
    Check(WriteAt(made.fd.get(), 0, content).ForWriting());
    Initialize(location, made, !content.empty());
  });
  EntryRef entry =
      AddOwn(location, content.empty() ? ObjectKind::kFile : ObjectKind::kSoftLink, made);
  if (error) static_cast<void>(Catch([&] { Remove(location, made); }));
  Check(error);
  Hold(*entry->object, location.at());
  return entry;
}

EntryRef Volume::MakeOwnDirectory(Location& location) {
  Opened made;
  const NameAt aside{location.directory().fd.get(), aside_};
  const std::string path = location.Path();
  ReadMark(location);
  journal_.StartMaking(path);
  DosError error = MakeDirectoryAt(aside, root_.stat.device, made);
  EntryRef entry;
  if (!error) {
    journal_.FinishMaking(made.stat.identity(), path);
    entry = AddOwn(location, ObjectKind::kDirectory, made);
    if (own_.HasRoomToHold()) entry->object->held = made;
    error = RenameAt(aside, location.at()).ForWriting();
    if (error) {
      ::unlinkat(aside.directory, aside_.c_str(), AT_REMOVEDIR);
      own_.Remove(made.stat.identity());
      entry->Detach();
    }
  }
  if (error) journal_.Remove(path);
  Check(error);
  error = Catch([&] { Initialize(location, made, false); });
  if (error) static_cast<void>(Catch([&] { Remove(location, made); }));
  Check(error);
  names_.AddEmpty(made.stat, location.directory().stat.identity());
  return entry;
}

void Volume::ReadMark(Location& location) const {
  if (!location.mark) location.mark = names_.NewMark(ReadRecord(location.directory()));
}

void Volume::Initialize(const Location& location, Opened& made, bool soft_link) {
  const Record& above = location.mark->record;
  Record record;
  record.soft_link = soft_link;
  record.owner = above.owner;
  record.group = above.group;
  Date(made, record, now_());
  Check(records_->WriteFirst(made, record));
}

void Volume::Remove(const Location& location, const Opened& object) {
  const Identity identity = object.stat.identity();
  const Outcome outcome = RemoveAt(location.at(), identity, aside_);
  ReportAside(outcome, location.host_name);
  Check(outcome.error.ForDeleting());
  journal_.Remove(location.Path());
  if (object.IsDirectory() || object.stat.links <= 1) {
    records_->Forget(object);
    own_.Remove(identity);
    names_.Forget(identity);
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

EntryRef Volume::MakeFile(Location location) {
  Opened content;
  EntryRef made = MakeOwnFile(location, {}, content);
  made->object->content = std::move(content);
  made->object->write_refusal = kNoError;
  TouchAdded(std::move(location));
  return made;
}

DosError Volume::MakeDirectory(const EntryRef& rel, std::string_view name, EntryRef& made) {
  Location location = LocateNew(rel, name);
  made = MakeOwnDirectory(location);
  TouchAdded(std::move(location));
  return kNoError;
}

DosError Volume::MakeSoftLink(const EntryRef& rel, std::string_view name, std::string_view target) {
  Check(WriteProblem());
  if (target.empty() || target.size() > common::kMaxTarget) return ERROR_INVALID_COMPONENT_NAME;
  Location location = LocateNew(rel, name);
  Opened made;
  static_cast<void>(MakeOwnFile(location, target, made));
  TouchAdded(std::move(location));
  return kNoError;
}

DosError Volume::MakeHardLink(const EntryRef& rel, std::string_view name, const Entry& target) {
  Location location = LocateNew(rel, name);
  if (target.object->IsDirectory()) {
    // A loop is refused as such; any other link to a directory is what the host does not have.
    return IsInside(*location.parent, target) ? ERROR_OBJECT_WRONG_TYPE : ERROR_ACTION_NOT_KNOWN;
  }
  const Opened source = Reach(target, Use::kAnything).back();
  CheckOwn(*target.object);
  const std::string path = location.Path();
  journal_.StartMaking(path);
  const HostError error = LinkAt(source, location.at());
  if (error) journal_.Remove(path);
  Check(error.ForLinking());
  journal_.FinishMaking(target.object->identity, path);
  TouchAdded(std::move(location));
  return kNoError;
}

// ---- Deleting and renaming ---------------------------------------------------------------------

DosError Volume::Delete(const EntryRef& rel, std::string_view name) {
  Check(WriteProblem());
  Found found;
  if (const DosError error = LookUp(rel, name, found)) return error;
  const EntryRef entry = found.entry;
  if (entry == root() || entry->uses > 0) return ERROR_OBJECT_IN_USE;
  CheckOwn(*entry->object);
  // Open until it is removed: FUSE filesystems hear of closing some time later, and a file that is removed
  // just then may stay under another name.
  Opened& object = OpenFound(found, Use::kAnything);
  const Record record = ReadRecord(object);
  if ((record.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  if (entry->object->IsFile() && (record.protection & EXDF_NO_WRITE) != 0) {
    return ERROR_WRITE_PROTECTED;
  }
  Location location = Locate(found);
  // Asked first: the directory above keeps its date when nothing is deleted.
  if (object.IsDirectory() && !IsEmpty(found)) return ERROR_DIRECTORY_NOT_EMPTY;
  Descriptor watched;
  if (is_fuse_ && object.stat.IsFile()) watched = Watch(location.at());
  Remove(location, object);
  entry->Detach();
  if (watched) {
    const std::uint32_t links = object.stat.links;
    object.fd.Close();
    entry->object->held.fd.Close();
    WaitUntilRemoved(watched.get(), links);
  }
  TouchRemoved(std::move(location));
  return kNoError;
}

bool Volume::IsEmpty(Found& directory) {
  Opened& opened = OpenFound(directory, Use::kAnything);
  const DirectoryNames* const names = names_.Current(opened.stat);
  if (names != nullptr) return names->all().empty();
  // One that cannot be read is left to the host.
  bool empty = true;
  return SeemsEmpty(opened.fd.get(), empty) || empty;
}

DosError Volume::Rename(const EntryRef& from_rel, std::string_view from, const EntryRef& to_rel,
                        std::string_view to) {
  Check(WriteProblem());
  Found found;
  if (const DosError error = LookUp(from_rel, from, found)) return error;
  const EntryRef& entry = found.entry;
  if (entry == root()) return ERROR_OBJECT_IN_USE;
  const EntryRef& parent = to_rel == nullptr ? root() : to_rel;
  if (to.empty()) return parent == entry ? kNoError : ERROR_OBJECT_EXISTS;

  Location source = Locate(found);
  Hit hit = Search(*parent, to);
  if (hit.is_there) {
    const bool is_itself = source.parent == parent && hit.host_name == source.host_name;
    if (!is_itself) return ERROR_OBJECT_EXISTS;
  }
  Location target{.parent = parent,
                  .way = std::move(hit.way),
                  .name = std::string(to),
                  .host_name = ToHostName(to),
                  .mark = {}};
  NoteKnown(target);
  if (IsInside(*parent, *entry)) return ERROR_OBJECT_IN_USE;
  CheckOwn(*entry->object);
  CheckOwn(*source.parent->object);
  CheckOwn(*parent->object);
  Move(entry, source, target);
  if (source.parent == parent) {
    if (source.is_known) names_.Remove(parent->object->identity, source.host_name);
    TouchAdded(std::move(target));
  } else {
    TouchRemoved(std::move(source));
    // That has changed what leads there.
    target.way.clear();
    TouchAdded(std::move(target));
  }
  return kNoError;
}

void Volume::Move(const EntryRef& entry, const Location& from, const Location& to) {
  if (from.parent == to.parent && from.host_name == to.host_name) return;
  const std::string from_path = from.Path();
  const std::string to_path = to.Path();
  journal_.Rename(from_path, to_path);
  const Outcome outcome = MoveAt(from.at(), entry->object->identity, aside_, to.at());
  ReportAside(outcome, from.host_name);
  if (outcome.error) journal_.Rename(to_path, from_path);
  Check(outcome.error.ForMoving(entry->object->IsDirectory()));
  Tree::Move(entry, to.parent, to.host_name, to.name);
}

}  // namespace quorle::hostdir
