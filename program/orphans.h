#pragma once

namespace quorle {

/// Keeps hold of the processes that handlers make and leave behind: from construction on, one whose
/// parent ends becomes a child of this process instead of the host's first one, whatever session it
/// has gone to. Make one, before any handler is mounted.
class Orphans {
 public:
  /// Does nothing in a process that has children already, as one has that a shell became with exec:
  /// what those leave behind is not ours.
  Orphans();
  /// Kills and reaps every child of this process, and their children as they come.
  ~Orphans();
  Orphans(const Orphans&) = delete;
  Orphans& operator=(const Orphans&) = delete;

 private:
  bool keeps_;
};

}  // namespace quorle
