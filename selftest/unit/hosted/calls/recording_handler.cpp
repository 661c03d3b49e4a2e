#include "selftest/unit/hosted/calls/recording_handler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "calls/vector_table.h"
#include "calls/words.h"
#include "hosted/calls/packet_adapter.h"

namespace quorle {
namespace {

/// A function's name without the brackets that messages add.
std::string NameOf(const calls::VectorForm& vector) {
  const std::string name = vector.name;
  return name.substr(0, name.find('('));
}

RecordingHandler& StateOf(::FileSystemVectorPort* port) {
  return *static_cast<RecordingHandler*>(port->FSV.FSPrivate);
}

/// What stands in the table for `kFunction`.
template <auto kFunction, class Result, class... Arguments>
Result Recorded(::FileSystemVectorPort* port, std::int32_t* res2, Arguments... arguments) {
  RecordingHandler& state = StateOf(port);
  state.calls.push_back({NameOf(calls::kVector<kFunction>), Joined(arguments...)});
  state.res2_was_zero = state.res2_was_zero && *res2 == 0;
  *res2 = state.res2;
  return calls::FromWord<Result>(state.result);
}

template <auto kFunction, class Result, class... Arguments>
void Install(::FileSystemVectors& table, calls::VectorMember<Result, Arguments...>) {
  table.*kFunction = Recorded<kFunction, Result, Arguments...>;
}

/// What one mount keeps: the services are reached again when the port is freed.
struct Kept {
  const ::HandlerServices* dos;
  ::Lock* locks[3];
  ::ExamineData* record;
};

::FileSystemVectorPort* MountRecorder(const ::HandlerMount* mount) {
  ::FileSystemVectors table = RecordingHandler::FullTable();
  const ::HandlerServices* const dos = mount->Dos;
  auto* const kept = new Kept{dos, {}, nullptr};
  for (::Lock*& lock : kept->locks) {
    lock = static_cast<::Lock*>(dos->AllocDosObject(dos, QUORLE_DOS_LOCK, nullptr));
  }
  kept->record =
      static_cast<::ExamineData*>(dos->AllocDosObject(dos, QUORLE_DOS_EXAMINEDATA, nullptr));
  table.Reserved[0] = kept;
  const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&table)},
                            {QUORLE_TAG_DONE, 0}};
  return static_cast<::FileSystemVectorPort*>(
      dos->AllocDosObject(dos, QUORLE_DOS_FSVECTORPORT, tags));
}

void UnmountRecorder(::FileSystemVectorPort* port) {
  const std::unique_ptr<Kept> kept(static_cast<Kept*>(port->FSV.Reserved[0]));
  const ::HandlerServices* const dos = kept->dos;
  for (::Lock* const lock : kept->locks) dos->FreeDosObject(dos, QUORLE_DOS_LOCK, lock);
  dos->FreeDosObject(dos, QUORLE_DOS_EXAMINEDATA, kept->record);
  dos->FreeDosObject(dos, QUORLE_DOS_FSVECTORPORT, port);
}

void ForgetKept(::FileSystemVectorPort* port) {
  delete static_cast<Kept*>(port->FSV.Reserved[0]);
}

void AnswerPacket(::FileSystemVectorPort* port, ::DosPacket* packet) {
  RecordingHandler& state = StateOf(port);
  state.packets.push_back(ShownPacket(*packet, state.packet_shape));
  packet->dp_Res1 = state.packet_res1;
  packet->dp_Res64 = state.packet_res64;
  packet->dp_Res2 = state.packet_res2;
}

std::string ShownWord(std::intptr_t word, char shape) {
  switch (shape) {
    case 't': {
      const auto* const bytes = PointedTo<const std::uint8_t>(word);
      return std::string(reinterpret_cast<const char*>(bytes) + 1, bytes[0]);
    }
    case 'c':
      return Shown(PointedTo<const char>(word));
    case 'd':
      return Shown(PointedTo<const ::DateStamp>(word));
    case 'g':
      return Shown(PointedTo<const ::TagItem>(word));
    default:
      return Shown(word);
  }
}

}  // namespace

std::string Shown(const char* text) {
  return text;
}

std::string Shown(const ::DateStamp* date) {
  return std::to_string(date->ds_Days) + "d" + std::to_string(date->ds_Minute) + "m" +
         std::to_string(date->ds_Tick) + "t";
}

std::string Shown(const ::TagItem* tags) {
  std::string result;
  for (; tags->ti_Tag != QUORLE_TAG_DONE; ++tags) {
    result += "{" + std::to_string(tags->ti_Tag) + "," + std::to_string(tags->ti_Data) + "}";
  }
  return result;
}

std::string ShownPacket(const ::DosPacket& packet, const char* shape) {
  return Joined(packet.dp_Type) + "|" + ShownWord(packet.dp_Arg1, shape[0]) + "|" +
         ShownWord(packet.dp_Arg2, shape[1]) + "|" + ShownWord(packet.dp_Arg3, shape[2]) + "|" +
         ShownWord(packet.dp_Arg4, shape[3]) + "|" + ShownWord(packet.dp_Arg5, shape[4]) + "|" +
         Joined(packet.dp_Arg2_64, packet.dp_Arg5_64);
}

RecordingHandler::RecordingHandler() {
  handler.StructSize = sizeof handler;
  handler.Version = QUORLE_HANDLER_VERSION;
  handler.Name = "recording";
  handler.Mount = MountRecorder;
  handler.Unmount = UnmountRecorder;
  handler.Packet = AnswerPacket;
}

std::unique_ptr<HandlerPort> RecordingHandler::Mount(PortType type, RunWatch* watch) {
  std::string problem;
  auto port =
      MountHandler(handler, {.device_name = "REC", .type = type, .watch = watch}, clock, problem);
  EXPECT_NE(port, nullptr) << problem;
  TableOf(*port).FSPrivate = this;
  const auto* const kept = static_cast<const Kept*>(TableOf(*port).Reserved[0]);
  std::copy(std::begin(kept->locks), std::end(kept->locks), locks);
  record = kept->record;
  dos = kept->dos;
  return port;
}

::FileSystemVectors& RecordingHandler::TableOf(const HandlerPort& port) {
  return reinterpret_cast<::FileSystemVectorPort*>(port.port())->FSV;
}

const ::HandlerServices* RecordingHandler::DosOf(const HandlerPort& port) {
  return static_cast<const Kept*>(TableOf(port).Reserved[0])->dos;
}

void RecordingHandler::ClearTable(const HandlerPort& port) {
  calls::ForEachVector([&table = TableOf(port)]<auto kFunction>(const calls::Vector<kFunction>&) {
    table.*kFunction = nullptr;
  });
}

void RecordingHandler::Forget(::FileSystemVectorPort* port) {
  ForgetKept(port);
}

::FileSystemVectors RecordingHandler::FullTable() {
  ::FileSystemVectors table{};
  table.StructSize = sizeof table;
  table.Version = QUORLE_FS_VECTORPORT_VERSION;
  calls::ForEachVector([&table]<auto kFunction>(const calls::Vector<kFunction>&) {
    Install<kFunction>(table, kFunction);
  });
  table.End_Marker = -1;
  return table;
}

}  // namespace quorle
