#include "hosted/dos/notifications.h"

#include <algorithm>
#include <utility>

#include "hosted/dos/latin1.h"
#include "platform/constants.h"

namespace quorle {
namespace {

bool IsSame(std::string_view a, std::string_view b) {
  return CompareLatin1(a, b) == 0;
}

/// The path of the directory that holds `path`; of the root the root.
std::string_view ParentOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

std::string_view PathIn(std::string_view full_name) {
  return full_name.substr(full_name.find(':') + 1);
}

}  // namespace

NotifyHandle Notifications::Add(HandlerPort& port, const char* name, std::string full_name,
                                std::uint32_t flags) {
  auto request = std::make_unique<Request>(
      Request{&port, name, std::move(full_name), flags, false, {}, 0, 0, false, false});
  request->record.nr_Name = request->name.c_str();
  request->record.nr_FullName = request->full_name.c_str();
  request->record.nr_Flags = flags;
  request->record.nr_Handler = port.port();
  const NotifyHandle handle = requests_.Add(std::move(request));
  return handle;
}

Notifications::Request* Notifications::Find(NotifyHandle handle) {
  std::unique_ptr<Request>* const found = requests_.Find(handle);
  return found == nullptr ? nullptr : found->get();
}

void Notifications::ForgetMessages(NotifyHandle handle) {
  messages_.RemoveIf([handle](MessageHandle, NotifyHandle request) { return request == handle; });
}

void Notifications::Remove(NotifyHandle handle) {
  ForgetMessages(handle);
  requests_.Remove(handle);
}

void Notifications::Send(Request& request) {
  if ((request.flags & NRF_SEND_SIGNAL) != 0) request.signalled = true;
  if ((request.flags & NRF_SEND_MESSAGE) == 0) return;
  const bool waits = (request.flags & NRF_WAIT_REPLY) != 0;
  if (waits && request.waiting + request.taken != 0) {
    request.is_held_back = true;
    return;
  }
  ++request.waiting;
  ++request.record.nr_MsgCount;
}

void Notifications::SendFor(const ::NotifyRequest& record) {
  requests_.ForEach([&](std::unique_ptr<Request>& request) {
    if (&request->record == &record) Send(*request);
  });
}

template <class Concerns>
void Notifications::SendWhere(const HandlerPort& port, const Concerns& concerns) {
  requests_.ForEach([&](std::unique_ptr<Request>& request) {
    const bool is_ours = request->by_dos && request->port == &port;
    if (is_ours && concerns(PathIn(request->full_name))) Send(*request);
  });
}

void Notifications::SendOf(const HandlerPort& port, std::string_view path) {
  SendWhere(port, [path](std::string_view watched) { return IsSame(watched, path); });
}

void Notifications::SendOfEntries(const HandlerPort& port,
                                  std::initializer_list<std::string_view> paths) {
  SendWhere(port, [paths](std::string_view watched) {
    return std::any_of(paths.begin(), paths.end(), [watched](std::string_view path) {
      // The root is in no directory.
      const bool is_entry = !path.empty() && IsSame(watched, ParentOf(path));
      return IsSame(watched, path) || is_entry;
    });
  });
}

bool Notifications::Watches(const HandlerPort& port) {
  bool watches = false;
  requests_.ForEach([&](const std::unique_ptr<Request>& request) {
    watches = watches || (request->by_dos && request->port == &port);
  });
  return watches;
}

MessageHandle Notifications::Take(NotifyHandle handle) {
  Request* const request = Find(handle);
  if (request == nullptr || request->waiting == 0) return {};
  --request->waiting;
  ++request->taken;
  return messages_.Add(handle);
}

bool Notifications::Reply(MessageHandle message) {
  const NotifyHandle* const of = messages_.Find(message);
  if (of == nullptr) return false;
  Request& request = *Find(*of);
  messages_.Remove(message);
  --request.taken;
  --request.record.nr_MsgCount;
  if (std::exchange(request.is_held_back, false)) Send(request);
  return true;
}

}  // namespace quorle
