#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

#include "hosted/calls/handler_port.h"
#include "hosted/dos/handle_table.h"
#include "platform/handles.h"
#include "quorle/handler.h"

namespace quorle {

/// Who waits for changes of what, and the messages about them.
class Notifications {
 public:
  /// `numbers` must outlive this.
  explicit Notifications(HandleNumbers& numbers) : requests_(numbers), messages_(numbers) {}
  Notifications(const Notifications&) = delete;
  Notifications& operator=(const Notifications&) = delete;

  /// A request.
  struct Request {
    HandlerPort* port;
    std::string name;        ///< as the program gave it
    std::string full_name;   ///< "DH0:dir/file"
    std::uint32_t flags;     ///< NRF_...
    bool by_dos;             ///< dos watches, not the handler
    ::NotifyRequest record;  ///< what the handler has
    std::uint32_t waiting;   ///< messages that were not taken
    std::uint32_t taken;     ///< messages that were not replied to
    bool is_held_back;       ///< one more is due when they were
    bool signalled;
  };

  /// Adds a request; its record stays where it is.
  NotifyHandle Add(HandlerPort& port, const char* name, std::string full_name, std::uint32_t flags);
  /// Null when `handle` is none or stands for nothing.
  Request* Find(NotifyHandle handle);
  /// Forgets a request with its messages.
  void Remove(NotifyHandle handle);
  /// Calls `each` with every request, and forgets those of which it returns true with their messages.
  template <class Each>
  void RemoveIf(Each each) {
    requests_.RemoveIf([&](NotifyHandle handle, std::unique_ptr<Request>& request) {
      const bool goes = each(*request);
      if (goes) ForgetMessages(handle);
      return goes;
    });
  }

  /// The object of `request` has changed.
  static void Send(Request& request);
  /// The same, where the handler says so by the record that it has.
  void SendFor(const ::NotifyRequest& record);
  /// The same, once, for every request that dos watches on `port` for the object `path`.
  void SendOf(const HandlerPort& port, std::string_view path);
  /// The same for objects that were made, deleted, renamed, or written and closed: that changes the
  /// directories that hold them too.
  void SendOfEntries(const HandlerPort& port, std::initializer_list<std::string_view> paths);
  /// Whether there is any such request.
  bool Watches(const HandlerPort& port);

  /// The next message of the request `handle`, or none.
  MessageHandle Take(NotifyHandle handle);
  /// `message`, which was taken, is given back. False when it is none.
  bool Reply(MessageHandle message);

 private:
  /// Sends for each request that dos watches on `port` and whose path `concerns`.
  template <class Concerns>
  void SendWhere(const HandlerPort& port, const Concerns& concerns);
  void ForgetMessages(NotifyHandle handle);

  HandleTable<struct NotifyKind, std::unique_ptr<Request>> requests_;
  HandleTable<struct MessageKind, NotifyHandle> messages_;
};

}  // namespace quorle
