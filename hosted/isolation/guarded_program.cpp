#include "hosted/isolation/guarded_program.h"

#include "calls/words.h"

namespace quorle::isolation {

::FileSystemVectorPort* GuardedProgram::Mount(const ::HandlerMount& mount, HostServices& services,
                                              std::string& problem) {
  services_ = &services;
  device_name_ = mount.DeviceName;
  port_ = program_->Mount(mount, services, problem);
  if (port_ == nullptr) return nullptr;
  table_ = port_->FSV;
  Divert(port_->FSV, *this);
  return port_;
}

void GuardedProgram::Unmount(::FileSystemVectorPort& port) {
  // As the handler made it: it may look at its functions.
  const std::int32_t version = port.FSV.Version;
  port.FSV = table_;
  port.FSV.Version = version;
  program_->Unmount(port);
}

calls::Outcome GuardedProgram::CallVector(std::size_t index, std::span<const std::int64_t> words) {
  Breach breach = Breach::kNone;
  const calls::Outcome outcome = guard_.Call(
      VectorShape(index), words, breach,
      [&](const std::int64_t* guarded) { return CallVectorOf(table_, *port_, index, guarded); });
  Report(breach);
  return outcome;
}

bool GuardedProgram::Packet(::FileSystemVectorPort& port, ::DosPacket& packet) {
  if (!TakesPackets()) return false;
  Breach breach = Breach::kNone;
  const calls::PacketWords words = calls::WordsOf(packet);
  const calls::Outcome outcome =
      guard_.Call(calls::ShapeOfPacket(packet), words, breach, [&](const std::int64_t* guarded) {
        ::DosPacket copy = calls::PacketOf(packet.dp_Type, guarded);
        program_->Packet(port, copy);
        return calls::OutcomeOf(copy);
      });
  calls::SetOutcome(packet, outcome);
  Report(breach);
  return true;
}

void GuardedProgram::Report(Breach breach) {
  if (breach == Breach::kNone) return;
  watch_.ReportCall(device_name_, Describe(breach), services_->CallName());
}

}  // namespace quorle::isolation
