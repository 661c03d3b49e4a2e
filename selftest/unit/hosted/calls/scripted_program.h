#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "calls/classic_packets.h"
#include "calls/words.h"
#include "hosted/calls/handler_program.h"
#include "hosted/calls/mount.h"
#include "hosted/calls/packet_adapter.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle {

/// What a handler of classic packets alone does, set by a test, and what it was sent. Of itself it
/// answers no newer packet, grants and frees locks, and shows a root directory called `root`.
struct PacketScript {
  std::map<std::int32_t, std::function<void(::DosPacket& packet)>> answers;  ///< by dp_Type
  std::string root = "Root";
  bool functions = false;  ///< whether there is a function too, which does nothing

  std::vector<std::int32_t> sent;         ///< dp_Type of all, in order
  std::vector<calls::PacketWords> words;  ///< their arguments
  std::set<::Lock*> locks;                ///< that are out
  HostServices* services = nullptr;       ///< of the mount

  static void Answer(::DosPacket& packet, std::intptr_t result, std::int32_t res2 = 0) {
    packet.dp_Res1 = result;
    packet.dp_Res2 = res2;
  }
  static ::FileInfoBlock& BlockOf(const ::DosPacket& packet) {
    return *PointedTo<::FileInfoBlock>(packet.dp_Arg2);
  }
  template <std::size_t kRoom>
  static void SetText(std::uint8_t (&field)[kRoom], std::string_view text) {
    field[0] = static_cast<std::uint8_t>(text.size());
    std::memcpy(field + 1, text.data(), std::min(text.size(), kRoom - 1));
  }
  ::Lock* NewLock() {
    auto* const lock = static_cast<::Lock*>(services->AllocDosObject(QUORLE_DOS_LOCK, nullptr));
    locks.insert(lock);
    return lock;
  }
  void FreeLock(::Lock* lock) {
    locks.erase(lock);
    services->FreeDosObject(QUORLE_DOS_LOCK, lock);
  }

  void OnPacket(::DosPacket& packet) {
    sent.push_back(packet.dp_Type);
    words.push_back(calls::WordsOf(packet));
    if (const auto answer = answers.find(packet.dp_Type); answer != answers.end()) {
      answer->second(packet);
      return;
    }
    switch (packet.dp_Type) {
      case QUORLE_ACTION_LOCATE_OBJECT:
      case QUORLE_ACTION_COPY_LOCK:
        return Answer(packet, reinterpret_cast<std::intptr_t>(NewLock()));
      case QUORLE_ACTION_FREE_LOCK:
        FreeLock(PointedTo<::Lock>(packet.dp_Arg1));
        return Answer(packet, kDosTrue);
      case QUORLE_ACTION_EXAMINE_OBJECT:
        BlockOf(packet).fib_DirEntryType = ST_ROOT;
        SetText(BlockOf(packet).fib_FileName, root);
        return Answer(packet, kDosTrue);
      default:
        AnswerNotKnown(packet);
    }
  }
};

/// A handler that plays a script.
class ScriptedProgram final : public HandlerProgram {
 public:
  explicit ScriptedProgram(PacketScript& script) : script_(script) {}

  ::FileSystemVectorPort* Mount(const ::HandlerMount&, HostServices& services,
                                std::string&) override {
    script_.services = &services;
    ::FileSystemVectors table{};
    table.StructSize = sizeof table;
    table.Version = QUORLE_FS_VECTORPORT_VERSION;
    if (script_.functions) {
      table.FSFlush = [](::FileSystemVectorPort*, std::int32_t*) -> std::int32_t { return -1; };
    }
    const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&table)},
                              {QUORLE_TAG_DONE, 0}};
    return static_cast<::FileSystemVectorPort*>(
        services.AllocDosObject(QUORLE_DOS_FSVECTORPORT, tags));
  }
  void Unmount(::FileSystemVectorPort& port) override {
    script_.services->FreeDosObject(QUORLE_DOS_FSVECTORPORT, &port);
  }
  bool TakesPackets() const override { return true; }
  bool Packet(::FileSystemVectorPort&, ::DosPacket& packet) override {
    script_.OnPacket(packet);
    return true;
  }

 private:
  PacketScript& script_;
};

}  // namespace quorle
