#include "hosted/dos/hosted_exec.h"

#include <cstring>
#include <string_view>

namespace quorle {
namespace {

/// What utility.library reports itself as: of the same generation as dos.library.
constexpr Library kUtilityLibrary{53, 1};

constexpr std::string_view kInterfaceName = "main";
constexpr std::string_view kFurtherName = kFurtherInterface;
constexpr std::uint32_t kInterfaceVersion = 1;

}  // namespace

HostedExec::HostedExec(HandleNumbers& numbers, DosInterface& dos, UtilityInterface& utility,
                       const HostedExecSettings& settings, FurtherDosInterface* further)
    : dos_(dos),
      utility_(utility),
      further_(further),
      dos_library_{settings.dos_version, settings.dos_revision},
      utility_library_(kUtilityLibrary),
      process_{!settings.workbench, {numbers.Next()}},
      startup_message_{settings.workbench ? numbers.Next() : 0},
      message_waits_(settings.workbench) {}

ExecBalance HostedExec::Balance() const {
  return {.allocations = memory_.size(),
          .libraries = libraries_,
          .interfaces = interfaces_,
          .messages = message_taken_ ? 1U : 0U,
          .wrong_releases = wrong_releases_};
}

const Process* HostedExec::FindTask(const char* name) {
  // Other tasks there are none.
  return name == nullptr ? &process_ : nullptr;
}

void HostedExec::WaitPort(PortHandle) {
  // The only message there ever is has arrived before the program started; without one the platform
  // would wait for good, which helps nobody here.
}

MessageHandle HostedExec::GetMsg(PortHandle port) {
  if (port != process_.port || !message_waits_) return {};
  message_waits_ = false;
  message_taken_ = true;
  return startup_message_;
}

void HostedExec::ReplyMsg(MessageHandle message) {
  if (message_taken_ && message == startup_message_) {
    message_taken_ = false;
  } else {
    ++wrong_releases_;
  }
}

void* HostedExec::AllocVecTags(std::uint32_t bytes) {
  if (bytes == 0) return nullptr;
  std::unique_ptr<void, FreeMemory> memory(std::calloc(1, bytes));
  void* const address = memory.get();
  if (address != nullptr) memory_.emplace(address, std::move(memory));
  return address;
}

void HostedExec::FreeVec(void* memory) {
  if (memory != nullptr && memory_.erase(memory) == 0) ++wrong_releases_;
}

void HostedExec::CopyMem(const void* source, void* destination, std::uint32_t bytes) {
  if (bytes != 0) std::memcpy(destination, source, bytes);
}

const Library* HostedExec::OpenLibrary(const char* name, std::uint32_t version) {
  const std::string_view wanted = name == nullptr ? "" : name;
  const Library* library = nullptr;
  if (wanted == "dos.library") library = &dos_library_;
  if (wanted == "utility.library") library = &utility_library_;
  if (library == nullptr || library->lib_Version < version) return nullptr;
  ++libraries_;
  return library;
}

void HostedExec::CloseLibrary(const Library* library) {
  if (library == nullptr) return;
  if (InterfaceOf(library) != nullptr && libraries_ > 0) {
    --libraries_;
  } else {
    ++wrong_releases_;
  }
}

Interface* HostedExec::InterfaceOf(const Library* library) {
  if (library == &dos_library_) return &dos_;
  if (library == &utility_library_) return &utility_;
  return nullptr;
}

Interface* HostedExec::GetInterface(const Library* library, const char* name,
                                    std::uint32_t version) {
  if (name == nullptr || version != kInterfaceVersion) return nullptr;
  Interface* interface = nullptr;
  if (name == kInterfaceName) interface = InterfaceOf(library);
  if (name == kFurtherName && library == &dos_library_) interface = further_;
  if (interface != nullptr) ++interfaces_;
  return interface;
}

void HostedExec::DropInterface(Interface* interface) {
  if (interface == nullptr) return;
  const bool is_ours = interface == &dos_ || interface == &utility_ || interface == further_;
  if (is_ours && interfaces_ > 0) {
    --interfaces_;
  } else {
    ++wrong_releases_;
  }
}

}  // namespace quorle
