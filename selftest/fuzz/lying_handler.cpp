#include "selftest/fuzz/lying_handler.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "calls/classic_packets.h"
#include "calls/vector_table.h"
#include "handlers/ram/ram_handler.h"
#include "hosted/calls/packet_adapter.h"

namespace {

using Port = ::FileSystemVectorPort;
using quorle::PointedTo;

constexpr std::size_t kFar = std::size_t{1} << 20;
constexpr std::size_t kNear = 256;
constexpr std::uint32_t kLongestText = 60'000;
/// A scan that never ended would be no lie but a hang.
constexpr int kMostEntries = 200;

class Liar {
 public:
  /// One call in four lies with some seeds, one in a hundred with others. Most let the run begin:
  /// without a lock on the root there is none.
  Liar(const ::HandlerServices& dos, unsigned seed)
      : dos_(dos), random_(seed), rate_(kRates[seed % 4]), honest_(seed % 5 == 0 ? 0 : 60) {}

  std::size_t Below(std::size_t bound) { return static_cast<std::size_t>(random_() % bound); }
  bool Sometimes() {
    if (honest_ > 0) return --honest_ < 0;
    return Below(rate_) == 0;
  }

  template <class Number>
  Number AnyNumber() {
    constexpr std::array<std::int64_t, 14> kNumbers = {0,           1,
                                                       -1,          -2,
                                                       2,           20,
                                                       255,         256,
                                                       600,         65536,
                                                       0x7FFFFFFF,  -0x80000000LL,
                                                       0x100000010, -0x7FFFFFFFFFFFFFFF};
    if (Below(4) == 0) return static_cast<Number>(random_());
    return static_cast<Number>(kNumbers[Below(kNumbers.size())]);
  }

  /// An address where nothing is, or nothing of the services.
  template <class Object>
  Object* Anywhere() {
    constexpr std::array<std::intptr_t, 6> kNowhere = {1, 8, 0x5A5A5A58, -8, -1, 0x1000};
    switch (Below(6)) {
      case 0:
        return reinterpret_cast<Object*>(this);
      case 1:
        return reinterpret_cast<Object*>(own_.data() + Below(8));
      case 2:
        return static_cast<Object*>(Freed(QUORLE_DOS_LOCK));
      case 3:
        return static_cast<Object*>(Freed(QUORLE_DOS_EXAMINEDATA));
      case 4:
        return reinterpret_cast<Object*>(port);
      default:
        return PointedTo<Object>(kNowhere[Below(kNowhere.size())]);
    }
  }

  // ---- What it knows: with anything else the filesystem is not called ------------------------------

  bool Knows(::Lock* lock) const { return lock == nullptr || locks.contains(lock); }
  bool Knows(::FileHandle* file) const { return files.contains(file); }
  template <class Other>
  bool Knows(const Other&) const {
    return true;
  }

  // ---- Lies ----------------------------------------------------------------------------------------

  ::Lock* Lie(::Lock* lock) {
    const std::uint64_t way = Below(5);
    if (way == 0 && lock != nullptr) {
      lock->fl_Access = AnyNumber<std::int32_t>();
      lock->fl_Port = Anywhere<::MsgPort>();
      return lock;
    }
    UnLock(lock);
    if (way == 1 && !locks.empty()) return *std::next(locks.begin(), Choice(locks.size()));
    if (way == 2) return nullptr;
    if (way == 3) return New<::Lock>(QUORLE_DOS_LOCK);
    return Anywhere<::Lock>();
  }

  ::ExamineData* Lie(::ExamineData* data) {
    if (data == nullptr || Below(4) == 0) {
      dos_.FreeDosObject(&dos_, QUORLE_DOS_EXAMINEDATA, data);
      return Below(3) == 0 ? nullptr : Anywhere<::ExamineData>();
    }
    char** const texts[] = {&data->Name, &data->Comment, &data->Link};
    std::uint32_t* const sizes[] = {&data->NameSize, &data->CommentSize, &data->LinkSize};
    const std::size_t n = Below(3);
    switch (Below(8)) {
      case 0:
        std::memset(*texts[n], 'x', *sizes[n]);
        break;
      case 1:
        *texts[n] = Anywhere<char>();
        break;
      case 2:
        *texts[n] = nullptr;
        break;
      case 3:
        *sizes[n] = AnyNumber<std::uint32_t>();
        break;
      case 4:
        Around(*texts[n], *sizes[n], 60);
        break;
      case 5: {
        const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, Below(200'000)},
                                  {QUORLE_ADO_ExamineData_LinkSize, Below(200'000)},
                                  {QUORLE_TAG_DONE, 0}};
        dos_.FreeDosObject(&dos_, QUORLE_DOS_EXAMINEDATA, data);
        data =
            static_cast<::ExamineData*>(dos_.AllocDosObject(&dos_, QUORLE_DOS_EXAMINEDATA, tags));
        // A text that no reply holds ends the process: that is another test's business.
        std::memset(data->Name, 'x', std::min(data->NameSize, kLongestText) - 1);
        break;
      }
      default:
        data->Type = AnyNumber<std::uint32_t>();
        data->FileSize = AnyNumber<std::int64_t>();
        data->Date = {AnyNumber<std::int32_t>(), AnyNumber<std::int32_t>(),
                      AnyNumber<std::int32_t>()};
        data->ObjectID = AnyNumber<std::uint64_t>();
        data->StructSize = AnyNumber<std::uint32_t>();
        break;
    }
    return data;
  }

  template <class Number>
  Number Lie(Number) {
    return AnyNumber<Number>();
  }

  /// Writes beside the `size` bytes at `place`, as many as `most` at each side.
  void Around(void* place, std::size_t size, std::size_t most = kNear) {
    // What the compiler does not see it does not judge.
    auto* volatile bytes = static_cast<char*>(place);
    const std::size_t count = 1 + Below(most);
    if (Below(4) == 0) {
      std::memset(bytes - count, static_cast<int>(Below(256)), count);
    } else if (most == kNear && Below(4) == 0) {
      std::memset(bytes + size, static_cast<int>(Below(256)), kFar);
    } else {
      std::memset(bytes + size, static_cast<int>(Below(256)), count);
    }
  }

  /// Uses the services as nobody should.
  void MisuseServices() {
    const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, AnyNumber<std::uintptr_t>()},
                              {QUORLE_ADO_ExamineData_CommentSize, AnyNumber<std::uint32_t>()},
                              {QUORLE_TAG_DONE, 0}};
    const std::string name(Below(400), static_cast<char>(Below(256)));
    switch (Below(6)) {
      case 0:
        dos_.FreeDosObject(&dos_, AnyNumber<std::uint32_t>(), Anywhere<void*>());
        break;
      case 1:
        dos_.FreeVec(&dos_, Anywhere<void*>());
        break;
      case 2:
        dos_.FreeDosObject(&dos_, QUORLE_DOS_EXAMINEDATA,
                           dos_.AllocDosObject(&dos_, QUORLE_DOS_EXAMINEDATA, tags));
        break;
      case 3:
        dos_.SetVolumeName(&dos_, Below(2) == 0 ? port : Anywhere<Port>(), name.c_str());
        break;
      case 4:
        // A lock that dos still holds.
        if (!locks.empty()) UnLock(*std::next(locks.begin(), Choice(locks.size())));
        break;
      default:
        New<::Lock>(QUORLE_DOS_LOCK);
        break;
    }
  }

  // ---- The filesystem below ------------------------------------------------------------------------

  void UnLock(::Lock* lock) {
    if (locks.erase(lock) == 0) return;
    std::int32_t res2 = 0;
    original.FSUnLock(port, &res2, lock);
  }
  void Close(::FileHandle* file) {
    if (files.erase(file) == 0) return;
    std::int32_t res2 = 0;
    original.FSClose(port, &res2, file);
  }
  void End() {
    while (!locks.empty()) UnLock(*locks.begin());
    while (!files.empty()) Close(*files.begin());
  }

  Port* port = nullptr;
  ::FileSystemVectors original{};  ///< the filesystem's own functions
  ::FileSystemVectors lying{};
  std::set<::Lock*> locks;  ///< that the filesystem knows
  std::set<::FileHandle*> files;
  int entries = 0;
  bool is_classic = false;

 private:
  std::ptrdiff_t Choice(std::size_t size) { return static_cast<std::ptrdiff_t>(Below(size)); }
  template <class Object>
  Object* New(std::uint32_t type) {
    return static_cast<Object*>(dos_.AllocDosObject(&dos_, type, nullptr));
  }
  void* Freed(std::uint32_t type) {
    void* const object = dos_.AllocDosObject(&dos_, type, nullptr);
    dos_.FreeDosObject(&dos_, type, object);
    return object;
  }

  static constexpr std::array<std::size_t, 4> kRates = {4, 12, 40, 100};

  const ::HandlerServices& dos_;
  std::mt19937_64 random_;
  std::size_t rate_;
  int honest_;  ///< questions to come that are answered honestly
  std::array<std::uint64_t, 64> own_{};
};

Liar& Of(Port* port) {
  return *static_cast<Liar*>(port->FSV.Reserved[0]);
}

/// What all functions have in common.
template <auto place>
struct Lying;

template <class Result, class... Args,
          Result (*::FileSystemVectors::*place)(Port*, std::int32_t*, Args...)>
struct Lying<place> {
  static Result Answer(Port* vp, std::int32_t* res2, Args... args) {
    Liar& liar = Of(vp);
    if (liar.Sometimes() && liar.Below(4) == 0) liar.MisuseServices();
    Result result{};
    const bool known = (liar.Knows(args) && ...);
    if (known) result = (liar.original.*place)(liar.port, res2, args...);
    if constexpr (std::is_same_v<Result, ::Lock*>) {
      if (result != nullptr) liar.locks.insert(result);
    }
    if (!known || liar.Sometimes()) result = liar.Lie(result);
    if (liar.Sometimes()) *res2 = liar.AnyNumber<std::int32_t>();
    return result;
  }
};

std::int32_t UnLock(Port* vp, std::int32_t* res2, ::Lock* lock) {
  Liar& liar = Of(vp);
  if (liar.Sometimes()) liar.MisuseServices();
  liar.UnLock(lock);
  *res2 = liar.Sometimes() ? liar.AnyNumber<std::int32_t>() : 0;
  return liar.Sometimes() ? 0 : -1;
}

std::int32_t Opened(Liar& liar, ::FileHandle* file, std::int32_t result) {
  if (result != 0) liar.files.insert(file);
  if (!liar.Sometimes()) return result;
  const auto lie = liar.AnyNumber<std::int32_t>();
  if (lie == 0) liar.Close(file);
  return lie;
}

std::int32_t Open(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* rel, const char* name,
                  std::int32_t mode) {
  Liar& liar = Of(vp);
  const std::int32_t result =
      liar.Knows(rel) ? liar.original.FSOpen(liar.port, res2, fh, rel, name, mode) : 0;
  return Opened(liar, fh, result);
}

std::int32_t OpenFromLock(Port* vp, std::int32_t* res2, ::FileHandle* fh, ::Lock* lock) {
  Liar& liar = Of(vp);
  const std::int32_t result =
      liar.Knows(lock) ? liar.original.FSOpenFromLock(liar.port, res2, fh, lock) : 0;
  if (result != 0) liar.locks.erase(lock);
  return Opened(liar, fh, result);
}

std::int32_t Close(Port* vp, std::int32_t* res2, ::FileHandle* fh) {
  Liar& liar = Of(vp);
  liar.Close(fh);
  *res2 = liar.Sometimes() ? liar.AnyNumber<std::int32_t>() : 0;
  return liar.Sometimes() ? 0 : -1;
}

std::int32_t Read(Port* vp, std::int32_t* res2, ::FileHandle* fh, void* buffer,
                  std::int32_t bytes) {
  Liar& liar = Of(vp);
  if (bytes > 0 && liar.Sometimes()) liar.Around(buffer, static_cast<std::size_t>(bytes));
  return Lying<&::FileSystemVectors::FSRead>::Answer(vp, res2, fh, buffer, bytes);
}

std::int32_t ReadLink(Port* vp, std::int32_t* res2, ::Lock* rel, const char* name, char* buffer,
                      std::int32_t size) {
  Liar& liar = Of(vp);
  if (size > 0 && liar.Sometimes()) liar.Around(buffer, static_cast<std::size_t>(size));
  if (size > 0 && liar.Sometimes()) std::memset(buffer, 'x', static_cast<std::size_t>(size));
  return Lying<&::FileSystemVectors::FSReadSoftLink>::Answer(vp, res2, rel, name, buffer, size);
}

template <auto place>
std::int32_t Info(Port* vp, std::int32_t* res2, ::InfoData* info) {
  Liar& liar = Of(vp);
  const std::int32_t result = Lying<place>::Answer(vp, res2, info);
  // A volume that cannot be written is not tested: no lies then.
  if (liar.Below(40) == 0) info->id_DiskState = liar.AnyNumber<std::int32_t>();
  if (liar.Sometimes()) info->id_NumBlocks = liar.AnyNumber<std::uint32_t>();
  if (liar.Sometimes()) liar.Around(info, sizeof *info);
  return result;
}

std::int32_t Attributes(Port* vp, std::int32_t* res2, const ::TagItem* tags) {
  Liar& liar = Of(vp);
  const std::int32_t result = Lying<&::FileSystemVectors::FSFileSystemAttr>::Answer(vp, res2, tags);
  void* const room = PointedTo<void>(static_cast<std::intptr_t>(tags->ti_Data));
  if (tags->ti_Tag == QUORLE_FSA_VersionStringR) {
    if (liar.Sometimes()) std::memset(room, ')', tags[1].ti_Data);
    if (liar.Sometimes()) liar.Around(room, tags[1].ti_Data);
  } else if (liar.Sometimes()) {
    liar.Around(room, sizeof(std::uint32_t));
  }
  return result;
}

std::int32_t ExamineDir(Port* vp, std::int32_t* res2, ::PRIVATE_ExamineDirContext* scan) {
  Liar& liar = Of(vp);
  if (++liar.entries % kMostEntries == 0 || !liar.Knows(scan->Directory)) {
    *res2 = ERROR_NO_MORE_ENTRIES;
    return 0;
  }
  const std::int32_t result = liar.original.FSExamineDir(liar.port, res2, scan);
  if (liar.Sometimes()) scan->Entry = liar.Lie(scan->Entry);
  if (liar.Sometimes()) liar.Around(scan, sizeof *scan);
  return liar.Sometimes() ? liar.AnyNumber<std::int32_t>() : result;
}

using Table = ::FileSystemVectors;

void Lie(Table& table) {
  quorle::calls::ForEachVector([&table]<auto place>(const quorle::calls::Vector<place>&) {
    if (table.*place != nullptr) table.*place = Lying<place>::Answer;
  });
  table.FSUnLock = UnLock;
  table.FSOpen = Open;
  table.FSOpenFromLock = OpenFromLock;
  table.FSClose = Close;
  table.FSRead = Read;
  table.FSReadSoftLink = ReadLink;
  table.FSVolumeInfoData = Info<&Table::FSVolumeInfoData>;
  table.FSDeviceInfoData = Info<&Table::FSDeviceInfoData>;
  table.FSFileSystemAttr = Attributes;
  table.FSExamineDir = ExamineDir;
}

/// Fills the block of a packet that examines: mostly with an entry, sometimes with anything.
void FillBlock(Liar& liar, ::DosPacket& packet) {
  auto& block = *PointedTo<::FileInfoBlock>(packet.dp_Arg2);
  auto* const bytes = reinterpret_cast<std::uint8_t*>(&block);
  block.fib_DirEntryType = liar.Below(2) == 0 ? ST_FILE : ST_USERDIR;
  block.fib_FileName[0] = 4;
  std::memcpy(block.fib_FileName + 1, "file", 4);
  if (liar.Sometimes()) block.fib_FileName[0] = liar.AnyNumber<std::uint8_t>();
  if (liar.Sometimes()) block.fib_Comment[0] = liar.AnyNumber<std::uint8_t>();
  if (liar.Sometimes()) block.fib_Size = liar.AnyNumber<std::int32_t>();
  if (liar.Sometimes()) block.fib_DirEntryType = liar.AnyNumber<std::int32_t>();
  if (liar.Sometimes()) {
    std::generate_n(bytes, sizeof block,
                    [&] { return static_cast<std::uint8_t>(liar.Below(256)); });
  }
  if (liar.Sometimes()) liar.Around(&block, sizeof block);
  const bool is_over =
      packet.dp_Type == QUORLE_ACTION_EXAMINE_NEXT && ++liar.entries % kMostEntries == 0;
  packet.dp_Res1 = is_over ? 0 : -1;
  packet.dp_Res2 = is_over ? ERROR_NO_MORE_ENTRIES : 0;
}

/// Answers what no function stands for; false for anything else.
bool AnswerClassic(Liar& liar, ::DosPacket& packet) {
  switch (packet.dp_Type) {
    case QUORLE_ACTION_EXAMINE_OBJECT:
    case QUORLE_ACTION_EXAMINE_NEXT:
    case QUORLE_ACTION_EXAMINE_FH:
      FillBlock(liar, packet);
      return true;
    case QUORLE_ACTION_SEEK:
    case QUORLE_ACTION_SET_FILE_SIZE:
      packet.dp_Res1 = liar.Sometimes() ? liar.AnyNumber<std::intptr_t>() : packet.dp_Arg2;
      packet.dp_Res2 = liar.AnyNumber<std::int32_t>();
      return true;
    case QUORLE_ACTION_SET_OWNER:
      packet.dp_Res1 = liar.AnyNumber<std::intptr_t>();
      return true;
    default:
      return false;
  }
}

/// Answers by the lying functions, and lies in the results once more.
void OnPacket(Port* port, ::DosPacket* packet) {
  Liar& liar = Of(port);
  if (liar.is_classic) {
    if (quorle::calls::IsNewerPacket(packet->dp_Type)) return quorle::AnswerNotKnown(*packet);
    if (AnswerClassic(liar, *packet)) return;
  }
  Port with_functions = *port;
  with_functions.FSV = liar.lying;
  if (!quorle::AnswerByVector(with_functions, *packet)) quorle::AnswerNotKnown(*packet);
  // Of a packet whose result is no address nobody else frees anything.
  const bool is_count =
      packet->dp_Type == QUORLE_ACTION_READ || packet->dp_Type == QUORLE_ACTION_WRITE;
  if (is_count && liar.Sometimes()) packet->dp_Res1 = liar.AnyNumber<std::intptr_t>();
}

Port* Mount(const ::HandlerMount* mount) {
  unsigned seed = 0;
  bool packets = false;
  bool classic = false;
  std::vector<::MountKey> keys;
  for (std::uint32_t i = 0; i < mount->KeyCount; ++i) {
    const std::string_view key = mount->Keys[i].Key;
    if (key == "seed") {
      seed = static_cast<unsigned>(std::strtoul(mount->Keys[i].Value, nullptr, 10));
    } else if (key == "packets") {
      packets = true;
      classic = std::string_view(mount->Keys[i].Value) == "classic";
    } else {
      keys.push_back(mount->Keys[i]);
    }
  }
  ::HandlerMount request = *mount;
  request.Keys = keys.data();
  request.KeyCount = static_cast<std::uint32_t>(keys.size());
  Port* const port = QuorleRamHandler()->Mount(&request);
  if (port == nullptr) return nullptr;
  auto liar = std::make_unique<Liar>(*mount->Dos, seed);
  liar->port = port;
  liar->original = port->FSV;
  port->FSV.Reserved[0] = liar.get();
  Lie(port->FSV);
  liar->lying = port->FSV;
  liar->is_classic = classic;
  if (packets) {
    auto* const bytes = reinterpret_cast<std::byte*>(&port->FSV);
    std::fill(bytes + offsetof(Table, FSLock), bytes + offsetof(Table, End_Marker), std::byte{0});
  }
  liar.release();
  return port;
}

void Unmount(Port* port) {
  const std::unique_ptr<Liar> liar(&Of(port));
  liar->End();
  port->FSV = liar->original;
  QuorleRamHandler()->Unmount(port);
}

}  // namespace

const struct Handler* QuorleLyingHandler() {
  static const ::Handler handler = {
      sizeof handler, QUORLE_HANDLER_VERSION,     "lying", Mount, Unmount,
      OnPacket,       QuorleRamHandler()->Discard};
  return &handler;
}
