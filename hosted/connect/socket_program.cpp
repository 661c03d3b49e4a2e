#include "hosted/connect/socket_program.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "calls/call_shape.h"
#include "hosted/connect/member.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

/// The longest line that the far end may have shown.
constexpr std::size_t kMostLine = 1000;
constexpr std::size_t kMostVolumeName = 255;

/// `text` as one line.
std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return text;
}

}  // namespace

// ---- Mounting ------------------------------------------------------------------------------------

::FileSystemVectorPort* SocketProgram::Mount(const ::HandlerMount& mount, HostServices& services,
                                             std::string& problem) {
  services_ = &services;
  codec_ = std::make_unique<PacketCodec>(services);
  ::FileSystemVectors table{};
  table.StructSize = sizeof table;
  table.Version = QUORLE_FS_VECTORPORT_VERSION;
  table.End_Marker = -1;
  const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&table)},
                            {QUORLE_TAG_DONE, 0}};
  port_ =
      static_cast<::FileSystemVectorPort*>(services.AllocDosObject(QUORLE_DOS_FSVECTORPORT, tags));
  if (port_ == nullptr) {
    problem = "no memory for a port";
    return nullptr;
  }
  if (!MountThere(mount, problem)) {
    services.FreeDosObject(QUORLE_DOS_FSVECTORPORT, std::exchange(port_, nullptr));
  }
  return port_;
}

bool SocketProgram::MountThere(const ::HandlerMount& mount, std::string& problem) {
  const int descriptor = far_end_->Open(problem);
  if (descriptor < 0) return false;
  connection_ = std::make_unique<Connection>(descriptor);

  const Json hello =
      Ask({{"type", "hello"}, {"protocol", kProtocolVersion}, {"tester", "quorle"}}, "hello");
  const std::int64_t version = Integer(Get(hello, "protocol"), "protocol");
  const std::string name = TextFrom(Get(hello, "handler"), "handler", kMostLine);
  if (version != kProtocolVersion) {
    problem = Shown(name) + " speaks version " + std::to_string(version) +
              " of the protocol, which is not " + std::to_string(kProtocolVersion);
    return false;
  }
  Json keys = Json::object();
  for (std::uint32_t i = 0; i < mount.KeyCount; ++i) {
    keys[mount.Keys[i].Key] = TextValue(mount.Keys[i].Value);
  }
  const Json mounted =
      Ask({{"type", "mount"}, {"device", TextValue(mount.DeviceName)}, {"keys", std::move(keys)}},
          "mounted");
  if (const Json* const refusal = Find(mounted, "problem")) {
    problem = OneLine(TextFrom(*refusal, "problem", kMostLine));
    return false;
  }
  const Json* const volume = Find(mounted, "volume");
  if (volume == nullptr) return true;
  const std::string label = TextFrom(*volume, "volume", kMostVolumeName);
  if (services_->SetVolumeName(port_, label.c_str())) return true;
  problem = "the volume name " + Shown(label) + " is taken, or is none";
  return false;
}

void SocketProgram::Unmount(::FileSystemVectorPort& port) {
  Ask({{"type", "unmount"}}, "unmounted");
  connection_.reset();
  if (const auto end = far_end_->Finish()) throw ProgramEnd(*end);
  services_->FreeDosObject(QUORLE_DOS_FSVECTORPORT, &port);
  port_ = nullptr;
}

bool SocketProgram::Packet(::FileSystemVectorPort&, ::DosPacket& packet) {
  const Json answer = Ask({{"type", "packet"},
                           {"action", packet.dp_Type},
                           {"name", calls::NameOfPacket(packet.dp_Type)},
                           {"arguments", codec_->Arguments(packet)}},
                          "answer");
  codec_->TakeAnswer(answer, packet);
  return true;
}

// ---- Messages ------------------------------------------------------------------------------------

Json SocketProgram::Ask(Json request, const char* type) {
  request["id"] = ++id_;
  try {
    connection_->Send(request);
    return Await(type);
  } catch (const StreamEnd& end) {
    const std::string how = far_end_->HowItEnded().value_or("closed the connection");
    throw ProgramEnd(how + (end.within_message ? " within a message" : ""));
  }
}

Json SocketProgram::Await(const char* type) {
  for (int others = 0; others < kMostBeforeAnswer; ++others) {
    Json message = connection_->Receive();
    const std::string given = TextFrom(Get(message, "type"), "type", kMostLine);
    if (given != type) {
      Serve(message, given);
      continue;
    }
    const std::int64_t id = Integer(Get(message, "id"), "id");
    if (id == id_) return message;
    throw ProgramEnd("answered request " + std::to_string(id) + ", where " + std::to_string(id_) +
                     " was asked");
  }
  throw ProgramEnd("sent " + std::to_string(kMostBeforeAnswer) + " messages without an answer");
}

void SocketProgram::Serve(const Json& message, const std::string& type) {
  if (type == "log") return Report(message);
  if (type == "notify") return Notify(message);
  if (type == "volume") return NameVolume(message);
  throw ProgramEnd("sent a message of the type " + Shown(type) + ", which is not due");
}

void SocketProgram::Report(const Json& message) {
  services_->Report(OneLine(TextFrom(Get(message, "line"), "line", kMostLine)).c_str());
}

void SocketProgram::Notify(const Json& message) {
  const std::int64_t number = Integer(Get(message, "request"), "request");
  ::NotifyRequest* const request = codec_->RequestOf(number);
  if (request == nullptr) {
    throw ProgramEnd("sent a notification for request " + std::to_string(number) +
                     ", which nobody made");
  }
  services_->Notify(request);
}

/// The answer is sent before that to the packet: whoever asked waits for it.
void SocketProgram::NameVolume(const Json& message) {
  const Json* const name = Find(message, "name");
  const bool is_set =
      name == nullptr
          ? services_->SetVolumeName(port_, nullptr)
          : services_->SetVolumeName(port_, TextFrom(*name, "name", kMostVolumeName).c_str());
  connection_->Send({{"type", "volume"}, {"set", is_set}});
}

}  // namespace quorle::connect
