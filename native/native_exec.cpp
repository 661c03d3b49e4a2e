#include "native/native_exec.h"

namespace quorle::native {
namespace {

// exec's tags and flags that only these calls use.
constexpr std::uint32_t AVT_Type = 0x80000001;
constexpr std::uint32_t AVT_ClearWithValue = 0x80000006;
constexpr std::uint32_t TAG_DONE = 0;
constexpr std::uint32_t MEMF_SHARED = 1 << 12;

bool IsSame(const char* a, const char* b) {
  for (; *a != '\0' && *a == *b; ++a, ++b) {
  }
  return *a == *b;
}

/// The base whose version the tester was shown.
LibraryBase* BaseOf(const Library* library) {
  return At<LibraryBase>(Word(library) - offsetof(LibraryBase, version));
}

}  // namespace

const quorle::Process* NativeExec::FindTask(const char* name) {
  Process* const process = exec_.FindTask(&exec_, name);
  process_ = {.cli = process->pr_CLI != 0, .port = {Word(&process->pr_MsgPort)}};
  return &process_;
}

void NativeExec::WaitPort(PortHandle port) {
  exec_.WaitPort(&exec_, At<MsgPort>(port.value));
}

MessageHandle NativeExec::GetMsg(PortHandle port) {
  return {Word(exec_.GetMsg(&exec_, At<MsgPort>(port.value)))};
}

void NativeExec::ReplyMsg(MessageHandle message) {
  // The desktop unloads the program as soon as it has its message back: it must not get to run
  // before the program has ended, which also ends the Forbid().
  exec_.Forbid(&exec_);
  exec_.ReplyMsg(&exec_, At<native::Message>(message.value));
}

void* NativeExec::AllocVecTags(std::uint32_t bytes) {
  const TagItem tags[] = {{AVT_Type, MEMF_SHARED}, {AVT_ClearWithValue, 0}, {TAG_DONE, 0}};
  return exec_.AllocVecTagList(&exec_, bytes, tags);
}

void NativeExec::FreeVec(void* memory) {
  exec_.FreeVec(&exec_, memory);
}

void NativeExec::CopyMem(const void* source, void* destination, std::uint32_t bytes) {
  exec_.CopyMem(&exec_, source, destination, bytes);
}

const Library* NativeExec::OpenLibrary(const char* name, std::uint32_t version) {
  LibraryBase* const base = exec_.OpenLibrary(&exec_, name, version);
  if (base == nullptr) return nullptr;
  if (IsSame(name, "dos.library")) dos_library_ = &base->version;
  return &base->version;
}

void NativeExec::CloseLibrary(const Library* library) {
  exec_.CloseLibrary(&exec_, BaseOf(library));
}

Interface* NativeExec::GetInterface(const Library* library, const char* name,
                                    std::uint32_t version) {
  void* const interface = exec_.GetInterface(&exec_, BaseOf(library), name, version, nullptr);
  if (interface == nullptr) return nullptr;
  if (library == dos_library_) {
    dos_.Attach(static_cast<DosMain*>(interface));
    return &dos_;
  }
  utility_.Attach(static_cast<UtilityMain*>(interface));
  return &utility_;
}

void NativeExec::DropInterface(Interface* interface) {
  void* const real = interface == &dos_ ? static_cast<void*>(dos_.Detach()) : utility_.Detach();
  exec_.DropInterface(&exec_, real);
}

}  // namespace quorle::native
