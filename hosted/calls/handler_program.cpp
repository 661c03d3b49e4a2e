#include "hosted/calls/handler_program.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "hosted/calls/fenced_memory.h"

namespace quorle {
namespace {

// Whether `handler`, as it was compiled, has the members that are not optional.
bool HandlerFits(const ::Handler& handler, std::string& problem) {
  constexpr std::size_t kLeast = offsetof(::Handler, Packet);
  if (handler.Version == 0 || handler.StructSize < kLeast) {
    problem = "the handler was not made for this header: version " +
              std::to_string(handler.Version) + ", size " + std::to_string(handler.StructSize);
    return false;
  }
  if (handler.Mount == nullptr || handler.Unmount == nullptr) {
    problem = "the handler has no Mount() or no Unmount()";
    return false;
  }
  return true;
}

}  // namespace

::FileSystemVectorPort* PlainProgram::Mount(const ::HandlerMount& mount, HostServices& services,
                                            std::string& problem) {
  if (!HandlerFits(handler_, problem)) return nullptr;

  std::array<char, 256> said{};
  FencedMemory memory;
  auto* const copy = reinterpret_cast<char*>(memory.Copy(said.data(), said.size()));
  request_ = mount;
  request_.Problem = copy != nullptr ? copy : said.data();
  request_.ProblemSize = said.size();
  ::FileSystemVectorPort* const port = handler_.Mount(&request_);
  if (copy != nullptr) std::memcpy(said.data(), copy, said.size());
  request_.Problem = nullptr;
  request_.ProblemSize = 0;

  said.back() = '\0';
  if (port == nullptr) {
    problem = said.front() != '\0' ? said.data()
                                   : "the handler refused to be mounted and did not say why";
    return nullptr;
  }
  if (!services.OwnsPort(port)) {
    problem = "the handler's port does not come from AllocDosObject()";
    handler_.Unmount(port);
    return nullptr;
  }
  return port;
}

void PlainProgram::Unmount(::FileSystemVectorPort& port) {
  handler_.Unmount(&port);
}

void PlainProgram::Discard(void* medium) {
  constexpr std::size_t kWithDiscard = offsetof(::Handler, Discard) + sizeof handler_.Discard;
  if (handler_.Version < 2 || handler_.StructSize < kWithDiscard) return;
  if (handler_.Discard != nullptr) handler_.Discard(medium);
}

bool PlainProgram::TakesPackets() const {
  // Older handlers end before this member.
  constexpr std::size_t kWithPacket = offsetof(::Handler, Packet) + sizeof handler_.Packet;
  return handler_.StructSize >= kWithPacket && handler_.Packet != nullptr;
}

bool PlainProgram::Packet(::FileSystemVectorPort& port, ::DosPacket& packet) {
  if (!TakesPackets()) return false;
  handler_.Packet(&port, &packet);
  return true;
}

bool HasFunctions(const ::FileSystemVectors& vectors) {
  const auto* const bytes = reinterpret_cast<const std::byte*>(&vectors);
  return std::any_of(bytes + offsetof(::FileSystemVectors, FSLock),
                     bytes + offsetof(::FileSystemVectors, End_Marker),
                     [](std::byte byte) { return byte != std::byte{0}; });
}

}  // namespace quorle
