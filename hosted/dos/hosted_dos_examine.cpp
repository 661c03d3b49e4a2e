#include <cstdint>
#include <optional>
#include <string>

#include "hosted/dos/hosted_dos.h"
#include "hosted/dos/latin1.h"

namespace quorle {
namespace {

const char* TextOr(const char* text, const char* otherwise) {
  return text == nullptr ? otherwise : text;
}

/// Notices that a scan does not get on: what it gives is an entry that it gave before, over and
/// over. Of all entries it keeps one, and another one each time that the scan has become twice as
/// long, so that it finds a circle of any length and needs no more memory for it.
class ScanWatch {
 public:
  /// Whether `entry`, the next one, is one too many. Two objects of one name are a fault of another
  /// kind: only what comes often is.
  bool IsRepeated(const ::ExamineData& entry) {
    constexpr int kOften = 16;
    const char* const name = TextOr(entry.Name, "");
    if (name_ == name && id_ == entry.ObjectID && ++repeats_ >= kOften) return true;
    if (++count_ == next_) {
      next_ *= 2;
      name_ = name;
      id_ = entry.ObjectID;
      repeats_ = 0;
    }
    return false;
  }

 private:
  std::uint64_t count_ = 0;
  std::uint64_t next_ = 1;
  int repeats_ = 0;
  std::optional<std::string> name_;
  std::uint64_t id_ = 0;
};

}  // namespace

const ExamineData* HostedDos::AddRecord(HandlerPort& port, ::ExamineData* record) {
  if (record == nullptr) return nullptr;
  // Most programs have one record at a time: what the last one was in is used again.
  if (!spare_record_) {
    auto made = std::make_unique<ExamineRecord>();
    const ExamineData* const place = &made->data;
    records_.emplace(place, std::move(made));
    spare_record_ = records_.extract(place);
  }
  ExamineRecord* const copy = spare_record_.mapped().get();
  copy->name = TextOr(record->Name, "?");
  copy->comment = TextOr(record->Comment, "");
  copy->link = TextOr(record->Link, "");
  copy->data = {.Type = record->Type,
                .FileSize = record->FileSize,
                .Date = {record->Date.ds_Days, record->Date.ds_Minute, record->Date.ds_Tick},
                .RefCount = record->RefCount,
                .ObjectID = record->ObjectID,
                .Name = copy->name.c_str(),
                .Comment = copy->comment.c_str(),
                .Link = copy->link.c_str(),
                .Protection = record->Protection,
                .OwnerUID = record->OwnerUID,
                .OwnerGID = record->OwnerGID};
  port.FreeExamineData(record);
  records_.insert(std::move(spare_record_));
  return &copy->data;
}

const ExamineData* HostedDos::ExamineObject(std::uint32_t tag, const char* name) {
  if (tag != EX_StringNameInput && tag != EX_ObjectNameInput) {
    return Fail<const ExamineData*>(ERROR_REQUIRED_ARG_MISSING);
  }
  // Through a lock a link is followed, as an object that nobody may lock is refused (202). On the
  // object itself neither happens.
  const bool itself = tag == EX_ObjectNameInput;
  return OnObject(name, itself ? Links::kLeave : Links::kFollow,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    ::ExamineData* const record = itself
                                                      ? ExamineItself(port, res2, directory, leaf)
                                                      : ExamineByLock(port, res2, directory, leaf);
                    return AddRecord(port, record);
                  });
}

const ExamineData* HostedDos::ExamineObject(std::uint32_t tag, FileHandle file) {
  if (tag != EX_FileHandleInput) return Fail<const ExamineData*>(ERROR_REQUIRED_ARG_MISSING);
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return nullptr;
  std::int32_t res2 = 0;
  ::ExamineData* const record = open->port->ExamineFile(res2, *open->handle);
  return record == nullptr ? Fail<const ExamineData*>(res2) : AddRecord(*open->port, record);
}

const ExamineData* HostedDos::ExamineObject(std::uint32_t tag, LockHandle lock) {
  if (tag != EX_LockInput) return Fail<const ExamineData*>(ERROR_REQUIRED_ARG_MISSING);
  const PortObject* const place = LockBehind(lock);
  if (place == nullptr) return nullptr;
  std::int32_t res2 = 0;
  ::ExamineData* const record = place->port->ExamineLock(res2, place->lock);
  return record == nullptr ? Fail<const ExamineData*>(res2) : AddRecord(*place->port, record);
}

void HostedDos::FreeDosObject(std::uint32_t type, const ExamineData* data) {
  if (type != DOS_EXAMINEDATA) return;
  if (auto record = records_.extract(data)) spare_record_ = std::move(record);
}

::ExamineData* HostedDos::ExamineByLock(HandlerPort& port, std::int32_t& res2, ::Lock* directory,
                                        const char* leaf) {
  ::Lock* const lock = port.Lock(res2, directory, leaf, SHARED_LOCK);
  if (lock == nullptr) return nullptr;
  ::ExamineData* const record = port.ExamineLock(res2, lock);
  std::int32_t unused = 0;
  port.UnLock(unused, lock);
  return record;
}

/// FSExamineObj() is younger than the rest of the table. Without it (209) the object is examined
/// through a lock; a soft link cannot be locked and is looked up in its directory. Both are choices
/// of ours.
::ExamineData* HostedDos::ExamineItself(HandlerPort& port, std::int32_t& res2, ::Lock* directory,
                                        const char* leaf) {
  ::ExamineData* record = port.ExamineObj(res2, directory, leaf);
  if (record != nullptr || res2 != ERROR_ACTION_NOT_KNOWN) return record;
  record = ExamineByLock(port, res2, directory, leaf);
  if (record != nullptr || res2 != ERROR_IS_SOFT_LINK) return record;
  return FindInDirectory(port, res2, directory, leaf);
}

::ExamineData* HostedDos::FindInDirectory(HandlerPort& port, std::int32_t& res2, ::Lock* directory,
                                          const char* leaf) {
  // A scan needs a lock; the root may be given without one.
  ::Lock* const root = directory == nullptr ? port.Lock(res2, nullptr, "", SHARED_LOCK) : nullptr;
  ::PRIVATE_ExamineDirContext scan{};
  scan.Directory = directory == nullptr ? root : directory;
  if (scan.Directory == nullptr) return nullptr;
  ::ExamineData* found = nullptr;
  ScanWatch watch;
  bool repeated = false;
  while (found == nullptr && !repeated && port.ExamineDir(res2, scan)) {
    ::ExamineData* const entry = std::exchange(scan.Entry, nullptr);
    if (entry != nullptr && CompareLatin1(TextOr(entry->Name, ""), leaf) == 0) {
      found = entry;
      break;
    }
    // What says that there is an entry, and gives none, does not get on either.
    repeated = watch.IsRepeated(entry == nullptr ? ::ExamineData{} : *entry);
    port.FreeExamineData(entry);
  }
  if (repeated) {
    port.ReportLastCall("gives the same entry again and again");
    res2 = ERROR_NO_MORE_ENTRIES;
  }
  port.EndDir(scan);
  if (found == nullptr && res2 == ERROR_NO_MORE_ENTRIES) res2 = ERROR_OBJECT_NOT_FOUND;
  if (root != nullptr) {
    std::int32_t unused = 0;
    port.UnLock(unused, root);
  }
  return found;
}

}  // namespace quorle
