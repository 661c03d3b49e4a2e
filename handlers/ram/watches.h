#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "quorle/handler.h"

namespace quorle::ram {

struct Node;

/// The requests for notification of a volume. Each watches whatever has its name, which need not be
/// there: an object that is made there, deleted, renamed from or to there, written and closed, or whose
/// attributes are set. What is done to an object is the business of all its names. One that watches a
/// directory is notified of its entries too: made, deleted, renamed and, of files, written and closed.
/// Each is notified once for a change, whatever of it it watches. (Which changes of entries count is
/// our choice; so is that a directory that is renamed is not the business of who watches what is in
/// it.)
class Watches {
 public:
  /// `root` is the root of the tree and outlives this.
  explicit Watches(const Node& root) : root_(root) {}

  /// Has `notify` called for each change of what nr_FullName of `request` names: components with '/'
  /// between them behind the colon, an empty one for the directory above. `request` is not looked at
  /// again. With NRF_NOTIFY_INITIAL it is called at once when the object is there.
  void Add(const ::NotifyRequest& request, std::function<void()> notify);
  /// False when it was not added.
  bool Remove(const ::NotifyRequest* request);
  void Clear() { watches_.clear(); }

  // ---- Changes, each reported when it is done ------------------------------------------------

  /// `name` in `directory` was made, or deleted.
  void NotifyEntry(const Node& directory, std::string_view name) const;
  void NotifyRename(const Node& from, std::string_view old_name, const Node& to,
                    std::string_view new_name) const;
  /// `file`, which was opened by a name in `directory`, was written and closed.
  void NotifyWritten(const Node& file, const Node& directory) const;
  /// Attributes of `object` were set.
  void NotifyAttributes(const Node& object) const;
  /// Everything is about to go. Returns what to call when it has.
  std::vector<std::function<void()>> AllThatExist() const;

 private:
  struct Watch {
    const ::NotifyRequest* request;
    std::function<void()> notify;
    std::vector<std::string> components;  ///< none: the root
  };
  /// Where a watch leads now.
  struct Target {
    const Node* directory =
        nullptr;  ///< that the name is in; null for the root, or when it is missing
    std::string_view name;
    const Node* object = nullptr;  ///< null when it is missing

    bool Is(const Node& in, std::string_view called) const;
  };

  Target Find(const Watch& watch) const;
  template <class Concerns>
  void NotifyWhere(const Concerns& concerns) const;

  const Node& root_;
  std::vector<Watch> watches_;
};

}  // namespace quorle::ram
