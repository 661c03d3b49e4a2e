#include "selftest/plugins/rogue_handler.h"

#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "calls/vector_table.h"
#include "handlers/ram/ram_handler.h"

namespace {

using Port = ::FileSystemVectorPort;

/// What one mount is to do wrong, and what it would do otherwise.
struct Rogue {
  const ::HandlerServices* dos = nullptr;
  Port* port = nullptr;
  std::string in;
  std::string how;
  int at = 1;
  int calls = 0;
  ::FileSystemVectors original{};
  ::Lock foreign{};
  char elsewhere[8] = "text";
  ::Lock* last_lock = nullptr;
};

Rogue& Of(Port* port) {
  return *static_cast<Rogue*>(port->FSV.Reserved[0]);
}

/// The memory that is shared with the host: the one large piece of that kind.
struct Shared {
  char* start = nullptr;
  std::size_t size = 0;
};

Shared FindShared() {
  Shared found;
  std::FILE* const maps = std::fopen("/proc/self/maps", "r");
  char line[512];
  while (std::fgets(line, sizeof line, maps) != nullptr) {
    unsigned long long from = 0;
    unsigned long long to = 0;
    char rights[8] = {};
    if (std::sscanf(line, "%llx-%llx %7s", &from, &to, rights) != 3) continue;
    if (std::string_view(rights) != "rw-s" || to - from < (16U << 20)) continue;
    found = {reinterpret_cast<char*>(from), static_cast<std::size_t>(to - from)};  // NOLINT
  }
  std::fclose(maps);
  return found;
}

constexpr std::size_t kReplyPlace = 4096 + (std::size_t{512} << 10);
constexpr std::int32_t kMore = 600;
constexpr std::int64_t kAnswerKind = 0x516E7377;

[[noreturn]] void Hang() {
  while (true) std::this_thread::sleep_for(std::chrono::hours(1));
}

[[gnu::noinline]] void Crash() {
  volatile int* volatile nowhere = nullptr;
  *nowhere = 1;
}

[[gnu::noinline]] void Spin() {
  volatile bool goes_on = true;
  while (goes_on) {
  }
}

[[gnu::noinline]] void Lose() {
  auto* const lost = new char[77];
  lost[0] = 'x';
}

/// Makes a process that does nothing for a minute.
void MakeIdler() {
  if (fork() != 0) return;
  std::this_thread::sleep_for(std::chrono::minutes(1));
  _exit(0);
}

/// Stops `process` for three seconds.
void StandStill(pid_t process) {
  const pid_t waker = fork();
  if (waker == 0) {
    std::this_thread::sleep_for(std::chrono::seconds(3));
    kill(process, SIGCONT);
    _exit(0);
  }
  kill(process, SIGSTOP);
  waitpid(waker, nullptr, 0);
}

/// Makes one in a session of its own, whose parent is gone.
void MakeDaemon() {
  const pid_t parent = fork();
  if (parent == 0) {
    setsid();
    MakeIdler();
    _exit(0);
  }
  waitpid(parent, nullptr, 0);
}

/// Gives the turn to the host, which finds what stands in the block.
[[noreturn]] void HandOver(const Shared& shared) {
  reinterpret_cast<std::atomic<std::uint32_t>*>(shared.start)->store(0);
  Hang();
}

[[noreturn]] void SendReply(std::int64_t length, std::int64_t first) {
  const Shared shared = FindShared();
  const std::int64_t words[] = {kAnswerKind, length, 0, first, SHARED_LOCK, 0, 0, 1, 0, 0, 0};
  std::memcpy(shared.start + kReplyPlace, words, sizeof words);
  HandOver(shared);
}

/// The ways that are the same in every function.
void Misbehave(const Rogue& rogue) {
  const std::string& how = rogue.how;
  if (how == "signal") {
    std::signal(SIGSEGV, SIG_DFL);
    std::raise(SIGSEGV);
  } else if (how == "exit") {
    std::exit(3);
  } else if (how == "hang") {
    Hang();
  } else if (how == "throw") {
    throw std::runtime_error("thrown by the handler");
  } else if (how == "ask") {
    while (true) rogue.dos->SetVolumeName(rogue.dos, rogue.port, "Work");
  } else if (how == "int" || how == "term" || how == "hup") {
    if (rogue.calls == rogue.at)
      kill(getppid(), how == "int" ? SIGINT : how == "term" ? SIGTERM : SIGHUP);
  } else if (how == "int_hang") {
    kill(getppid(), SIGINT);
    Hang();
  } else if (how == "crash") {
    Crash();
  } else if (how == "lose") {
    Lose();
  } else if (how == "spin") {
    Spin();
  } else if (how == "slow") {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  } else if (how == "stopped") {
    if (rogue.calls == rogue.at) StandStill(getpid());
  } else if (how == "stop") {
    if (rogue.calls == rogue.at) StandStill(getppid());
  } else if (how == "children") {
    for (int i = 0; i < 200; ++i) MakeIdler();
  } else if (how == "daemons") {
    for (int i = 0; i < 3; ++i) MakeDaemon();
  } else if (how == "turn") {
    reinterpret_cast<std::atomic<std::uint32_t>*>(FindShared().start)->store(0xDEADBEEF);
    Hang();
  } else if (how == "garbage") {
    const Shared shared = FindShared();
    std::memset(shared.start + kReplyPlace, 0xFF, shared.size - kReplyPlace);
    HandOver(shared);
  } else if (how == "zeroes") {
    const Shared shared = FindShared();
    std::memset(shared.start, 0, shared.size);
    HandOver(shared);
  } else if (how == "length") {
    SendReply(1 << 30, 0);
  } else if (how == "short") {
    SendReply(8, 0);
  } else if (how == "number") {
    // The code, the lock, its mode, one lock of the arguments, that the volume has a name, no breach,
    // no notification.
    SendReply(9 * 8, 4711);
  } else if (how == "print") {
    std::printf("printed by the handler\n");
    if (std::getchar() != EOF) std::abort();
  }
}

/// Whether it is time for `function` to do something wrong.
bool IsTime(Rogue& rogue, std::string_view function) {
  return rogue.in == function && ++rogue.calls >= rogue.at;
}

/// Makes the function that messages call `name` misbehave before it does what it should.
template <auto place>
struct Wrapped;

template <class Result, class... Args,
          Result (*::FileSystemVectors::*place)(Port*, std::int32_t*, Args...)>
struct Wrapped<place> {
  static void Into(Port* port, std::string_view name) {
    if (Of(port).in + "()" != name) return;
    port->FSV.*place = [](Port* vp, std::int32_t* res2, Args... args) {
      Rogue& rogue = Of(vp);
      if (IsTime(rogue, rogue.in)) Misbehave(rogue);
      return (rogue.original.*place)(vp, res2, args...);
    };
  }
};

/// An object of the services that it has given back.
template <class Object>
Object* FreedObject(const Rogue& rogue, std::uint32_t type) {
  void* const object = rogue.dos->AllocDosObject(rogue.dos, type, nullptr);
  rogue.dos->FreeDosObject(rogue.dos, type, object);
  return static_cast<Object*>(object);
}

/// Writes where it should not, around a buffer of `size` bytes.
void WriteAround(const Rogue& rogue, void* buffer, std::size_t size) {
  // What the compiler does not see it does not warn of.
  auto* volatile bytes = static_cast<char*>(buffer);
  if (rogue.how == "over") std::memset(bytes + size, 'o', 64);
  if (rogue.how == "far") std::memset(bytes + size, 'f', 1U << 20);
  if (rogue.how == "under") bytes[-1] = 'u';
}

::Lock* LockWrongly(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                    std::int32_t mode) {
  Rogue& rogue = Of(vp);
  if (rogue.in == "FSLock" && IsTime(rogue, "FSLock")) {
    if (rogue.how == "foreign") {
      rogue.foreign.fl_Access = mode;
      return &rogue.foreign;
    }
    if (rogue.how == "made-up") return reinterpret_cast<::Lock*>(std::intptr_t{0x5A5A5A58});
    if (rogue.how == "stale") return FreedObject<::Lock>(rogue, QUORLE_DOS_LOCK);
    Misbehave(rogue);
  }
  ::Lock* const lock = rogue.original.FSLock(vp, res2, rel, name, mode);
  if (lock != nullptr) rogue.last_lock = lock;
  return lock;
}

std::int32_t UnLockWrongly(Port* vp, std::int32_t* res2, ::Lock* lock) {
  Rogue& rogue = Of(vp);
  if (lock == &rogue.foreign) return -1;
  if (IsTime(rogue, "FSUnLock")) {
    if (rogue.how == "keep") return -1;
    Misbehave(rogue);
  }
  const std::int32_t result = rogue.original.FSUnLock(vp, res2, lock);
  if (rogue.in == "FSUnLock" && rogue.how == "twice") {
    rogue.dos->FreeDosObject(rogue.dos, QUORLE_DOS_LOCK, lock);
  }
  return result;
}

std::int32_t ReadWrongly(Port* vp, std::int32_t* res2, ::FileHandle* fh, void* buffer,
                         std::int32_t bytes) {
  Rogue& rogue = Of(vp);
  if (IsTime(rogue, "FSRead")) {
    if (rogue.how == "early") {
      rogue.dos->FreeDosObject(rogue.dos, QUORLE_DOS_LOCK, rogue.last_lock);
    }
    WriteAround(rogue, buffer, static_cast<std::size_t>(bytes));
    if (rogue.how == "more") return kMore;
    Misbehave(rogue);
  }
  return rogue.original.FSRead(vp, res2, fh, buffer, bytes);
}

std::int32_t WriteWrongly(Port* vp, std::int32_t* res2, ::FileHandle* fh, const void* data,
                          std::int32_t bytes) {
  Rogue& rogue = Of(vp);
  const std::int32_t result = rogue.original.FSWrite(vp, res2, fh, data, bytes);
  return IsTime(rogue, "FSWrite") ? kMore : result;
}

std::int32_t ReadLinkWrongly(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name,
                             char* buffer, std::int32_t size) {
  Rogue& rogue = Of(vp);
  const std::int32_t result = rogue.original.FSReadSoftLink(vp, res2, rel, name, buffer, size);
  if (result < 0 || !IsTime(rogue, "FSReadSoftLink")) return result;
  WriteAround(rogue, buffer, static_cast<std::size_t>(size));
  return rogue.how == "more" ? kMore : result;
}

std::int32_t InfoWrongly(Port* vp, std::int32_t* res2, ::InfoData* info) {
  Rogue& rogue = Of(vp);
  if (IsTime(rogue, "FSDeviceInfoData")) WriteAround(rogue, info, sizeof *info);
  return rogue.original.FSDeviceInfoData(vp, res2, info);
}

std::int32_t AttrWrongly(Port* vp, std::int32_t* res2, const ::TagItem* tags) {
  Rogue& rogue = Of(vp);
  const std::int32_t result = rogue.original.FSFileSystemAttr(vp, res2, tags);
  if (tags->ti_Tag == QUORLE_FSA_VersionStringR && IsTime(rogue, "FSFileSystemAttr")) {
    auto* const text = reinterpret_cast<char*>(tags[0].ti_Data);  // NOLINT
    WriteAround(rogue, text, tags[1].ti_Data);
    if (rogue.how == "endless") std::memset(text, ')', tags[1].ti_Data);
  }
  return result;
}

void Spoil(Rogue& rogue, ::ExamineData*& data) {
  if (data == nullptr) return;
  if (rogue.how == "endless") {
    std::memset(data->Name, 'x', data->NameSize);
  } else if (rogue.how == "made-up") {
    rogue.dos->FreeDosObject(rogue.dos, QUORLE_DOS_EXAMINEDATA, data);
    data = reinterpret_cast<::ExamineData*>(std::intptr_t{0x5A5A5A58});
  } else if (rogue.how == "stale") {
    rogue.dos->FreeDosObject(rogue.dos, QUORLE_DOS_EXAMINEDATA, data);
  } else if (rogue.how == "over") {
    std::memset(data->Name, 'x', data->NameSize);
    char* volatile beyond = data->Name;
    beyond[data->NameSize] = '\0';
  } else if (rogue.how == "pointed") {
    data->Comment = rogue.elsewhere;
  } else if (rogue.how == "nameless") {
    data->Name = data->Comment = data->Link = nullptr;
  } else if (rogue.how == "again") {
    std::snprintf(data->Name, data->NameSize, "same");
  } else if (rogue.how == "fresh") {
    std::snprintf(data->Name, data->NameSize, "%d", rogue.calls);
  } else if (rogue.how == "large") {
    constexpr std::uint32_t kLarge = 1U << 20;
    const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, kLarge}, {QUORLE_TAG_DONE, 0}};
    rogue.dos->FreeDosObject(rogue.dos, QUORLE_DOS_EXAMINEDATA, data);
    data = static_cast<::ExamineData*>(
        rogue.dos->AllocDosObject(rogue.dos, QUORLE_DOS_EXAMINEDATA, tags));
    std::memset(data->Name, 'x', kLarge - 1);
  } else {
    Misbehave(rogue);
  }
}

::ExamineData* ExamineLockWrongly(Port* vp, std::int32_t* res2, ::Lock* lock) {
  Rogue& rogue = Of(vp);
  ::ExamineData* data = rogue.original.FSExamineLock(vp, res2, lock);
  if (IsTime(rogue, "FSExamineLock")) Spoil(rogue, data);
  return data;
}

std::int32_t ExamineDirWrongly(Port* vp, std::int32_t* res2, ::PRIVATE_ExamineDirContext* scan) {
  Rogue& rogue = Of(vp);
  if (rogue.in == "FSExamineDir" && (rogue.how == "again" || rogue.how == "fresh")) {
    for (std::intptr_t& word : scan->FSPrivate) word = 0;
  }
  const std::int32_t result = rogue.original.FSExamineDir(vp, res2, scan);
  if (IsTime(rogue, "FSExamineDir")) Spoil(rogue, scan->Entry);
  return result;
}

std::int64_t SizeWrongly(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  Rogue& rogue = Of(vp);
  if (rogue.how != "child") {
    if (IsTime(rogue, "FSGetFileSize")) Misbehave(rogue);
    return rogue.original.FSGetFileSize(vp, res2, fh);
  }
  std::int64_t count = 0;
  ::DIR* const descriptors = opendir("/proc/self/fd");
  while (const ::dirent* const entry = readdir(descriptors))
    count += entry->d_name[0] != '.' ? 1 : 0;
  closedir(descriptors);
  return count - 1;  // without the one that was looked through
}

void OnPacket(Port* port, ::DosPacket* packet) {
  Rogue& rogue = Of(port);
  if (IsTime(rogue, "Packet")) Misbehave(rogue);
  packet->dp_Res1 = 0;
  packet->dp_Res2 = ERROR_ACTION_NOT_KNOWN;
}

Port* Mount(const ::HandlerMount* mount) {
  auto rogue = std::make_unique<Rogue>();
  rogue->dos = mount->Dos;
  std::vector<::MountKey> keys;
  bool behaves = false;
  for (std::uint32_t i = 0; i < mount->KeyCount; ++i) {
    const std::string_view key = mount->Keys[i].Key;
    if (key == "in") {
      rogue->in = mount->Keys[i].Value;
    } else if (key == "how") {
      rogue->how = mount->Keys[i].Value;
    } else if (key == "turns") {
      const char* const file = mount->Keys[i].Value;
      behaves = std::remove(file) != 0;
      if (behaves) std::fclose(std::fopen(file, "w"));
    } else if (key == "at") {
      rogue->at = std::atoi(mount->Keys[i].Value);
    } else if (key == "once") {
      if (access(mount->Keys[i].Value, F_OK) == 0) {
        std::snprintf(mount->Problem, mount->ProblemSize, "it was mounted once before");
        return nullptr;
      }
      std::fclose(std::fopen(mount->Keys[i].Value, "w"));
    } else {
      keys.push_back(mount->Keys[i]);
    }
  }
  if (behaves) rogue->in.clear();
  if (IsTime(*rogue, "Mount")) Misbehave(*rogue);
  ::HandlerMount request = *mount;
  request.Keys = keys.data();
  request.KeyCount = static_cast<std::uint32_t>(keys.size());
  Port* const port = QuorleRamHandler()->Mount(&request);
  if (port == nullptr) return nullptr;

  rogue->port = port;
  rogue->original = port->FSV;
  port->FSV.Reserved[0] = rogue.release();
  quorle::calls::ForEachVector([port]<auto place>(const quorle::calls::Vector<place>& vector) {
    Wrapped<place>::Into(port, vector.name);
  });
  port->FSV.FSLock = LockWrongly;
  port->FSV.FSUnLock = UnLockWrongly;
  port->FSV.FSRead = ReadWrongly;
  port->FSV.FSWrite = WriteWrongly;
  port->FSV.FSReadSoftLink = ReadLinkWrongly;
  port->FSV.FSDeviceInfoData = InfoWrongly;
  port->FSV.FSFileSystemAttr = AttrWrongly;
  port->FSV.FSExamineLock = ExamineLockWrongly;
  port->FSV.FSExamineDir = ExamineDirWrongly;
  port->FSV.FSGetFileSize = SizeWrongly;
  // Without the function a soft link is looked for in its directory.
  if (Of(port).in == "FSExamineDir") port->FSV.FSExamineObj = nullptr;
  // Without the function it is packets that ask to rename.
  if (Of(port).in == "Packet") port->FSV.FSRename = nullptr;
  return port;
}

void Unmount(Port* port) {
  Rogue* const rogue = &Of(port);
  if (IsTime(*rogue, "Unmount")) Misbehave(*rogue);
  QuorleRamHandler()->Unmount(port);
  delete rogue;
}

}  // namespace

const struct Handler* QuorleRogueHandler() {
  static const ::Handler handler = {
      sizeof handler, QUORLE_HANDLER_VERSION,     "rogue", Mount, Unmount,
      OnPacket,       QuorleRamHandler()->Discard};
  return &handler;
}
