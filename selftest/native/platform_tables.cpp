#include "selftest/native/platform_tables.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "platform/constants.h"
#include "platform/format.h"

namespace quorle::selftest {
namespace {

enum Which : std::uint32_t { kExec, kDos, kUtility };
constexpr const char* kNames[] = {"IExec", "IDOS", "IUtility"};

/// Where the tables of methods end: exec's and utility's at their last documented method, dos's
/// before the first one that came after 53.90.
constexpr std::uint32_t kEnds[] = {1036, 1248, 364};
constexpr std::uint32_t kFirstMethod = 60;

/// The rubbish between the fields of a record.
constexpr unsigned char kRubbish = 0xA5;

[[noreturn]] void Die(const std::string& what) {
  std::fprintf(stderr, "test loader: %s\n", what.c_str());
  std::fflush(nullptr);
  _exit(97);
}

std::uint32_t AddressOf(const void* place) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(place));
}
template <class Thing>
Thing* PointerTo(std::uint32_t address) {
  return reinterpret_cast<Thing*>(static_cast<std::uintptr_t>(address));  // NOLINT: a pointer
}

template <class Value>
void Store(std::vector<unsigned char>& record, std::size_t offset, Value value) {
  std::memcpy(&record.at(offset + sizeof value - 1) - (sizeof value - 1), &value, sizeof value);
}
template <class Value>
Value LoadFrom(const void* record, std::size_t offset) {
  Value value;
  std::memcpy(&value, static_cast<const unsigned char*>(record) + offset, sizeof value);
  return value;
}

template <class Map>
auto Find(const Map& map, std::uint32_t key, const char* what) {
  const auto found = map.find(key);
  if (found == map.end()) Die("no such " + std::string(what) + ": " + std::to_string(key));
  return found->second;
}

}  // namespace

/// An interface in memory. The program knows its address from `methods` on, as if the 60 bytes of
/// its head were the first of them.
struct PlatformTables::Table {
  PlatformTables* owner;
  std::uint32_t magic;
  std::uint32_t words[320];

  static constexpr std::uint32_t kMagic = 0x51554F52;

  void* interface() { return words; }
  static Table* Of(void* interface) {
    return reinterpret_cast<Table*>(static_cast<unsigned char*>(interface) -
                                    offsetof(Table, words));
  }
};

/// A tag list of the program, which must be used up.
struct PlatformTables::TagList {
  TagList(const void* tags, const char* op) : name(op) {
    for (std::size_t i = 0;; ++i) {
      const auto tag = LoadFrom<std::uint32_t>(tags, 8 * i);
      if (tag == 0) break;
      if (!values.emplace(tag, LoadFrom<std::uint32_t>(tags, 8 * i + 4)).second) {
        Die(std::string(name) + " has a tag twice");
      }
    }
  }
  std::optional<std::uint32_t> Take(std::uint32_t tag) {
    const auto found = values.find(tag);
    if (found == values.end()) return {};
    const std::uint32_t value = found->second;
    values.erase(found);
    return value;
  }
  std::uint32_t Need(std::uint32_t tag) {
    const std::optional<std::uint32_t> value = Take(tag);
    if (!value) Die(std::string(name) + " lacks tag " + std::to_string(tag));
    return *value;
  }
  void End() const {
    if (!values.empty()) {
      Die(std::string(name) + " has an odd tag: " + std::to_string(values.begin()->first));
    }
  }

  const char* name;
  std::map<std::uint32_t, std::uint32_t> values;
};

PlatformTables& PlatformTables::Served(Table* self, std::uint32_t which) {
  // `self` is the interface as the program passed it.
  Table* const table = Table::Of(self);
  if (table->magic != Table::kMagic) Die("a method was called without its interface");
  PlatformTables& tables = *table->owner;
  if (table != tables.tables_[which].get()) Die("a method was called with another interface");
  const Gate& gate = tables.gate_;
  if (gate.method->which != which) Die("the loader itself is wrong");
  const std::string where = kNames[which] + ("+" + std::to_string(gate.method->offset));
  if (gate.call_r2 != StartValue(2)) Die(where + ": r2 was changed");
  if (gate.call_r13 != StartValue(13)) Die(where + ": r13 was changed");
  if (gate.program_stack % 16 != 0) Die(where + ": the stack is not aligned");
  if (which == kDos && tables.dos_ == nullptr) Die(where + ": called after DropInterface()");
  if (which == kUtility && tables.utility_ == nullptr)
    Die(where + ": called after DropInterface()");
  return tables;
}

/// The methods. Each takes what the platform's takes, in the same registers.
struct PlatformTables::Calls {
  using Self = Table*;
  using Word = std::uint32_t;

  static PlatformTables& Exec(Self self) { return Served(self, kExec); }
  static PlatformTables& Dos(Self self) { return Served(self, kDos); }
  static PlatformTables& Utility(Self self) { return Served(self, kUtility); }

  static void Missing(Self self) {
    const Method& method = *Table::Of(self)->owner->gate_.method;
    Die("a method that is not published was called: " + std::string(kNames[method.which]) + "+" +
        std::to_string(method.offset));
  }

  // ---- exec ------------------------------------------------------------------------------------
  static Word Obtain(Self self) { return static_cast<Word>(++Exec(self).obtained_); }
  static Word Release(Self self) { return static_cast<Word>(--Exec(self).obtained_); }
  static void Forbid(Self self) { ++Exec(self).forbidden_; }
  static void CopyMem(Self self, const void* source, void* destination, Word bytes) {
    Exec(self).exec_.CopyMem(source, destination, bytes);
  }
  static void FreeVec(Self self, void* memory) { Exec(self).exec_.FreeVec(memory); }
  static void* FindTask(Self self, const char* name) {
    PlatformTables& p = Exec(self);
    const Process* const process = p.exec_.FindTask(name);
    p.from_desktop_ = !process->cli;
    p.process_port_ = static_cast<Word>(process->port.value);
    p.process_.assign(344, kRubbish);
    Store<Word>(p.process_, 172, process->cli ? 0x12345678 : 0);
    return p.process_.data();
  }
  static PortHandle OwnPort(PlatformTables& p, const void* port) {
    if (p.process_.empty() || port != p.process_.data() + 92) Die("not the process's port");
    return {p.process_port_};
  }
  static Word WaitPort(Self self, const void* port) {
    PlatformTables& p = Exec(self);
    p.exec_.WaitPort(OwnPort(p, port));
    return 0;
  }
  static Word GetMsg(Self self, const void* port) {
    PlatformTables& p = Exec(self);
    return static_cast<Word>(p.exec_.GetMsg(OwnPort(p, port)).value);
  }
  static void ReplyMsg(Self self, Word message) {
    PlatformTables& p = Exec(self);
    if (p.forbidden_ != 1) Die("the start-up message is replied without Forbid()");
    p.exec_.ReplyMsg({message});
  }
  static void* OpenLibrary(Self self, const char* name, Word version) {
    PlatformTables& p = Exec(self);
    const quorle::Library* const library = p.exec_.OpenLibrary(name, version);
    if (library == nullptr) return nullptr;
    Record& base = p.NewRecord(34);
    Store(base, 20, library->lib_Version);
    Store(base, 22, library->lib_Revision);
    p.libraries_[AddressOf(base.data())] = {library, name};
    return base.data();
  }
  static void CloseLibrary(Self self, Word base) {
    PlatformTables& p = Exec(self);
    p.exec_.CloseLibrary(Find(p.libraries_, base, "library").library);
  }
  static void* GetInterface(Self self, Word base, const char* name, Word version,
                            const void* tags) {
    PlatformTables& p = Exec(self);
    if (tags != nullptr) Die("GetInterface() with tags");
    const auto library = Find(p.libraries_, base, "library");
    Interface* const interface = p.exec_.GetInterface(library.library, name, version);
    if (interface == nullptr) return nullptr;
    if (library.name == "dos.library") {
      p.dos_interface_ = interface;
      p.dos_ = static_cast<DosInterface*>(interface);
      return p.tables_[kDos]->interface();
    }
    p.utility_interface_ = interface;
    p.utility_ = static_cast<UtilityInterface*>(interface);
    return p.tables_[kUtility]->interface();
  }
  static void DropInterface(Self self, void* interface) {
    PlatformTables& p = Exec(self);
    if (interface == p.tables_[kDos]->interface()) {
      p.exec_.DropInterface(p.dos_interface_);
      p.dos_ = nullptr;
    } else if (interface == p.tables_[kUtility]->interface()) {
      p.exec_.DropInterface(p.utility_interface_);
      p.utility_ = nullptr;
    } else {
      Die("DropInterface() of something else");
    }
  }
  static void* AllocVecTagList(Self self, Word bytes, const void* tags) {
    PlatformTables& p = Exec(self);
    TagList list(tags, "AllocVecTagList()");
    const Word type = list.Need(0x80000001);
    const Word fill = list.Need(0x80000006);
    list.End();
    if (type != 1 << 12 || fill != 0) Die("AllocVecTagList(): not shared or not cleared");
    return p.exec_.AllocVecTags(bytes);
  }

  // ---- dos: files ------------------------------------------------------------------------------
  static Word Open(Self self, const char* name, std::int32_t mode) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->Open(name, mode));
  }
  static Word Close(Self self, Word file) {
    PlatformTables& p = Dos(self);
    return Truth(p.dos_->Close(p.FileOf(file)));
  }
  static std::int32_t Read(Self self, Word file, void* buffer, std::int32_t bytes) {
    PlatformTables& p = Dos(self);
    return p.dos_->Read(p.FileOf(file), buffer, bytes);
  }
  static std::int32_t Write(Self self, Word file, const void* data, std::int32_t bytes) {
    PlatformTables& p = Dos(self);
    return p.dos_->Write(p.FileOf(file), data, bytes);
  }
  static Word ChangeFilePosition(Self self, Word file, std::int64_t position, std::int32_t mode) {
    PlatformTables& p = Dos(self);
    return Truth(p.dos_->ChangeFilePosition(p.FileOf(file), position, mode));
  }
  static std::int64_t GetFilePosition(Self self, Word file) {
    PlatformTables& p = Dos(self);
    return p.dos_->GetFilePosition(p.FileOf(file));
  }
  static Word ChangeFileSize(Self self, Word file, std::int64_t size, std::int32_t mode) {
    PlatformTables& p = Dos(self);
    return Truth(p.dos_->ChangeFileSize(p.FileOf(file), size, mode));
  }
  static std::int64_t GetFileSize(Self self, Word file) {
    PlatformTables& p = Dos(self);
    return p.dos_->GetFileSize(p.FileOf(file));
  }
  static Word ChangeMode(Self self, std::int32_t type, Word object, std::int32_t mode) {
    PlatformTables& p = Dos(self);
    if (type == CHANGE_LOCK) return Truth(p.dos_->ChangeMode(type, p.LockOf(object), mode));
    if (type == CHANGE_FH) return Truth(p.dos_->ChangeMode(type, p.FileOf(object), mode));
    Die("ChangeMode() of an odd type");
  }

  // ---- dos: locks ------------------------------------------------------------------------------
  static Word Lock(Self self, const char* name, std::int32_t mode) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->Lock(name, mode));
  }
  static void UnLock(Self self, Word lock) {
    PlatformTables& p = Dos(self);
    p.dos_->UnLock(p.LockOf(lock));
  }
  static Word DupLock(Self self, Word lock) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->DupLock(p.LockOf(lock)));
  }
  static Word DupLockFromFH(Self self, Word file) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->DupLockFromFH(p.FileOf(file)));
  }
  static Word OpenFromLock(Self self, Word lock) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->OpenFromLock(p.LockOf(lock)));
  }
  static Word ParentDir(Self self, Word lock) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->ParentDir(p.LockOf(lock)));
  }
  static Word ParentOfFH(Self self, Word file) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->ParentOfFH(p.FileOf(file)));
  }
  static std::int32_t SameLock(Self self, Word a, Word b) {
    PlatformTables& p = Dos(self);
    return p.dos_->SameLock(p.LockOf(a), p.LockOf(b));
  }
  static Word SetCurrentDir(Self self, Word lock) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->SetCurrentDir(p.LockOf(lock)));
  }

  // ---- dos: objects, links, attributes ---------------------------------------------------------
  static Word CreateDir(Self self, const char* name) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->CreateDir(name));
  }
  static Word CreateDirTree(Self self, const char* path) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->CreateDirTree(path));
  }
  static Word Delete(Self self, const char* name) { return Truth(Dos(self).dos_->Delete(name)); }
  static Word Rename(Self self, const char* old_name, const char* new_name) {
    return Truth(Dos(self).dos_->Rename(old_name, new_name));
  }
  static Word MakeLink(Self self, const char* name, Word target, std::int32_t kind) {
    PlatformTables& p = Dos(self);
    if (kind == LINK_HARD) return Truth(p.dos_->MakeLink(name, p.LockOf(target), kind));
    return Truth(p.dos_->MakeLink(name, PointerTo<const char>(target), kind));
  }
  static std::int32_t ReadSoftLink(Self self, Word port, Word lock, const char* name, char* buffer,
                                   std::int32_t size) {
    PlatformTables& p = Dos(self);
    return p.dos_->ReadSoftLink(p.PortOf(port), p.LockOf(lock), name, buffer, size);
  }
  static Word SetComment(Self self, const char* name, const char* comment) {
    return Truth(Dos(self).dos_->SetComment(name, comment));
  }
  static Word SetProtection(Self self, const char* name, Word mask) {
    return Truth(Dos(self).dos_->SetProtection(name, mask));
  }
  static Word SetDate(Self self, const char* name, const quorle::DateStamp* date) {
    return Truth(Dos(self).dos_->SetDate(name, *date));
  }
  static Word SetOwnerInfo(Self self, const void* tags) {
    PlatformTables& p = Dos(self);
    TagList list(tags, "SetOwnerInfo()");
    const auto* const name = PointerTo<const char>(list.Need(0x80001839));
    const std::optional<Word> owner = list.Take(0x80001842);
    const std::optional<Word> group = list.Take(0x80001843);
    list.End();
    if (owner.has_value() == group.has_value()) Die("SetOwnerInfo(): not one of owner and group");
    return Truth(owner ? p.dos_->SetOwnerInfo(name, 0x80001842, *owner)
                       : p.dos_->SetOwnerInfo(name, 0x80001843, *group));
  }
  static quorle::DateStamp* DateStamp(Self self, quorle::DateStamp* now) {
    Dos(self).dos_->DateStamp(*now);
    return now;
  }
  static void* ExamineObject(Self self, const void* tags) {
    PlatformTables& p = Dos(self);
    TagList list(tags, "ExamineObject()");
    for (const Word tag : {0x80001965U, 0x80001968U}) {
      const std::optional<Word> name = list.Take(tag);
      if (!name) continue;
      list.End();
      return p.ToProgram(p.dos_->ExamineObject(tag, PointerTo<const char>(*name)));
    }
    if (const std::optional<Word> file = list.Take(0x80001966)) {
      list.End();
      return p.ToProgram(p.dos_->ExamineObject(0x80001966, p.FileOf(*file)));
    }
    const Word lock = list.Need(0x80001967);
    list.End();
    return p.ToProgram(p.dos_->ExamineObject(0x80001967, p.LockOf(lock)));
  }
  static void FreeDosObject(Self self, Word type, Word object) {
    PlatformTables& p = Dos(self);
    if (object == 0) {
      p.dos_->FreeDosObject(type, nullptr);
      return;
    }
    p.dos_->FreeDosObject(type, Find(p.examined_, object, "examine record"));
    p.examined_.erase(object);
    auto* const record = PointerTo<unsigned char>(object);
    std::memset(record, kRubbish, 112);
  }

  // ---- dos: volumes and handlers ---------------------------------------------------------------
  static void* GetDeviceProc(Self self, const char* name, Word previous) {
    PlatformTables& p = Dos(self);
    if (previous != 0) Die("GetDeviceProc() with a previous one");
    const quorle::DevProc* const devproc = p.dos_->GetDeviceProc(name, nullptr);
    if (devproc == nullptr) return nullptr;
    Record& record = p.NewRecord(12);
    Store(record, 0, p.ToProgram(devproc->dvp_Port));
    p.devprocs_[AddressOf(record.data())] = devproc;
    return record.data();
  }
  static void FreeDeviceProc(Self self, Word record) {
    PlatformTables& p = Dos(self);
    p.dos_->FreeDeviceProc(record == 0 ? nullptr : Find(p.devprocs_, record, "device look-up"));
  }
  static Word IsFileSystemPort(Self self, Word port) {
    PlatformTables& p = Dos(self);
    return Truth(p.dos_->IsFileSystem(p.PortOf(port)));
  }
  static Word DevNameFromPort(Self self, Word port, char* buffer, Word size, Word add_colon) {
    PlatformTables& p = Dos(self);
    return Truth(p.dos_->DevNameFromPort(p.PortOf(port), buffer, size, add_colon != 0));
  }
  static Word NameFromPort(Self self, Word port, char* buffer, Word size, Word add_colon) {
    PlatformTables& p = Dos(self);
    return Truth(p.dos_->VolNameFromPort(p.PortOf(port), buffer, size, add_colon != 0));
  }
  static Word FileSystemAttr(Self self, const void* tags) {
    PlatformTables& p = Dos(self);
    TagList list(tags, "FileSystemAttr()");
    const PortHandle port = p.PortOf(list.Need(0x8000232C));
    auto* const version = PointerTo<char>(list.Need(0x8000233D));
    const Word size = list.Need(0x8000233E);
    auto* const dos_type = PointerTo<Word>(list.Need(0x80002335));
    list.End();
    return Truth(p.dos_->FileSystemAttr(port, version, size, *dos_type));
  }
  static Word GetDiskInfo(Self self, const void* tags) {
    PlatformTables& p = Dos(self);
    TagList list(tags, "GetDiskInfo()");
    const std::optional<Word> name = list.Take(0x800001F5);
    const std::optional<Word> port = list.Take(0x800001F8);
    if (list.Need(0x800001FE) != 0) Die("GetDiskInfo() wants a volume");
    auto& info = *PointerTo<quorle::InfoData>(list.Need(0x800001FF));
    list.End();
    if (name.has_value() == port.has_value()) Die("GetDiskInfo(): not one of name and port");
    return Truth(name ? p.dos_->GetDiskInfo(PointerTo<const char>(*name), info)
                      : p.dos_->GetDiskInfo(p.PortOf(*port), info));
  }
  static Word Relabel(Self self, const char* device, const char* volume) {
    return Truth(Dos(self).dos_->Relabel(device, volume));
  }
  static Word WriteProtectVolume(Self self, const char* device, Word on, Word key, Word reserved) {
    if (on > 1) Die("WriteProtectVolume() with an odd truth value");
    return Truth(Dos(self).dos_->WriteProtectVolume(device, on != 0, key, reserved));
  }
  static void* SetProcWindow(Self self, void* window) {
    return Dos(self).dos_->SetProcWindow(window);
  }
  static Word DoPkt(Self self, Word port, std::int32_t action, Word lock, Word name,
                    std::int32_t arg3, std::int32_t arg4, Word arg5) {
    PlatformTables& p = Dos(self);
    return p.ToProgram(p.dos_->DoPkt(p.PortOf(port), action, p.LockOf(lock),
                                     PointerTo<const std::uint8_t>(name << 2), arg3, arg4,
                                     PointerTo<const std::uint8_t>(arg5 << 2)));
  }
  static Word CopyStringCToBSTR(Self self, const char* text, Word buffer, Word size) {
    return Truth(
        Dos(self).dos_->CopyStringSTRToBSTR(text, PointerTo<std::uint8_t>(buffer << 2), size));
  }

  // ---- dos: command line, output, errors, signals ----------------------------------------------
  static Word ReadArgs(Self self, const char* argument_template, ArgumentWord* words, Word rdargs) {
    PlatformTables& p = Dos(self);
    if (rdargs != 0) Die("ReadArgs() with an argument");
    return static_cast<Word>(p.dos_->ReadArgs(argument_template, words, {}).value);
  }
  static void FreeArgs(Self self, Word rdargs) { Dos(self).dos_->FreeArgs({rdargs}); }
  static std::int32_t VPrintf(Self self, const char* format, const Word* words) {
    PlatformTables& p = Dos(self);
    const std::vector<FormatArgument> args = Arguments(format, words);
    p.dos_->VPrintf(format, args.data(), args.size());
    return 1;
  }
  static Word PutStr(Self self, const char* text) {
    Dos(self).dos_->PutStr(text);
    return 0;
  }
  static std::int32_t IoErr(Self self) { return Dos(self).dos_->IoErr(); }
  static std::int32_t SetIoErr(Self self, std::int32_t code) {
    PlatformTables& p = Dos(self);
    const std::int32_t before = p.dos_->IoErr();
    p.dos_->SetIoErr(code);
    return before;
  }
  static Word CheckSignal(Self self, Word mask) { return Dos(self).dos_->CheckSignal(mask); }
  static void Delay(Self self, Word ticks) { Dos(self).dos_->Delay(ticks); }
  static std::int32_t TimedDosRequester(Self self, const void* tags) {
    PlatformTables& p = Dos(self);
    TagList list(tags, "TimedDosRequester()");
    const Word timeout = list.Need(0x80000DAE);
    const auto* const body = PointerTo<const char>(list.Need(0x80000DB1));
    const auto* const buttons = PointerTo<const char>(list.Need(0x80000DB3));
    const Word image = list.Need(0x80000DB4);
    list.End();
    return p.dos_->TimedDosRequesterTags(timeout, body, buttons, static_cast<std::int32_t>(image));
  }
  static Word DateToStr(Self self, const void* record) {
    quorle::DateTime date{};
    date.dat_Stamp = LoadFrom<quorle::DateStamp>(record, 0);
    date.dat_Format = LoadFrom<std::uint8_t>(record, 12);
    date.dat_Flags = LoadFrom<std::uint8_t>(record, 13);
    date.dat_StrDay = PointerTo<char>(LoadFrom<Word>(record, 14));
    date.dat_StrDate = PointerTo<char>(LoadFrom<Word>(record, 18));
    date.dat_StrTime = PointerTo<char>(LoadFrom<Word>(record, 22));
    return Truth(Dos(self).dos_->DateToStr(date));
  }

  // ---- utility ---------------------------------------------------------------------------------
  static std::int32_t Stricmp(Self self, const char* a, const char* b) {
    return Utility(self).utility_->Stricmp(a, b);
  }
  static Word Strlcpy(Self self, char* destination, const char* source, Word size) {
    return Utility(self).utility_->Strlcpy(destination, source, size);
  }
  static std::int32_t VSNPrintf(Self self, char* buffer, Word size, const char* format,
                                const Word* words) {
    PlatformTables& p = Utility(self);
    const std::vector<FormatArgument> args = Arguments(format, words);
    return p.utility_->VSNPrintf(buffer, size, format, args.data(), args.size());
  }

 private:
  /// The platform's methods answer with any word that is not zero.
  static Word Truth(bool value) { return value ? 0x80000000 : 0; }

  /// The arguments that `format` asks for, one word each.
  static std::vector<FormatArgument> Arguments(const char* format, const Word* words) {
    std::vector<FormatArgument> args;
    for (const char* p = format; *p != '\0';) {
      if (*p != '%') {
        ++p;
        continue;
      }
      const Conversion conversion = ReadConversion(p);
      p = conversion.end;
      if (!conversion.TakesArgument()) continue;
      const Word word = words[args.size()];
      if (conversion.type == 's') {
        args.emplace_back(PointerTo<const char>(word));
      } else if (conversion.length != ConversionLength::kLong) {
        Die("a number of another size is printed: " + std::string(format));
      } else if (conversion.type == 'd') {
        args.emplace_back(static_cast<std::int32_t>(word));
      } else {
        args.emplace_back(word);
      }
    }
    return args;
  }
};

// ---- Records -----------------------------------------------------------------------------------

PlatformTables::Record& PlatformTables::NewRecord(std::size_t bytes) {
  // Rubbish behind the record as well, so that a read past its end shows.
  records_.emplace_back(bytes + 64, kRubbish);
  return records_.back();
}

std::uint32_t PlatformTables::ToProgram(PortHandle port) {
  if (!port) return 0;
  Record*& record = port_records_[port.value];
  if (record == nullptr) {
    record = &NewRecord(266);
    ports_[AddressOf(record->data())] = port;
  }
  const PortRecord fields = dos_->PortRecordOf(port);
  Store(*record, 8, fields.node_type);
  if (fields.node_type == NT_FILESYSTEM) {
    Store(*record, 38, fields.version);
    Store<std::uint32_t>(*record, 78, fields.word78 ? 0x01020300 : 0);
  }
  return AddressOf(record->data());
}

std::uint32_t PlatformTables::ToProgram(LockHandle lock) {
  if (!lock) return 0;
  std::uint32_t& bptr = lock_addresses_[lock.value];
  if (bptr == 0) {
    Record& record = NewRecord(36);
    Store(record, 12, ToProgram(dos_->FileLockOf(lock).fl_Port));
    bptr = AddressOf(record.data()) >> 2;
    locks_[bptr] = lock;
  }
  return bptr;
}

/// The program looks into no file handle but prints it: it gets the platform's own number.
std::uint32_t PlatformTables::ToProgram(FileHandle file) {
  const auto bptr = static_cast<std::uint32_t>(file.value);
  if (file) files_[bptr] = file;
  return bptr;
}

void* PlatformTables::ToProgram(const ExamineData* data) {
  if (data == nullptr) return nullptr;
  Record& record = NewRecord(112);
  const auto text = [&record](std::size_t offset, const char* value) {
    Store(record, offset, AddressOf(value));
    Store(record, offset + 4, static_cast<std::uint32_t>(std::strlen(value) + 1));
  };
  Store(record, 24, std::uint32_t{112});
  Store(record, 28, data->Type);
  Store(record, 32, data->FileSize);
  Store(record, 40, data->Date);
  Store(record, 52, data->RefCount);
  Store(record, 56, data->ObjectID);
  text(64, data->Name);
  text(72, data->Comment);
  text(80, data->Link);
  Store(record, 88, data->Protection);
  Store(record, 92, data->OwnerUID);
  Store(record, 96, data->OwnerGID);
  examined_[AddressOf(record.data())] = data;
  most_examined_ = std::max(most_examined_, examined_.size());
  return record.data();
}

LockHandle PlatformTables::LockOf(std::uint32_t bptr) const {
  return bptr == 0 ? LockHandle{} : Find(locks_, bptr, "lock");
}

FileHandle PlatformTables::FileOf(std::uint32_t bptr) const {
  return bptr == 0 ? FileHandle{} : Find(files_, bptr, "file");
}

PortHandle PlatformTables::PortOf(std::uint32_t address) const {
  return address == 0 ? PortHandle{} : Find(ports_, address, "port");
}

// ---- Tables ------------------------------------------------------------------------------------

PlatformTables::PlatformTables(ExecInterface& exec) : exec_(exec), exec_base_(1024, kRubbish) {
  std::size_t methods = 0;
  for (const std::uint32_t end : kEnds) methods += end / 4;
  void* const code = mmap(nullptr, methods * sizeof(MethodCode), PROT_READ | PROT_WRITE | PROT_EXEC,
                          MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (code == MAP_FAILED) throw std::runtime_error("no memory for the code of methods");
  code_ = static_cast<MethodCode*>(code);
  for (const std::uint32_t which : {kExec, kDos, kUtility}) {
    tables_[which] = std::make_unique<Table>();
    Fill(*tables_[which], which, kEnds[which]);
  }
  PublishExec();
  PublishDos();
  PublishUtility();
  FlushCode(code_, methods * sizeof(MethodCode));
  Store(exec_base_, 632, AddressOf(tables_[kExec]->interface()));
}

PlatformTables::~PlatformTables() {
  std::size_t methods = 0;
  for (const std::uint32_t end : kEnds) methods += end / 4;
  munmap(code_, methods * sizeof(MethodCode));
}

/// The head of an interface, and a trap in the place of every method.
void PlatformTables::Fill(Table& table, std::uint32_t which, std::uint32_t end) {
  table.owner = this;
  table.magic = Table::kMagic;
  std::memset(table.words, kRubbish, sizeof table.words);
  table.words[36 / 4] = end;  // the size of the part with the methods
  for (std::uint32_t offset = kFirstMethod; offset < end; offset += 4) {
    methods_.push_back({reinterpret_cast<const void*>(&Calls::Missing), &gate_, which, offset});
    MethodCode& code = code_[code_used_++];
    code = CodeFor(methods_.back());
    table.words[offset / 4] = AddressOf(&code);
  }
}

void PlatformTables::Publish(Table& table, std::uint32_t offset, const void* function) {
  for (Method& method : methods_) {
    if (tables_[method.which].get() == &table && method.offset == offset) {
      method.function = function;
    }
  }
}

namespace {

struct Published {
  std::uint32_t offset;
  const void* function;
};

template <class Function>
Published At(std::uint32_t offset, Function* function) {
  return {offset, reinterpret_cast<const void*>(function)};
}

}  // namespace

void PlatformTables::PublishExec() {
  for (const Published& method : {
           At(60, Calls::Obtain),
           At(64, Calls::Release),
           At(124, Calls::CopyMem),
           At(156, Calls::Forbid),
           At(172, Calls::FreeVec),
           At(260, Calls::FindTask),
           At(324, Calls::GetMsg),
           At(336, Calls::ReplyMsg),
           At(340, Calls::WaitPort),
           At(424, Calls::OpenLibrary),
           At(428, Calls::CloseLibrary),
           At(448, Calls::GetInterface),
           At(456, Calls::DropInterface),
           At(932, Calls::AllocVecTagList),
       }) {
    Publish(*tables_[kExec], method.offset, method.function);
  }
}

void PlatformTables::PublishDos() {
  for (const Published& method : {
           At(76, Calls::Open),
           At(80, Calls::Close),
           At(84, Calls::Read),
           At(88, Calls::Write),
           At(104, Calls::Delete),
           At(108, Calls::Rename),
           At(112, Calls::Lock),
           At(116, Calls::UnLock),
           At(120, Calls::DupLock),
           At(136, Calls::CreateDir),
           At(140, Calls::SetCurrentDir),
           At(144, Calls::IoErr),
           At(176, Calls::SetComment),
           At(180, Calls::SetProtection),
           At(184, Calls::DateStamp),
           At(188, Calls::Delay),
           At(196, Calls::ParentDir),
           At(220, Calls::FreeDosObject),
           At(224, Calls::DoPkt),
           At(340, Calls::DupLockFromFH),
           At(344, Calls::OpenFromLock),
           At(348, Calls::ParentOfFH),
           At(356, Calls::SetDate),
           At(372, Calls::SameLock),
           At(384, Calls::ReadSoftLink),
           At(388, Calls::MakeLink),
           At(392, Calls::ChangeMode),
           At(400, Calls::SetIoErr),
           At(536, Calls::GetDeviceProc),
           At(540, Calls::FreeDeviceProc),
           At(588, Calls::Relabel),
           At(604, Calls::DateToStr),
           At(644, Calls::CheckSignal),
           At(648, Calls::ReadArgs),
           At(688, Calls::FreeArgs),
           At(748, Calls::PutStr),
           At(752, Calls::VPrintf),
           At(892, Calls::SetProcWindow),
           At(988, Calls::CreateDirTree),
           At(1020, Calls::TimedDosRequester),
           At(1056, Calls::FileSystemAttr),
           At(1072, Calls::CopyStringCToBSTR),
           At(1076, Calls::GetFilePosition),
           At(1080, Calls::ChangeFilePosition),
           At(1084, Calls::ChangeFileSize),
           At(1088, Calls::GetFileSize),
           At(1124, Calls::GetDiskInfo),
           At(1132, Calls::WriteProtectVolume),
           At(1136, Calls::ExamineObject),
           At(1168, Calls::SetOwnerInfo),
           At(1208, Calls::NameFromPort),
           At(1212, Calls::DevNameFromPort),
           At(1228, Calls::IsFileSystemPort),
       }) {
    Publish(*tables_[kDos], method.offset, method.function);
  }
}

void PlatformTables::PublishUtility() {
  for (const Published& method : {
           At(268, Calls::Stricmp),
           At(272, Calls::Strlcpy),
           At(300, Calls::VSNPrintf),
       }) {
    Publish(*tables_[kUtility], method.offset, method.function);
  }
}

std::string PlatformTables::Imbalance() const {
  if (obtained_ != 0) return "IExec was obtained and released unequally";
  if (dos_ != nullptr || utility_ != nullptr) return "an interface was not dropped";
  if (forbidden_ != (from_desktop_ ? 1 : 0)) return "Forbid() where it does not belong";
  return {};
}

}  // namespace quorle::selftest
