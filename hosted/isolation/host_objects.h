#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#include "hosted/calls/handler_services.h"
#include "quorle/handler.h"

namespace quorle::isolation {

/// The host's proxies of the locks, files and requests for notification of a handler process, and the
/// numbers by which the process knows them. When the process ends its objects end: their proxies are
/// dead.
class HostObjects {
 public:
  /// What a lock, a file or a request of dos is a proxy of.
  struct Number {
    std::int64_t number;  ///< kNoObject, kForeignObject, or what the process knows
    bool dead;            ///< it was of an earlier process
  };

  explicit HostObjects(HostServices& services) : services_(services) {}
  /// Frees the locks.
  ~HostObjects();
  HostObjects(const HostObjects&) = delete;
  HostObjects& operator=(const HostObjects&) = delete;

  /// Another process begins: everything of the one before is dead.
  void BeginProcess();

  // ---- Locks ---------------------------------------------------------------------------------

  Number Of(const ::Lock* lock) const;
  bool IsRoot(const ::Lock* lock) const;
  /// Whether a reply may give the lock `number`: one that is known, or the next.
  bool MayBe(std::int64_t number) const;
  /// The proxy of the lock `number`, in `mode`; made when the number is new. Null without memory.
  ::Lock* ProxyFor(std::int64_t number, std::int32_t mode, bool is_root);
  void Forget(::Lock* lock);
  /// The process has none of that number any more: a lock that comes is another one.
  void Detach(const ::Lock* lock);
  /// The dead proxies of the root.
  std::vector<::Lock*> DeadRoots() const;
  /// `lock`, which is dead, is from now on the proxy of what `fresh` was one of; frees `fresh`.
  void Rebind(::Lock* lock, ::Lock* fresh);

  // ---- Files ---------------------------------------------------------------------------------

  Number Of(const ::FileHandle* file) const;
  /// A number for a file that is about to be opened.
  std::int64_t NextFile() const { return last_file_ + 1; }
  /// It was.
  void AddFile(const ::FileHandle* file);
  void Forget(const ::FileHandle* file);

  // ---- Requests for notification -------------------------------------------------------------

  Number Of(const ::NotifyRequest* request) const;
  /// A number for a request that is about to begin.
  std::int64_t NextRequest() const { return last_request_ + 1; }
  /// It did. One that was dead lives again.
  void AddRequest(::NotifyRequest* request);
  void Forget(const ::NotifyRequest* request);
  /// The request `number` of this process; null without one.
  ::NotifyRequest* RequestOf(std::int64_t number) const;
  /// The dead ones, in the order in which they began.
  std::vector<::NotifyRequest*> DeadRequests() const;

 private:
  struct Proxy {
    std::int64_t number;
    int process;
    bool is_root;
  };

  HostServices& services_;
  int process_ = 0;
  std::unordered_map<const ::Lock*, Proxy> locks_;
  std::unordered_map<std::int64_t, ::Lock*> by_number_;  ///< of this process
  std::unordered_map<const ::FileHandle*, Proxy> files_;
  std::unordered_map<const ::NotifyRequest*, Proxy> requests_;
  std::map<std::int64_t, ::NotifyRequest*> requests_by_number_;  ///< of all processes
  std::int64_t last_lock_ = 0;
  std::int64_t last_file_ = 0;
  std::int64_t last_request_ = 0;
};

}  // namespace quorle::isolation
